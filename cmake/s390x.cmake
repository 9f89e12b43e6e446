# A 64-bit big-endian machine under qemu-user: a fault of byte order shows here apart from one of word size.
# Debian packages g++-s390x-linux-gnu and qemu-user.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR s390x)
set(root /usr/s390x-linux-gnu)
set(CMAKE_C_COMPILER s390x-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER s390x-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-s390x -L ${root})
