// Two dumps: the values that differ, and the records that one of them has alone.
#include <algorithm>
#include <deque>

#include "commands/align.hpp"
#include "commands/commands.hpp"
#include "output/table.hpp"

namespace {

std::uint64_t hash(Bytes bytes) {
    return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

// Bytes in a row, in the file as in memory.
struct Stretch {
    const std::string& file;
    std::size_t offset;
    const std::uint8_t* at;
};
// An entry, in less memory: there may be millions.
struct Item {
    std::uint32_t stretch, at, index;  // `at` counts from the beginning of the stretch
    std::uint32_t size : 24;
    std::int32_t step : 8;
};
static_assert(part_size < 1 << 24);

struct Dump {
    std::vector<Input> inputs;
    std::vector<Stretch> stretches;
    std::deque<Item> items;  // never twice in memory, as a vector is when it grows

    void add(const Entry& entry) {
        const auto goes_on = [&](const Stretch& last) {
            const auto address = [](const std::uint8_t* at) { return reinterpret_cast<std::uintptr_t>(at); };
            const std::size_t n = entry.offset - last.offset;
            return &last.file == &entry.file && n <= UINT32_MAX && address(entry.bytes.data()) - address(last.at) == n;
        };
        if (stretches.empty() || !goes_on(stretches.back()))
            stretches.push_back({entry.file, entry.offset, entry.bytes.data()});
        items.push_back({.stretch = static_cast<std::uint32_t>(stretches.size() - 1),
                         .at = static_cast<std::uint32_t>(entry.offset - stretches.back().offset),
                         .index = static_cast<std::uint32_t>(entry.index),
                         .size = static_cast<std::uint32_t>(entry.bytes.size()) & 0xffffff,
                         .step = static_cast<std::int8_t>(entry.step)});
    }
    Entry entry(const Item& item) const {
        const Stretch& stretch = stretches[item.stretch];
        return {stretch.file, stretch.offset + item.at, item.index, {stretch.at + item.at, item.size}, item.step};
    }
};

// What makes two records partners, the strictest first. Where there is no header, damage is damage.
std::uint64_t bytes_of(const Dump& dump, const Item& item) {
    return hash(dump.entry(item).bytes) + static_cast<std::uint64_t>(item.step);
}
std::uint64_t origin_of(const Dump& dump, const Item& item) {
    constexpr std::size_t begin = offsetof(dd_ffdc_hdr, pid), end = offsetof(dd_ffdc_hdr, size);
    const Entry entry = dump.entry(item);
    return entry.has_header() ? hash(entry.bytes.subspan(begin, end - begin)) : 0;
}
std::uint64_t layout_of(const Dump& dump, const Item& item) {
    const Entry entry = dump.entry(item);
    return entry.has_header() ? static_cast<std::uint64_t>(entry.type() + 1) << 16 | entry.version() : 0;
}
std::uint64_t type_of(const Dump& dump, const Item& item) { return layout_of(dump, item) >> 16; }
constexpr std::uint64_t (*identities[])(const Dump&, const Item&) = {bytes_of, origin_of, layout_of, type_of};

// What a value is found by in the other record.
std::string key_of(const Value& v) {
    return v.kind == DD_FFDC_UNSHOWN ? "(not shown) " + hex_number(v.offset, 4) : v.key();
}
std::string text_of(const Value& v) {
    if (v.kind == DD_FFDC_UNSHOWN || v.kind == DD_FFDC_BYTES) return hex_digits(v.bytes);
    return v.plain_text();
}
bool same(const Value& a, const Value& b) {
    return a.missing == b.missing && a.number == b.number && text_of(a) == text_of(b);
}

std::string place_of(const Entry& entry) {
    return entry.file + " offset " + hex_number(entry.offset) + " record " + std::to_string(entry.index) + " " +
           (entry.has_header() ? type_name(entry) : "damaged");
}

class Diff {
public:
    explicit Diff(Session& session) : s_(session) {}

    int run() {
        for (Dump& dump : dumps_) read(dump, s_.options.files[static_cast<std::size_t>(&dump - dumps_)]);
        if (!any_)
            throw Fatal("nothing to compare: no record found in " + s_.options.files[0] + " and " +
                        s_.options.files[1]);
        pair_up(Items(dumps_[0]), Items(dumps_[1]), 0);
        return differs_ ? exit_none : s_.status();
    }

private:
    // Some items in a row.
    struct Items {
        std::deque<Item>::const_iterator first, last;

        explicit Items(const Dump& dump) : first(dump.items.begin()), last(dump.items.end()) {}
        Items(const Items& all, std::ptrdiff_t begin, std::ptrdiff_t end)
            : first(all.first + begin), last(all.first + end) {}
        auto begin() const { return first; }
        auto end() const { return last; }
        std::ptrdiff_t size() const { return last - first; }
        const Item& operator[](std::ptrdiff_t i) const { return first[i]; }
    };

    Session& s_;
    Dump dumps_[2];
    bool any_ = false, differs_ = false;
    Values read_[2];
    std::span<const Value> values_[2];

    void read(Dump& dump, const std::string& file) {
        dump.inputs = s_.keep_entries(file, [&](const Entry& entry) {
            dump.add(entry);
            any_ = any_ || entry.has_header();
            return state_of(entry);
        });
    }

    // Compares partners, and tells what has none, in their order.
    void pair_up(const Items& a, const Items& b, std::size_t level) {
        if (a.size() == 0 || b.size() == 0 || level == std::size(identities)) {
            for (const Item& item : a) tell_only(dumps_[0].entry(item));
            for (const Item& item : b) tell_only(dumps_[1].entry(item));
            return;
        }
        const auto numbers = [&](const Dump& dump, const Items& items) {
            std::vector<std::uint64_t> list;
            list.reserve(static_cast<std::size_t>(items.size()));
            for (const Item& item : items) list.push_back(identities[level](dump, item));
            return list;
        };
        std::vector<Run> runs = align(numbers(dumps_[0], a), numbers(dumps_[1], b));
        runs.push_back({a.size(), b.size(), 0});
        std::ptrdiff_t i = 0, j = 0;
        for (const Run& run : runs) {
            pair_up(Items(a, i, run.a), Items(b, j, run.b), level + 1);
            for (std::ptrdiff_t n = 0; n < run.size; ++n)
                compare(dumps_[0].entry(a[run.a + n]), dumps_[1].entry(b[run.b + n]));
            i = run.a + run.size;
            j = run.b + run.size;
        }
    }

    void tell_only(const Entry& entry) {
        differs_ = true;
        std::string line = "only in " + place_of(entry);
        if (entry.has_header()) {
            const dd_ffdc_hdr& header = entry.header();
            line += " version " + std::to_string(entry.version()) + " time " + time_text(header) + " pid " +
                    std::to_string(static_cast<std::int32_t>(word(header.pid)));
        }
        s_.out.put_foreign(line, Style::bad);
        s_.out.put("\n");
    }

    // Prints what differs between two records, or everything.
    void compare(const Entry& a, const Entry& b) {
        const bool equal = a.step == b.step && std::ranges::equal(a.bytes, b.bytes);
        differs_ = differs_ || !equal;
        if (equal && !s_.options.all) return;
        const std::string states[] = {state_name(read_[0].read(a)), state_name(read_[1].read(b))};
        Table table({{"NAME", false, Cut::begin},
                     {"TEXT 1", false, Cut::far},
                     {"TEXT 2", false, Cut::far},
                     {"NUMBER 1", true, Cut::never, true},
                     {"NUMBER 2", true, Cut::never, true}},
                    s_.out, !s_.options.no_legend);
        // What belongs to no record is told by where it begins to differ.
        for (int side : {0, 1})
            values_[side] = (side == 0 ? a : b).is_damaged() ? read_[side].shown() : read_[side].all();
        bool told = false;
        const auto row = [&](bool as_before, std::string_view name, std::string_view text_a, std::string_view text_b,
                             std::string_view number_a = {}, std::string_view number_b = {}) {
            if (as_before && !s_.options.all) return;
            told = told || !as_before;
            const auto differ = std::ranges::mismatch(text_a, text_b).in1 - text_a.begin();
            table.row({name, text_a, text_b, number_a, number_b}, as_before ? Style::plain : Style::bad,
                      static_cast<std::size_t>(differ));
        };
        row(states[0] == states[1], "state", states[0], states[1]);
        each_value([&](const std::string& key, const Value* v, const Value* w) {
            row(v && w && same(*v, *w), key, v ? text_of(*v) : "", w ? text_of(*w) : "", v ? v->number_text() : "",
                w ? w->number_text() : "");
        });
        if (!told && !equal) {
            const auto at = static_cast<std::size_t>(std::ranges::mismatch(a.bytes, b.bytes).in1 - a.bytes.begin());
            const auto from = [&](Bytes bytes) {
                return hex_digits(bytes.subspan(at, std::min<std::size_t>(8, bytes.size() - at)));
            };
            row(false, "(bytes) " + hex_number(at, 4), from(a.bytes), from(b.bytes));
        }
        if (!s_.options.no_legend) {
            s_.out.put_foreign("==> " + place_of(a) + " | " + place_of(b) + " <==", Style::heading);
            s_.out.put("\n");
        }
        table.print();
    }

    // Calls back with the key of a value and the values that have it in either record, or null.
    template <typename Use>
    void each_value(const Use& use) const {
        std::vector<std::string> keys[2];
        std::vector<std::uint64_t> numbers[2];
        for (int side : {0, 1})
            for (const Value& v : values_[side]) {
                keys[side].push_back(key_of(v));
                numbers[side].push_back(std::hash<std::string>()(keys[side].back()));
            }
        std::vector<Run> runs = align(numbers[0], numbers[1]);
        runs.push_back({std::ssize(keys[0]), std::ssize(keys[1]), 0});
        const auto tell = [&](std::ptrdiff_t i, std::ptrdiff_t j) {
            const auto a = static_cast<std::size_t>(i), b = static_cast<std::size_t>(j);
            use(i >= 0 ? keys[0][a] : keys[1][b], i >= 0 ? &values_[0][a] : nullptr, j >= 0 ? &values_[1][b] : nullptr);
        };
        std::ptrdiff_t i = 0, j = 0;
        for (const Run& run : runs) {
            while (i < run.a) tell(i++, -1);
            while (j < run.b) tell(-1, j++);
            for (std::ptrdiff_t n = 0; n < run.size; ++n) tell(i++, j++);
        }
    }
};

}  // namespace

int diff(Session& s) { return Diff(s).run(); }
