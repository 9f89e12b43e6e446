// What the tests share: records built by hand, memory that ends at a guard page, what standard output received, and
// a second opinion on headers, raw dumps and what a room holds of a text.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

#include "golden.hpp"
#include "tavi_ffdc.h"

using Bytes = std::vector<std::uint8_t>;

struct Header {
    int type = 0;
    std::uint32_t version = 0;
    int size = -1;  // -1: that of the record
    std::uint32_t chained = 0;
    std::int32_t head_version = 1;
    std::uint32_t magic = DD_FFDC_MAGIC;
    std::int32_t pid = 4711, tgid = -3;
    std::uint32_t time[2] = {0x0012abcd, 0xfedc0001};
};
Bytes record_of(Header header, const Bytes& payload);
Bytes record_of(const Golden& golden);
// Header text and type line.
std::string heading(const Header& header, std::size_t record_size, std::string_view type_line);
std::string heading(const Golden& golden);

inline const dd_ffdc_hdr* as_record(const std::uint8_t* bytes) { return reinterpret_cast<const dd_ffdc_hdr*>(bytes); }

// Readable and writable memory between two pages that are neither.
class Guarded {
public:
    explicit Guarded(std::size_t size);
    ~Guarded();
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;

    std::uint8_t* end() const { return end_; }
    // Copies bytes so that they end before the last page.
    const std::uint8_t* back(const Bytes& bytes, std::size_t size) const;
    const std::uint8_t* back(const Bytes& bytes) const { return back(bytes, bytes.size()); }

private:
    std::uint8_t *begin_, *end_;
    std::size_t page_;
};

// What was written to standard output while this object lived.
class Capture {
public:
    Capture();
    ~Capture();
    std::string text();

private:
    int saved_;
    std::FILE* file_;
};
std::string written_by(const std::function<void()>& call);

// A number as printf shows it.
template <typename Number>
std::string formatted(const char* format, Number number) {
    char text[100];
    std::snprintf(text, sizeof text, format, number);
    return text;
}

// A raw dump as it is documented, byte by byte.
std::string dump_text(const std::uint8_t* data, int length, long room);

struct Written {
    std::string text;
    std::size_t length;  // of the text without the room's limit, dumps excepted
};
// What a room holds of a text: its beginning, but of a raw dump whole lines, while 70 bytes are left.
class Fitted {
public:
    explicit Fitted(std::string_view whole);
    Written in(int room) const;

private:
    struct Piece {
        std::string text;
        bool dump_line;
    };
    std::vector<Piece> pieces_;
};

// A text is rendered by something that takes a buffer and its room.
using Renderer = std::function<int(char* out, int room)>;
std::string rendered(const Renderer& render);
// What is wrong with the rendering into a room of which one byte more or less would hit a guard page; "" if nothing.
std::string room_flaw(const Renderer& render, const Fitted& expected, bool counts_whole, int room);

// The first line in which two texts differ; "" if none does.
std::string difference(std::string_view text, std::string_view expected);

std::string record_text(const std::uint8_t* record, std::size_t there, dd_ffdc_state* state = nullptr);
Renderer printing(const Driver& driver, std::uint32_t version, const std::uint8_t* payload, int length);
std::string decoded(const Driver& driver, std::uint32_t version, const std::uint8_t* payload, int length);
// Whether the decoder accepts one length only, as golden cases show: one has a payload that is longer than its layout.
bool exact(const Driver& driver);
// Whether the count tells the length of the whole text when the room cuts it, or what was stored.
bool counts_whole(const Driver& driver, std::string_view text);
// Trace lines that a call of the decoder writes to standard output.
std::string trace_of(const Golden& golden);
