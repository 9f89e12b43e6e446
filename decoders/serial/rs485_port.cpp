// Records of the RS485 UART port. Version 1 adds the driver's version, counters and two capture blocks, which nobody
// but the driver can read.
#include "registers.hpp"
#include "serial.hpp"

namespace ffdc {
namespace {

constexpr std::span<const char* const> register_names = std::span(wex_registers).subspan(1);
constexpr Field registers_valid = u8(96);
constexpr Row first_capture = {bytes({no, 116}, 40), "first_capture"};
constexpr Row second_capture = {bytes({no, 156}, 40), "second_capture"};

constexpr auto origin_rows = origin(44, 68, 72);
// Layouts: version 0; 1 and newer ones.
constexpr Row opening_rows[] = {
    {"\nRS485 UART FFDC\n"},
    {"drv ver[%s] ", text({no, 106}, 10)},
    section("", origin_rows, 0),
    {registers_valid, "regs valid"},
};
constexpr Row register_rows[] = {
    {"\nRS485 UART Regs\n", group("registers")},
    {"%4s:%02x\n", u8(97, 7), register_names},
};
constexpr Row count_rows[] = {
    {"tx count[%d]\n", u8(48)},
    {"rx count[%d]\n", u8(49)},
};
constexpr auto buffer = section<buffer_rows>("buffer", 52);
constexpr Row state_rows[] = {
    {"id[%d]\n", u8(95)},
    {"rx_state[%d]\n", s32(76)},
    {"tx_state[%d]\n", s32(80)},
    {"wd_timer[%d]\n", s32(84)},
    {"bo_timer[%d]\n", s32(88)},
    {"sent_byte[%d]\n", u8(92)},
    {"invert_next_char[%d]\n", u8(93)},
    {"sync_count[%d]\n", u8(94)},
};
constexpr Row counter_rows[] = {
    {"rx_bad_checksum[%d]\n", s32(196)}, {"rx_bad_length[%d]\n", s32(200)}, {"rx_bytes[%d]\n", s32(204)},
    {"rx_bad_bytes[%d]\n", s32(208)},    {"rx_packets[%d]\n", s32(212)},    {"rx_packets_dropped[%d]\n", s32(216)},
    {"\ntx_bytes[%d]\n", s32(220)},      {"tx_sent[%d]\n", s32(224)},       {"tx_discarded[%d]\n", s32(228)},
    {"tx_retries[%d]\n", s32(232)},
};
constexpr auto counters = section<counter_rows>("", {no, 0});
constexpr Bytes padding = {{0, 43}, {50, 51}, {74, 75}};
constexpr DriverLayout layouts[] = {{{0, 0, 104}, padding}, {{1, any, 236}, padding | Bytes{{104, 105}}}};
constexpr auto shown = all<opening_rows, when<registers_valid, register_rows>, count_rows, buffer, state_rows, counters,
                           first_capture, second_capture>;

}  // namespace

const Driver rs485_port = driver<layouts, shown, serial_frame>;

}  // namespace ffdc
