// The values of records, as the library tells them: keys are constant, a text is made only for who asks for it.
#pragma once

#include <array>
#include <memory_resource>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "records/layouts.hpp"
#include "records/records.hpp"

// A value that outlives its telling, as the library has it: `text` is there if it was wanted, and like `bytes` (those
// of the value that are there) it lives as long as the record, and until the next one is read.
struct Value {
    const char *group = "", *name = "";
    int index = -1;
    std::uint32_t offset = 0, size = 0;
    dd_ffdc_kind kind = DD_FFDC_UNSHOWN;
    bool missing = false;
    std::int64_t number = 0;
    std::uint64_t mask = 0;
    std::string_view text = {};
    Bytes bytes = {};

    Value() = default;
    explicit Value(const auto& v)  // a dd_ffdc_value or a Field
        : group(v.group), name(v.name), index(v.index), offset(v.offset), size(v.size), kind(v.kind), mask(v.mask) {}
    Value(const dd_ffdc_value& v, std::string_view text_of_it, Bytes bytes_of_it) : Value(v) {
        missing = v.missing != 0, number = v.number, text = text_of_it, bytes = bytes_of_it;
    }

    bool has_number() const {
        return !missing && kind != DD_FFDC_TEXT && kind != DD_FFDC_BYTES && kind != DD_FFDC_UNSHOWN;
    }
    // Which bits of its byte `i` it is.
    std::uint8_t bits(std::size_t i) const {
        return mask == 0 ? 0xff : static_cast<std::uint8_t>(mask >> 8 * (size - 1 - i));
    }
    bool is_unsigned_64() const { return size == 8 && kind != DD_FFDC_SIGNED; }
    std::string key() const { return key_of(group, name, index); }
    std::string number_text() const;  // decimal; "" for texts and bytes
    // See below; an area of bytes as digits.
    std::string plain_text() const;
};

// The printed text of a value without the blanks around it, and with 0x if it is hexadecimal; the number where nothing
// is printed, "?" where that is not there. It may lie in `room`.
std::string_view plain_text(const Value& v, std::string_view printed, std::span<char, 32> room);

// Calls each(const dd_ffdc_value&) for every value of an entry, as dd_ffdc_values does, and returns the state.
// What `each` throws must not pass through the library, so it throws nothing.
template <typename Each>
int each_value(const Entry& entry, Each each) {
    if (!entry.has_header()) return damaged;
    const auto call = [](void* self, const dd_ffdc_value* v) noexcept { (*static_cast<Each*>(self))(*v); };
    const int state = dd_ffdc_values(&entry.header(), entry.bytes.size(), call, &each);
    return entry.is_damaged() ? damaged : state;
}
// The text as printed of a value that is being told; kept in `memory` if it lies nowhere else.
std::string_view text_of(const dd_ffdc_value& v, std::pmr::memory_resource& memory);
// What is there of its bytes.
Bytes bytes_of(const dd_ffdc_value& v, const Entry& entry);

// All values of one record at a time, and the bytes that none of them gives back.
class Values {
public:
    // Returns the state. `wants_text` says whose text is kept.
    template <typename Wants>
    int read(const Entry& entry, Wants&& wants_text) {
        begin(entry);
        const int state = each_value(entry, [&](const dd_ffdc_value& v) {
            values_.emplace_back(v, wants_text(v) ? text_of(v, memory_) : std::string_view(), bytes_of(v, entry));
        });
        find_unshown(entry);
        return state;
    }
    int read(const Entry& entry) {
        return read(entry, [](const dd_ffdc_value&) { return true; });
    }

    // In the order of the text.
    std::span<const Value> shown() const { return std::span(values_).first(shown_); }
    // Of kind DD_FFDC_UNSHOWN, in that of their offsets: what the library calls so, the bytes behind the NUL of a text,
    // of values that are cut or whose number does not say them (a digit above 9), bits that have no value, and whatever
    // belongs to the entry but to no record.
    std::span<const Value> unshown() const { return std::span(values_).subspan(shown_); }
    std::span<const Value> all() const { return values_; }

private:
    std::vector<Value> values_;
    std::size_t shown_ = 0;
    std::vector<std::uint8_t> given_;  // for each byte, the bits that values give back; with slack
    std::array<std::byte, 16384> room_;
    std::pmr::monotonic_buffer_resource memory_{room_.data(), room_.size()};

    void begin(const Entry& entry);
    void find_unshown(const Entry& entry);
    void give(const Value& v);
};
