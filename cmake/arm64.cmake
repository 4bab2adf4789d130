# Builds for 64-bit Arm with Debian's cross compiler and its arm64 libraries, and runs what was built
# in an emulator. Where the machine has that architecture itself, the emulator still does.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L /)
