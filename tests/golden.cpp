// Every golden case through its decoder and as a whole record. Linked a second time with a program that defines some of
// the library's names itself.
#include <doctest/doctest.h>

#include <cstdlib>

#include "support.hpp"

TEST_CASE("decoders print the golden texts, and their trace lines") {
    for (const Golden& g : goldens()) {
        CAPTURE(g.name);
        std::string text, trace;
        {
            Capture capture;
            text = decoded(*g.driver, g.version, g.payload.data(), static_cast<int>(g.payload.size()));
            trace = capture.text();
        }
        CHECK(difference(text, g.text) == "");
        CHECK(trace == trace_of(g));
    }
}

TEST_CASE("whole records: dd_ffdc_print, and dd_ffdc_render without trace lines") {
    for (const Golden& g : goldens()) {
        CAPTURE(g.name);
        const Bytes bytes = record_of(g);
        const dd_ffdc_hdr* const record = as_record(bytes.data());
        const std::string expected = heading(g) + g.text;
        char* text = nullptr;
        int count;
        std::string trace;
        {
            Capture capture;
            count = dd_ffdc_print(record, 0, &text);
            trace = capture.text();
        }
        REQUIRE(text);
        CHECK(difference(text, expected) == "");
        CHECK(count == static_cast<int>(expected.size()));
        CHECK(trace == trace_of(g));
        std::free(text);

        std::string quiet_text;
        dd_ffdc_state state;
        int values_state;
        {
            Capture capture;
            quiet_text = record_text(bytes.data(), bytes.size(), &state);
            values_state = dd_ffdc_values(
                record, bytes.size(), [](void*, const dd_ffdc_value*) {}, nullptr);
            std::size_t size;
            dd_ffdc_layout(g.driver->type, g.version, &size);
            trace = capture.text();
        }
        CHECK(state == values_state);
        CHECK(difference(quiet_text, expected) == "");
        CHECK(trace == "");
    }
}
