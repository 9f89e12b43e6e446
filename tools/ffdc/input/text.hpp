// Texts that spell bytes: what hex tools print, and what people paste.
#pragma once

#include "input/forms.hpp"
#include "input/source.hpp"

// Of the bytes in the words of a text, if it has words.
enum class Order { printed, swapped, unknown };

struct Reading {
    const Form* form = nullptr;  // null: raw bytes
    int base = 0;                // of the offsets
    Order order = Order::printed;
    bool guessed = false;  // from a text, even if these are raw bytes
};

// Whether the beginning of a source is a text, or has a record in it: then it is not compressed.
bool holds_record_or_text(Bytes head);

// What the bytes are; `asked` is auto, hex or base64. Looks at no more than it must, 4 MiB at most. Throws Failure for
// what is understood, but does not say the bytes in their order.
Reading guess(Source& source, std::string_view asked);

// The bytes that a text spells, with the offsets that stand in it. Lines are missing where an offset is not the one
// that it should be, or, in a form without offsets, where a line cannot be read: that is a gap.
std::unique_ptr<Source> read_text(std::unique_ptr<Source> text, const Reading& reading);

// What a text in UTF-16 says in ASCII, if it begins with the mark of one; otherwise null, and the source is as it was.
std::unique_ptr<Source> read_utf16(std::unique_ptr<Source>& text);
