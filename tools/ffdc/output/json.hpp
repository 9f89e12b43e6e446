// JSON as text: strings, numbers and raw areas for the output's own buffer, and the brackets and commas around them.
#pragma once

#include <nettle/base16.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <string_view>

#include "input/source.hpp"
#include "output/output.hpp"

// A character of a string, in ASCII: at most 12 of them.
inline char* put_character(char* at, unsigned code) {
    constexpr std::string_view control = "\b\t\n\f\r", letters = "btnfr";
    const auto escape = [&](char letter) {
        *at++ = '\\';
        *at++ = letter;
    };
    const auto unit = [&](unsigned sixteen_bits) {
        escape('u');
        for (int shift = 12; shift >= 0; shift -= 4) *at++ = "0123456789ABCDEF"[sixteen_bits >> shift & 15];
    };
    if (code == '"' || code == '\\') {
        escape(static_cast<char>(code));
    } else if (code >= ' ' && code < 0x80) {
        *at++ = static_cast<char>(code);
    } else if (const std::size_t n = code < ' ' ? control.find(static_cast<char>(code)) : control.npos;
               n != control.npos) {
        escape(letters[n]);
    } else if (code < 0x10000) {
        unit(code);
    } else {
        unit(0xd7c0 + (code >> 10));
        unit(0xdc00 + (code & 0x3ff));
    }
    return at;
}

// Text for the output's own buffer.
class Stream {
public:
    explicit Stream(Output& out) : out_(out) {}

    void flush() {
        out_.took(static_cast<std::size_t>(at_ - begin_));
        begin_ = at_ = end_ = nullptr;
    }

    void put(std::string_view text) {
        for (std::string_view part; !text.empty(); text.remove_prefix(part.size())) {
            part = text.substr(0, piece);
            took(std::copy(part.begin(), part.end(), room(part.size())));
        }
    }
    // Most often of a few bytes, of which whole blocks may be read.
    static constexpr std::size_t block = 16;
    void put_in_blocks(const char* text, std::size_t n) {
        if (n > 16 * block) return put({text, n});
        char* const at = room(17 * block);
        for (std::size_t i = 0; i < n; i += block) std::memcpy(at + i, text + i, block);
        took(at + n);
    }
    template <typename Number>
    void number(Number n) {
        constexpr std::size_t most = 20;
        char* const at = room(most);
        took(std::to_chars(at, at + most, n).ptr);
    }
    // Bytes as characters of the same number, so that every byte can be had back.
    void string(std::string_view bytes) {
        put("\"");
        for (std::string_view part; !bytes.empty(); bytes.remove_prefix(part.size())) {
            part = bytes.substr(0, piece / 6);
            char* at = room(6 * part.size());
            for (const char c : part) at = put_character(at, static_cast<unsigned char>(c));
            took(at);
        }
        put("\"");
    }
    void string_or_null(std::string_view text) { text.empty() ? put("null") : string(text); }
    void digits(Bytes bytes) {
        put("\"");
        for (Bytes part; !bytes.empty(); bytes = bytes.subspan(part.size())) {
            part = bytes.first(std::min(bytes.size(), piece / 2));
            char* const at = room(2 * part.size());
            base16_encode_update(at, part.size(), part.data());
            took(at + 2 * part.size());
        }
        put("\"");
    }

private:
    static constexpr std::size_t piece = 64 * 1024;
    Output& out_;
    char *begin_ = nullptr, *at_ = nullptr, *end_ = nullptr;

    // Free bytes, at most a piece; then up to `end` they have been written.
    char* room(std::size_t n) {
        if (static_cast<std::size_t>(end_ - at_) < n) {
            flush();
            begin_ = at_ = out_.room(piece);
            end_ = begin_ + piece;
        }
        return at_;
    }
    void took(char* end) { at_ = end; }
};

// What stands around the values: brackets, commas, keys and, for people, lines. `Text` has `put`.
template <typename Text>
class Shape {
public:
    // Goes on behind a value, `depth` brackets deep.
    Shape(Text& text, bool pretty, std::size_t depth) : text_(text), pretty_(pretty), depth_(depth) {}

    void open(std::string_view bracket) {
        text_.put(bracket);
        ++depth_;
        first_ = true;
    }
    void close(std::string_view bracket) {
        --depth_;
        if (!first_) line();
        text_.put(bracket);
        first_ = false;
    }
    void element() {
        if (!first_) text_.put(",");
        first_ = false;
        line();
    }
    void key(std::string_view name) {
        element();
        text_.put("\"");
        text_.put(name);
        text_.put(pretty_ ? "\": " : "\":");
    }

private:
    Text& text_;
    bool pretty_, first_ = false;
    std::size_t depth_;

    void line() {
        if (!pretty_) return;
        text_.put("\n");
        for (std::size_t i = 0; i < depth_; ++i) text_.put("  ");
    }
};
