# 64-bit ARM with Debian's cross compiler; the tests run in the emulator qemu-aarch64.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(prefix aarch64-linux-gnu)
find_program(CMAKE_C_COMPILER NAMES ${prefix}-gcc REQUIRED)
find_program(CMAKE_CXX_COMPILER NAMES ${prefix}-g++ REQUIRED)

set(CMAKE_FIND_ROOT_PATH /usr/${prefix})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

find_program(emulator NAMES qemu-aarch64)
if(emulator)
    set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L /usr/${prefix})
endif()
