# 32-bit Windows with mingw-w64; the run-time libraries are linked statically.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)

set(prefix i686-w64-mingw32)
find_program(CMAKE_C_COMPILER NAMES ${prefix}-gcc-posix ${prefix}-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES ${prefix}-g++-posix ${prefix}-g++ REQUIRED)
find_program(CMAKE_RC_COMPILER NAMES ${prefix}-windres)

set(CMAKE_FIND_ROOT_PATH /usr/${prefix})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

set(CMAKE_EXE_LINKER_FLAGS_INIT -static)
set(CMAKE_SHARED_LINKER_FLAGS_INIT -static)

find_program(CMAKE_CROSSCOMPILING_EMULATOR NAMES wine)
