// Records of the ULO UART driver. Versions 0 and 1 show the first 72 bytes of the layout, versions 2 to 7 all of it;
// newer versions hold another, short layout. All end with a dump.
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
consteval std::array<Row, 6> statistics(bool updated) {
    return {
        Row{"  operation:%d", s32(0)}, Row{"  errors:%d", s32(4)},
        Row{"  bytes:%d", s32(8)},     updated ? Row{"  low:%llu", u64(16)} : Row{"  low:%s", shown_as("0", u64(16))},
        Row{"  avg:%llu", u64(24)},    Row{"  high:%llu\n", u64(32)}};
}
constexpr auto updated_rows = statistics(true), unset_rows = statistics(false);
constexpr int tx_stats = 112, rx_stats = 152;
constexpr auto tx_never_updated = u64(tx_stats + 16) == ~std::uint64_t{0};
constexpr auto rx_never_updated = u64(rx_stats + 16) == ~std::uint64_t{0};
constexpr auto tx_updated = section<updated_rows>("tx stats", {no, tx_stats});
constexpr auto rx_updated = section<updated_rows>("rx stats", {no, rx_stats});
constexpr auto tx_unset = section<unset_rows>("tx stats", {no, tx_stats});
constexpr auto rx_unset = section<unset_rows>("rx stats", {no, rx_stats});

constexpr Row short_rows[] = {
    {"\nULO UART FFDC\n"},
    {"V[0x%lx] ", u32(0)},
    {"P[0x%lx] ", u32(4)},
    {"fsi_rc[%d]\n\n", return_code(s32(8))},
};

constexpr Text tx_title = {"tx: "}, tx_stats_title = {"tx stats:\n"}, rx_stats_title = {"rx stats:\n"};
// clang-format off
constexpr auto shown = all<
    before<8, driver_rows, rx_buffer, tx_title, tx_buffer>,
    since<2, before<8,
        tx_stats_title, choose<tx_never_updated, tx_unset, tx_updated>,
        rx_stats_title, choose<rx_never_updated, rx_unset, rx_updated>>>,
    since<8, short_rows>>;
// clang-format on
constexpr DriverLayout layouts[] = {
    {{0, 1, 72}, {{10, 11}}},
    {{2, 7, 192}, {{10, 11}, {86, 87}, {108, 111}, {124, 127}, {164, 167}}},
    {{8, any, 12}},
};

}  // namespace

const Driver uart = driver<layouts, shown, serial_frame>;

}  // namespace ffdc
