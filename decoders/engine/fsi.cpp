// The error block of the FSI driver: one layout, 96 bytes, whatever the version. SCAN and SCOM records carry it too.
#include "fsi.hpp"

#include <cstdlib>

#include "engine/driver.hpp"

namespace ffdc {
namespace {

constexpr DriverLayout layouts[] = {{{0, any, fsi_size}, {{34, 35}, {63, 63}}}};
constexpr Frame frame = {.trace = "fsi_print called"};
static_assert(longest_text(fsi_rows, 0) == fsi_longest);

constexpr auto inside = section<fsi_rows>("fsi", 0);
constexpr const Driver& block_inside = driver<layouts, inside, frame>;

}  // namespace

const Driver fsi = driver<layouts, fsi_rows, frame>;

void print_embedded_fsi(Report& r, std::size_t at) {
    constexpr std::size_t buffer_size = 32768, given = 100;
    // A short block adds its size message and its dump to the text.
    char local[fsi_longest + 512];
    char* const buffer = r.quiet ? local : static_cast<char*>(std::malloc(buffer_size));

    const Payload bytes = r.payload.from(at, given);
    Report block(bytes, static_cast<int>(bytes.size), 0, buffer,
                 static_cast<int>(r.quiet ? sizeof local : buffer_size));
    block.quiet = r.quiet;
    block.base = r.base + static_cast<std::uint32_t>(at);
    if (r.describes()) {
        r.put_literal(fsi_announcement);
        block.describer = r.describer;
        block.describer->is_embedded = true;
        return block.decode(block_inside);
    }
    block.choose(block_inside.layouts);
    std::size_t length = 0;
    if (buffer && r.prints()) {
        block_inside.print(block);
        length = static_cast<std::size_t>(block.finish());
    }
    r.put(fsi_announcement, Digits::decimal(static_cast<std::int64_t>(length)), "\n");
    if (r.observer) {
        // Its values stand where its text is going to.
        block.observer = r.observer;
        block.out = r.out;
        block_inside.print(block);
    }
    r.put(std::string_view(buffer, length));
    if (buffer != local) std::free(buffer);
}

}  // namespace ffdc
