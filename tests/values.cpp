// dd_ffdc_values against the bytes of the record. Where the text shows values is what fuzz/fuzz_record.cpp looks at.
#include <doctest/doctest.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <sstream>
#include <tuple>

#include "support.hpp"

namespace {

struct Value {
    std::string group, name;
    int index;
    std::size_t offset, size;
    dd_ffdc_kind kind;
    bool missing;
    std::int64_t number;
    std::uint64_t mask;
    bool shown;
    std::string text;
};

void keep(void* to, const dd_ffdc_value* v) {
    const std::unique_ptr<char[]> buffer(new char[DD_FFDC_VALUE_ROOM]);  // where sanitizers see one too many
    std::size_t length;
    const char* const text = dd_ffdc_value_text(v, buffer.get(), &length);
    static_cast<std::vector<Value>*>(to)->push_back({v->group, v->name, v->index, v->offset, v->size, v->kind,
                                                     v->missing != 0, v->number, v->mask, text != nullptr,
                                                     std::string(text ? text : "", length)});
}

std::vector<Value> values_of(const std::uint8_t* record, std::size_t there, int* state = nullptr) {
    std::vector<Value> values;
    const int result = dd_ffdc_values(as_record(record), there, keep, &values);
    if (state) *state = result;
    return values;
}

std::uint64_t big_endian(const std::uint8_t* p, std::size_t size) {
    std::uint64_t v = 0;
    for (std::size_t i = 0; i < size; ++i) v = v << 8 | p[i];
    return v;
}

// Whether a text says the number, in any of the ways that tables have: decimal of either sign, hexadecimal.
bool says(const std::string& text, std::uint64_t number, std::size_t size) {
    const std::uint64_t bits = size >= 8 ? ~std::uint64_t{0} : (std::uint64_t{1} << 8 * size) - 1;
    char* end;
    for (int base : {10, 16}) {
        const std::uint64_t v = text.find('-') != text.npos
                                    ? static_cast<std::uint64_t>(std::strtoll(text.c_str(), &end, base))
                                    : std::strtoull(text.c_str(), &end, base);
        if (end != text.c_str() && *end == '\0' && ((v ^ number) & bits) == 0) return true;
    }
    return text == "(nil)" && number == 0;
}

// Words that stand for one number, where a decoder knows it.
bool stands_for(const std::string& word, std::uint64_t number) {
    return (word == "jtag" && number == 0x1a000000) || (word == "scratchpad" && number == 0x1b000000) ||
           (word == "VEK1" && number == 0x11) || (word == "0" && number == ~std::uint64_t{0});
}

// What a value says that its bytes do not; "" if nothing.
std::string value_flaw(const Value& v, const std::uint8_t* record) {
    const std::uint8_t* const p = record + v.offset;
    const std::uint64_t raw = v.size <= 8 ? big_endian(p, v.size) : 0;
    const auto number = static_cast<std::uint64_t>(v.number);
    const bool is_number = v.kind != DD_FFDC_TEXT && v.kind != DD_FFDC_BYTES && v.kind != DD_FFDC_UNSHOWN;
    if (is_number ? v.mask == 0 || v.mask > ~std::uint64_t{0} >> (64 - 8 * v.size) : v.mask != 0) return "mask";
    switch (v.kind) {
        case DD_FFDC_SIGNED: {
            const std::uint64_t sign = std::uint64_t{1} << (8 * v.size - 1);
            if (number != (raw ^ sign) - sign) return "number is not the sign-extended bytes";
            return !v.shown || says(v.text, number, v.size) ? "" : "text is another number";
        }
        case DD_FFDC_UNSIGNED:
        case DD_FFDC_ADDRESS:
            if (number != (raw & v.mask)) return "number is not the bytes";
            return !v.shown || says(v.text, number, v.size) || stands_for(v.text, number) ? ""
                                                                                          : "text is another number";
        case DD_FFDC_NAME: {
            // The only name of a signed number is that of an error.
            const std::uint64_t sign = v.name == "rc_text" ? std::uint64_t{1} << 31 : 0;
            if (number != ((raw & v.mask) ^ sign) - sign) return "number is not the bytes";
            return v.text.empty() ? "no name" : "";
        }
        case DD_FFDC_FLAG:
            if (!std::has_single_bit(v.mask)) return "a flag of several bits";
            return v.number == ((raw & v.mask) != 0) ? "" : "not the bit";
        case DD_FFDC_LITERAL: return "no value";
        case DD_FFDC_BCD: {
            const auto digits = static_cast<std::int64_t>(*p & v.mask);
            if (v.number != 10 * (digits >> 4) + (digits & 15)) return "number is not the decimal digits";
            return says(v.text, number, v.size) ? "" : "text is another number";
        }
        case DD_FFDC_TEXT: {
            const char* const s = reinterpret_cast<const char*>(p);
            return v.text == std::string(s, strnlen(s, v.size)) ? "" : "text is not that of the bytes";
        }
        case DD_FFDC_BYTES:
            return v.text == dump_text(p, static_cast<int>(v.size), 1 << 20) ? "" : "text is not a dump of the bytes";
        case DD_FFDC_UNSHOWN:
            if (v.shown || v.index != -1 || v.number != 0 || v.missing) return "unshown, but says something";
            return v.group.empty() && v.name.empty() && v.size > 0 ? "" : "unshown bytes have no name";
    }
    return "unknown kind";
}

std::string list_flaw(const std::vector<Value>& values, const std::uint8_t* record, std::size_t there) {
    Bytes covered(there), had(there);  // 1 by values, 2 by runs; the bits that can be had back
    std::set<std::tuple<std::string, std::string, int>> names;
    int part = 0;  // header, payload, unshown runs
    std::size_t run_end = 0;
    for (const Value& v : values) {
        const auto flaw_of = [&v](const std::string& what) {
            return v.group + "/" + v.name + "[" + std::to_string(v.index) + "]@" + std::to_string(v.offset) + ": " +
                   what;
        };
        const int own = v.kind == DD_FFDC_UNSHOWN ? 2 : v.group == "header" ? 0 : 1;
        if (own < part) return flaw_of("out of order");
        part = own;
        if (own == 0 ? v.offset + v.size > 42 : v.offset < 42) return flaw_of("in the wrong part of the record");
        if (own == 2) {
            // Runs are as long as can be, so that two never touch.
            if (v.offset <= run_end && run_end != 0) return flaw_of("runs touch or go back");
            run_end = v.offset + v.size;
        } else if (v.name.empty() || !names.emplace(v.group, v.name, v.index).second) {
            return flaw_of("not the only one of this name");
        } else if (constexpr const char* letters = "abcdefghijklmnopqrstuvwxyz0123456789_";
                   v.name.find_first_not_of(letters) != v.name.npos ||
                   v.group.find_first_not_of(std::string(letters) + ".") != v.group.npos) {
            return flaw_of("not a key");
        }
        if (v.missing != (v.offset + v.size > there || v.size == 0)) return flaw_of("missing, or not");
        if (v.missing && v.number != 0) return flaw_of("missing, but has a number");
        const bool whole = v.missing || v.kind == DD_FFDC_TEXT || v.kind == DD_FFDC_BYTES || own == 2;
        for (std::size_t i = v.offset, shift = 8 * v.size; i < std::min(v.offset + v.size, there); ++i) {
            if (covered[i] == 2 || (covered[i] == 1 && own == 2)) return flaw_of("run overlaps a value");
            covered[i] = own == 2 ? 2 : 1;
            shift -= 8;
            had[i] = static_cast<std::uint8_t>(had[i] | (whole ? 0xff : v.mask >> shift));
        }
        if (v.missing) continue;
        if (const std::string flaw = value_flaw(v, record); !flaw.empty()) return flaw_of(flaw + ": " + v.text);
    }
    for (std::size_t i = 0; i < there; ++i)
        if ((i < 4 || i >= 12) && (covered[i] == 0 || (record[i] & ~had[i]) != 0))
            return "byte " + std::to_string(i) + " cannot be had back";
    return "";
}

dd_ffdc_state state_of(const Driver& driver, std::uint32_t version, const std::string& text) {
    const auto says_so = [&](const char* what) { return text.find(what) != text.npos; };
    const bool other_version = says_so("Unrecogni") || says_so("Unknown FFDC version") ||
                               (driver.type == FFDC_TYPE_IIC && version > 3) ||
                               (driver.type == FFDC_TYPE_PSI && (version == 0 || version > 3)) ||
                               (driver.type == FFDC_TYPE_MBOX && (version == 0 || version > 5));
    if (other_version) return DD_FFDC_UNKNOWN_VERSION;
    if (!says_so("Data size mismatch")) return DD_FFDC_OK;
    return exact(driver) ? DD_FFDC_SIZE_MISMATCH : DD_FFDC_SHORT;
}

struct Field {
    Value value;
    std::vector<dd_ffdc_condition> when;
};

// Everything that a type and version may show, copied; none if the library was built without descriptions.
std::vector<Field> fields_of(int type, std::uint32_t version) {
    std::vector<Field> fields;
    dd_ffdc_fields(
        type, version,
        [](void* to, const dd_ffdc_field* f) {
            Field field = {{f->group, f->name, f->index, f->offset, f->size, f->kind, false, 0, f->mask, false, ""},
                           {}};
            for (const dd_ffdc_condition* c = f->when; c; c = c->outer) field.when.push_back(*c);
            static_cast<std::vector<Field>*>(to)->push_back(field);
        },
        &fields);
    return fields;
}

bool holds(const dd_ffdc_condition& c, const std::uint8_t* record, std::size_t there) {
    const std::uint64_t number = c.offset + c.size <= there ? big_endian(record + c.offset, c.size) : 0;
    return ((number & c.mask) == c.number) == (c.equal != 0);
}

// The first value that is not the one described at its place in the text.
std::string description_flaw(const std::vector<Field>& fields, const std::vector<Value>& values,
                             const std::uint8_t* record, std::size_t there, bool body_shown) {
    auto value = values.begin();
    for (const Field& f : fields) {
        const Value& expected = f.value;
        if (expected.name.empty() || (!body_shown && expected.group != "header") ||
            !std::ranges::all_of(f.when, [&](const auto& c) { return holds(c, record, there); }))
            continue;
        const std::string key = expected.group + "/" + expected.name + "[" + std::to_string(expected.index) + "]";
        if (value == values.end()) return key + " is described, but not reported";
        const auto place = [](const Value& v) { return std::tie(v.group, v.name, v.index, v.offset, v.kind, v.mask); };
        const std::size_t rest = there - std::min(there, expected.offset);
        if (place(*value) != place(expected) ||
            (expected.size != 0 ? value->size != expected.size : value->size > rest))
            return key + " is described where " + value->group + "/" + value->name + " is reported, or otherwise";
        ++value;
    }
    return value == values.end() || value->kind == DD_FFDC_UNSHOWN ? "" : value->name + " is not described";
}

// The status of SCAN records is printed a second time, but handed out once.
bool shown_twice(const Golden& g, const Value& v) {
    return g.driver->type == FFDC_TYPE_SCAN && (g.version == 3 || g.version == 4) && v.name == "status";
}

}  // namespace

TEST_CASE("values of records, whole and cut at every byte") {
    const Guarded area(1 << 16);
    for (const Golden& g : goldens()) {
        const Bytes bytes = record_of(g);
        const std::vector<Field> fields = fields_of(g.driver->type, g.version);
        for (std::size_t there = 42; there <= bytes.size(); ++there) {
            const std::uint8_t* const record = area.back(bytes, there);
            int state;
            const std::vector<Value> values = values_of(record, there, &state);
            const std::string text = record_text(record, there);
            std::string flaw = list_flaw(values, record, there);
            // Of an empty payload DPSS shows nothing at all.
            const bool body = state != DD_FFDC_SIZE_MISMATCH && (g.driver->type != FFDC_TYPE_DPSS || there > 42);
            if (flaw.empty() && !fields.empty()) flaw = description_flaw(fields, values, record, there, body);
            if (there == bytes.size() && state != state_of(*g.driver, g.version, g.text)) flaw = "another state";
            // Every question mark outside dumps of cut records stands for a missing value.
            std::ptrdiff_t marks = 0;
            for (const Value& v : values)
                if (v.missing && v.kind != DD_FFDC_TEXT && v.kind != DD_FFDC_BYTES)
                    marks += std::count(v.text.begin(), v.text.end(), '?') * (shown_twice(g, v) ? 2 : 1);
            std::istringstream lines(text);
            for (std::string line; std::getline(lines, line);)
                if (line.find(" ] [") == line.npos) marks -= std::count(line.begin(), line.end(), '?');
            if (flaw.empty() && marks != 0 && there < bytes.size())
                flaw = "question marks that are no missing value: " + text;
            if (flaw.empty()) continue;
            FAIL_CHECK(g.name << ", " << there - 42 << " bytes: " << flaw);
            break;
        }
    }
}

TEST_CASE("the header's values, types without a decoder") {
    const Bytes record = record_of({.type = 14,
                                    .version = 7,
                                    .chained = 0x80000000,
                                    .head_version = -2,
                                    .pid = -5,
                                    .tgid = 6,
                                    .time = {0xffffffff, 1}},
                                   Bytes(3, 0));
    int state;
    const std::vector<Value> values = values_of(record.data(), record.size(), &state);
    CHECK(state == DD_FFDC_UNKNOWN_TYPE);
    std::set<std::string> told;
    for (const Value& v : values)
        told.insert(v.name + (v.index < 0 ? "" : std::to_string(v.index)) + "=" + std::to_string(v.number) + "@" +
                    std::to_string(v.offset) + "+" + std::to_string(v.size));
    CHECK(told == std::set<std::string>{"magic=4292673500@0+4", "chained=2147483648@12+4", "head_version=-2@16+4",
                                        "pid=-5@20+4", "type=14@24+2", "version=7@26+2", "time0=4294967295@28+4",
                                        "time1=1@32+4", "size=45@36+2", "tgid=6@38+4", "=0@42+3"});
    CHECK(list_flaw(values, record.data(), record.size()) == "");
}

TEST_CASE("records whose sizes lie") {
    const Capture silence;
    for (const Driver& driver : drivers)
        for (const int size : {0, 1, 41, 42, 43, 65535})
            for (const std::size_t there : {42u, 43u, 600u, 65535u}) {
                const Guarded area(there);
                const std::uint8_t* const record =
                    area.back(record_of({.type = driver.type, .version = 2, .size = size}, Bytes(there - 42, 0x81)));
                INFO(driver.name << ", size " << size << ", there " << there);
                dd_ffdc_cursor cursor = {0, 0, 0};
                const auto says = static_cast<std::size_t>(size);
                const int step = says < 42 ? DD_FFDC_BAD_SIZE : says > there ? DD_FFDC_CUT : DD_FFDC_RECORD;
                CHECK(dd_ffdc_next(record, there, &cursor) == step);
                dd_ffdc_state state = {};
                const std::string text = record_text(record, there, &state);
                CHECK(text.starts_with("  head version[1] time[12abcd fedc0001] size[" + std::to_string(size) + "]\n"));
                // Values end where the record or what is there of it ends, whichever comes first.
                int values_state;
                const std::vector<Value> values = values_of(record, there, &values_state);
                CHECK(values_state == state);
                CHECK(list_flaw(values, record, std::max<std::size_t>(42, std::min(says, there))) == "");
            }
}
