# Cross-compilation for the 32-bit ARM target.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR arm)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
# Appended, so that a project finding packages in another root can add it.
list(APPEND CMAKE_FIND_ROOT_PATH /usr/arm-linux-gnueabihf)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Target programs (tests, test discovery) run under user-mode emulation. The
# ARM C library and its gconv modules come from the armhf multiarch packages
# (libc6:armhf, libstdc++6:armhf), so programs run from the root directory;
# the cross toolchain's own copy under /usr/arm-linux-gnueabihf only links.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -L /)
