// Every decoder with every version, payload length and room, the good and the absurd ones, between pages that nobody
// may touch; golden payloads and records that end early.
#include <doctest/doctest.h>

#include <algorithm>
#include <climits>
#include <cstdlib>
#include <set>

#include "support.hpp"

namespace {

// Versions with a layout, those next to them, and some of which a byte has one.
std::vector<std::uint32_t> versions() {
    std::vector<std::uint32_t> all = {255, 256, 257, 258, 65535, UINT32_MAX};
    for (std::uint32_t v = 0; v <= 8; ++v) all.push_back(v);
    return all;
}

// Bytes that a decoder takes for set flags, odd counts, out-of-range indices; and for a name that each table has.
Bytes payload_of(std::uint8_t fill, std::size_t size) {
    Bytes bytes(size, fill);
    for (std::size_t i = 0; fill == 1 && i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 73);
    return bytes;
}

// Builds that are slow take every 16th room, another one with each length.
#ifdef EVERY_ROOM
constexpr int room_step = 1;
#else
constexpr int room_step = 16;
#endif

// What every text of a payload of `length` bytes shows, whatever decoder printed it.
std::string text_flaw(const Golden& g, std::size_t layout, int length, const std::string& text) {
    const bool mismatch =
        exact(*g.driver) ? layout != 0 && length != static_cast<int>(layout) : length < static_cast<int>(layout);
    const bool nothing = g.driver->type == FFDC_TYPE_DPSS && length <= 0;
    if (nothing) return text.empty() ? "" : "shows an empty payload";
    if (!mismatch) return text.find("Data size mismatch") == text.npos ? "" : "has a size mismatch without need";
    const std::string end = "Data size mismatch " + std::to_string(layout) + " vs " + std::to_string(length) + "\n" +
                            dump_text(g.payload.data(), length, 1 << 20);
    return text.ends_with(end) ? "" : "does not end with the size mismatch and a dump: " + text;
}

}  // namespace

TEST_CASE("golden payloads and records, cut at every byte") {
    const Guarded area(1 << 16);
    const Capture silence;
    for (const Golden& g : goldens()) {
        std::size_t layout;
        dd_ffdc_layout(g.driver->type, g.version, &layout);
        const Bytes record = record_of(g);
        for (std::size_t n = 0; n <= g.payload.size(); ++n) {
            const int length = static_cast<int>(n);
            const std::uint8_t* const payload = area.back(g.payload, n);
            const std::string text = decoded(*g.driver, g.version, payload, length);
            std::string flaw = text_flaw(g, layout, length, text);
            if (flaw.empty()) {
                const int room = static_cast<int>(n * 37 % (text.size() + 80));
                flaw = room_flaw(printing(*g.driver, g.version, payload, length), Fitted(text),
                                 counts_whole(*g.driver, text), room);
            }
            if (flaw.empty()) {
                const std::string whole = record_text(area.back(record, 42 + n), 42 + n);
                if (whole != heading(g) + text) flaw = "as a record: " + whole;
            }
            if (flaw.empty()) continue;
            FAIL_CHECK(g.name << ", " << n << " bytes: " << flaw);
            break;
        }
    }
}

TEST_CASE("golden texts in small rooms, and in rooms about as long as they are") {
    const Capture silence;
    for (const Golden& g : goldens()) {
        const Bytes record = record_of(g);
        const Renderer print = printing(*g.driver, g.version, g.payload.data(), static_cast<int>(g.payload.size()));
        const auto render = [&](char* out, int room) {
            return dd_ffdc_render(as_record(record.data()), record.size(), out, room, nullptr);
        };
        const Fitted text(g.text), whole(heading(g) + g.text);
        for (int room = 0; room <= 200; ++room)
            for (const int from : {0, static_cast<int>(g.text.size()) - 100}) {
                INFO(g.name);
                CHECK(room_flaw(print, text, counts_whole(*g.driver, g.text), from + room) == "");
                CHECK(room_flaw(render, whole, false, from + static_cast<int>(heading(g).size()) + room) == "");
            }
        // No buffer is a room of nothing.
        CHECK(print(nullptr, 100) == print(nullptr, 0));
    }
}

TEST_CASE("every version with every length in every room, and those below zero") {
    const Guarded area(1 << 16);
    const Capture silence;
    for (const Driver& driver : drivers) {
        for (const std::uint32_t version : versions()) {
            std::size_t layout;
            const bool known = dd_ffdc_layout(driver.type, version, &layout) == DD_FFDC_OK;
            std::vector<int> lengths = {INT_MIN, INT_MIN + 41, -65536, -42, -1};
            // A version without a layout is a dump for any length: a few lengths show it.
            for (int length = 0; length <= static_cast<int>(known ? layout : 24) + 8; ++length)
                lengths.push_back(length);
            const std::string empty = decoded(driver, version, nullptr, 0);
            std::string flaw;
            for (const int length : lengths) {
                const std::uint8_t fill = length % 3 == 0 ? 0xff : length % 3 == 1 ? 1 : 0;
                const auto n = static_cast<std::size_t>(std::max(length, 0));
                const Renderer call = printing(driver, version, area.back(payload_of(fill, n)), length);
                const std::string text = rendered(call);
                std::string as_empty = empty;
                if (const std::size_t at = empty.rfind(" vs 0\n"); at != empty.npos)
                    as_empty.replace(at + 4, 1, std::to_string(length));
                if (n == 0 && text != as_empty) flaw = "not as an empty payload: " + text;
                const Fitted fitted(text);
                const bool whole = counts_whole(driver, text);
                const int end = static_cast<int>(text.size());
                std::set<int> rooms = {INT_MIN, -65536, -70, -1, 0, 1, end, end + 1};
                for (int room = std::abs(length % room_step); room <= 300; room += room_step) rooms.insert(room);
                for (const int room : rooms)
                    if (flaw.empty()) flaw = room_flaw(call, fitted, whole, room);
                INFO(driver.name << ", version " << version << ", length " << length);
                CHECK(flaw == "");
                if (!flaw.empty()) break;
            }
        }
    }
}
