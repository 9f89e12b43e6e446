# A WebAssembly module for the viewer, in a browser or under node: a machine with 32-bit words, and the C++ library of LLVM.
# Debian packages clang-16 lld-16 wasi-libc libc++-16-dev-wasm32 libclang-rt-16-dev-wasm32.
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_C_COMPILER clang-16)
set(CMAKE_CXX_COMPILER clang++-16)
set(CMAKE_C_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_FLAGS_INIT "-isystem /usr/lib/llvm-16/include/wasm32-wasi/c++/v1")
set(CMAKE_CROSSCOMPILING_EMULATOR node)
