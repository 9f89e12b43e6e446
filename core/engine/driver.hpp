// A driver: its layouts, its body, and what surrounds the body. Naming a driver proves its body.
#pragma once

#include "language/fault.hpp"
#include "language/proof.hpp"
#include "report.hpp"

namespace ffdc {

// What surrounds the body of a driver.
struct Frame {
    const char* trace = nullptr;     // a line to standard output on each call
    Text title = {};                 // before everything, also before the dump of an unknown version
    Text unknown = {};               // for a version without a layout, before the dump of the payload
    Text newer = {};                 // for a version that contains more than its layout, before the dump
    const char* closing = nullptr;   // not null: this text and a dump of the payload end the text
    bool counts_whole = false;       // the count includes text that the room has cut
    bool silent_when_empty = false;  // an empty payload has no text at all
};
inline constexpr Frame unframed;
inline constexpr All<> nothing;  // the body of a payload that is only dumped
inline constexpr const char* exact = "";
inline constexpr Text unrecognized = {"Unrecognized FFDC version ", Text::Version::hex4, "\n"};

namespace body {

template <const auto& layouts>
consteval auto list_versions() {
    std::array<Versions, std::size(layouts)> versions{};
    std::transform(std::begin(layouts), std::end(layouts), versions.begin(), [](const auto& l) { return l.versions; });
    return versions;
}
template <const auto& layouts>
static constexpr auto versions_of = list_versions<layouts>();
template <const auto& layouts>
consteval auto list_words() {
    std::array<const char*, std::size(layouts)> words{};
    std::transform(std::begin(layouts), std::end(layouts), words.begin(), [](const auto& l) { return l.exact; });
    return words;
}
template <const auto& layouts>
static constexpr auto words_of = list_words<layouts>();
constexpr bool has_all_versions(std::span<const DriverLayout> layouts) {
    std::uint32_t next = 0;
    for (const DriverLayout& layout : layouts)
        if (layout.versions.first == next) next = layout.versions.last + 1u;
    return next == any + 1u;
}
// Parts of a frame under names of their own, as templates take only such.
template <const auto& frame>
static constexpr Text title_of = frame.title;
template <const auto& frame>
static constexpr Text newer_of = frame.newer;

}  // namespace body

// A body that the compiler has proved against layouts.
template <const auto& layouts, const auto& shown, const auto& frame = unframed>
struct Proved {
    static constexpr Verdict verdict = proof_of(body::node<shown>(), layouts);
    static_assert(verdict.copy());

    [[gnu::always_inline]] static void print(Report& r) {
        if constexpr (verdict.reason == nullptr) print_proved(r);
    }

    // A section of the body, alone.
    template <const auto& part>
    [[gnu::always_inline]] static void print_part(Report& r) {
        static_assert(body::contains<part, shown>(), "the section is no part of the body");
        if constexpr (verdict.reason == nullptr) body::visit<part>(r);
    }

private:
    [[gnu::always_inline]] static void print_proved(Report& r) {
        constexpr bool is_exact = layouts[0].exact != nullptr;
        if constexpr (frame.trace != nullptr) r.trace(frame.trace);
        if constexpr (frame.silent_when_empty)
            if (r.payload.size == 0 && !r.describes()) return r.leave();
        if constexpr (frame.counts_whole || is_exact) r.counts_whole = true;
        r.put_text<body::title_of<frame>>();
        if constexpr (!body::has_all_versions(layouts))
            if (!r.known) {
                if constexpr (frame.unknown.before == nullptr) return r.raw();
                return r.unknown(frame.unknown.before, frame.unknown.version, frame.unknown.after);
            }
        if constexpr (is_exact)
            if (!r.exact(body::words_of<layouts>[r.layout])) return;
        body::visit<shown>(r);
        if constexpr (frame.newer.before != nullptr)
            if (r.newer) {
                r.put_text<body::newer_of<frame>>();
                return r.raw();
            }
        if constexpr (frame.closing != nullptr) r.close_with_dump(frame.closing);
    }
};

// Static, like everything whose address depends on a table: g++ 14 would make it global, and the linker would keep one
// of all bodies that have the same name.
template <const auto& layouts, const auto& shown, const auto& frame>
static void print_payload(Report& r) {
    Proved<layouts, shown, frame>::print(r);
}
template <const auto& layouts, const auto& shown, const auto& frame = unframed>
static constexpr Driver driver = {body::versions_of<layouts>, print_payload<layouts, shown, frame>,
                                  layouts[0].exact != nullptr};

}  // namespace ffdc
