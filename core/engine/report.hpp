// Prints the sections of bodies into a bounded buffer.
#pragma once

#include <algorithm>
#include <cstring>
#include <string_view>

#include "language/body.hpp"
#include "language/fault.hpp"
#include "language/layouts.hpp"
#include "packing/pack.hpp"
#include "tavi_ffdc.h"

namespace ffdc {

// The caller's buffer, and the only code that writes text to it. Text beyond the room is counted but not stored; what
// is stored is always the beginning of the text.
class Writer {
public:
    Writer(char* out, int room) : out_(out), room_(out && room > 0 ? static_cast<std::size_t>(room) : 0) {}

    void put(std::string_view s);
    // Whole lines of a raw dump, as many as fit.
    void dump(const std::uint8_t* data, std::size_t size);

    // Whether there is room for `n` characters and the slack of unchecked copies. Then they may be written at the end,
    // and be taken.
    bool has(std::size_t n) const { return length_ + n + slack < room_; }
    char* end() const { return out_ + length_; }
    void take(const char* end) { length_ = static_cast<std::size_t>(end - out_); }

    void terminate() {
        if (room_ > 0 && length_ > 0) out_[stored()] = '\0';
    }
    std::size_t length() const { return length_; }  // of the whole text
    std::size_t stored() const { return room_ > 0 ? std::min(length_, room_ - 1) : 0; }

private:
    char* out_;
    std::size_t room_;
    std::size_t length_ = 0;
};

// The bytes a decoder may read. A field that is not wholly inside counts as missing.
struct Payload {
    const std::uint8_t* data;
    std::size_t size;

    bool has(std::size_t at, std::size_t width) const { return at <= size && width <= size - at; }
    // The payload from `at` on, at most `most` bytes.
    Payload from(std::size_t at, std::size_t most) const {
        const std::size_t begin = std::min(at, size);
        return {data + begin, std::min(most, size - begin)};
    }
};

// A number as text: decimal, or hexadecimal with at least so many digits.
class Digits {
public:
    static Digits decimal(std::int64_t v);
    static Digits hex(std::uint32_t v, std::uint8_t digits = 1);
    operator std::string_view() const { return {text_, length_}; }

private:
    char text_[40];
    std::size_t length_ = 0;
};

// Which bytes of a record are covered by values.
class Covered {
public:
    // Values mostly follow one another: only a gap between two costs something.
    void add(std::size_t begin, std::size_t end) {
        if (begin == end_) {
            end_ = end;
        } else if (begin < begin_ || end > end_) {
            keep();
            begin_ = begin;
            end_ = end;
        }
    }
    void keep();
    // The first byte from `from` on that is covered, or is not; a large number when there is none. Asked behind keep().
    std::size_t next(std::size_t from, bool covered) const;

private:
    static constexpr std::size_t bits = sizeof(std::size_t) * 8, most = DD_FFDC_HEADER_SIZE + max_layout;
    std::size_t begin_ = 0, end_ = 0;  // covered, but not kept yet
    std::size_t long_end_ = 0;         // of the longest text: none begins behind the layouts
    std::size_t kept_[(most + bits - 1) / bits] = {};
};

// Who is told of every value while a report is printed.
struct Observer {
    dd_ffdc_value_fn each;
    void* context;
    bool annotates;  // the text is printed, too
    Covered covered = {};
};

struct Driver;

// Where the layouts have something.
class Places {
public:
    consteval Places(const Offsets& offsets) : all_alike_(offsets.columns() == 1) {
        refuse("", offsets.wrong());
        for (std::size_t i = 0; i < max_layouts; ++i)
            at_[i] = offsets.present(i) ? static_cast<std::uint16_t>(offsets[i]) : nowhere;
    }
    // In a layout; or `no`. Inlined, or the library would carry all places of what is at the same in all layouts.
    [[gnu::always_inline]] constexpr int in(std::size_t layout) const {
        const std::uint16_t at = at_[all_alike_ ? 0 : layout];
        return at == nowhere ? no : at;
    }

private:
    static constexpr std::uint16_t nowhere = 0xffff;
    std::uint16_t at_[max_layouts];
    bool all_alike_;
};

// The key of no group: one object, as the same value has the same addresses everywhere.
inline constexpr char no_group[] = "";

// A number for a condition: all of a field, or what a mask or a bit keeps of it.
struct Peeked {
    Places at;
    std::uint8_t width;
    bool is_flag;
    std::uint64_t mask;

    consteval Peeked(const Field& f)
        : at(f.at), width(static_cast<std::uint8_t>(f.width)), is_flag(f.kind == Field::Kind::flag), mask(f.mask) {
        refuse("", f.wrong);
        if (!is_flag && !f.is_number()) refuse("", "a condition needs a number or a bit");
    }
    [[gnu::always_inline]] constexpr std::uint64_t of(std::uint64_t number) const {
        return is_flag ? (number & mask) != 0 : number & mask;
    }
};

template <const auto& section>
consteval Offsets offsets_of() {
    if constexpr (requires { section.base; })
        return section.base;
    else
        return section.field.at;
}
template <const auto& section>
static constexpr Places places_of = offsets_of<section>();
template <const auto& condition>
static constexpr Peeked peeked_of = condition.field;

// One rendering of one payload.
class Report {
public:
    Report(Payload bytes, int payload_length, std::uint32_t payload_version, char* buffer, int room)
        : payload(bytes), length(payload_length), version(payload_version), out(buffer, room) {}

    Payload payload;
    int length;  // as the record says it: negative when its size is less than a header
    std::uint32_t version;
    std::size_t layout = 0;  // column of the offset tables: that of the version, or of the newest one before it
    bool known = false;      // the version has a layout, of `layout_size` bytes
    bool newer = false;      // the version holds more than its layout
    Writer out;
    Observer* observer = nullptr;
    class Describer* describer = nullptr;
    std::uint32_t base = DD_FFDC_HEADER_SIZE;  // offset of the payload in the record
    bool quiet = false;                        // no trace lines, no heap
    bool counts_whole = false;                 // the count includes text that the room has cut
    dd_ffdc_state state = DD_FFDC_OK;
    std::size_t layout_size = 0;

    // Chooses the layout of the version, and prints the payload. A payload that is shorter than its layout prints '?'
    // for what is missing, and a line and a dump at the end.
    void decode(const Driver& driver);
    void choose(std::span<const Versions> layouts);

    // Where the layout has a section that was placed, or the field of a row; or `no`.
    template <const auto& section>
    [[gnu::always_inline]] int place() const {
        return places_of<section>.in(layout);
    }
    // Several texts.
    template <typename... Each>
    void put(const Each&... text) {
        (out.put(text), ...);
    }
    template <const Text& text>
    [[gnu::always_inline]] void put_text() {
        if constexpr (text.before != nullptr && text.version == Text::Version::absent)
            put_literal(text.before);
        else if constexpr (text.before != nullptr)
            put_version(text.before, text.version, text.after);
    }
    // Text that no value prints.
    void put_literal(std::string_view text);
    // The whole payload, raw.
    void dump();

    // Whether there is a text; else only an observer is told.
    bool prints() const { return !observer || observer->annotates; }
    // Whether the report describes what a payload may show, instead of printing one: both alternatives of each choice,
    // and all fields as missing.
    bool describes() const {
#ifdef FFDC_NO_DESCRIPTIONS
        return false;
#else
        return describer != nullptr;
#endif
    }

    // The number of a field; 0 when it is missing. Inlined, as the places are.
    [[gnu::always_inline]] std::uint64_t peek(const Peeked& field) const {
        const int place = field.at.in(layout);
        return place == no ? 0 : field.of(number_at(static_cast<std::size_t>(place), field.width));
    }

    // Whether the payload has the length of its layout; otherwise the text is complete.
    bool exact(std::string_view word);
    // For a version without a layout, or one that contains more: the dump that ends the text.
    void raw();
    void unknown(const char* before, Text::Version version_as, const char* after);
    // For a payload that shows nothing at all.
    void leave();
    // The closing dump of the whole payload, after a text.
    void close_with_dump(std::string_view before);
    void close_with_dump();
    // Ends the text; called once, by whoever called the decoder. Returns the count.
    int finish();

    // A line to standard output.
    void trace(const char* line) const;

private:
    template <const auto&, const auto&, const auto&>
    friend struct Proved;
    template <const auto& leaf, typename Visitor, typename Leaf>
    friend void body::visit_in(Visitor& v, const Leaf&);
    template <const auto&, typename Visitor, const auto& condition, const auto& yes, const auto& otherwise>
    friend void body::visit_in(Visitor& v, const Choice<condition, yes, otherwise>&);
    bool closed_ = false;

    // Only a proved body prints its sections. Inlined, as every function for a table is: see print_payload.
    template <const auto& section>
    [[gnu::always_inline]] void show() {
        using Kind = std::remove_cvref_t<decltype(section)>;
        if constexpr (std::is_same_v<Kind, Text>) {
            put_text<section>();
        } else if constexpr (std::is_same_v<Kind, WholeDump>) {
            dump();
        } else if constexpr (std::is_same_v<Kind, TextAfterLayout>) {
            put_text_after_layout(section);
        } else if constexpr (std::is_same_v<Kind, Computed>) {
            static_assert(section.row.field.whole() && section.row.field.width == sizeof(std::int32_t));
            if (const int at = place<body::row_of_computed<section>>(); at != no)
                put_value(section.say, static_cast<std::size_t>(at), section.row.field.width, Key(section.row.label),
                          section.row.field.role);
        } else if constexpr (std::is_same_v<Kind, Row>) {
            static_assert(section.field.kind == Field::Kind::area, "a row alone is one of bytes");
            if (const int at = place<section>(); at != no)
                dump(static_cast<std::size_t>(at), section.field.width, Key(section.label), section.field.role);
        } else if constexpr (requires { section.longest_before; }) {
            if (const int at = place<section>(); at != no) section.print(*this, static_cast<std::size_t>(at));
        } else if constexpr (requires { section.table; }) {
            if constexpr (section.base.columns() == 1 && section.base[0] == 0)
                run(packed<section.table>.head, groups_of<section>());
            else if (const int at = place<section>(); at != no)
                run(packed<section.table>.head, groups_of<section>(), static_cast<std::size_t>(at));
        } else {
            run(packed<section>.head, packed<section>.head.groups());
        }
    }
    template <const auto& condition, const auto& yes, const auto& otherwise>
    [[gnu::always_inline]] void choose() {
        const bool holds = (peek(peeked_of<condition>) == condition.number) == condition.equal;
        if (holds || describes()) {
            if (describes()) enter(peeked_of<condition>, condition.number, condition.equal);
            body::visit<yes>(*this);
        }
        if (!holds || describes()) {
            if (describes()) enter_otherwise();
            body::visit<otherwise>(*this);
        }
        if (describes()) leave_choice();
    }
    // The alternatives of a choice, for a description.
    [[gnu::cold]] void enter(const Peeked& field, std::uint64_t number, bool equal);
    [[gnu::cold]] void enter_otherwise();
    [[gnu::cold]] void leave_choice();
    void put_version(std::string_view before, Text::Version version_as, std::string_view after);
    // Between the texts, characters after the layout to their NUL, or to the end of the payload.
    void put_text_after_layout(const TextAfterLayout& text);
    // The number of `width` bytes; 0 when they are missing.
    std::uint64_t number_at(std::size_t at, std::size_t width) const;
    void put_value(Say say, std::size_t at, std::size_t width, Key name, Role role);
    void dump(std::size_t at, std::size_t size, Key name, Role role);
    void run(const Head& table, Groups groups);
    void run(const Head& table, Groups groups, std::size_t from);
    [[gnu::cold]] void run_carefully(const Head& table, const Layout& l, Groups groups);
    void tell_values(const Head& table, const Layout& l, Groups groups);
    void place(dd_ffdc_value& value, const Head& table, Groups groups, const Label& label, std::size_t at) const;
    void fill(dd_ffdc_value& value, const Head& table, const Op& op, const Label& label, std::size_t at) const;
    dd_ffdc_value value_of(Key name, std::size_t at, std::size_t size, dd_ffdc_kind kind) const;
    [[gnu::cold]] void put_and_tell(dd_ffdc_value& value);
    void tell(const dd_ffdc_value& value) const;
};

// The text of a value, as dd_ffdc_value_text says it.
std::string_view text_of(const dd_ffdc_value& value, char* buffer);

// Receives what a report describes.
class Describer {
public:
    Describer(dd_ffdc_field_fn each, void* context) : each_(each), context_(context) {}

    // Literal text; a value that no table has; the values of a table. Offsets count from `r.base`.
    void text(const Report& r, std::string_view text) {
        if (!text.empty()) put(field(r, 0, 0, DD_FFDC_LITERAL), text);
    }
    void version(const Report& r, std::string_view before, Text::Version as, std::string_view after);
    void value(const Report& r, std::size_t at, std::size_t size, dd_ffdc_kind kind, const char* name, Role role);
    void table(const Report& r, const Head& table, const Layout& l, Groups groups);
    // Until it is left, what is described needs a condition; then, instead, that the condition does not hold.
    void enter(const Report& r, const Peeked& peeked, std::uint64_t number, bool equal);
    void enter_otherwise() { when_[depth_ - 1].equal = !when_[depth_ - 1].equal; }
    void leave() { --depth_; }
    // The bits that nothing has shown of the bytes from `begin` to `end` of the record.
    void unshown(std::size_t begin, std::size_t end);
    bool is_embedded = false;  // roles count only if they have not been described yet

private:
    dd_ffdc_field_fn each_;
    void* context_;
    dd_ffdc_condition when_[max_nesting] = {};
    std::size_t depth_ = 0;
    unsigned roles_ = 0;  // a bit each
    std::uint8_t shown_[DD_FFDC_HEADER_SIZE + max_layout] = {};

    dd_ffdc_field field(const Report& r, std::size_t at, std::size_t size, dd_ffdc_kind kind) const;
    void put(dd_ffdc_field field, std::string_view before);
};

// The text of a field for a number, as dd_ffdc_field_text returns it.
const char* field_text(const dd_ffdc_field& field, std::uint64_t number, std::size_t* length);

// How the payloads of a type are shown; see driver.hpp.
struct Driver {
    std::span<const Versions> layouts;
    void (*print)(Report& r);
    bool exact;  // shows nothing of a payload with another length than its layout
};

}  // namespace ffdc
