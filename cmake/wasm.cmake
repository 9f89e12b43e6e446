# A WebAssembly module for the viewer, in a browser or under node: a machine with 32-bit words, and the C++ library of LLVM.
# Debian packages clang-16 lld-16 wasi-libc libc++-16-dev-wasm32 libclang-rt-16-dev-wasm32, or 19 where there is no 16.
find_program(wasm_clang NAMES clang-16 clang-19 NO_CACHE)
string(REGEX MATCH "[0-9]*$" wasm_clang_version "${wasm_clang}")
set(CMAKE_SYSTEM_NAME Generic)
set(CMAKE_SYSTEM_PROCESSOR wasm32)
set(CMAKE_C_COMPILER clang-${wasm_clang_version})
set(CMAKE_CXX_COMPILER clang++-${wasm_clang_version})
set(CMAKE_C_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_COMPILER_TARGET wasm32-wasi)
set(CMAKE_CXX_FLAGS_INIT "-isystem /usr/lib/llvm-${wasm_clang_version}/include/wasm32-wasi/c++/v1")
set(CMAKE_CROSSCOMPILING_EMULATOR node)
