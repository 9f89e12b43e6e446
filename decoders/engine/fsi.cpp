// The error block of the FSI driver: one layout, 96 bytes, whatever the version. SCAN and SCOM records carry it too.
#include "fsi.hpp"

#include <cstdlib>

#include "language/proof.hpp"

namespace ffdc {
namespace {

constexpr Versions layouts[] = {{0, any, fsi_size}};
static_assert(sound(fsi_rows, layouts));
static_assert(unshown(fsi_rows, layouts, 0, {{34, 35}, {63, 63}}));
static_assert(longest_text(fsi_rows, 0) == fsi_longest);

constexpr auto inside = fsi_block(0);

template <const auto& rows>
void print_block(Report& r) {
    r.trace("fsi_print called");
    r.print<rows>();
}

}  // namespace

const Driver fsi = {layouts, print_block<fsi_rows>};

void print_embedded_fsi(Report& r, int place) {
    if (place == no) return;
    const auto at = static_cast<std::size_t>(place);

    constexpr std::size_t buffer_size = 32768, given = 100;
    // A short block adds its size message and its dump to the text.
    char local[fsi_longest + 512];
    char* const buffer = r.quiet ? local : static_cast<char*>(std::malloc(buffer_size));

    const Payload bytes = r.payload.from(at, given);
    Report block(bytes, static_cast<int>(bytes.size), 0, buffer,
                 static_cast<int>(r.quiet ? sizeof local : buffer_size));
    block.quiet = r.quiet;
    std::size_t length = 0;
    if (buffer && r.prints()) {
        block.choose(layouts);
        print_block<inside>(block);
        length = static_cast<std::size_t>(block.finish());
    }
    r.put("and now fsi data \nfsidata len ", Digits::decimal(static_cast<std::int64_t>(length)), "\n");
    if (r.observer) {
        // Its values stand where its text is going to.
        block.observer = r.observer;
        block.base = r.base + static_cast<std::uint32_t>(at);
        block.out = r.out;
        block.print<inside>();
    }
    r.put(std::string_view(buffer, length));
    if (buffer != local) std::free(buffer);
}

}  // namespace ffdc
