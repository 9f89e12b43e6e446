# The target: a service processor with a 32-bit big-endian PowerPC. Its programs run here under qemu-user.
# Debian packages g++-powerpc-linux-gnu and qemu-user. Build with CMAKE_BUILD_TYPE=MinSizeRel: memory is short there.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR ppc)
set(root /usr/powerpc-linux-gnu)
set(CMAKE_C_COMPILER powerpc-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER powerpc-linux-gnu-g++)
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-ppc -L ${root})

# Some of these cores trap on a word at an odd address.
set(CMAKE_C_FLAGS_INIT -mstrict-align)
set(CMAKE_CXX_FLAGS_INIT -mstrict-align)

# For the tool: what cmake/powerpc_libraries makes.
set(ENV{PKG_CONFIG_LIBDIR} ${CMAKE_CURRENT_LIST_DIR}/../build/powerpc_libraries/lib/pkgconfig)
