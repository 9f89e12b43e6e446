// Every function in many threads at once, on the same records and on different ones: the preset tsan watches it.
#include <doctest/doctest.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "support.hpp"

namespace {

constexpr std::size_t threads = 8, rounds = 2;

// What one record says, by every way in.
std::string everything(const Bytes& bytes) {
    const dd_ffdc_hdr* const record = as_record(bytes.data());
    std::string all = record_text(bytes.data(), bytes.size());
    char* text = nullptr;
    if (dd_ffdc_print(record, 0, &text) >= 0) all += text;
    std::free(text);
    const auto append = [](void* to, const dd_ffdc_value* v) {
        *static_cast<std::string*>(to) += v->group + std::string(v->name) + std::to_string(v->number);
    };
    dd_ffdc_values(record, bytes.size(), append, &all);
    char out[200];
    print_header(record, out);
    all += out;
    scnprintf(out, 20, "%s %d", get_type(3), test_bit(4, 2));
    return all + out;
}

std::size_t steps_along(const Bytes& chain) {
    std::size_t steps = 0;
    const dd_ffdc_hdr *record = nullptr, *found = nullptr;
    while (dd_ffdc_get_chain(as_record(chain.data()), &record) == 0 && record) ++steps;
    dd_ffdc_get_type(as_record(chain.data()), FFDC_TYPE_WEX_PORT, &found);
    dd_ffdc_cursor cursor = {0, 0, 0};
    while (dd_ffdc_next(chain.data(), chain.size(), &cursor) == DD_FFDC_RECORD) ++steps;
    return found ? steps : 0;
}

}  // namespace

TEST_CASE("what every thread hears is what one alone hears") {
    const Capture silence;
    std::vector<Bytes> records;
    std::vector<std::string> alone;
    Bytes chain;
    for (const Golden& g : goldens()) {
        if (g.payload.size() > 2000) continue;
        records.push_back(record_of(g));
        alone.push_back(everything(records.back()));
        chain.insert(chain.end(), records.back().begin(), records.back().end());
        chain[chain.size() - records.back().size() + 15] = &g != &goldens().back();
    }
    const std::size_t steps = steps_along(chain);
    CHECK(steps == 2 * records.size());

    std::atomic<int> differences = 0;
    std::vector<std::thread> running;
    for (std::size_t t = 0; t < threads; ++t) {
        // Half of them go through the records in the same order, the others begin elsewhere.
        const std::size_t first = t % 2 == 0 ? 0 : records.size() * t / threads;
        running.emplace_back([&, first] {
            for (std::size_t i = 0; i < rounds * records.size(); ++i) {
                const std::size_t at = (first + i) % records.size();
                if (everything(records[at]) != alone[at] || (at == 0 && steps_along(chain) != steps)) ++differences;
            }
        });
    }
    for (std::thread& thread : running) thread.join();
    CHECK(differences == 0);
}
