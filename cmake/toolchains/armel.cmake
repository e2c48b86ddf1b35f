# Debian's armel for an ARM926 (ARMv5TE).
# Programs run under qemu-user where they have to (CMake's tests, CTest).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR armv5tel)
set(CMAKE_C_COMPILER arm-linux-gnueabi-gcc)
set(CMAKE_CXX_COMPILER arm-linux-gnueabi-g++)
set(CMAKE_C_FLAGS_INIT "-march=armv5te -mtune=arm926ej-s")
set(CMAKE_CXX_FLAGS_INIT "-march=armv5te -mtune=arm926ej-s -Wno-psabi")
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-arm -cpu arm926 -L /usr/arm-linux-gnueabi)
