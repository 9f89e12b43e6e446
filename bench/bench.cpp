// Times the library against other ways to the same text; bench/run builds and starts this program. The trace lines of
// FSI, SCAN and SCOM records are a part of what a library is timed for; the straightforward program prints none.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <regex>

#include "samples.hpp"
#include "straightforward.hpp"

namespace {

constexpr std::size_t samples_a_kind = 16, work_size = 32768;

// The fastest known: blocks small enough to stay off memcpy's path for long texts, of a size that the compiler cannot
// know, or it would write an instruction that is slower still.
void copy_in_blocks(char* to, const char* from, std::size_t n) {
    for (std::size_t i = 0; i < n; i += 2048) {
        std::size_t block = std::min<std::size_t>(2048, n - i);
        benchmark::DoNotOptimize(block);
        std::memcpy(to + i, from + i, block);
    }
}

// The least that two allocations and a finished text allow: copied into the work buffer, and from there to the result.
int limit(const Sample& sample, char** out) {
    const std::size_t length = sample.text.size();
    char* const work = static_cast<char*>(std::malloc(work_size));
    copy_in_blocks(work, sample.text.data(), length);
    benchmark::DoNotOptimize(work);
    benchmark::ClobberMemory();
    char* const result = static_cast<char*>(std::malloc(length + 1));
    copy_in_blocks(result, work, length);
    result[length] = '\0';
    std::free(work);
    *out = result;
    return static_cast<int>(length);
}

struct Way {
    const char* name;
    int (*print)(const Sample& sample, char** out);
};
decltype(&dd_ffdc_print) print_of_other;  // of another build of the library, to be compared with
constexpr Way ways[] = {
    {"library", [](const Sample& s, char** out) { return dd_ffdc_print(s.record(), 0, out); }},
    {"other", [](const Sample& s, char** out) { return print_of_other(s.record(), 0, out); }},
    {"straightforward", [](const Sample& s, char** out) { return straightforward::print(s.record(), out); }},
    {"limit", limit},
};
constexpr const Way &library = ways[0], &other = ways[1], &straight = ways[2];

// What is measured together: the samples of one kind, or of a mix of kinds.
struct Set {
    std::string name;
    std::vector<Sample> samples;
    bool raced;  // against the straightforward program

    bool has(const Way& way) const { return &way == &other ? print_of_other != nullptr : &way != &straight || raced; }
};

void print_all(const Set& set, const Way& way) {
    for (const Sample& sample : set.samples) {
        char* text = nullptr;
        benchmark::DoNotOptimize(way.print(sample, &text));
        benchmark::DoNotOptimize(text);
        std::free(text);
    }
}

std::string text_of(const Sample& sample, const Way& way) {
    char* text = nullptr;
    const int count = way.print(sample, &text);
    if (count < 0) return "error " + std::to_string(count);
    std::string s(text, static_cast<std::size_t>(count));
    std::free(text);
    return s;
}

// Some characters around a difference, on one line.
std::string excerpt(const std::string& text, std::size_t from) {
    std::string s;
    for (const char c : text.substr(from, 72)) s += c == '\n' ? "\\n" : std::string(1, c < ' ' || c > '~' ? '.' : c);
    return s;
}

// Both ways give the same bytes, or it is said where they part.
bool same(const Sample& sample, const std::string& expected, const Way& way) {
    const std::string actual = text_of(sample, way);
    if (actual == expected) return true;
    const auto at = static_cast<std::size_t>(
        std::mismatch(actual.begin(), actual.end(), expected.begin(), expected.end()).first - actual.begin());
    const std::size_t from = at - std::min<std::size_t>(at, 24);
    const std::uint8_t* const r = sample.bytes.data();
    std::fprintf(stderr, "type %d version %d size %zu: texts differ at offset %zu\n", r[24] << 8 | r[25],
                 r[26] << 8 | r[27], sample.bytes.size(), at);
    std::fprintf(stderr, "  %s (%zu): %s\n", library.name, expected.size(), excerpt(expected, from).c_str());
    std::fprintf(stderr, "  %s (%zu): %s\n  record:", way.name, actual.size(), excerpt(actual, from).c_str());
    for (const std::uint8_t byte : sample.bytes) std::fprintf(stderr, " %02x", byte);
    std::fputs("\n", stderr);
    return false;
}

// Compares the library with the straightforward program on so many payloads of every version of the types that it
// knows; tells of the first difference in each version.
int check(std::uint32_t payloads) {
    constexpr std::uint32_t versions[] = {0, 1, 2, 3, 4, 5, 6, 7, 8, 0xff, 0x100, 0x101, 0x102, 0xffff};
    constexpr int types[] = {FFDC_TYPE_FSI, FFDC_TYPE_PSI, FFDC_TYPE_DMA, FFDC_TYPE_IIC, FFDC_TYPE_MBOX, no_type};
    std::size_t compared = 0, different = 0;
    for (const int type : types) {
        for (const std::uint32_t version : versions) {
            Random random(static_cast<std::uint32_t>(type) << 16 | version);
            bool equal = true;
            for (std::uint32_t i = 0; equal && i < payloads; ++i, ++compared) {
                const Sample sample = arbitrary(type, version, random);
                equal = same(sample, text_of(sample, library), straight);
            }
            different += !equal;
        }
    }
    std::fprintf(stderr, "%zu records compared with the straightforward program, %zu versions differ\n", compared,
                 different);
    return different != 0;
}

std::vector<Set> make_sets() {
    std::vector<Set> sets;
    for (const Kind& kind : kinds) {
        Random random(1);
        Set set{kind.name, {}, sets.size() < first_kinds || sets.size() >= kinds.size() - dumps};
        for (std::size_t i = 0; i < samples_a_kind; ++i) {
            Sample sample = typical(kind, random);
            sample.text = text_of(sample, library);
            for (const Way& way : ways)
                if (set.has(way) && &way != &library && !same(sample, sample.text, way)) std::exit(1);
            set.samples.push_back(std::move(sample));
        }
        sets.push_back(std::move(set));
    }
    // Neighbours in a mix are of different kinds.
    const auto mix = [&sets](const char* name, std::size_t count) {
        Set set{name, {}, count == first_kinds};
        for (std::size_t i = 0; i < samples_a_kind; ++i)
            for (std::size_t k = 0; k < count; ++k) set.samples.push_back(sets[k].samples[i]);
        return set;
    };
    Set first = mix("mix of the first five", first_kinds), all = mix("mix of all types", kinds.size() - dumps);
    sets.push_back(std::move(first));
    sets.push_back(std::move(all));
    return sets;
}

// One dump of counts for each set and way, named after them. The first pass fills the heap and binds the symbols.
void count_instructions(const Set& set, const Way& way) {
    print_all(set, way);
    CALLGRIND_START_INSTRUMENTATION;
    CALLGRIND_ZERO_STATS;
    print_all(set, way);
    CALLGRIND_STOP_INSTRUMENTATION;
    const std::string name = set.name + "/" + way.name + "/" + std::to_string(set.samples.size());
    CALLGRIND_DUMP_STATS_AT(name.c_str());
}

void time(const Set& set, const Way& way) {
    benchmark::RegisterBenchmark((set.name + "/" + way.name).c_str(), [&set, &way](benchmark::State& state) {
        for ([[maybe_unused]] auto pass : state) print_all(set, way);
        state.counters["records"] = static_cast<double>(set.samples.size());
    });
}

}  // namespace

int main(int argc, char** argv) {
    // The library's trace lines must cost no more than they have to.
    static char buffer[1 << 16];
    if (!std::freopen("/dev/null", "w", stdout)) return 2;
    std::setvbuf(stdout, buffer, _IOFBF, sizeof buffer);

    // The options that bench/run passes on; those of the benchmark library come behind them.
    std::string filter;
    bool count = false;
    int used = 1;
    for (; used < argc; ++used) {
        const std::string_view option = argv[used];
        if (option == "--callgrind") {
            count = true;
        } else if (option == "--filter" && used + 1 < argc) {
            filter = argv[++used];
        } else if (option == "--other" && used + 1 < argc) {
            void* const handle = dlopen(argv[++used], RTLD_NOW | RTLD_LOCAL | RTLD_DEEPBIND);
            print_of_other =
                handle ? reinterpret_cast<decltype(&dd_ffdc_print)>(dlsym(handle, "dd_ffdc_print")) : nullptr;
            if (!print_of_other) return std::fprintf(stderr, "%s\n", dlerror()), 2;
        } else if (option == "--check" && used + 1 < argc) {
            return check(static_cast<std::uint32_t>(std::strtoul(argv[++used], nullptr, 10)));
        } else {
            break;
        }
    }
    argv[used - 1] = argv[0];
    argc -= used - 1;
    argv += used - 1;

    const std::vector<Set> sets = make_sets();
    bool any = false;
    for (const std::regex wanted(filter); const Set& set : sets) {
        if (!std::regex_search(set.name, wanted)) continue;
        any = true;
        for (const Way& way : ways) {
            if (!set.has(way)) continue;
            count ? count_instructions(set, way) : time(set, way);
        }
    }
    if (!any) {
        std::fprintf(stderr, "no kind of record matches '%s'; there are:\n", filter.c_str());
        for (const Set& set : sets) std::fprintf(stderr, "  %s\n", set.name.c_str());
        return 2;
    }
    if (count) return 0;
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;
    return benchmark::RunSpecifiedBenchmarks() == 0 ? 2 : 0;
}
