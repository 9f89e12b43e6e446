// Any bytes as one record: text and values are made, stay inside the bytes, and agree.
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <vector>

#include "fuzz.hpp"

namespace {

constexpr std::size_t header_size = DD_FFDC_HEADER_SIZE;
constexpr int print_room = 32768;  // of the text that dd_ffdc_print makes

std::string rendered(const dd_ffdc_hdr* record, std::size_t there, int room, dd_ffdc_state& state) {
    const Exact<char> out(static_cast<std::size_t>(room));
    const int n = dd_ffdc_render(record, there, out.data(), room, &state);
    expect(n > 0 && n < room && std::strlen(out.data()) == static_cast<std::size_t>(n),
           "count is not that of the text");
    return {out.data(), static_cast<std::size_t>(n)};
}

// The values of a record against its bytes, and against its text when they know where in it they stand.
struct Check {
    std::size_t there;
    const std::string* text = nullptr;
    bool whole = true;  // the text, or one that a room cuts
    std::vector<char> by_value = std::vector<char>(there), by_run = by_value;
    std::size_t at = 0;     // the end of the text before
    std::string told = {};  // what all values say

    void value(const dd_ffdc_value& v) {
        const std::string name = std::string(v.group) + "/" + v.name;
        const std::size_t end = std::size_t{v.offset} + v.size;
        expect(v.missing != 0 || end <= there, name + " ends behind the record");
        std::vector<char>& covered = v.kind == DD_FFDC_UNSHOWN ? by_run : by_value;
        for (std::size_t i = v.offset; i < std::min(end, there); ++i) {
            expect(v.kind != DD_FFDC_UNSHOWN || !by_run[i], "runs overlap");
            covered[i] = 1;
        }
        const Exact<char> buffer(DD_FFDC_VALUE_ROOM);
        std::size_t length;
        const char* const own = dd_ffdc_value_text(&v, buffer.data(), &length);
        expect(own || length == 0, name + " has a length, but no text");
        told += name + ":" + std::to_string(v.index) + "@" + std::to_string(v.offset) + "+" + std::to_string(v.size) +
                "=" + std::to_string(v.number) + "<" + std::string(own ? own : "", length) + ">\n";
        expect((own && text) || (v.text_at == 0 && v.text_size == 0), name + " stands where no text is");
        if (!own || !text) return;
        expect(whole ? v.text_at >= at && v.text_size == length : v.text_at + v.text_size <= text->size(),
               name + " is not behind the values before it, or outside the text");
        expect(text->compare(v.text_at, v.text_size, own, std::min<std::size_t>(length, v.text_size)) == 0,
               name + " is not where the text shows it");
        at = v.text_at + v.text_size;
    }
    static void each(void* self, const dd_ffdc_value* v) { static_cast<Check*>(self)->value(*v); }
};

void check(const dd_ffdc_hdr* record, std::size_t there) {
    dd_ffdc_state state, state_in_less;
    const std::string text = rendered(record, there, room_for(there), state);
    Check values = {.there = there};
    expect(dd_ffdc_values(record, there, Check::each, &values) == state, "values and text have two states");
    for (const int room : {room_for(there), 700, 150, 1}) {
        const Exact<char> out(static_cast<std::size_t>(room)), annotated_out(out.size());
        dd_ffdc_render(record, there, out.data(), room, nullptr);
        const std::string here = out.data();
        Check annotated = {.there = there, .text = &here, .whole = here.size() == text.size()};
        expect(dd_ffdc_annotate(record, there, annotated_out.data(), room, Check::each, &annotated) == state &&
                   here == annotated_out.data(),
               "text and annotated text differ");
        expect(annotated.told == values.told, "values and annotations differ");
    }

    const std::size_t end = std::min<std::size_t>(there, half(record->size));
    for (std::size_t i = header_size; i < end; ++i)
        expect(values.by_value[i] + values.by_run[i] == 1, "byte " + std::to_string(i) + " is not covered once");

    // The whole record is there: dd_ffdc_print may have it.
    if (half(record->size) > there) return;
    const std::string cut = rendered(record, there, print_room, state_in_less);
    expect(state_in_less == state, "the state depends on the room");
    char* printed = nullptr;
    const int n = dd_ffdc_print(record, 0, &printed);
    expect(n >= 0 && cut == printed && cut.size() == static_cast<std::size_t>(n), "printed and rendered text differ");
    std::free(printed);
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    silence();
    const Exact<std::uint8_t> bytes({data, size});
    const dd_ffdc_hdr* const record = as_record(bytes.data());
    constexpr std::uint8_t magic[] = {0xff, 0xdc, 0xff, 0xdc};
    if (size < header_size || std::memcmp(bytes.data(), magic, sizeof magic) != 0) {
        expect(dd_ffdc_render(record, size, nullptr, 0, nullptr) == -EINVAL, "rendered what is no record");
        expect(dd_ffdc_values(
                   record, size, [](void*, const dd_ffdc_value*) { std::abort(); }, nullptr) == -EINVAL,
               "values of what is no record");
        if (size < header_size) return 0;
        std::copy(std::begin(magic), std::end(magic), bytes.data());
    }
    check(record, size);

    // Again as a record that is wholly there.
    if (half(record->size) <= size) return 0;
    bytes[36] = static_cast<std::uint8_t>(size >> 8);
    bytes[37] = static_cast<std::uint8_t>(size);
    check(record, size);
    return 0;
}
