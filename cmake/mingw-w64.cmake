# 64-bit Windows with Debian's MinGW-w64. The POSIX-thread flavour: the other has no std::thread.
# MPG_WINDOWS_FFMPEG: folder of FFmpeg's headers, DLLs and pkg-config files.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(target x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${target}-gcc-posix)
set(CMAKE_CXX_COMPILER ${target}-g++-posix)
set(CMAKE_RC_COMPILER ${target}-windres)
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES MPG_WINDOWS_FFMPEG)
set(ENV{PKG_CONFIG_LIBDIR} ${MPG_WINDOWS_FFMPEG}/lib/pkgconfig)
set(CMAKE_FIND_ROOT_PATH /usr/${target} ${MPG_WINDOWS_FFMPEG})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
# Header-only packages are the same for every target.
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE BOTH)
