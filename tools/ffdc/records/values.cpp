#include "records/values.hpp"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstring>

namespace {

constexpr auto value_of_digit = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(0xff);
    for (std::uint8_t i = 0; i < 16; ++i)
        values[static_cast<unsigned char>("0123456789abcdef"[i])] =
            values[static_cast<unsigned char>("0123456789ABCDEF"[i])] = i;
    return values;
}();

}  // namespace

std::string Value::number_text() const {
    if (!has_number()) return "";
    return is_unsigned_64() ? std::to_string(static_cast<std::uint64_t>(number)) : std::to_string(number);
}

std::string Value::plain_text() const {
    if (kind == DD_FFDC_BYTES) return hex_digits(bytes);
    char room[32];
    return std::string(::plain_text(*this, text, room));
}

// A text of digits alone is decimal where it reads as the number so, and hexadecimal where it does so.
std::string_view plain_text(const Value& v, std::string_view printed, std::span<char, 32> room) {
    const auto blank = [](char c) { return c == ' ' || c == '\t' || c == '\n'; };
    while (!printed.empty() && blank(printed.front())) printed.remove_prefix(1);
    while (!printed.empty() && blank(printed.back())) printed.remove_suffix(1);
    if (v.missing) return printed.empty() ? "?" : printed;
    if (v.kind >= DD_FFDC_TEXT && v.kind != DD_FFDC_FLAG && v.kind != DD_FFDC_BCD) return printed;
    const auto number = static_cast<std::uint64_t>(v.number);
    const auto in_decimal = [&] {
        const bool is_signed = v.size < 8 || v.kind == DD_FFDC_SIGNED;
        char* const end = is_signed ? std::to_chars(room.data(), room.data() + room.size(), v.number).ptr
                                    : std::to_chars(room.data(), room.data() + room.size(), number).ptr;
        return std::string_view(room.data(), static_cast<std::size_t>(end - room.data()));
    };
    if (printed.empty()) return in_decimal();
    if (printed.size() > 20) return printed;
    const bool negative = printed.front() == '-';
    bool decimal = true;
    std::uint64_t as_decimal = 0, as_hexadecimal = 0;
    for (const char c : printed.substr(negative)) {
        const unsigned digit = value_of_digit[static_cast<unsigned char>(c)];
        if (digit > 15) return printed;
        decimal = decimal && digit < 10;
        as_decimal = 10 * as_decimal + digit;
        as_hexadecimal = as_hexadecimal << 4 | digit;
    }
    if (decimal && (negative ? 0 - as_decimal : as_decimal) == number)
        return !negative && printed.front() != '0' ? printed : in_decimal();
    const std::uint64_t mask = v.size < 8 ? (std::uint64_t{1} << 8 * v.size) - 1 : ~std::uint64_t{0};
    if (negative || as_hexadecimal != (number & mask)) return printed;
    room[0] = '0';
    room[1] = 'x';
    std::copy(printed.begin(), printed.end(), room.begin() + 2);
    return {room.data(), printed.size() + 2};
}

std::string_view text_of(const dd_ffdc_value& v, std::pmr::memory_resource& memory) {
    char buffer[DD_FFDC_VALUE_ROOM];
    std::size_t length = 0;
    const char* const text = dd_ffdc_value_text(&v, buffer, &length);
    if (text != buffer) return {text, length};
    char* const kept = static_cast<char*>(memory.allocate(length + 1, 1));
    std::memcpy(kept, buffer, length);
    return {kept, length};
}

Bytes bytes_of(const dd_ffdc_value& v, const Entry& entry) {
    const std::size_t begin = std::min<std::size_t>(v.offset, entry.bytes.size());
    return entry.bytes.subspan(begin, std::min<std::size_t>(v.size, entry.bytes.size() - begin));
}

void Values::begin(const Entry& entry) {
    values_.clear();
    memory_.release();
    // Values lie within the record, or its header; what else the entry has is unshown.
    const std::size_t record = entry.has_header() ? std::max<std::size_t>(DD_FFDC_HEADER_SIZE, entry.size()) : 0;
    given_.assign(std::min(record, entry.bytes.size()) + 2 * sizeof(std::uint64_t), 0);
}

// Notes the bits that can be had back from a value.
void Values::give(const Value& v) {
    if (v.missing || v.bytes.empty()) return;
    std::uint8_t* const given = given_.data() + v.offset;
    switch (v.kind) {
        case DD_FFDC_UNSHOWN: return;
        case DD_FFDC_BYTES: std::memset(given, 0xff, v.bytes.size()); return;
        case DD_FFDC_TEXT: {
            const auto end = std::find(v.bytes.begin(), v.bytes.end(), 0);
            const bool rest = std::any_of(end, v.bytes.end(), [](std::uint8_t byte) { return byte != 0; });
            std::memset(given, 0xff, rest ? static_cast<std::size_t>(end - v.bytes.begin()) + 1 : v.bytes.size());
            return;
        }
        case DD_FFDC_BCD: {
            const unsigned digits = v.bytes.back() & static_cast<unsigned>(v.mask);
            if ((digits & 0xf) > 9 || digits >> 4 > 9) return;
            break;
        }
        default: break;
    }
    std::uint64_t bits = v.mask << (64 - 8 * v.size), before = 0;
    if constexpr (std::endian::native == std::endian::little) bits = __builtin_bswap64(bits);
    std::memcpy(&before, given, sizeof before);
    before |= bits;
    std::memcpy(given, &before, sizeof before);
}

void Values::find_unshown(const Entry& entry) {
    std::erase_if(values_, [](const Value& v) { return v.kind == DD_FFDC_UNSHOWN; });
    shown_ = values_.size();
    for (const Value& v : values_) give(v);
    const std::size_t record = given_.size() - 2 * sizeof(std::uint64_t), size = entry.bytes.size();
    const auto whole = [&](std::size_t i) {
        const unsigned lost = i < record ? 0xffu & ~given_[i] : 0xffu;
        return lost == 0 || (lost != 0xff && (entry.bytes[i] & lost) == 0);
    };
    for (std::size_t begin = 0; begin < size;) {
        std::uint64_t eight = 0;
        if (begin + sizeof eight <= record) std::memcpy(&eight, given_.data() + begin, sizeof eight);
        if (eight == ~std::uint64_t{0}) {
            begin += sizeof eight;
            continue;
        }
        if (whole(begin)) {
            ++begin;
            continue;
        }
        std::size_t end = begin + 1;
        while (end < record && !whole(end)) ++end;
        if (end >= record) end = size;
        const Bytes run = entry.bytes.subspan(begin, end - begin);
        values_.push_back({});
        Value& v = values_.back();
        v.group = v.name = "";
        v.index = -1;
        v.offset = static_cast<std::uint32_t>(begin);
        v.size = static_cast<std::uint32_t>(run.size());
        v.kind = DD_FFDC_UNSHOWN;
        v.bytes = run;
        begin = end;
    }
}
