// Records of the 8250 serial port: one layout, whatever the version.
#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {
namespace {

constexpr Field magic = u32(0);
constexpr auto is_good = magic == 0x8250FFDC;

constexpr Row magic_rows[] = {{"  magic  : %08lx ", magic}};
constexpr Row port_rows[] = {
    {"  rc     : %d\n", return_code(s32(4))},  {"  devnum : %08lx\n", u32(8)},
    {"  line   : %d\n", source_line(s32(12))}, {"  vaddr  : 0x%08lx\n", u32(20)},
    {"  paddr  : 0x%08lx\n", u32(16)},
};
constexpr Text title = {"  version: ", Text::Version::hex4, "\n"};
constexpr Text good_magic = {"\n"}, bad_magic = {"[CORRUPT!!]\n"};
constexpr DriverLayout layouts[] = {{{0, any, 24}}};
constexpr auto shown = all<title, magic_rows, choose<is_good, good_magic, bad_magic>, port_rows>;
constexpr Frame frame = {.closing = ""};

}  // namespace

const Driver serial8250 = driver<layouts, shown, frame>;

}  // namespace ffdc
