# Compiler settings: the language, the optimiser, warnings, sanitizers and instruction sets.
# Every target that includes internal headers links viq_internal.

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
if(NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
    set(CMAKE_BUILD_TYPE Release CACHE STRING "" FORCE)
endif()

string(TOLOWER ${CMAKE_SYSTEM_PROCESSOR} processor)
if(CMAKE_SIZEOF_VOID_P EQUAL 4 AND processor MATCHES "^(x86_64|amd64|i[3-6]86)$")
    set(VIQ_X86_32 ON)
elseif(processor MATCHES "^(x86_64|amd64)$")
    set(VIQ_X86_64 ON)
endif()

# The library and all targets that link it are built with the same sanitizers.
if(VIQ_SANITIZE)
    add_compile_options(-fsanitize=${VIQ_SANITIZE} -fno-sanitize-recover=undefined
                        -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${VIQ_SANITIZE})
endif()

if(VIQ_FUZZ)
    add_compile_options(-fsanitize=fuzzer-no-link)
    if(NOT VIQ_SANITIZE)
        # Recording the operands of comparisons and the targets of calls takes half of the time.
        add_compile_options(-fno-sanitize-coverage=trace-cmp,indirect-calls)
    endif()
endif()

add_library(viq_warnings INTERFACE)
target_compile_options(
    viq_warnings
    INTERFACE -Wall -Wextra -Wshadow $<$<COMPILE_LANGUAGE:CXX>:-Wconversion>
              $<$<COMPILE_LANGUAGE:C>:-pedantic> $<$<BOOL:${VIQ_WERROR}>:-Werror>)
if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
    # GCC 12 falsely warns of overlapping copies in the concatenation of std::string.
    target_compile_options(viq_warnings INTERFACE -Wno-restrict)
endif()

add_library(viq_internal INTERFACE)
target_link_libraries(viq_internal INTERFACE viq_warnings)
target_include_directories(viq_internal INTERFACE ${PROJECT_SOURCE_DIR} ${PROJECT_SOURCE_DIR}/include)
# Fused multiply-add instructions would make results depend on the machine.
target_compile_options(viq_internal INTERFACE -ffp-contract=off)
if(VIQ_X86_32)
    # x87 arithmetic rounds differently from SSE2. Callers of a 32-bit library may pass a stack that
    # is not aligned for vector registers.
    target_compile_options(viq_internal INTERFACE -msse2 -mfpmath=sse -mstackrealign)
endif()

include(CheckCXXCompilerFlag)
if(VIQ_AVX2 AND (VIQ_X86_32 OR VIQ_X86_64))
    check_cxx_compiler_flag(-mavx2 VIQ_COMPILER_HAS_AVX2)
endif()
# GCC for 64-bit Windows does not align the stack for 32-byte registers.
if(VIQ_AVX2 AND VIQ_COMPILER_HAS_AVX2 AND NOT (WIN32 AND VIQ_X86_64))
    set(VIQ_BUILDS_AVX2 ON)
    target_compile_definitions(viq_internal INTERFACE VIQ_HAVE_AVX2=1)
endif()

# Loops that the compiler vectorises take longer with registers of 64 bytes on short lines.
set(avx512_options -mavx2 -mbmi -mbmi2 -mavx512f -mavx512bw -mavx512vl -mavx512dq -mavx512vbmi
    -mavx512vbmi2 -mprefer-vector-width=256)
if(VIQ_BUILDS_AVX2 AND VIQ_AVX512)
    string(JOIN " " avx512_flags ${avx512_options})
    check_cxx_compiler_flag("${avx512_flags}" VIQ_COMPILER_HAS_AVX512)
endif()
if(VIQ_BUILDS_AVX2 AND VIQ_AVX512 AND VIQ_COMPILER_HAS_AVX512)
    set(VIQ_BUILDS_AVX512 ON)
    target_compile_definitions(viq_internal INTERFACE VIQ_HAVE_AVX512=1)
    if(CMAKE_CXX_COMPILER_ID STREQUAL GNU AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
        # GCC 12 warns of undefined vectors in its own header.
        list(APPEND avx512_options -Wno-maybe-uninitialized -Wno-uninitialized)
    endif()
endif()

# Every 64-bit ARM processor has NEON.
if(processor MATCHES "^(aarch64|arm64)$" AND CMAKE_CXX_BYTE_ORDER STREQUAL LITTLE_ENDIAN)
    set(VIQ_BUILDS_NEON ON)
    target_compile_definitions(viq_internal INTERFACE VIQ_HAVE_NEON=1)
endif()

# Sources named *_avx2.cpp and *_avx512.cpp are compiled for these sets, or removed from the list if a
# set is not built; those named *_neon.cpp are for 64-bit ARM.
function(viq_select_kernels list_name)
    set(sources ${${list_name}})
    if(NOT VIQ_BUILDS_NEON)
        list(FILTER sources EXCLUDE REGEX "_neon\\.cpp$")
    endif()
    if(NOT VIQ_BUILDS_AVX2)
        list(FILTER sources EXCLUDE REGEX "_avx2\\.cpp$")
    endif()
    if(NOT VIQ_BUILDS_AVX512)
        list(FILTER sources EXCLUDE REGEX "_avx512\\.cpp$")
    endif()
    set(${list_name} ${sources} PARENT_SCOPE)
    foreach(source IN LISTS sources)
        if(source MATCHES "_avx2\\.cpp$")
            set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-mavx2;-mbmi;-mbmi2"
                                        SKIP_PRECOMPILE_HEADERS ON)
        elseif(source MATCHES "_avx512\\.cpp$")
            set_source_files_properties(${source} PROPERTIES
                                        COMPILE_OPTIONS "${avx512_options}"
                                        SKIP_PRECOMPILE_HEADERS ON)
        endif()
    endforeach()
endfunction()
