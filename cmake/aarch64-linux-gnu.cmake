# Cross-build for the storage boxes (64-bit Arm Linux) with Debian's
# g++-aarch64-linux-gnu; the built programs run here under qemu-user:
#   cmake -S . -B build-arm -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)

set(ITUNES_IMPORT_TARGET_TRIPLE aarch64-linux-gnu)
set(CMAKE_C_COMPILER ${ITUNES_IMPORT_TARGET_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${ITUNES_IMPORT_TARGET_TRIPLE}-g++)

# Debian's cross packages keep the target's libc and loader here.
set(ITUNES_IMPORT_TARGET_ROOT /usr/${ITUNES_IMPORT_TARGET_TRIPLE})
set(CMAKE_FIND_ROOT_PATH ${ITUNES_IMPORT_TARGET_ROOT})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# ctest and GoogleTest's discovery run every target program through this.
# The loader prefix is passed on the command line rather than through
# QEMU_LD_PREFIX so that a plain `ctest` in the build tree works too.
# Debian's target packages (expat's among them) bring Debian's own target
# libc into /lib/<triple>, where the guest's loader finds it before the
# toolchain's: a program loading half of each spins. The library path makes
# the guest load the toolchain's libc and libstdc++ only.
find_program(ITUNES_IMPORT_QEMU qemu-${CMAKE_SYSTEM_PROCESSOR} REQUIRED)
set(CMAKE_CROSSCOMPILING_EMULATOR ${ITUNES_IMPORT_QEMU} -L ${ITUNES_IMPORT_TARGET_ROOT}
    -E LD_LIBRARY_PATH=${ITUNES_IMPORT_TARGET_ROOT}/lib)
