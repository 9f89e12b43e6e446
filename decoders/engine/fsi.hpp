// The FSI error block: the payload of FSI records, and a part of SCAN and SCOM records.
#pragma once

#include "records/drivers.hpp"

namespace ffdc {

inline constexpr Row fsi_slave_rows[] = {
    {"sisc         0x%8.8x\n", u32(0)},  {"slastd       0x%8.8x\n", u32(4)},  {"sdatat       0x%8.8x\n", u32(8)},
    {"scmdt        0x%8.8x\n", u32(12)}, {"sstat        0x%8.8x\n", u32(16)},
};
inline constexpr Row fsi_rows[] = {
    {"- FSI FFDC Data -\n"},
    {"magic        0x%8.8lx\n", u32(0)},
    {"strno        0x%8.8lx\n", u32(4)},
    {"mver         0x%8.8lx\n", u32(8)},
    {"part         %d\n", s32(12)},
    {"INFO: MASTER_ERROR=1 PORT_ERROR=2\n"},
    {"vaddr        %p\n", u32(84)},
    {"errno        0x%8.8lx\n", return_code(u32(88))},
    {"seqno        0x%8.8lx\n", u32(92)},
    {"Master Error Info\n", group("master")},
    {"mesrb        0x%8.8x\n", u32(16)},
    {"mscsb        0x%8.8x\n", u32(20)},
    {"matrb        0x%8.8x\n", u32(24)},
    {"mdtrb        0x%8.8x\n", u32(28)},
    {"mnr          %d\n", u8(32)},
    {"recover      %d\n", u8(33)},
    {"Slave Error - in struct master Info\n"},
    section("master.slave", fsi_slave_rows, 36),
    {"Port Error Info\n", group("port")},
    {"mstap        0x%8x\n", u32(56)},
    {"pnr          %d\n", u8(60)},
    {"snr          %d\n", u8(61)},
    {"recover      %d\n", u8(62)},
    {"Slave Error - in struct port Info\n"},
    section("port.slave", fsi_slave_rows, 64),
};
// Packed once for all files that show them, not once in each file.
template <>
inline constexpr auto packed<fsi_rows> = packing::pack<fsi_rows>();
inline constexpr std::size_t fsi_size = 96, fsi_longest = 770;
inline constexpr std::string_view fsi_announcement = "and now fsi data \nfsidata len ";

// Announces the block, says how long its text is, and prints it. The text is rendered into a buffer first, from the
// heap unless the report is quiet; if the heap refuses it, the text is left out.
void print_embedded_fsi(Report& r, std::size_t at);

// The block as a section of another layout.
using FsiBlock = Embedded<fsi_rows, print_embedded_fsi, fsi_announcement.size() + sizeof "770\n" - 1>;
consteval FsiBlock fsi_block(Offsets at) { return {section<fsi_rows>("fsi", at)}; }

}  // namespace ffdc
