#include "records/records.hpp"

#include <nettle/base16.h>

#include <algorithm>
#include <charconv>
#include <cstring>
#include <vector>

#include "records/columns.hpp"

const char* state_name(int state) { return state == damaged ? "damaged" : dd_ffdc_state_name(state); }

std::string type_name(int type) {
    const char* const name = dd_ffdc_type_name(type);
    return name ? name : "TYPE_" + std::to_string(type);
}
std::string type_name(const Entry& entry) { return entry.has_header() ? type_name(entry.type()) : "-"; }

std::string hex_number(std::uint64_t v, int digits) {
    char reversed[2 * sizeof v];
    int n = 0;
    for (; v != 0 || n < digits; v >>= 4) reversed[n++] = "0123456789abcdef"[v & 15];
    std::string text = "0x";
    while (n > 0) text += reversed[--n];
    return text;
}

std::string hex_digits(Bytes bytes) {
    std::string text(BASE16_ENCODE_LENGTH(bytes.size()), '\0');
    base16_encode_update(text.data(), bytes.size(), bytes.data());
    return text;
}

Trouble trouble_of(const Entry& entry, int state) {
    const auto bytes = [](std::size_t n) { return std::to_string(n) + " bytes"; };
    switch (entry.step) {
        case DD_FFDC_NO_MAGIC:
            return {"no_magic", "magic ffdcffdc",
                    hex_digits(entry.bytes.first(std::min<std::size_t>(4, entry.bytes.size())))};
        case DD_FFDC_BAD_SIZE: return {"bad_size", "a record size of at least 42", std::to_string(entry.size())};
        case DD_FFDC_CUT:
            return {"cut", entry.has_header() ? "a record of " + bytes(entry.size()) : "a header of 42 bytes",
                    bytes(entry.bytes.size())};
        case DD_FFDC_NO_NEXT:
            return {"no_next", "another record, which the last one announces", "the end of the input"};
        default: break;
    }
    const std::size_t length = entry.bytes.size() - DD_FFDC_HEADER_SIZE;
    std::size_t layout = 0;
    dd_ffdc_layout(entry.type(), entry.version(), &layout);
    switch (state) {
        case DD_FFDC_SHORT:
        case DD_FFDC_SIZE_MISMATCH: return {state_name(state), "a payload of " + bytes(layout), bytes(length)};
        case DD_FFDC_UNKNOWN_VERSION:
            return {state_name(state), "a known version of " + type_name(entry),
                    "version " + std::to_string(entry.version())};
        default: return {state_name(state), "a known type", "type " + std::to_string(entry.type())};
    }
}

const std::vector<int>& known_types() {
    static const std::vector<int> types = [] {
        std::vector<int> known;
        for (int type = 0; type <= last_type; ++type)
            if (dd_ffdc_type_name(type)) known.push_back(type);
        return known;
    }();
    return types;
}

std::string time_text(const dd_ffdc_hdr& header) {
    char text[2 * 8 + 1];
    char* const colon = std::to_chars(text, std::end(text), word(header.time[0]), 16).ptr;
    *colon = ':';
    return {text, std::to_chars(colon + 1, std::end(text), word(header.time[1]), 16).ptr};
}

int parse_type(const std::string& text, const char* option) {
    std::string_view name = text;
    for (const std::string_view prefix : {"FFDC_", "TYPE_"})
        if (compare_letters(name.substr(0, prefix.size()), prefix) == 0) name.remove_prefix(prefix.size());
    std::string valid;
    for (const int type : known_types()) {
        const char* const known = dd_ffdc_type_name(type);
        if (compare_letters(name, known) == 0) return type;
        valid += std::string(valid.empty() ? "" : ", ") + known;
    }
    const bool hex = name.starts_with("0x") || name.starts_with("0X");
    if (hex) name.remove_prefix(2);
    int code = 0;
    const auto [stop, error] = std::from_chars(name.data(), name.data() + name.size(), code, hex ? 16 : 10);
    if (error == std::errc{} && stop == name.data() + name.size() && code >= 0 && code <= last_type) return code;
    throw Fatal(std::string(option) + ": expected a code or one of " + valid + ", found '" + text + "'");
}

std::weak_ordering compare_letters(std::string_view a, std::string_view b) {
    const auto lower = [](char c) {
        return static_cast<unsigned char>(c >= 'A' && c <= 'Z' ? static_cast<char>(c + 'a' - 'A') : c);
    };
    return std::lexicographical_compare_three_way(
        a.begin(), a.end(), b.begin(), b.end(),
        [&](char x, char y) -> std::weak_ordering { return lower(x) <=> lower(y); });
}

int state_of(const Entry& entry) {
    if (entry.is_damaged()) return damaged;
    static std::vector<char> text(DD_FFDC_RENDER_ROOM);
    dd_ffdc_state state{};
    dd_ffdc_render(&entry.header(), entry.bytes.size(), text.data(), DD_FFDC_RENDER_ROOM, &state);
    return state;
}

Session::Session(const Options& asked) : options(asked), out(asked) {
    for (const std::string& type : options.types) wanted_.set(static_cast<std::size_t>(parse_type(type, "--type")));
    if (!options.where.empty()) where_ = std::make_unique<Where>(options.where);
}
Session::~Session() = default;

int Session::status() const { return failure_ ? exit_failed : !any_ ? exit_none : damage_ ? exit_damaged : exit_ok; }

// Where an input ends before its time, records may be missing, even if it had none.
void Session::fail(const std::string& name, const Failure& failure) {
    (failure.damage ? damage_ : failure_) = true;
    any_ = any_ || failure.damage;
    out.message(name + ": " + failure.what());
}

void Session::each_input(const std::function<void(Input&)>& use, const char* otherwise) {
    for (const Skipped& skipped : options.skipped) {
        failure_ = failure_ || skipped.failed;
        out.message(skipped.name + ": " + skipped.why);
    }
    for (const std::string& file : options.files) {
        try {
            Inputs inputs(file, options.from.empty() ? otherwise : options.from, !options.no_limits);
            for (bool more = true; more;) try {
                    Input input;
                    more = inputs.next(input);
                    if (!more) break;
                    read_as_ = input.told_form();
                    read_on(*input.source, 1);
                    const bool empty = input.source->bytes().empty() && input.source->gap().empty();
                    use(input);
                    if (empty && !input.source->failure() && !options.quiet) out.message(input.name + ": is empty");
                } catch (const Failure& failure) {
                    fail(inputs.name(), failure);
                }
        } catch (const Failure& failure) {
            fail(file, failure);
        }
    }
}

int Session::each_entry(const Visit& visit, Parts parts) {
    each_input([&](Input& input) {
        walk(input, [&](const Entry& entry) {
            if (!entry.continued || parts == Parts::all) one_entry(entry, visit);
        });
    });
    return status();
}

std::vector<Input> Session::keep_entries(const std::string& file, const Visit& visit) {
    std::vector<Input> kept;
    try {
        Inputs inputs(file, options.from.empty() ? "auto" : options.from, !options.no_limits);
        for (bool more = true; more;) try {
                Input input;
                more = inputs.next(input);
                if (!more) break;
                input.source->keep();
                kept.push_back(std::move(input));
            } catch (const Failure& failure) {
                if (!failure.damage) throw;
                fail(inputs.name(), failure);
            }
    } catch (const Failure& failure) {
        throw Fatal(file + ": " + failure.what());
    }
    for (Input& input : kept) {
        read_as_ = input.told_form();
        walk(input, [&](const Entry& entry) { one_entry(entry, visit); });
    }
    return kept;
}

void Session::read_on(Source& source, std::size_t n) {
    while (source.bytes().size() < n && !source.ended()) {
        if (source.waits()) {
            if (before_waiting) before_waiting();
            out.pass_on();
        }
        source.read_on(n);
    }
}

bool Session::resume(Input& input) {
    if (const std::string& gap = input.source->gap(); !gap.empty()) {
        damage_ = true;
        if (!options.quiet) out.message(input.name + read_as_ + ": " + gap);
    }
    if (input.source->resume()) return true;
    if (input.source->failure()) fail(input.name + read_as_, *input.source->failure());
    return false;
}

void Session::walk(Input& input, const std::function<void(const Entry&)>& use) {
    std::size_t index = 0;
    do walk_piece(input, index, use);
    while (resume(input));
}

// Judged with as many bytes behind it as a record may have, a record, and the end of damage, is what it would be in all
// of the input.
void Session::walk_piece(Input& input, std::size_t& index, const std::function<void(const Entry&)>& use) {
    constexpr std::size_t longest_record = 0xffff, behind = longest_record + 1;
    Source& source = *input.source;
    bool chained = false;
    while (true) {
        read_on(source, DD_FFDC_HEADER_SIZE);
        if (!source.ended()) {
            const auto& record = *reinterpret_cast<const dd_ffdc_hdr*>(source.bytes().data());
            read_on(source, std::max<std::size_t>(word(record.size), DD_FFDC_HEADER_SIZE) + behind);
        }
        dd_ffdc_cursor cursor{0, 0, chained};
        const int step = dd_ffdc_next(source.bytes().data(), source.bytes().size(), &cursor);
        if (step == DD_FFDC_END) return;
        chained = cursor.chained != 0;
        Entry entry{input.name, source.offset(), index++, {}, step};
        std::size_t size = cursor.next;
        while (step != DD_FFDC_RECORD) {
            const std::size_t there = source.bytes().size();
            const bool ends = source.ended() || size + behind <= there;
            if (ends && size <= part_size) break;
            if (!ends && there < part_size + behind) {
                read_on(source, there + 1);
                size = dd_ffdc_find(source.bytes().data(), source.bytes().size(), there - behind);
                continue;
            }
            entry.bytes = source.bytes().first(part_size);
            use(entry);
            source.skip(part_size);
            size -= part_size;
            entry.offset = source.offset();
            entry.step = DD_FFDC_NO_MAGIC;
            entry.continued = true;
        }
        entry.bytes = source.bytes().first(size);
        if (size != 0 || !entry.continued) use(entry);
        source.skip(size);
    }
}

void Session::one_entry(const Entry& entry, const Visit& visit) {
    // A place without a header may hide any record: that is told, even where it is not among those asked for.
    const bool wanted =
        (entry.has_header() ? wants(entry.type()) : options.types.empty()) && (!where_ || where_->holds(entry));
    if (entry.has_header() && !wanted) return;
    const int state = wanted ? visit(entry) : damaged;
    any_ = any_ || entry.has_header() || (wanted && where_);
    if (state == DD_FFDC_OK) return;
    damage_ = true;
    if (options.quiet) return;
    const Trouble trouble = trouble_of(entry, state);
    out.message(entry.file + read_as_ + ": offset " + hex_number(entry.offset) + ": expected " + trouble.expected +
                ", found " + trouble.found);
}

void put_separator(Session& s, const Entry& entry) {
    if (s.options.no_legend) return;
    std::string line;
    line.reserve(entry.file.size() + 80);
    line.append("==> ").append(entry.file).append(" offset ").append(hex_number(entry.offset));
    line.append(" record ").append(std::to_string(entry.index)).append(" ");
    if (entry.has_header()) line.append(type_name(entry)).append(" ");
    line.append(entry.is_damaged() ? "damaged <==" : "<==");
    s.out.put_foreign(line, entry.is_damaged() ? Style::bad : Style::heading);
    s.out.put("\n");
}
