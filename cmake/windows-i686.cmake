# Toolchain for QXSDKP.dll: 32-bit Windows with MinGW-w64, POSIX thread model (Debian: g++-mingw-w64-i686-posix).
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR i686)
set(CMAKE_C_COMPILER i686-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER i686-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER i686-w64-mingw32-windres)
# Hosts and the system call in with stacks aligned to 4 bytes, vector code needs 16.
set(CMAKE_C_FLAGS_INIT -mstackrealign)
set(CMAKE_CXX_FLAGS_INIT -mstackrealign)
set(CMAKE_FIND_ROOT_PATH /usr/i686-w64-mingw32)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
