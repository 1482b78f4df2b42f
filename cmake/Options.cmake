# Language, warnings and sanitizers: what every target of this project is compiled with.
set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_C_STANDARD 99)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_CXX_VISIBILITY_PRESET hidden)
set(CMAKE_C_VISIBILITY_PRESET hidden)
set(CMAKE_VISIBILITY_INLINES_HIDDEN ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# Everything a user runs or links lies flat in the build folder, the codec libraries beside the player library.
set(CMAKE_RUNTIME_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})
set(CMAKE_LIBRARY_OUTPUT_DIRECTORY ${CMAKE_BINARY_DIR})

if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE RelWithDebInfo)
endif()

# A compiler cache where there is one; a launcher that was asked for stays.
find_program(QX_CCACHE ccache)
if(QX_CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
  set(CMAKE_C_COMPILER_LAUNCHER ${QX_CCACHE})
  set(CMAKE_CXX_COMPILER_LAUNCHER ${QX_CCACHE})
endif()

option(QX_TESTS "Build the tests" ON)
option(QX_BENCH "Build the benchmarks" ON)
option(QX_FUZZ "Build the libFuzzer targets (Clang only)" OFF)
set(QX_SANITIZE "" CACHE STRING "Sanitizers, as -fsanitize= takes them: address,undefined or thread")

add_library(qx_options INTERFACE)
target_include_directories(qx_options INTERFACE ${PROJECT_SOURCE_DIR})
target_compile_options(qx_options INTERFACE -Wall -Wextra -Wpedantic -Wshadow -Wformat=2 -Werror
                       $<$<COMPILE_LANGUAGE:CXX>:-Wnon-virtual-dtor>)
if(CMAKE_CXX_COMPILER_ID MATCHES Clang)
  target_compile_options(qx_options INTERFACE -Wthread-safety -Wthread-safety-beta)
endif()
if(QX_SANITIZE)
  target_compile_options(qx_options INTERFACE -fsanitize=${QX_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
  target_link_options(qx_options INTERFACE -fsanitize=${QX_SANITIZE})
endif()
if(WIN32)
  # Windows 7, and the COM interfaces with their C++ classes.
  target_compile_definitions(qx_options INTERFACE WIN32_LEAN_AND_MEAN NOMINMAX _WIN32_WINNT=0x0601 WINVER=0x0601
                             DIRECTDRAW_VERSION=0x0700)
  # The library's blocks are as aligned as GlobalAlloc's, which is 8 bytes in a 32-bit process: the compiler must not count on 16.
  target_compile_options(qx_options INTERFACE $<$<COMPILE_LANGUAGE:CXX>:-faligned-new=8>)
else()
  # Recordings may be longer than 2 GiB, on 32-bit systems too.
  target_compile_definitions(qx_options INTERFACE _FILE_OFFSET_BITS=64)
  find_package(Threads REQUIRED)
  target_link_libraries(qx_options INTERFACE Threads::Threads)
  # A codec library may stand on the command line in front of the archive that calls it: do not drop it there.
  target_link_options(qx_options INTERFACE -Wl,--no-as-needed)
endif()
