# Toolchain file: compiles for 64-bit Windows by MinGW-w64, as Debian packages it, against the libraries of
# tools/fetch-windows.sh.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
# The compiler whose standard library has threads.
set(CMAKE_C_COMPILER x86_64-w64-mingw32-gcc-posix)
set(CMAKE_CXX_COMPILER x86_64-w64-mingw32-g++-posix)
set(CMAKE_RC_COMPILER x86_64-w64-mingw32-windres)

file(GLOB orvantis_windows_libraries LIST_DIRECTORIES ON "${CMAKE_CURRENT_LIST_DIR}/../external/windows/[a-z]*")
set(CMAKE_FIND_ROOT_PATH ${orvantis_windows_libraries} /usr/x86_64-w64-mingw32)
list(TRANSFORM CMAKE_FIND_ROOT_PATH APPEND "/lib/pkgconfig" OUTPUT_VARIABLE orvantis_windows_modules)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
list(JOIN orvantis_windows_modules ":" orvantis_windows_modules)
set(ENV{PKG_CONFIG_LIBDIR} "${orvantis_windows_modules}")
set(PKG_CONFIG_ARGN --static --define-prefix)
set(ZLIB_USE_STATIC_LIBS ON)
set(OPENSSL_USE_STATIC_LIBS ON)

# The drive on which Wine has the files of this machine: a path without one means that of the current folder.
set(ORVANTIS_TEST_DRIVE "Z:")
set(CMAKE_CROSSCOMPILING_EMULATOR "${CMAKE_CURRENT_LIST_DIR}/../tools/wine.sh")
