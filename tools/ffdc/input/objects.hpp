// The values of a JSON text, one object at a time.
#pragma once

#include <memory_resource>
#include <string>
#include <string_view>
#include <vector>

#include "input/input.hpp"

// A value that is neither object nor array, or an empty one of these.
struct Leaf {
    enum class Kind : std::uint8_t { null, boolean, number, text, object, array };

    Kind kind;
    std::string_view path;  // "payload.tx_data[3]"
    std::string_view text;  // as in the text; of a string, what it stands for
    std::size_t end;        // of the value in the text

    std::string told() const;  // in messages
};

// Objects one after the other, on one line each or on many.
class Objects {
public:
    explicit Objects(Source& source) : source_(source) {}

    // The next one; false at the end. What is no JSON, or too long, is a Failure.
    bool next();
    // Of the object; as long as there is no other.
    const std::vector<Leaf>& leaves() const { return leaves_; }
    std::size_t line() const { return line_; }  // of its first character, counted from 1
    std::size_t line_of(const Leaf& leaf) const;

private:
    Source& source_;
    std::vector<Leaf> leaves_;
    std::pmr::monotonic_buffer_resource memory_{64 * 1024};
    std::size_t line_ = 1, column_ = 1, size_ = 0;  // of the object

    void skip(std::size_t n);
    [[noreturn]] void fail(std::size_t at, const std::string& expected) const;
};
