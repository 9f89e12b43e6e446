// bits.txt against the library: values of single bits, of masks and of decimal digits, each with all of its bits set
// where no other bit is, and with all of them clear where every other bit is set.
#include <doctest/doctest.h>

#include <algorithm>
#include <fstream>
#include <iomanip>
#include <map>
#include <sstream>

#include "support.hpp"

namespace {

struct Row {
    std::string kind;
    std::size_t offset;
    Bytes mask;
    std::string key, set, clear;
};

struct Place {
    std::string type;
    std::uint32_t first, last;
    std::size_t offset;
    std::map<std::size_t, std::uint8_t> preset;
    std::string group;
    std::vector<Row> rows;
};

std::string unescaped(std::string text) {
    for (const auto& [escape, character] : {std::pair{"\\t", "\t"}, std::pair{"\\n", "\n"}})
        for (std::size_t at; (at = text.find(escape)) != text.npos;) text.replace(at, 2, character);
    return text;
}

Row row_of(const Place& place, std::istringstream& words) {
    Row row = {};
    std::string mask;
    words >> row.kind >> row.offset >> mask >> row.key >> std::quoted(row.set, '"', '%') >>
        std::quoted(row.clear, '"', '%');
    REQUIRE(words);
    row.offset += place.offset;
    for (std::size_t i = 2; i < mask.size(); i += 2)
        row.mask.push_back(static_cast<std::uint8_t>(std::stoul(mask.substr(i, 2), nullptr, 16)));
    if (!place.group.empty()) row.key = place.group + "." + row.key;
    row.set = unescaped(row.set);
    row.clear = unescaped(row.clear);
    return row;
}

std::vector<Place> places_of(std::istringstream& words) {
    std::vector<Place> places;
    Place like = {};
    words >> like.type;
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
        std::size_t first = 0;  // of the places of the next row
        for (std::string line; std::getline(file, line);) {
            std::istringstream words(line);
            INFO(line);
            if (line.empty() || line[0] == '#') continue;
            if (line[0] != ' ') {
                if (first < found.size() && !found.back().rows.empty()) first = found.size();
                for (const Place& place : places_of(words)) found.push_back(place);
            } else {
                for (std::size_t i = first; i < found.size(); ++i) {
                    std::istringstream again(line);
                    found[i].rows.push_back(row_of(found[i], again));
                }
            }
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

std::string flaw(const Place& place, std::uint32_t version, const Row& only, bool set) {
    const auto* const driver = std::find_if(std::begin(drivers), std::end(drivers),
                                            [&place](const Driver& d) { return d.name == place.type; });
    REQUIRE(driver != std::end(drivers));
    std::size_t size;
    dd_ffdc_layout(driver->type, version, &size);
    Bytes payload(size, set ? 0 : 0xff);
    for (std::size_t i = 0; i < only.mask.size(); ++i) payload.at(only.offset + i) ^= only.mask[i];
    for (const auto& [at, byte] : place.preset) payload.at(at) = byte;

    const Bytes record = record_of({.type = driver->type, .version = version}, payload);
    std::vector<char> buffer(DD_FFDC_RENDER_ROOM);
    Values values;
    dd_ffdc_annotate(as_record(record.data()), record.size(), buffer.data(), DD_FFDC_RENDER_ROOM, keep, &values);
    const std::string text = buffer.data();
    std::string expected;
    for (const Row& row : place.rows) expected += is_set(row, only, set) ? row.set : row.clear;
    std::string found = "not in the text: " + expected + "but: " + text;
    for (std::size_t at = text.find(expected); at != text.npos && !found.empty(); at = text.find(expected, at + 1))
        found = values_flaw(place, only, set, values, at);
    return found;
}

}  // namespace

TEST_CASE("bits that only one value has") {
    for (const Place& place : places())
        for (const std::uint32_t version : {place.first, place.last})
            for (const Row& row : place.rows)
                for (const bool set : {true, false}) {
                    INFO(place.type << ", version " << version << ", " << row.key
                                    << (set ? std::string(" set") : " clear"));
                    CHECK(flaw(place, version, row, set) == "");
                }
}

TEST_CASE("every value that has not all bits of its bytes is in bits.txt") {
    for (const Golden& g : goldens()) {
        Values values;
        const Bytes record = record_of(g);
        dd_ffdc_values(as_record(record.data()), record.size(), keep, &values);
        for (const auto& [key, seen] : values) {
            const bool whole = std::all_of(seen.mask.begin(), seen.mask.end(), [](auto m) { return m == 0xff; });
            if (whole && seen.kind != DD_FFDC_BCD) continue;
            INFO(g.name << ": " << key);
            CHECK(std::any_of(places().begin(), places().end(), [&, &key = key](const Place& place) {
                return place.type == g.driver->name && place.first <= g.version && g.version <= place.last &&
                       std::any_of(place.rows.begin(), place.rows.end(),
                                   [&key](const Row& row) { return row.key == key; });
            }));
        }
    }
}
