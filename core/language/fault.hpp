// How a table is refused. Whatever includes a table's language includes this first: compilers name all files on the
// way.
#pragma once

namespace ffdc {

// Never defined: what reaches it does not compile, and the compiler shows row, reason and byte.
[[noreturn]] void table_error(const char* row, const char* reason, int byte);

constexpr void refuse(const char* row, const char* reason, int byte = -1) {
    if (reason) table_error(row, reason, byte);
}

// What is wrong with a table, if anything is. Whoever looks for mistakes returns the first one as a value, and the
// static_assert above him refuses it: so compilers show what is in here, rather than how it was found.
struct Verdict {
    const char* row = nullptr;
    const char* reason = nullptr;  // null: nothing is wrong
    int byte = -1;                 // of the layout, where one is to blame

    // For static_assert, whose message then shows the members of a constant verdict.
    consteval Verdict copy() const { return *this; }
    consteval operator bool() const {
        refuse(row, reason, byte);
        return true;
    }
};

}  // namespace ffdc
