// Memory that is refused: this program's allocator counts what the library asks for, and can refuse one request of it.
#include <dlfcn.h>
#include <doctest/doctest.h>

#include <cerrno>
#include <cstdlib>

#include "support.hpp"

namespace {

bool counting = false;
int requests, refused, live;  // since counting began; the request to be refused, from 1; not yet freed
std::size_t sizes[4];         // of the first requests

template <typename Function>
Function* next_one(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
bool grant(std::size_t size) {
    if (!counting) return true;
    if (requests < 4) sizes[requests] = size;
    return ++requests != refused;
}
void* count(void* memory) {
    if (counting && memory) ++live;
    return memory;
}

struct Refusal {
    explicit Refusal(int n) {
        requests = live = 0;
        refused = n;
        counting = true;
    }
    ~Refusal() { counting = false; }
};

}  // namespace

extern "C" {
void* malloc(std::size_t size) {
    static auto* const original = next_one<void*(std::size_t)>("malloc");
    return grant(size) ? count(original(size)) : nullptr;
}
void free(void* memory) {
    static auto* const original = next_one<void(void*)>("free");
    if (counting && memory) --live;
    original(memory);
}
}

TEST_CASE("each allocation of dd_ffdc_print refused") {
    // A buffer for standard output, so that trace lines do not allocate one.
    static char lines[4096];
    std::setvbuf(stdout, lines, _IOFBF, sizeof lines);
    for (const Golden& g : goldens()) {
        const bool embeds_fsi = trace_of(g).find("called", 20) != std::string::npos;
        const Bytes record = record_of(g);
        const std::string whole = heading(g) + g.text;
        std::string without_fsi = whole, trace = trace_of(g);
        if (embeds_fsi) {
            const std::size_t at = whole.find("fsidata len ") + 12, line = whole.find('\n', at) + 1;
            without_fsi.replace(at, line - at + std::stoul(whole.substr(at)), "0\n");
            trace.erase(trace.find('\n') + 1);
        }
        const int all = embeds_fsi ? 3 : 2;
        for (int n = 1; n <= all + 1; ++n) {
            CAPTURE(g.name);
            CAPTURE(n);
            const bool work = n == 1, result = n == all, scratch = embeds_fsi && n == 2;
            char mark[1], *text = mark;
            int count_of_text, asked, left;
            std::string written;
            {
                Capture capture;
                {
                    const Refusal refusal(n);
                    count_of_text = dd_ffdc_print(as_record(record.data()), 0, &text);
                    asked = requests;
                    left = live;
                }
                written = capture.text();
            }
            if (work || result) {
                CHECK(count_of_text == -ENOMEM);
                CHECK(text == (work ? mark : nullptr));
                CHECK(asked == n);
                CHECK(left == 0);
                CHECK(written == (work ? "" : trace_of(g)));
                continue;
            }
            REQUIRE(text != nullptr);
            CHECK(text == (scratch ? without_fsi : whole));
            CHECK(count_of_text == static_cast<int>(std::string(text).size()));
            CHECK(asked == all);
            CHECK(left == 1);
            CHECK(sizes[0] == 32768);
            if (embeds_fsi) CHECK(sizes[1] == 32768);
            CHECK(sizes[all - 1] == std::string(text).size() + 1);
            CHECK(written == (scratch ? trace : trace_of(g)));
            std::free(text);
        }
    }
}

TEST_CASE("everything else allocates nothing, but for the embedded FSI text of SCAN and SCOM") {
    std::vector<char> out(1 << 16);
    const int room = static_cast<int>(out.size());
    for (const Golden& g : goldens()) {
        CAPTURE(g.name);
        const Bytes bytes = record_of(g);
        const auto* const record = as_record(bytes.data());
        int quietly, aloud, left;
        {
            const Capture silence;
            const Refusal none(0);
            dd_ffdc_render(record, bytes.size(), out.data(), room, nullptr);
            dd_ffdc_values(
                record, bytes.size(), [](void*, const dd_ffdc_value*) {}, nullptr);
            std::size_t size;
            dd_ffdc_layout(g.driver->type, g.version, &size);
            dd_ffdc_cursor cursor = {0, 0, 0};
            dd_ffdc_next(record, bytes.size(), &cursor);
            print_header(record, out.data());
            quietly = requests;
            g.driver->print(g.payload.data(), g.version, static_cast<int>(g.payload.size()), out.data(), room);
            aloud = requests;
            left = live;
        }
        CHECK(quietly == 0);
        CHECK(aloud == (trace_of(g).find("called", 20) != std::string::npos ? 1 : 0));
        CHECK(left == 0);
    }
}
