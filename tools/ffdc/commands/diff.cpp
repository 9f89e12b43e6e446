// Two dumps, value by value.
#include <algorithm>
#include <deque>
#include <map>
#include <memory>

#include "commands/commands.hpp"

namespace {

struct Pair {
    const Entry* a = nullptr;
    const Entry* b = nullptr;
};

// What a value is found by in the other record.
std::string key_of(const Value& v) {
    return v.kind == DD_FFDC_UNSHOWN ? "(not shown) " + hex_number(v.offset, 4) : v.full_name();
}
std::string text_of(const Value* v) {
    if (!v) return "-";
    if (v->kind == DD_FFDC_UNSHOWN || v->kind == DD_FFDC_BYTES) return hex_digits(v->bytes);
    return v->plain_text();
}
bool same(const Value& a, const Value& b) {
    return a.missing == b.missing && a.number == b.number && text_of(&a) == text_of(&b);
}

std::string heading_of(const Entry* entry) {
    if (!entry) return "nothing";
    return entry->file + " offset " + hex_number(entry->offset) + " record " + std::to_string(entry->index) + " " +
           type_name(*entry);
}

// Prints what differs between two records, or everything; true when something does.
bool compare(Session& s, const Pair& pair) {
    if (!s.options.all && pair.a && pair.b && pair.a->step == pair.b->step &&
        std::ranges::equal(pair.a->bytes, pair.b->bytes))
        return false;
    std::vector<Value> values[2];
    const std::string states[] = {pair.a ? state_name(values_of(*pair.a, values[0])) : "-",
                                  pair.b ? state_name(values_of(*pair.b, values[1])) : "-"};
    Table table({{"NAME"}, {"TEXT 1", false, true}, {"TEXT 2", false, true}, {"NUMBER 1", true}, {"NUMBER 2", true}},
                s.out, !s.options.no_legend);
    bool differs = false;
    const auto row = [&](bool equal, const std::vector<std::string>& cells) {
        differs = differs || !equal;
        if (!equal || s.options.all) table.row(cells, equal ? Style::plain : Style::bad);
    };
    row(states[0] == states[1], {"state", states[0], states[1], "", ""});
    // Next to nothing, or to a damaged place, every value of a record would be a difference.
    if (s.options.all || (pair.a && pair.b && pair.a->has_header() && pair.b->has_header())) {
        std::map<std::string, const Value*> others;
        for (const Value& b : values[1]) others.emplace(key_of(b), &b);
        for (const Value& a : values[0]) {
            const auto found = others.find(key_of(a));
            const Value* const b = found == others.end() ? nullptr : found->second;
            row(b && same(a, *b), {key_of(a), text_of(&a), text_of(b), a.number_text(), b ? b->number_text() : ""});
            if (b) others.erase(found);
        }
        for (const Value& b : values[1])
            if (others.contains(key_of(b))) row(false, {key_of(b), "", text_of(&b), "", b.number_text()});
    }
    if (!differs && !std::ranges::equal(pair.a->bytes, pair.b->bytes)) {
        const Bytes a = pair.a->bytes, b = pair.b->bytes;
        const auto at = static_cast<std::size_t>(std::ranges::mismatch(a, b).in1 - a.begin());
        const auto from = [&](Bytes bytes) {
            return hex_digits(bytes.subspan(at, std::min<std::size_t>(8, bytes.size() - at)));
        };
        row(false, {"(bytes) " + hex_number(at, 4), from(a), from(b), "", ""});
    }
    if (!differs && !s.options.all) return false;
    if (!s.options.no_legend) {
        s.out.put(Style::heading, "==> " + heading_of(pair.a) + " | " + heading_of(pair.b) + " <==");
        s.out.put("\n");
    }
    table.print();
    return differs;
}

// Pairs by position, or those of the same type and version with each other, in their order.
std::vector<Pair> pair_up(const std::vector<Entry>& a, const std::vector<Entry>& b, bool by_type) {
    const auto kind = [&](const Entry& e) {
        return !by_type || !e.has_header() ? 0 : static_cast<unsigned>(e.type() + 1) << 16 | e.version();
    };
    std::map<unsigned, std::deque<const Entry*>> waiting;
    for (const Entry& e : b) waiting[kind(e)].push_back(&e);
    std::vector<Pair> pairs;
    for (const Entry& e : a) {
        std::deque<const Entry*>& partners = waiting[kind(e)];
        pairs.push_back({&e, partners.empty() ? nullptr : partners.front()});
        if (!partners.empty()) partners.pop_front();
    }
    for (const auto& [_, rest] : waiting)
        for (const Entry* e : rest) pairs.push_back({nullptr, e});
    return pairs;
}

}  // namespace

int diff(Session& s) {
    std::vector<Entry> entries[2];
    std::unique_ptr<Input> inputs[2];
    for (int i : {0, 1}) {
        const std::string& file = s.options.files[static_cast<std::size_t>(i)];
        try {
            inputs[i] = std::make_unique<Input>(file, s.options.from);
        } catch (const Failure& failure) {
            throw Fatal(file + ": " + failure.what());
        }
        std::vector<Value> values;
        s.each_entry(*inputs[i], [&](const Entry& entry) {
            entries[i].push_back(entry);
            return values_of(entry, values);
        });
    }
    bool differs = false;
    for (const Pair& pair : pair_up(entries[0], entries[1], s.options.pair_by == "type"))
        differs = compare(s, pair) || differs;
    return differs ? exit_none : s.status();
}
