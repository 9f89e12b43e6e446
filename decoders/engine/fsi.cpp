// The error block of the FSI driver: one layout, 96 bytes, whatever the version. SCAN and SCOM records carry it too.
#include "fsi.hpp"

#include <cstdlib>

#include "proof.hpp"

namespace ffdc {
namespace {

constexpr Row slave_rows[] = {
    {"sisc         0x%8.8x\n", u32(0)},  {"slastd       0x%8.8x\n", u32(4)},  {"sdatat       0x%8.8x\n", u32(8)},
    {"scmdt        0x%8.8x\n", u32(12)}, {"sstat        0x%8.8x\n", u32(16)},
};
constexpr Row fsi_rows[] = {
    {"- FSI FFDC Data -\n"},
    {"magic        0x%8.8lx\n", u32(0)},
    {"strno        0x%8.8lx\n", u32(4)},
    {"mver         0x%8.8lx\n", u32(8)},
    {"part         %d\n", s32(12)},
    {"INFO: MASTER_ERROR=1 PORT_ERROR=2\n"},
    {"vaddr        %p\n", u32(84)},
    {"errno        0x%8.8lx\n", u32(88)},
    {"seqno        0x%8.8lx\n", u32(92)},
    {"Master Error Info\n", group("master")},
    {"mesrb        0x%8.8x\n", u32(16)},
    {"mscsb        0x%8.8x\n", u32(20)},
    {"matrb        0x%8.8x\n", u32(24)},
    {"mdtrb        0x%8.8x\n", u32(28)},
    {"mnr          %d\n", u8(32)},
    {"recover      %d\n", u8(33)},
    {"Slave Error - in struct master Info\n"},
    section("master.slave", slave_rows, 36),
    {"Port Error Info\n", group("port")},
    {"mstap        0x%8x\n", u32(56)},
    {"pnr          %d\n", u8(60)},
    {"snr          %d\n", u8(61)},
    {"recover      %d\n", u8(62)},
    {"Slave Error - in struct port Info\n"},
    section("port.slave", slave_rows, 64),
};
constexpr Versions layouts[] = {{0, any, fsi_size}};
static_assert(sound({fsi_rows}, layouts));
static_assert(unread({fsi_rows}, layouts, 0) == Bytes{{34, 35}, {63, 63}});
static_assert(longest_text({fsi_rows}, 0) == fsi_longest);

constexpr auto inside = section<fsi_rows>("fsi", 0);

template <const auto& rows>
void print_block(Report& r) {
    r.trace("fsi_print called");
    r.print<rows>();
}

}  // namespace

const Driver fsi = {layouts, print_block<fsi_rows>};

void embedded_fsi(Report& r, std::size_t at) {
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
