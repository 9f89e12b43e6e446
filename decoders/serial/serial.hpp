// What the records of the serial-port drivers share.
#pragma once

#include "engine/driver.hpp"
#include "records/drivers.hpp"

namespace ffdc {

// The buffer descriptor, 16 bytes. Bit 23 names two errors.
inline constexpr std::size_t buffer_size = 16;
consteval Field buffer_error(int n, const char* line) { return either(line, "", bit(n, u32(12))); }
inline constexpr Row buffer_rows[] = {
    {"kb: flags[%08lx] ", u32(0), "flags"},
    {"errors[%08lx] ", u32(12)},
    {"count[%d] ", u16(4)},
    {"head[%d] ", u16(6)},
    {"tail[%d] ", u16(8)},
    {"size[%d]\n", u16(10)},
    {"%s", buffer_error(16, "\t\t\tLRC error\n"), "LRC error"},
    {"%s", buffer_error(17, "\t\t\tCRC error\n"), "CRC error"},
    {"%s", buffer_error(18, "\t\t\tRX FRAMING error\n"), "RX FRAMING error"},
    {"%s", buffer_error(19, "\t\t\tRX OVERRUN error\n"), "RX OVERRUN error"},
    {"%s", buffer_error(20, "\t\t\tRX UNDERFLOW error\n"), "RX UNDERFLOW error"},
    {"%s", buffer_error(21, "\t\t\tRX PARITY error\n"), "RX PARITY error"},
    {"%s", buffer_error(22, "\t\t\tRX MAX_LEN error\n"), "RX MAX_LEN error"},
    {"%s", buffer_error(23, "\t\t\tTX UNDERRUN error\n"), "TX UNDERRUN error"},
    {"%s", shared(buffer_error(23, "\t\t\tTX PARITY error\n")), "TX PARITY error"},
    {"%s", buffer_error(24, "\t\t\tNRT error\n"), "NRT error"},
    {"%s", buffer_error(25, "\t\t\tFSI error\n"), "FSI error"},
};

// Return code and place of capture.
consteval std::array<Row, 3> origin(int rc, int file, int line) {
    return {Row{"rc[%d] ", return_code(s32(rc))}, Row{"file[%lx] ", source_file(u32(file))},
            Row{"line[%d]\n", source_line(s16(line))}};
}

inline constexpr auto usual_origin = origin(0, 4, 8);

// What the TAM and the WEX port show before their registers.
inline constexpr Field port_registers_valid = u8(28);
inline constexpr auto port_buffer = section<buffer_rows>("buffer", 12);
inline constexpr Row port_valid_rows[] = {{port_registers_valid, "regs valid"}};
inline constexpr auto port_opening = all<usual_origin, port_buffer, port_valid_rows>;

// Packed once for all files that print them, not once in each file.
template <>
inline constexpr auto packed<buffer_rows> = packing::pack<buffer_rows>();
template <>
inline constexpr auto packed<usual_origin> = packing::pack<usual_origin>();
template <>
inline constexpr auto packed<port_valid_rows> = packing::pack<port_valid_rows>();

// The text of the driver's version, which opens the line of the return code in newer versions.
inline constexpr TextAfterLayout driver_version = {"drv ver[", "drv_ver", "] "};

// All end with an empty line and the dump of the whole payload.
inline constexpr Frame serial_frame = {.closing = "\n"};

}  // namespace ffdc
