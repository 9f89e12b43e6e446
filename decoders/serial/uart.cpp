// Records of the ULO UART driver. Versions 0 and 1 show the first 72 bytes of the layout, versions 2 to 7 all of it;
// newer versions hold another, short layout. All end with a dump.
#include "proof.hpp"
#include "serial.hpp"

namespace ffdc {
namespace {

// Layouts: versions 0 and 1; 2 to 7.
constexpr auto origin_rows = origin(0, 4, 8);
constexpr Row title_rows[] = {{"\nULO UART HW FFDC\n"}};
constexpr Row driver_rows[] = {
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
    section("rx", buffer_rows, 12),
    {"tx: "},
    section("tx", buffer_rows, 28),
};

// Statistics of one direction. A low that was never updated has all bits set and shows as 0.
constexpr std::uint64_t never_updated = ~std::uint64_t{0};
constexpr Field tx_low = u64(112 + 16), rx_low = u64(152 + 16);
consteval std::array<Row, 6> statistics(int at, bool updated) {
    return {Row{"  operation:%d", s32(at)},
            Row{"  errors:%d", s32(at + 4)},
            Row{"  bytes:%d", s32(at + 8)},
            updated ? Row{"  low:%llu", u64(at + 16)} : Row{"  low:%s", shown_as("0", u64(at + 16))},
            Row{"  avg:%llu", u64(at + 24)},
            Row{"  high:%llu\n", u64(at + 32)}};
}
constexpr auto tx_stats = statistics(112, true), tx_stats_unset = statistics(112, false);
constexpr auto rx_stats = statistics(152, true), rx_stats_unset = statistics(152, false);
constexpr Row tx_rows[] = {{"tx stats:\n"}, section("tx stats", tx_stats, 0)};
constexpr Row rx_rows[] = {{"rx stats:\n"}, section("rx stats", rx_stats, 0)};
constexpr Row tx_unset_rows[] = {{"tx stats:\n"}, section("tx stats", tx_stats_unset, 0)};
constexpr Row rx_unset_rows[] = {{"rx stats:\n"}, section("rx stats", rx_stats_unset, 0)};

constexpr Row short_rows[] = {
    {"\nULO UART FFDC\n"},
    {"V[0x%lx] ", u32(0)},
    {"P[0x%lx] ", u32(4)},
    {"fsi_rc[%d]\n\n", s32(8)},
};

constexpr Row rc_rows[] = {section("", origin_rows, 0)};
#define ALL_ROWS rc_rows, driver_rows
#define STATS_ROWS tx_rows, rx_rows
constexpr std::size_t sizes[] = {72, 192}, short_size = 12;
static_assert(sound({ALL_ROWS}, sizes));
static_assert(sound({STATS_ROWS}, {sizes[1]}));
static_assert(sound({short_rows}, {short_size}));
static_assert(unread({ALL_ROWS}, 0, sizes[0]) == Bytes{{10, 11}});
static_assert(unread({ALL_ROWS, STATS_ROWS}, 1, sizes[1], {bytes(72, 8)}) ==
              Bytes{{10, 11}, {86, 87}, {108, 111}, {124, 127}, {164, 167}});
static_assert(unread({short_rows}, 0, short_size) == Bytes{});

}  // namespace

void uart(Report& r) {
    if (r.version >= 8) {
        r.expect(short_size);
        r.print<short_rows>();
        return close(r);
    }
    const bool full = r.version >= 2;
    r.layout = full ? 1 : 0;
    r.expect(sizes[r.layout]);
    r.print<title_rows>();
    if (full) driver_version(r, 72, 8);
    r.print<rc_rows>();
    r.print<driver_rows>();
    if (full) {
        r.peek(tx_low) == never_updated ? r.print<tx_unset_rows>() : r.print<tx_rows>();
        r.peek(rx_low) == never_updated ? r.print<rx_unset_rows>() : r.print<rx_rows>();
    }
    close(r);
}

}  // namespace ffdc
