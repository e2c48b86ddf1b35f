# Debian's armhf for a Cortex-A9.
# Programs run under qemu-user where they have to (CMake's tests, CTest).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv7l)
set(CMAKE_C_COMPILER arm-linux-gnueabihf-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabihf-g++)
set(CMAKE_C_FLAGS_INIT "-mcpu=cortex-a9 -mfpu=vfpv3-d16")
set(CMAKE_CXX_FLAGS_INIT "-mcpu=cortex-a9 -mfpu=vfpv3-d16 -Wno-psabi")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -cpu cortex-a9 -L /usr/arm-linux-gnueabihf)
