// Any bytes as an area: the walk tiles it, hides no plausible record, and its records make a chain that comes out
// whole.
#include <algorithm>
#include <cstring>
#include <vector>

#include "fuzz.hpp"

namespace {

using Record = std::span<const std::uint8_t>;

int type_of(Record r) { return static_cast<int>(half(r.data() + 24)); }

// A magic at `at`, or the end of the area behind a record that is the last of its chain.
bool leads(const Exact<std::uint8_t>& area, Record from, std::size_t at) {
    if (at == area.size()) return std::all_of(from.begin() + 12, from.begin() + 16, [](auto b) { return b == 0; });
    const std::size_t left = std::min<std::size_t>(area.size() - at, 4);
    return std::memcmp(area.data() + at, "\xff\xdc\xff\xdc", left) == 0;
}

std::vector<Record> walk(const Exact<std::uint8_t>& area, bool& damaged) {
    std::vector<Record> records;
    dd_ffdc_cursor cursor = {0, 0, 0};
    damaged = false;
    const auto find = [&](std::size_t from) { return dd_ffdc_find(area.data(), area.size(), from); };
    for (std::size_t expected = 0, plausible = find(0);;) {
        const int step = dd_ffdc_next(area.data(), area.size(), &cursor);
        expect(cursor.offset == expected, "a byte is left out or yielded twice");
        expected = cursor.next;
        damaged = damaged || step < 0;
        if (step == DD_FFDC_END || step == DD_FFDC_NO_NEXT) {
            expect(cursor.offset == area.size(), "the walk ends before the area");
            // Who asks again hears the same.
            if (step == DD_FFDC_END) {
                expect(dd_ffdc_next(area.data(), area.size(), &cursor) == DD_FFDC_END,
                       "the walk goes on behind its end");
                return records;
            }
            continue;
        }
        expect(cursor.next > cursor.offset && cursor.next <= area.size(), "the entry is empty or leaves the area");
        const Record bytes(area.data() + cursor.offset, cursor.next - cursor.offset);
        if (step == DD_FFDC_RECORD) {
            expect(bytes.size() >= DD_FFDC_HEADER_SIZE && bytes.size() == half(bytes.data() + 36),
                   "a record is not whole");
            records.push_back(bytes);
        }
        // Plausible records come out, but for those inside a plausible one that leads on.
        if (plausible < cursor.offset) plausible = find(cursor.offset);
        const bool itself = plausible == cursor.offset;
        if (itself) plausible = find(cursor.offset + 1);
        if (step == DD_FFDC_RECORD && itself && leads(area, bytes, cursor.next)) continue;
        expect(plausible >= cursor.next, "a record is hidden");
    }
}

void check_find(const Exact<std::uint8_t>& area) {
    for (std::size_t from = 0; from < area.size();) {
        const std::size_t found = dd_ffdc_find(area.data(), area.size(), from);
        expect(found >= from && found <= area.size(), "found outside the area");
        if (found == area.size()) break;
        dd_ffdc_cursor cursor = {0, found, 0};
        const int step = dd_ffdc_next(area.data(), area.size(), &cursor);
        expect(step == DD_FFDC_RECORD || step == DD_FFDC_CUT, "found what is no record");
        from = found + 1;
    }
}

// Records in a well-formed chain: the walk and those who trust it find each of them.
void check_chain(const std::vector<Record>& records) {
    std::vector<std::uint8_t> bytes;
    std::vector<std::size_t> offsets;
    for (const Record& r : records) {
        offsets.push_back(bytes.size());
        bytes.insert(bytes.end(), r.begin(), r.end());
        const auto chained = bytes.begin() + static_cast<std::ptrdiff_t>(offsets.back()) + 12;
        std::fill_n(chained, 4, static_cast<std::uint8_t>(0));
        chained[3] = &r != &records.back();
    }
    const Exact<std::uint8_t> chain(bytes);
    const auto plausible = [&](std::size_t at) { return dd_ffdc_find(chain.data(), chain.size(), at) == at; };
    if (std::all_of(offsets.begin(), offsets.end(), plausible)) {
        bool damaged;
        expect(walk(chain, damaged).size() == records.size() && !damaged,
               "a well-formed chain does not come out whole");
    }

    const dd_ffdc_hdr* const head = as_record(chain.data());
    const dd_ffdc_hdr* cursor = nullptr;
    for (const std::size_t offset : offsets) {
        expect(dd_ffdc_get_chain(head, &cursor) == 0, "a step along a chain failed");
        expect(cursor == as_record(chain.data() + offset), "a step along a chain went astray");
    }
    expect(dd_ffdc_get_chain(head, &cursor) == 0 && !cursor, "the chain does not end");

    for (std::size_t i = 0; i < std::min<std::size_t>(records.size(), 32); ++i) {
        const int type = type_of(records[i]);
        const auto first = std::find_if(records.begin(), records.end(), [=](Record r) { return type_of(r) == type; });
        const std::size_t expected = offsets[static_cast<std::size_t>(first - records.begin())];
        const dd_ffdc_hdr* found = nullptr;
        expect(dd_ffdc_get_type(head, type, &found) == 0 && found == as_record(chain.data() + expected),
               "the first record of a type is another one");
    }
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Exact<std::uint8_t> area({data, size});
    bool damaged;
    const std::vector<Record> records = walk(area, damaged);
    check_find(area);
    if (!records.empty()) check_chain(records);
    return 0;
}
