// How lines of text spell bytes: one row a form.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

struct Line {
    std::string_view offset;  // its digits, where the form has offsets
    std::vector<std::uint8_t> bytes;
    std::size_t word =
        1;  // the bytes are words of so many, in the order of their digits; 0: only their number is known
    unsigned carry = 0, carried = 0;  // bits of base64 that wait for the next line, and how many; an open quote
};

enum class Match {
    no,     // something else
    wrong,  // a line of this form that cannot be read
    yes
};

struct Form {
    std::string_view name;
    std::string_view kind;  // as users ask for it: hex or base64; text, which they do not: it must have a record in it
    Match (*read)(std::string_view, Line& line);  // of a line without blanks around it; stores its offset and its bytes
    bool has_offsets;
    int base;             // of the offsets, if they do not tell
    bool words;           // the magic of a record may show the order of the bytes
    const char* instead;  // where the bytes are not said in their order: what helps; else null
};

std::span<const Form> forms();
