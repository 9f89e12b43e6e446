// Records of the ULO UART driver. Versions 0 and 1 show the first 72 bytes of the layout, versions 2 to 7 all of it;
// newer versions hold another, short layout. All end with a dump.
#include "language/proof.hpp"
#include "serial.hpp"

namespace ffdc {
namespace {

// Layouts: versions 0 and 1; 2 to 7.
constexpr Row driver_rows[] = {
    {"\nULO UART HW FFDC\n"},
    {"drv ver[%s] ", text({no, 72}, 8)},
    section("", usual_origin, 0),
    {"pid[%ld] ", s32(44)},
    {"tgid[%ld] ", s32(48)},
    {"proc_name[%s]\n", text(52, 16)},
    {"devnum[%x]\n", u32(68)},
    {"uart config:\n", shown_with({no, 88})},
    {"  tx chunk size: %d\n", s32({no, 88})},
    {"  rx chunk size: %d\n", s32({no, 92})},
    {"  tx queue size: %d\n", s32({no, 96})},
    {"  rx queue size: %d\n", s32({no, 100})},
    {"  soft len max: %d\n", s32({no, 104})},
    {"flags[%#lx]\n", u32({no, 80})},
    {"rx count[%d]\n", u8({no, 85})},
    {"tx count[%d]\n", u8({no, 84})},
    {"rx: "},
};
constexpr auto rx_buffer = section<buffer_rows>("rx", 12), tx_buffer = section<buffer_rows>("tx", 28);

// Statistics of one direction. A low that was never updated has all bits set and shows as 0.
constexpr std::uint64_t never_updated = ~std::uint64_t{0};
consteval std::array<Row, 6> statistics(bool updated) {
    return {
        Row{"  operation:%d", s32(0)}, Row{"  errors:%d", s32(4)},
        Row{"  bytes:%d", s32(8)},     updated ? Row{"  low:%llu", u64(16)} : Row{"  low:%s", shown_as("0", u64(16))},
        Row{"  avg:%llu", u64(24)},    Row{"  high:%llu\n", u64(32)}};
}
constexpr auto updated_rows = statistics(true), unset_rows = statistics(false);
constexpr int tx_stats = 112, rx_stats = 152;
constexpr Field tx_low = u64(tx_stats + 16), rx_low = u64(rx_stats + 16);
constexpr auto tx_updated = section<updated_rows>("tx stats", {no, tx_stats});
constexpr auto rx_updated = section<updated_rows>("rx stats", {no, rx_stats});
constexpr auto tx_unset = section<unset_rows>("tx stats", {no, tx_stats});
constexpr auto rx_unset = section<unset_rows>("rx stats", {no, rx_stats});

constexpr Row short_rows[] = {
    {"\nULO UART FFDC\n"},
    {"V[0x%lx] ", u32(0)},
    {"P[0x%lx] ", u32(4)},
    {"fsi_rc[%d]\n\n", s32(8)},
};

constexpr Pieces<driver_rows, rx_buffer, tx_buffer> common;
constexpr Pieces<common, tx_updated, rx_updated> updated;
constexpr Pieces<common, tx_unset, rx_unset> unset;
constexpr Versions layouts[] = {{0, 1, 72}, {2, 7, 192}, {8, any, 12}};
static_assert(sound(updated, std::span(layouts).first(2)));
static_assert(sound(unset, std::span(layouts).first(2)));
static_assert(sound(short_rows, std::span(layouts).last(1)));
static_assert(unshown(updated, layouts, 0, {{10, 11}}));
static_assert(unshown(updated, layouts, 1, {{10, 11}, {86, 87}, {108, 111}, {124, 127}, {164, 167}}));
static_assert(unshown(short_rows, layouts, 2, {}));

void print(Report& r) {
    if (r.version >= 8) {
        r.print<short_rows>();
        return close(r);
    }
    r.print<driver_rows>();
    r.print<rx_buffer>();
    r.put("tx: ");
    r.print<tx_buffer>();
    if (r.version >= 2) {
        r.put("tx stats:\n");
        r.peek(tx_low) != never_updated ? r.print<tx_updated>() : r.print<tx_unset>();
        r.put("rx stats:\n");
        r.peek(rx_low) != never_updated ? r.print<rx_updated>() : r.print<rx_unset>();
    }
    close(r);
}

}  // namespace

const Driver uart = {layouts, print};

}  // namespace ffdc
