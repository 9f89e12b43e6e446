// Memory that is refused: this program's allocator counts what the library asks for, and can refuse one request of it.
#include <dlfcn.h>
#include <doctest/doctest.h>

#include <cerrno>
#include <cstdlib>

#include "support.hpp"

namespace {

struct Asked {
    int requests, live;    // live: not yet freed
    std::size_t sizes[4];  // of the first requests
} asked;
bool counting = false;
int refused;  // the request to be refused, from 1

template <typename Function>
Function* next_one(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}
bool grant(std::size_t size) {
    if (!counting) return true;
    if (asked.requests < 4) asked.sizes[asked.requests] = size;
    return ++asked.requests != refused;
}
void* count(void* memory) {
    if (counting && memory) ++asked.live;
    return memory;
}

Asked asked_by(const std::function<void()>& call, int refuse = 0) {
    asked = {};
    refused = refuse;
    counting = true;
    call();
    counting = false;
    return asked;
}

bool embeds_fsi(const Golden& g) { return trace_of(g).find("called", 20) != std::string::npos; }

}  // namespace

extern "C" {
void* malloc(std::size_t size) {
    static auto* const original = next_one<void*(std::size_t)>("malloc");
    return grant(size) ? count(original(size)) : nullptr;
}
void free(void* memory) {
    static auto* const original = next_one<void(void*)>("free");
    if (counting && memory) --asked.live;
    original(memory);
}
}

TEST_CASE("each allocation of dd_ffdc_print refused") {
    // A buffer for standard output, so that trace lines do not allocate one.
    static char lines[4096];
    std::setvbuf(stdout, lines, _IOFBF, sizeof lines);
    for (const Golden& g : goldens()) {
        const bool embeds = embeds_fsi(g);
        const Bytes record = record_of(g);
        std::string whole = heading(g) + g.text, without_fsi = whole, trace = trace_of(g);
        if (embeds) {
            const std::size_t at = whole.find("fsidata len ") + 12, line = whole.find('\n', at) + 1;
            without_fsi.replace(at, line - at + std::stoul(whole.substr(at)), "0\n");
            trace.erase(trace.find('\n') + 1);
        }
        const int all = embeds ? 3 : 2;
        for (int n = 1; n <= all + 1; ++n) {
            CAPTURE(g.name);
            CAPTURE(n);
            const bool work = n == 1, result = n == all, scratch = embeds && n == 2;
            char mark[1], *text = mark;
            int count = 0;
            Asked found;
            const std::string written = written_by(
                [&] { found = asked_by([&] { count = dd_ffdc_print(as_record(record.data()), 0, &text); }, n); });
            CHECK(written == (work ? "" : scratch ? trace : trace_of(g)));
            CHECK(found.requests == (work || result ? n : all));
            CHECK(found.live == (work || result ? 0 : 1));
            if (work || result) {
                CHECK(count == -ENOMEM);
                CHECK(text == (work ? mark : nullptr));
                continue;
            }
            REQUIRE(text != nullptr);
            CHECK(text == (scratch ? without_fsi : whole));
            CHECK(count == static_cast<int>(std::string(text).size()));
            CHECK(found.sizes[0] == 32768);
            if (embeds) CHECK(found.sizes[1] == 32768);
            CHECK(found.sizes[all - 1] == std::string(text).size() + 1);
            std::free(text);
        }
    }
}

TEST_CASE("everything else allocates nothing, but for the embedded FSI text of SCAN and SCOM") {
    std::vector<char> out(1 << 16);
    const int room = static_cast<int>(out.size());
    const Capture silence;
    for (const Golden& g : goldens()) {
        CAPTURE(g.name);
        const Bytes bytes = record_of(g);
        const auto* const record = as_record(bytes.data());
        const Asked quietly = asked_by([&] {
            std::size_t size;
            dd_ffdc_cursor cursor = {0, 0, 0};
            dd_ffdc_render(record, bytes.size(), out.data(), room, nullptr);
            dd_ffdc_values(
                record, bytes.size(), [](void*, const dd_ffdc_value*) {}, nullptr);
            dd_ffdc_layout(g.driver->type, g.version, &size);
            dd_ffdc_next(record, bytes.size(), &cursor);
            print_header(record, out.data());
        });
        CHECK(quietly.requests == 0);
        const Asked aloud = asked_by([&] {
            g.driver->print(g.payload.data(), g.version, static_cast<int>(g.payload.size()), out.data(), room);
        });
        CHECK(aloud.requests == embeds_fsi(g));
        CHECK(aloud.live == 0);
    }
}
