// Every golden case cut at every byte, with nothing readable behind it, and in every room, with nothing writable behind
// it.
#include <doctest/doctest.h>

#include <algorithm>
#include <climits>
#include <set>

#include "support.hpp"

namespace {

// The first flaw among small rooms, rooms about as long as the text, and rooms below 0.
std::string rooms_flaw(const Renderer& render, const std::string& text, bool whole) {
    const Fitted fitted(text);
    const int length = static_cast<int>(text.size());
    std::set<int> rooms = {INT_MIN, -70, -1};
    for (int room = 0; room <= 200; ++room) rooms.insert(room);
    for (int room = std::max(0, length - 70); room <= length + 70; ++room) rooms.insert(room);
    for (int room : rooms)
        if (const std::string flaw = room_flaw(render, fitted, whole, room); !flaw.empty()) return flaw;
    return "";
}

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

TEST_CASE("every truncation") {
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
                flaw = room_flaw([&](char* out, int r) { return g.driver->print(payload, g.version, length, out, r); },
                                 Fitted(text), counts_whole(*g.driver, text), room);
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

TEST_CASE("every room") {
    const Guarded area(1 << 16);
    const Capture silence;
    for (const Golden& g : goldens()) {
        CAPTURE(g.name);
        const std::uint8_t* const payload = area.front(g.payload);
        const auto print = [&](char* out, int room) {
            return g.driver->print(payload, g.version, static_cast<int>(g.payload.size()), out, room);
        };
        CHECK(rooms_flaw(print, g.text, counts_whole(*g.driver, g.text)) == "");
        const Bytes record = record_of(g);
        const auto render = [&](char* out, int room) {
            return dd_ffdc_render(as_record(record.data()), record.size(), out, room, nullptr);
        };
        CHECK(rooms_flaw(render, heading(g) + g.text, false) == "");
        // No buffer is a room of nothing.
        CHECK(print(nullptr, 100) == print(nullptr, 0));
    }
}

TEST_CASE("empty payloads, and lengths below zero") {
    const Capture silence;
    const Guarded area(1);
    for (const Golden& g : goldens()) {
        const std::string empty = decoded(*g.driver, g.version, area.end(), 0);
        for (int length : {-1, -42, INT_MIN}) {
            std::string expected = empty;
            if (const std::size_t at = expected.rfind(" vs 0\n"); at != expected.npos)
                expected.replace(at + 4, 1, std::to_string(length));
            const std::string text = decoded(*g.driver, g.version, area.end(), length);
            if (text != expected) FAIL_CHECK(g.name << ", length " << length << ": " << text);
        }
        if (decoded(*g.driver, g.version, nullptr, 0) != empty) FAIL_CHECK(g.name << ": null payload");
    }
}
