// A program that defines names of the library itself, with other meanings. The texts of golden.cpp stay the same.
#include <dlfcn.h>
#include <doctest/doctest.h>

#include <cstdint>

#include "tavi_ffdc.h"

int scnprintf(char* out, int size, const char*, ...) {
    if (size > 0) *out = '\0';
    return 1000000;
}
int pretty_print(const void*, int, char*, int) { return 1000000; }
int test_bit(std::uint32_t, std::uint32_t) { return 7; }
const char* get_type(std::uint32_t) { return "not this one"; }
const char* const kor_reg_names[29] = {};
const char* const wex_regs[8] = {};

TEST_CASE("the dynamic linker prefers the program's definitions") {
    CHECK(dlsym(RTLD_DEFAULT, "scnprintf") == reinterpret_cast<void*>(scnprintf));
    CHECK(dlsym(RTLD_DEFAULT, "wex_regs") == &wex_regs);
}
