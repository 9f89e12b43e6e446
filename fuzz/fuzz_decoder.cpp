// Every decoder and every piece of one, by itself: any version, length, payload and room.
#include <algorithm>
#include <cstring>

#include "../tests/golden.hpp"
#include "fuzz.hpp"

namespace {

using Piece = int (*)(const void* payload, char* out, int room, std::uint32_t version);
constexpr Piece pieces[] = {iic_print_summary,  iic_print_eng,  iic_print_kor_regs,
                            iic_print_wex_regs, iic_print_mstr, iic_print_slv};
constexpr std::size_t iic_layouts[] = {205, 205, 461, 469};
constexpr std::size_t descriptor_size = 16;
constexpr char untouched = '\xa5';

// One call, with the arguments that the input chooses.
struct Call {
    std::size_t which;
    std::uint32_t version;
    const void* payload;
    int length;

    int operator()(char* out, int room) const {
        if (which < std::size(drivers)) return drivers[which].print(payload, version, length, out, room);
        const std::size_t piece = which - std::size(drivers);
        if (piece < std::size(pieces)) return pieces[piece](payload, out, room, version);
        return piece == std::size(pieces) ? print_kb(payload, out, room) : pretty_print(payload, length, out, room);
    }
};
constexpr std::size_t calls = std::size(drivers) + std::size(pieces) + 2;

// The text in a room, and the rules that hold for every room.
std::string text_in(const Call& call, int room, int& count) {
    const std::size_t size = static_cast<std::size_t>(std::max(room, 0));
    const Exact<char> out(size);
    std::fill_n(out.data(), size, untouched);
    count = call(out.data(), room);
    expect(count >= 0, "count below 0");
    if (count == 0 || size == 0) {
        // A room of 1 may hold the end of a text.
        char* const begin = out.data() + (size == 1 && out[0] == '\0');
        expect(std::all_of(begin, out.data() + size, [](char c) { return c == untouched; }), "wrote without a text");
        return "";
    }
    const std::size_t stored = strnlen(out.data(), size);
    expect(stored == std::min(static_cast<std::size_t>(count), size - 1),
           "stored " + std::to_string(stored) + " characters, but counted " + std::to_string(count));
    return {out.data(), stored};
}

}  // namespace

// The first nine bytes are the call, the version, the length and the room; the others the beginning of the payload,
// which goes on with zeros.
int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    silence();
    if (size < 9) return 0;
    Call call = {data[0] % calls, half(data + 1) << 16 | half(data + 3), nullptr,
                 static_cast<std::int16_t>(half(data + 5))};
    const int room = static_cast<std::int16_t>(half(data + 7));

    std::size_t held = static_cast<std::size_t>(std::max(call.length, 0));
    if (call.which >= std::size(drivers) && call.which < calls - 2)
        held = iic_layouts[std::min<std::size_t>(call.version, 3)];
    else if (call.which == calls - 2)
        held = descriptor_size;
    const Exact<std::uint8_t> payload(held);
    const std::size_t given = std::min(held, size - 9);
    std::fill(std::copy_n(data + 9, given, payload.data()), payload.data() + held, std::uint8_t{0});
    call.payload = payload.data();

    int whole_count, count;
    const std::string whole = text_in(call, room_for(held), whole_count);
    expect(static_cast<std::size_t>(whole_count) == whole.size(), "count of a whole text is not its length");
    const std::string cut = text_in(call, room, count);
    expect(count <= whole_count, "a small room makes a longer text");
    if (room > whole_count + 69) expect(cut == whole, "a text that fits is not whole");
    // Behind a dump of which lines are left out, the text goes on.
    if (whole.find(" ] [") == whole.npos) expect(whole.starts_with(cut), "what is stored is not the beginning");
    return 0;
}
