#include "records/records.hpp"

#include <nettle/base16.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstring>
#include <exception>
#include <iterator>

namespace {

// The same letters, large or small, in any locale: to strcasecmp, a Turkish i is no I.
bool same_letters(std::string_view a, std::string_view b) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c; };
    return std::ranges::equal(a, b, {}, lower, lower);
}

// Types by name, whatever the case and with or without the prefix, or by code.
int parse_type(const std::string& text) {
    constexpr std::string_view prefix = "FFDC_TYPE_";
    std::string_view name = text;
    if (same_letters(name.substr(0, prefix.size()), prefix)) name.remove_prefix(prefix.size());
    std::string valid;
    for (int type = 0; type <= FFDC_TYPE_MTDCRAM; ++type) {
        const char* const known = dd_ffdc_type_name(type);
        if (!known) continue;
        if (same_letters(name, known)) return type;
        valid += std::string(valid.empty() ? "" : ", ") + known;
    }
    const bool hex = text.starts_with("0x") || text.starts_with("0X");
    int code = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data() + (hex ? 2 : 0), end, code, hex ? 16 : 10);
    if (error == std::errc{} && stop == end && code >= 0 && code <= last_type) return code;
    throw Fatal("--type: expected a code or one of " + valid + ", found '" + text + "'");
}

}  // namespace

const char* state_name(int state) { return state == damaged ? "damaged" : dd_ffdc_state_name(state); }

std::string type_name(int type) {
    const char* const name = dd_ffdc_type_name(type);
    return name ? name : "TYPE_" + std::to_string(type);
}
std::string type_name(const Entry& entry) { return entry.has_header() ? type_name(entry.type()) : "-"; }

std::string hex_number(std::uint64_t v, int digits) {
    char reversed[2 * sizeof v];
    int n = 0;
    for (; v != 0 || n < digits; v >>= 4) reversed[n++] = "0123456789abcdef"[v & 15];
    std::string text = "0x";
    while (n > 0) text += reversed[--n];
    return text;
}

std::string hex_digits(Bytes bytes) {
    std::string text(BASE16_ENCODE_LENGTH(bytes.size()), '\0');
    base16_encode_update(text.data(), bytes.size(), bytes.data());
    return text;
}

Trouble trouble_of(const Entry& entry, int state) {
    const auto bytes = [](std::size_t n) { return std::to_string(n) + " bytes"; };
    switch (entry.step) {
        case DD_FFDC_NO_MAGIC:
            return {"no_magic", "magic ffdcffdc",
                    hex_digits(entry.bytes.first(std::min<std::size_t>(4, entry.bytes.size())))};
        case DD_FFDC_BAD_SIZE: return {"bad_size", "a record size of at least 42", std::to_string(entry.size())};
        case DD_FFDC_CUT:
            return {"cut", entry.has_header() ? "a record of " + bytes(entry.size()) : "a header of 42 bytes",
                    bytes(entry.bytes.size())};
        case DD_FFDC_NO_NEXT:
            return {"no_next", "another record, which the last one announces", "the end of the input"};
        default: break;
    }
    const std::size_t length = entry.bytes.size() - DD_FFDC_HEADER_SIZE;
    std::size_t layout = 0;
    dd_ffdc_layout(entry.type(), entry.version(), &layout);
    switch (state) {
        case DD_FFDC_SHORT:
        case DD_FFDC_SIZE_MISMATCH: return {state_name(state), "a payload of " + bytes(layout), bytes(length)};
        case DD_FFDC_UNKNOWN_VERSION:
            return {state_name(state), "a known version of " + type_name(entry),
                    "version " + std::to_string(entry.version())};
        default: return {state_name(state), "a known type", "type " + std::to_string(entry.type())};
    }
}

std::string Value::full_name() const {
    std::string full = group + (group.empty() ? "" : ".") + name;
    if (index >= 0) full += "[" + std::to_string(index) + "]";
    return full;
}

std::string Value::number_text() const {
    if (missing || kind == DD_FFDC_TEXT || kind == DD_FFDC_BYTES || kind == DD_FFDC_UNSHOWN) return "";
    if (kind == DD_FFDC_ADDRESS) return hex_number(static_cast<std::uint64_t>(number), 1);
    return size == 8 && kind != DD_FFDC_SIGNED ? std::to_string(static_cast<std::uint64_t>(number))
                                               : std::to_string(number);
}

namespace {

constexpr auto digits = [] {
    std::array<std::uint8_t, 256> values{};
    values.fill(0xff);
    for (std::uint8_t i = 0; i < 16; ++i) values[static_cast<unsigned char>("0123456789abcdef"[i])] = i;
    return values;
}();

}  // namespace

// A text of digits alone is decimal where it reads as the number so, and hexadecimal where it does so.
std::string_view plain_text(const dd_ffdc_value& v, std::string_view printed, std::span<char, 32> room) {
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
    std::uint64_t as_hexadecimal = 0;
    unsigned highest = 0;
    for (const char c : printed.substr(negative)) {
        const unsigned digit = digits[static_cast<unsigned char>(c)];
        highest = std::max(highest, digit);
        as_hexadecimal = as_hexadecimal << 4 | (digit & 15);
    }
    if (highest > 15) return printed;
    if (highest < 10) {
        std::uint64_t as_decimal = 0;
        for (const char c : printed.substr(negative)) as_decimal = 10 * as_decimal + static_cast<unsigned>(c - '0');
        if ((negative ? 0 - as_decimal : as_decimal) == number)
            return !negative && printed.front() != '0' ? printed : in_decimal();
    }
    const std::uint64_t mask = v.size < 8 ? (std::uint64_t{1} << 8 * v.size) - 1 : ~std::uint64_t{0};
    if (negative || as_hexadecimal != (number & mask)) return printed;
    room[0] = '0';
    room[1] = 'x';
    std::copy(printed.begin(), printed.end(), room.begin() + 2);
    return {room.data(), printed.size() + 2};
}

std::string Value::plain_text() const {
    dd_ffdc_value v{};
    v.size = size;
    v.kind = kind;
    v.missing = missing;
    v.number = number;
    char room[32];
    return std::string(::plain_text(v, text, room));
}

int values_of(const Entry& entry, std::vector<Value>& values) {
    struct Collector {
        Bytes record;
        std::vector<Value>& values;
        std::vector<Value> rest;
        std::exception_ptr error;

        void unshown(std::size_t offset, std::size_t size) {
            rest.push_back({"", "", -1, static_cast<std::uint32_t>(offset), static_cast<std::uint32_t>(size),
                            DD_FFDC_UNSHOWN, false, 0, "", record.subspan(offset, size)});
        }
        void add(const dd_ffdc_value& v) {
            if (v.kind == DD_FFDC_UNSHOWN) return unshown(v.offset, v.size);
            const std::size_t begin = std::min<std::size_t>(v.offset, record.size());
            const Bytes bytes = record.subspan(begin, std::min<std::size_t>(v.size, record.size() - begin));
            char buffer[DD_FFDC_VALUE_ROOM];
            std::size_t length;
            const char* const text = dd_ffdc_value_text(&v, buffer, &length);
            values.push_back({v.group, v.name, v.index, v.offset, v.size, v.kind, v.missing != 0, v.number,
                              std::string(text, length), bytes});
            if (v.missing && !bytes.empty()) {
                unshown(begin, bytes.size());
            } else if (v.kind == DD_FFDC_TEXT) {
                const std::size_t behind = strnlen(reinterpret_cast<const char*>(bytes.data()), bytes.size()) + 1;
                for (std::size_t i = behind; i < bytes.size(); ++i)
                    if (bytes[i] != 0) return unshown(begin + behind, bytes.size() - behind);
            }
        }
    };
    values.clear();
    if (!entry.has_header()) return damaged;
    Collector collector{entry.bytes, values, {}, nullptr};
    // No exception may cross the library, which is built without them.
    const auto each = [](void* self, const dd_ffdc_value* value) {
        Collector& c = *static_cast<Collector*>(self);
        try {
            if (!c.error) c.add(*value);
        } catch (...) {
            c.error = std::current_exception();
        }
    };
    const int state = dd_ffdc_values(&entry.header(), entry.bytes.size(), each, &collector);
    if (collector.error) std::rethrow_exception(collector.error);
    collector.unshown(offsetof(dd_ffdc_hdr, reserved), sizeof(dd_ffdc_hdr::reserved));
    std::sort(collector.rest.begin(), collector.rest.end(),
              [](const Value& a, const Value& b) { return a.offset < b.offset; });
    std::move(collector.rest.begin(), collector.rest.end(), std::back_inserter(values));
    return entry.is_damaged() ? damaged : state;
}

int state_of(const Entry& entry) {
    if (entry.is_damaged()) return damaged;
    static std::vector<char> text(DD_FFDC_RENDER_ROOM);
    dd_ffdc_state state{};
    dd_ffdc_render(&entry.header(), entry.bytes.size(), text.data(), DD_FFDC_RENDER_ROOM, &state);
    return state;
}

Session::Session(const Options& asked) : options(asked), out(asked) {
    for (const std::string& type : options.types) wanted_.set(static_cast<std::size_t>(parse_type(type)));
}

int Session::status() const { return failure_ ? exit_failed : !any_ ? exit_none : damage_ ? exit_damaged : exit_ok; }

void Session::each_input(std::size_t window, const std::function<void(Input&)>& use) {
    for (const std::string& file : options.files) {
        try {
            Input input(file, options.from, window);
            use(input);
        } catch (const Failure& failure) {
            failure_ = true;
            out.message(file + ": " + failure.what());
        }
    }
}

int Session::each_entry(const Visit& visit) {
    each_input(SIZE_MAX, [&](const Input& input) { each_entry(input, visit); });
    return status();
}

void Session::each_entry(const Input& input, const Visit& visit) {
    const Bytes area = input.bytes();
    dd_ffdc_cursor cursor{};
    std::size_t index = 0;
    while (const int step = dd_ffdc_next(area.data(), area.size(), &cursor)) {
        const Bytes bytes = area.subspan(cursor.offset, cursor.next - cursor.offset);
        one_entry({input.name(), cursor.offset, index++, bytes, step}, visit);
    }
}

void Session::one_entry(const Entry& entry, const Visit& visit) {
    // A place without a header may hide a record of any type: that is told, but not shown among those of one type.
    if (entry.has_header() && !wants(entry.type())) return;
    const int state = entry.has_header() || options.types.empty() ? visit(entry) : damaged;
    any_ = any_ || entry.has_header();
    if (state == DD_FFDC_OK) return;
    damage_ = true;
    if (options.quiet) return;
    const Trouble trouble = trouble_of(entry, state);
    out.message(entry.file + ": offset " + hex_number(entry.offset) + ": expected " + trouble.expected + ", found " +
                trouble.found);
}

void put_separator(Session& s, const Entry& entry) {
    if (s.options.no_legend) return;
    std::string line =
        "==> " + entry.file + " offset " + hex_number(entry.offset) + " record " + std::to_string(entry.index) + " ";
    if (entry.has_header()) line += type_name(entry) + " ";
    line += entry.is_damaged() ? "damaged <==" : "<==";
    s.out.put_foreign(line, entry.is_damaged() ? Style::bad : Style::heading);
    s.out.put("\n");
}
