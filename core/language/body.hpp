// What a driver shows, declared once: sections in text order, each with its condition. The engine prints a body,
// proof.hpp proves it, and programs can ask what it contains. A section is a table, a placed section, a row of raw
// bytes or one of the kinds below; `all` joins several, so a body is usually `all<...>`. Sections are passed by
// reference, so each needs a name of its own.
#pragma once

#include <concepts>
#include <type_traits>

#include "row.hpp"

namespace ffdc {

// Whether a number of the payload equals another one. A missing number counts as 0.
struct Condition {
    Field field;
    std::uint64_t number = 0;
    bool equal = false;

    consteval Condition(Field f, std::uint64_t n, bool is_equal) : field(f), number(n), equal(is_equal) {
        field.expect(field.is_number() || field.kind == Field::Kind::flag, "a condition needs a number or a bit");
    }
    // A field alone: its number is not 0.
    consteval Condition(Field f) : Condition(f, 0, false) {}
};
consteval Condition operator==(const Field& field, std::uint64_t number) { return {field, number, true}; }
consteval Condition operator!=(const Field& field, std::uint64_t number) { return {field, number, false}; }

// Text between sections, which may have the payload's version in it: in decimal, or with that many hexadecimal digits.
struct Text {
    const char* before = nullptr;  // null: no text at all
    enum class Version : std::uint8_t { absent, decimal, hex, hex4 } version = Version::absent;
    const char* after = "";

    constexpr std::size_t longest() const {
        constexpr std::size_t digits[] = {0, 11, 8, 8};
        return before ? std::string_view(before).size() + digits[static_cast<int>(version)] +
                            std::string_view(after).size()
                      : 0;
    }
};

// A text that a function makes of a row's signed number, in constant memory or in the buffer.
using Say = std::string_view (*)(std::int32_t number, char* buffer, std::size_t room);
struct Computed {
    Row row;
    Say say;
};

// The characters after the layout, up to a NUL or the end of the payload, with the text around them.
struct TextAfterLayout {
    const char* before;
    Key key;
    const char* after;
};

// A raw dump of the whole payload.
struct WholeDump {};
inline constexpr WholeDump whole_dump;

// A placed section that a function prints, after a text of at most `extra` characters: a record inside a record. Its
// roles count only where the sections before it have none.
template <const auto& rows, auto print_at, std::size_t extra>
struct Embedded : Placed<rows> {
    static constexpr auto print = print_at;
    static constexpr std::size_t longest_before = extra;
};

// Several sections, all shown.
template <const auto&... section>
struct All {};
template <const auto&... section>
static constexpr All<section...> all;

inline constexpr std::size_t max_nesting = 8;  // of choices in one another

// One section or the other. Alternatives may show the same bytes and use the same names.
template <const auto& condition, const auto& yes, const auto& otherwise>
struct Choice {};
template <const auto& condition, const auto& yes, const auto& otherwise>
static constexpr Choice<condition, yes, otherwise> choose;
template <const auto& condition, const auto&... section>
static constexpr Choice<condition, all<section...>, all<>> when;

// Shown since a version, or only before one. The version is the first one of a layout.
template <std::uint32_t version, const auto&... section>
struct Since {};
template <std::uint32_t version, const auto&... section>
static constexpr Since<version, section...> since;
template <std::uint32_t version, const auto&... section>
struct Before {};
template <std::uint32_t version, const auto&... section>
static constexpr Before<version, section...> before;

// A body as data, for proofs.
struct Node {
    enum class Kind { rows, text, after_layout, dump, all, choice, since, before };

    Kind kind;
    const Row* rows = nullptr;  // of kind `rows`: a table, or one row
    std::size_t row_count = 0;
    std::size_t text = 0;  // characters that are printed beside the rows
    bool is_embedded = false;
    const char* key = nullptr;             // of kind `after_layout`
    const Condition* condition = nullptr;  // of a choice, whose two sections follow
    std::uint32_t version = 0;             // of `since` and `before`
    const Node* sections = nullptr;
    std::size_t section_count = 0;

    constexpr Table table() const { return {rows, row_count}; }
    constexpr std::span<const Node> each() const { return {sections, section_count}; }
};

namespace body {

template <const auto& section>
static constexpr Row row_of = section;
template <const auto& computed>
static constexpr Row row_of_computed = computed.row;
template <const auto& field_or_condition>
static constexpr Condition condition_of = field_or_condition;

template <const auto& section>
consteval Node node();
template <const auto&... section>
static constexpr std::array<Node, sizeof...(section)> nodes = {node<section>()...};

template <const auto&... section>
consteval Node join(Node::Kind kind, std::uint32_t version) {
    return {
        .kind = kind, .version = version, .sections = nodes<section...>.data(), .section_count = sizeof...(section)};
}
template <const auto&... section>
consteval Node node_of(const All<section...>&) {
    return join<section...>(Node::Kind::all, 0);
}
template <std::uint32_t version, const auto&... section>
consteval Node node_of(const Since<version, section...>&) {
    return join<section...>(Node::Kind::since, version);
}
template <std::uint32_t version, const auto&... section>
consteval Node node_of(const Before<version, section...>&) {
    return join<section...>(Node::Kind::before, version);
}
template <const auto& condition, const auto& yes, const auto& otherwise>
consteval Node node_of(const Choice<condition, yes, otherwise>&) {
    Node node = join<yes, otherwise>(Node::Kind::choice, 0);
    node.condition = &condition_of<condition>;
    return node;
}
consteval Node node_of(const Text& text) { return {.kind = Node::Kind::text, .text = text.longest()}; }
consteval Node node_of(const TextAfterLayout& s) { return {.kind = Node::Kind::after_layout, .key = s.key.text}; }
consteval Node node_of(const WholeDump&) { return {.kind = Node::Kind::dump}; }
consteval Node node_of(const Row& row) { return {.kind = Node::Kind::rows, .rows = &row, .row_count = 1}; }
template <std::size_t n>
consteval Node node_of(const Row (&rows)[n]) {
    return {.kind = Node::Kind::rows, .rows = rows, .row_count = n};
}
template <std::size_t n>
consteval Node node_of(const std::array<Row, n>& rows) {
    return {.kind = Node::Kind::rows, .rows = rows.data(), .row_count = n};
}

template <const auto& section>
consteval Node node() {
    if constexpr (std::derived_from<std::remove_cvref_t<decltype(section)>, Section>) {
        Node placed = node_of(row_of<section>);
        if constexpr (requires { section.longest_before; }) {
            placed.text = section.longest_before;
            placed.is_embedded = true;
        }
        return placed;
    } else if constexpr (std::is_same_v<std::remove_cvref_t<decltype(section)>, Computed>) {
        return node_of(row_of_computed<section>);
    } else {
        return node_of(section);
    }
}

// Visits the sections of a body in text order, with the version of a visitor: v.show<section>(), and for a choice
// v.choose<condition, yes, otherwise>(), which visits one of the two or both.
template <const auto& section, typename Visitor>
[[gnu::always_inline]] inline void visit(Visitor& v);
template <const auto& leaf, typename Visitor, typename Leaf>
[[gnu::always_inline]] inline void visit_in(Visitor& v, const Leaf&) {
    v.template show<leaf>();
}
template <const auto&, typename Visitor, const auto&... section>
[[gnu::always_inline]] inline void visit_in([[maybe_unused]] Visitor& v, const All<section...>&) {
    (visit<section>(v), ...);
}
template <const auto&, typename Visitor, std::uint32_t version, const auto&... section>
[[gnu::always_inline]] inline void visit_in(Visitor& v, const Since<version, section...>&) {
    if (v.version >= version) (visit<section>(v), ...);
}
template <const auto&, typename Visitor, std::uint32_t version, const auto&... section>
[[gnu::always_inline]] inline void visit_in(Visitor& v, const Before<version, section...>&) {
    if (v.version < version) (visit<section>(v), ...);
}
template <const auto&, typename Visitor, const auto& condition, const auto& yes, const auto& otherwise>
[[gnu::always_inline]] inline void visit_in(Visitor& v, const Choice<condition, yes, otherwise>&) {
    v.template choose<condition_of<condition>, yes, otherwise>();
}
template <const auto& section, typename Visitor>
[[gnu::always_inline]] inline void visit(Visitor& v) {
    visit_in<section>(v, section);
}

// Whether a section is a body, or a part of it.
template <const auto& section>
struct Name {};
template <const auto& part, const auto& section>
consteval bool contains();
template <const auto& part, typename Leaf>
consteval bool contains_in(const Leaf&) {
    return false;
}
template <const auto& part, const auto&... section>
consteval bool contains_in(const All<section...>&) {
    return (contains<part, section>() || ...);
}
template <const auto& part, std::uint32_t version, const auto&... section>
consteval bool contains_in(const Since<version, section...>&) {
    return (contains<part, section>() || ...);
}
template <const auto& part, std::uint32_t version, const auto&... section>
consteval bool contains_in(const Before<version, section...>&) {
    return (contains<part, section>() || ...);
}
template <const auto& part, const auto& condition, const auto& yes, const auto& otherwise>
consteval bool contains_in(const Choice<condition, yes, otherwise>&) {
    return contains<part, yes>() || contains<part, otherwise>();
}
template <const auto& part, const auto& section>
consteval bool contains() {
    return std::is_same_v<Name<part>, Name<section>> || contains_in<part>(section);
}

}  // namespace body
}  // namespace ffdc
