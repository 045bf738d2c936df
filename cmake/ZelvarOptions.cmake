# Options, compiler flags and output folders that every folder of the project shares.

option(ZELVAR_STANDINS "Build the stand-in simulator, the stand-in target library and the examples" ON)
option(ZELVAR_TESTS "Build the tests" ON)
option(ZELVAR_BENCH "Build the benchmarks" ON)
option(ZELVAR_FUZZ "Build the fuzz targets (needs clang)" OFF)
set(ZELVAR_SANITIZE "" CACHE STRING "Sanitizers for -fsanitize=, e.g. address,undefined or thread")

if(NOT CMAKE_BUILD_TYPE)
    set(CMAKE_BUILD_TYPE RelWithDebInfo CACHE STRING "" FORCE)
endif()

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 11)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/bin)
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR}/lib)
# RelWithDebInfo keeps -O2 and line tables; assertions of the library are its own and always live.
set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O2 -g1")
set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O2 -g1")

find_program(CCACHE_PROGRAM ccache)
if(CCACHE_PROGRAM)
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE_PROGRAM})
endif()

add_compile_options(-Wall -Wextra -Werror)
# The prototypes of the published APIs, which the message tables are derived from.
add_compile_definitions(EGL_EGLEXT_PROTOTYPES=1 GL_GLEXT_PROTOTYPES=1)

# What tests and command lines are compiled with on top: what is checked, not run for long, needs no optimiser, which
# takes more than half of a sanitized build.
set(zelvar_check_options)
if(ZELVAR_SANITIZE)
    set(CMAKE_CXX_FLAGS_RELWITHDEBINFO "-O1 -g1")
    set(CMAKE_C_FLAGS_RELWITHDEBINFO "-O1 -g1")
    set(zelvar_check_options -O0)
    add_compile_options(-fsanitize=${ZELVAR_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
    # A simulator is another compiler's work: its classes share the interfaces' slots, not their type information.
    add_compile_options(-fno-sanitize=vptr)
    add_link_options(-fsanitize=${ZELVAR_SANITIZE})
    add_compile_definitions(ZELVAR_SANITIZED=1)
endif()

find_package(Threads REQUIRED)

# The revision that the start-up banner and the settings exchange print: 40 hexadecimal digits.
execute_process(COMMAND git -C ${PROJECT_SOURCE_DIR} rev-parse HEAD
                OUTPUT_VARIABLE ZELVAR_REVISION OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
if(NOT ZELVAR_REVISION MATCHES "^[0-9a-f]+$")
    string(REPEAT "0" 40 ZELVAR_REVISION)
endif()
