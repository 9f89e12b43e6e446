// Every golden case through its decoder and as a whole record. Linked a second time with a program that defines some of
// the library's names itself.
#include <doctest/doctest.h>

#include <cstdlib>

#include "support.hpp"

TEST_CASE("golden texts: of decoders and of dd_ffdc_print, with their trace lines, and of dd_ffdc_render without") {
    for (const Golden& g : goldens()) {
        CAPTURE(g.name);
        std::string text;
        CHECK(written_by([&] {
                  text = decoded(*g.driver, g.version, g.payload.data(), static_cast<int>(g.payload.size()));
              }) == trace_of(g));
        CHECK(difference(text, g.text) == "");

        const Bytes bytes = record_of(g);
        const dd_ffdc_hdr* const record = as_record(bytes.data());
        const std::string expected = heading(g) + g.text;
        char* whole = nullptr;
        int count = 0;
        CHECK(written_by([&] { count = dd_ffdc_print(record, 0, &whole); }) == trace_of(g));
        REQUIRE(whole);
        CHECK(difference(whole, expected) == "");
        CHECK(count == static_cast<int>(expected.size()));
        std::free(whole);

        dd_ffdc_state state;
        CHECK(written_by([&] {
                  text = record_text(bytes.data(), bytes.size(), &state);
                  const auto nothing = [](void*, const dd_ffdc_value*) {};
                  CHECK(dd_ffdc_values(record, bytes.size(), nothing, nullptr) == state);
              }) == "");
        CHECK(difference(text, expected) == "");
    }
}
