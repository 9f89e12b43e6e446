// bits.txt against the library: each value with its bits alone set, and with its bits alone clear; each value of a byte
// that selects what is shown.
#include <doctest/doctest.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <map>
#include <set>
#include <sstream>

#include "support.hpp"

namespace {

struct Row {
    std::string kind;
    std::size_t offset;
    Bytes mask;
    std::string key, set, clear;
};

struct Choice {
    std::size_t offset;
    int value;  // -1: every value that has no choice of its own
    std::string text;
};

struct Place {
    const Driver* driver;
    std::uint32_t first, last;
    std::size_t offset;
    std::map<std::size_t, std::uint8_t> preset;
    std::string group;
    std::vector<Row> rows;
    std::vector<Choice> choices;
};

std::string unescaped(std::string text) {
    for (const auto& [escape, character] : {std::pair{"\\t", "\t"}, std::pair{"\\n", "\n"}})
        for (std::size_t at; (at = text.find(escape)) != text.npos;) text.replace(at, 2, character);
    return text;
}

void add_row(Place& place, const std::string& line) {
    std::istringstream words(line);
    Row row = {};
    std::string mask;
    words >> row.kind >> row.offset;
    row.offset += place.offset;
    if (row.kind == "byte" || row.kind == "else") {
        int value = -1;
        if (row.kind == "byte") words >> std::hex >> value;
        words >> std::quoted(row.set, '"', '%');
        place.choices.push_back({row.offset, value, unescaped(row.set)});
    } else {
        words >> mask >> row.key >> std::quoted(row.set, '"', '%') >> std::quoted(row.clear, '"', '%');
        for (std::size_t i = 2; i < mask.size(); i += 2)
            row.mask.push_back(static_cast<std::uint8_t>(std::stoul(mask.substr(i, 2), nullptr, 16)));
        if (!place.group.empty()) row.key = place.group + "." + row.key;
        row.set = unescaped(row.set);
        row.clear = unescaped(row.clear);
        place.rows.push_back(row);
    }
    REQUIRE(words);
}

std::vector<Place> places_of(std::istringstream& words) {
    std::vector<Place> places;
    Place like = {};
    std::string type;
    words >> type;
    like.driver = std::find_if(std::begin(drivers), std::end(drivers), [&](const Driver& d) { return d.name == type; });
    REQUIRE(like.driver != std::end(drivers));
    for (std::string word; words >> word;) {
        const std::size_t at = word.find('@'), equals = word.find('=');
        if (at != word.npos) {
            const auto first = static_cast<std::uint32_t>(std::stoul(word));
            const std::size_t dash = word.find('-');
            places.push_back(like);
            places.back().first = first;
            places.back().last =
                dash == word.npos ? first : static_cast<std::uint32_t>(std::stoul(word.substr(dash + 1)));
            places.back().offset = std::stoul(word.substr(at + 1));
        } else if (equals != word.npos) {
            const auto byte = static_cast<std::uint8_t>(std::stoul(word.substr(equals + 1), nullptr, 16));
            for (Place& place : places) place.preset[std::stoul(word)] = byte;
        } else {
            for (Place& place : places) place.group = word;
        }
    }
    return places;
}

const std::vector<Place>& places() {
    static const std::vector<Place> all = [] {
        std::vector<Place> found;
        std::ifstream file(BITS_FILE);
        std::size_t first = 0;  // of the places that the next row belongs to
        bool after_row = false;
        for (std::string line; std::getline(file, line);) {
            std::istringstream words(line);
            INFO(line);
            if (line.empty() || line[0] == '#') continue;
            if (line[0] == ' ') {
                for (std::size_t i = first; i < found.size(); ++i) add_row(found[i], line);
            } else {
                if (after_row) first = found.size();
                for (const Place& place : places_of(words)) found.push_back(place);
            }
            after_row = line[0] == ' ';
        }
        return found;
    }();
    return all;
}

struct Seen {
    dd_ffdc_kind kind;
    std::int64_t number;
    std::size_t offset;
    Bytes mask;  // of the bytes at offset
    std::size_t text_at, text_size;
};
using Values = std::map<std::string, Seen>;

void keep(void* to, const dd_ffdc_value* v) {
    Seen seen = {v->kind, v->number, v->offset, {}, v->text_at, v->text_size};
    for (std::size_t i = v->mask == 0 ? 0 : v->size; i-- != 0;)
        seen.mask.push_back(static_cast<std::uint8_t>(v->mask >> 8 * i));
    const std::string group = *v->group ? std::string(v->group) + "." : "";
    static_cast<Values*>(to)->emplace(group + v->name, seen);
}

// The place in a record of each byte that has bits of a value, and which bits.
std::map<std::size_t, std::uint8_t> bits_of(std::size_t offset, const Bytes& mask) {
    std::map<std::size_t, std::uint8_t> bits;
    for (std::size_t i = 0; i < mask.size(); ++i)
        if (mask[i] != 0) bits[offset + i] = mask[i];
    return bits;
}

dd_ffdc_kind kind_of(const Row& row) {
    const std::map<std::string, dd_ffdc_kind> kinds = {
        {"flag", DD_FFDC_FLAG}, {"bcd", DD_FFDC_BCD}, {"bits", DD_FFDC_UNSIGNED}, {"name", DD_FFDC_NAME}};
    return kinds.at(row.kind);
}

// The number of a value all of whose bits are set.
std::int64_t number_of(const Row& row) {
    std::int64_t number = 0;
    for (const auto& [at, mask] : bits_of(row.offset, row.mask)) number = number << 8 | mask;
    return row.kind == "flag" ? 1 : row.kind == "bcd" ? 10 * (number >> 4) + (number & 15) : number;
}

// Whether the bits of a row are set where those of `only` are, and no others, or the other way round.
bool is_set(const Row& row, const Row& only, bool set) {
    return (bits_of(row.offset, row.mask) == bits_of(only.offset, only.mask)) == set;
}

// What is wrong with the values of such a record, the texts of which begin at `begin`.
std::string values_flaw(const Place& place, const Row& only, bool set, const Values& values, std::size_t begin) {
    for (const Row& row : place.rows) {
        const bool row_set = is_set(row, only, set);
        const auto found = values.find(row.key);
        if (found == values.end()) return "no value " + row.key;
        const Seen& v = found->second;
        if (v.kind != kind_of(row)) return row.key + " is of another kind";
        if (bits_of(v.offset, v.mask) != bits_of(42 + row.offset, row.mask)) return row.key + " is in other bits";
        if (v.number != (row_set ? number_of(row) : 0)) return row.key + " is " + std::to_string(v.number);
        const std::size_t end = begin + (row_set ? row.set : row.clear).size();
        if (v.text_size != 0 && (v.text_at < begin || v.text_at + v.text_size > end))
            return row.key + " is elsewhere in the text";
        begin = end;
    }
    return "";
}

// A record of zeros or, where they are not `set`, of ones, but with the bytes that the place needs.
Bytes filled(const Place& place, std::uint32_t version, bool set, std::size_t offset, const Bytes& mask) {
    std::size_t size;
    dd_ffdc_layout(place.driver->type, version, &size);
    Bytes payload(size, set ? 0 : 0xff);
    for (const auto& [at, byte] : place.preset) payload.at(at) = byte;
    for (std::size_t i = 0; i < mask.size(); ++i) payload.at(offset + i) ^= mask[i];
    return record_of({.type = place.driver->type, .version = version}, payload);
}

std::string row_flaw(const Place& place, std::uint32_t version, const Row& only, bool set) {
    const Bytes record = filled(place, version, set, only.offset, only.mask);
    std::vector<char> buffer(DD_FFDC_RENDER_ROOM);
    Values values;
    dd_ffdc_annotate(as_record(record.data()), record.size(), buffer.data(), DD_FFDC_RENDER_ROOM, keep, &values);
    const std::string text = buffer.data();
    std::string expected;
    for (const Row& row : place.rows) expected += is_set(row, only, set) ? row.set : row.clear;
    std::string flaw = "not in the text: " + expected + "but: " + text;
    for (std::size_t at = text.find(expected); at != text.npos && !flaw.empty(); at = text.find(expected, at + 1))
        flaw = values_flaw(place, only, set, values, at);
    return flaw;
}

std::string choice_flaw(const Place& place, std::uint32_t version, std::size_t offset, int value) {
    const Choice* chosen = nullptr;
    for (const Choice& c : place.choices)
        if (c.offset == offset && (c.value == value || (c.value < 0 && !chosen))) chosen = &c;
    const Bytes record = filled(place, version, true, offset, {static_cast<std::uint8_t>(value)});
    const std::string text = record_text(record.data(), record.size());
    for (const Choice& c : place.choices)
        if (c.offset == offset && !c.text.empty() && (text.find(c.text) != text.npos) != (c.text == chosen->text))
            return (c.text == chosen->text ? "not in the text: " : "in the text: ") + c.text;
    return "";
}

// The ends of the range, and the first version of each layout in between.
std::set<std::uint32_t> versions_of(const Place& place) {
    std::set<std::uint32_t> versions = {place.first, place.last};
    dd_ffdc_versions row;
    for (std::size_t n = 0; dd_ffdc_layout_row(place.driver->type, n, &row); ++n)
        if (place.first < row.first && row.first < place.last) versions.insert(row.first);
    return versions;
}

}  // namespace

TEST_CASE("every flag, mask and BCD number: its bits alone set, its bits alone clear") {
    for (const Place& place : places())
        for (const std::uint32_t version : versions_of(place))
            for (const Row& row : place.rows)
                for (const bool set : {true, false}) {
                    INFO(place.driver->name << ", version " << version << ", " << row.key
                                            << (set ? std::string(" set") : " clear"));
                    CHECK(row_flaw(place, version, row, set) == "");
                }
}

TEST_CASE("every value that has not all bits of its bytes is in bits.txt") {
    for (const Golden& g : goldens()) {
        Values values;
        const Bytes record = record_of(g);
        dd_ffdc_values(as_record(record.data()), record.size(), keep, &values);
        for (const auto& value : values) {
            const std::string& key = value.first;
            const Seen& seen = value.second;
            const bool whole = std::all_of(seen.mask.begin(), seen.mask.end(), [](auto m) { return m == 0xff; });
            if (whole && seen.kind != DD_FFDC_BCD) continue;
            INFO(g.name << ": " << key);
            const bool listed = std::any_of(places().begin(), places().end(), [&](const Place& place) {
                return place.driver == g.driver && place.first <= g.version && g.version <= place.last &&
                       std::any_of(place.rows.begin(), place.rows.end(),
                                   [&](const Row& row) { return row.key == key; });
            });
            CHECK(listed);
        }
    }
}

TEST_CASE("bytes that select what is shown, with every value") {
    for (const Place& place : places())
        for (const std::uint32_t version : versions_of(place))
            for (const Choice& choice : place.choices)
                for (int value = 0; choice.value < 0 && value < 256; ++value) {
                    INFO(place.driver->name << ", version " << version << ", byte " << choice.offset << " is "
                                            << value);
                    CHECK(choice_flaw(place, version, choice.offset, value) == "");
                }
}

TEST_CASE("descriptions place every bit where bits.txt does, with the same texts") {
    struct Bits {
        dd_ffdc_kind kind;
        std::map<std::size_t, std::uint8_t> bits;
        bool operator==(const Bits&) const = default;
    };
    struct Described {
        std::multimap<std::string, Bits> places;
        std::string set, clear;  // all texts, with the bits of all values set or clear
    };
    const auto each = [](void* to, const dd_ffdc_field* f) {
        Described& described = *static_cast<Described*>(to);
        Bytes mask;
        for (std::size_t i = f->mask == 0 || f->kind == DD_FFDC_UNSHOWN ? 0 : f->size; i-- != 0;)
            mask.push_back(static_cast<std::uint8_t>(f->mask >> 8 * i));
        const std::string group = *f->group ? std::string(f->group) + "." : "";
        described.places.emplace(group + f->name, Bits{f->kind, bits_of(f->offset, mask)});
        const auto text = [f](std::uint64_t number) {
            std::size_t length;
            const char* const named = dd_ffdc_field_text(f, number, &length);
            return std::string(f->before, f->before_length) +
                   (named ? std::string(named, length)
                    : std::strchr("dxX", f->format[std::strlen(f->format) - (*f->format != 0)])
                        ? formatted(f->format, static_cast<unsigned>(number))
                        : "");
        };
        const std::uint64_t tens = f->mask >> 4 & 15, ones = f->mask & 15;
        described.set += text(f->kind == DD_FFDC_FLAG ? 1 : f->kind == DD_FFDC_BCD ? 10 * tens + ones : f->mask);
        described.clear += text(0);
    };
    for (const Place& place : places())
        for (const std::uint32_t version : {place.first, place.last}) {
            INFO(place.driver->name << ", version " << version);
            Described described;
            if (dd_ffdc_fields(place.driver->type, version, each, &described) == -95) return;
            std::string set, clear;
            for (const Row& row : place.rows) {
                set += row.set, clear += row.clear;
                const Bits expected = {kind_of(row), bits_of(42 + row.offset, row.mask)};
                const auto [first, last] = described.places.equal_range(row.key);
                INFO(row.key);
                CHECK(std::any_of(first, last, [&](const auto& found) { return found.second == expected; }));
            }
            CHECK(described.set.find(set) != set.npos);
            CHECK(described.clear.find(clear) != clear.npos);
        }
}
