#include "straightforward.hpp"

#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace straightforward {
namespace {

using Bytes = const unsigned char*;

constexpr std::uint32_t record_magic = 0xFFDCFFDC;
constexpr int header_size = 42;
constexpr int work_size = 32768;
constexpr int fsi_scratch_size = 32768;

constexpr char double_rule[] = "============================================================\n";
constexpr char rule[] = "------------------------------------------------------------\n";

// --- Reading fields ---

int u8(Bytes bytes, int offset) { return bytes[offset]; }

int u16(Bytes bytes, int offset) { return bytes[offset] << 8 | bytes[offset + 1]; }

int s16(Bytes bytes, int offset) { return static_cast<std::int16_t>(u16(bytes, offset)); }

std::uint32_t u32(Bytes bytes, int offset) {
    return std::uint32_t{bytes[offset]} << 24 | std::uint32_t{bytes[offset + 1]} << 16 |
           std::uint32_t{bytes[offset + 2]} << 8 | bytes[offset + 3];
}

std::int32_t s32(Bytes bytes, int offset) { return static_cast<std::int32_t>(u32(bytes, offset)); }

unsigned long long u64(Bytes bytes, int offset) {
    return static_cast<unsigned long long>(u32(bytes, offset)) << 32 | u32(bytes, offset + 4);
}

const char* chars(Bytes bytes, int offset) { return reinterpret_cast<const char*>(bytes + offset); }

bool bit(std::uint32_t value, int number) { return (value >> number & 1) != 0; }

int bit_digit(std::uint32_t value, int number) { return bit(value, number) ? 1 : 0; }

// --- Writing text ---

// A text under construction: `count` characters so far, in a place of `room` bytes.
struct Text {
    char* out;
    int room;
    int count = 0;

    int left() const { return room > count ? room - count : 0; }
};

int print_at_end(const Text& text, const char* format, std::va_list arguments) {
    const int left = text.left();
    const int length =
        std::vsnprintf(left > 0 ? text.out + text.count : nullptr, static_cast<std::size_t>(left), format, arguments);
    return length > 0 ? length : 0;
}

// Adds a piece and counts what was stored of it.
__attribute__((format(printf, 2, 3))) void put(Text& text, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = print_at_end(text, format, arguments);
    va_end(arguments);
    const int left = text.left();
    if (length < left) {
        text.count += length;
    } else if (left > 0) {
        text.count += left - 1;
    }
}

// Adds a piece and counts its whole length, also when it was cut.
__attribute__((format(printf, 2, 3))) void put_counting_all(Text& text, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    text.count += print_at_end(text, format, arguments);
    va_end(arguments);
}

void put_dump(Text& text, Bytes data, int length) {
    const int left = text.left();
    if (left > 0) {
        text.count += dump(data, length, text.out + text.count, left);
    }
}

void put_pointer(Text& text, const char* label, std::uint32_t value, const char* end = "\n") {
    if (value == 0) {
        put(text, "%s(nil)%s", label, end);
    } else {
        put(text, "%s0x%x%s", label, value, end);
    }
}

// Prints the name that an index selects, or the index itself when the names do not reach that far.
struct Name {
    char invalid[24] = "";
    const char* text;

    template <std::size_t count>
    Name(const char* const (&names)[count], std::uint32_t index) : text(invalid) {
        if (index < count) {
            text = names[index];
        } else {
            std::snprintf(invalid, sizeof invalid, "INVALID (0x%x)", index);
        }
    }
    Name(const Name&) = delete;
    Name& operator=(const Name&) = delete;
};

void put_unrecognized(Text& text, std::uint32_t version, Bytes payload, int length) {
    put_counting_all(text, "Unrecognized FFDC version %04x\n", version);
    put_dump(text, payload, length);
}

void put_wrong_size(Text& text, int expected, Bytes payload, int length) {
    put_counting_all(text, "Data size mismatch %d vs %d\n", expected, length);
    put_dump(text, payload, length);
}

// --- Base DMA ---

const char* endpoint_kind(std::uint32_t kind) {
    switch (kind) {
        case 1: return "ZCOPY";
        case 3: return "DIRECT";
        case 4: return "DEVICE";
        case 5: return "FIFO";
        default: return "INVALID";
    }
}

void put_dma_flags(Text& text, std::uint32_t flags, bool wide_first) {
    put_counting_all(text,
                     wide_first ? "\tFlags:       %8s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%sEVT[%02x] RID[%02x]\n"
                                : "\tFlags:       %s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%s%sEVT[%02x] RID[%02x]\n",
                     bit(flags, 31) ? "FSI " : "", bit(flags, 30) ? "PSI " : "", bit(flags, 29) ? "MEM " : "",
                     bit(flags, 28) ? "UBUF " : "", bit(flags, 27) ? "UADDR " : "", bit(flags, 26) ? "FIFO " : "",
                     bit(flags, 25) ? "HW " : "", bit(flags, 24) ? "BYTE " : "", bit(flags, 23) ? "WORD " : "",
                     bit(flags, 22) ? "WRITE " : "READ ", bit(flags, 21) ? "CMPLT " : "",
                     bit(flags, 20) ? "F_MCPY " : "", bit(flags, 19) ? "BLKLIST_EN " : "",
                     bit(flags, 18) ? "NO_PSI_W_WA " : "", bit(flags, 17) ? "PSI_R_WA " : "",
                     bit(flags, 16) ? "SUBMIT " : "", bit(flags, 15) ? "DP " : "", flags & 0xF0, flags & 0x0F);
}

void dma(Text& text, Bytes payload, std::uint32_t version, int length) {
    static const char* const register_names[] = {"CR   ", "CTC  ", "SAH  ", "SAL  ", "DAH  ", "DAL  ",
                                                 "SGH  ", "SGL  ", "SR   ", "SGC  ", "PMP  "};
    if (version != 1 && version != 2) {
        put_unrecognized(text, version, payload, length);
        return;
    }
    const int expected = version == 1 ? 252 : 260;
    if (length != expected) {
        put_wrong_size(text, expected, payload, length);
        return;
    }
    // Version 2 puts two error words in front of the version 1 layout.
    const Bytes p = version == 1 ? payload : payload + 8;
    put_counting_all(text, "FFDC for Base DMA:\n");
    put_counting_all(text, "\tEngine:      %8d\n", u16(p, 68));
    put_counting_all(text, "\tChannel:     %8d\n", u16(p, 70));
    put_counting_all(text, "\tRC:          %8d\n", s32(p, 12));
    if (version == 2) {
        put_counting_all(text, "\tErr_stat:    %8x\n", u32(payload, 0));
        put_counting_all(text, "\tErr_resp:    %8x\n", u32(payload, 4));
    }
    put_dma_flags(text, u32(p, 0), version == 1);
    put_counting_all(text, "\tPotential:          %08x\n", u32(p, 4));
    put_counting_all(text, "\tAvailable:          %08x\n", u32(p, 8));
    put_counting_all(text, "\tRoute:              %08x\n", u32(p, 16));
    put_counting_all(text, "\tTimeout:            %08x\n", u32(p, 20));
    put_counting_all(text, "\tCount:              %08x\n", u32(p, 24));
    put_counting_all(text, "\tSrc Type:           %s\n", endpoint_kind(u32(p, 36)));
    put_counting_all(text, "\tSrc Base:           %016llx\n", u64(p, 28));
    put_counting_all(text, "\tSrc Offset:         %08x\n", u32(p, 40));
    put_counting_all(text, "\tSrc Pages:          %08x\n", u32(p, 44));
    put_counting_all(text, "\tDest Type:          %s\n", endpoint_kind(u32(p, 56)));
    put_counting_all(text, "\tDest Base:          %016llx\n", u64(p, 48));
    put_counting_all(text, "\tDest Offset:        %08x\n", u32(p, 60));
    put_counting_all(text, "\tDest Pages:         %08x\n", u32(p, 64));
    put_counting_all(text, "\tHint:               [%.128s]\n", chars(p, 124));
    put_counting_all(text, "\tHW Regs:\n");
    for (int i = 0; i < 11; i++) {
        put_counting_all(text, "\t\t%s: %08x\n", register_names[i], u32(p, 72 + 4 * i));
    }
}

// --- Host DMA ---

const char* hdma_source(std::uint32_t source) {
    switch (source) {
        case 208: return "WRITE";
        case 209: return "READ";
        case 210: return "AIO";
        default: return "INVALID";
    }
}

void hdma(Text& text, Bytes p, std::uint32_t version, int length) {
    static const char* const error_types[] = {
        "Invalid",         "Unknown",       "Checkstop",        "Link down",  "VEK-1 DMA Not Enabled",
        "CEC Not enabled", "HW Protocol",   "HW SUE",           "HW Timeout", "HW Error",
        "SW Timeout",      "Address error", "TCE Extent error", "Page Fault", "Scatter Gather/DMA setup bug",
        "Cancel"};
    if (version != 256) {
        put_unrecognized(text, version, p, length);
        return;
    }
    if (length != 40) {
        put_wrong_size(text, 40, p, length);
        return;
    }
    put_counting_all(text, "FFDC for Host DMA:\n");
    put_counting_all(text, "\tErr Type:         %s\n", Name(error_types, u32(p, 4)).text);
    put_counting_all(text, "\tRC:               %08d\n", s32(p, 12));
    put_counting_all(text, "\tConfig Flags:     %08x\n", u32(p, 0));
    put_counting_all(text, "\tnum_ops:          %08x\n", u32(p, 8));
    if (u32(p, 16) == 0) {
        put_counting_all(text, "\tUser pointer:     (nil)\n");
    } else {
        put_counting_all(text, "\tUser pointer:     0x%x\n", u32(p, 16));
    }
    put_counting_all(text, "\tDest/Source:      %016llx\n", u64(p, 20));
    put_counting_all(text, "\tLength:           %08x\n", u32(p, 28));
    put_counting_all(text, "\tDMA Flags:        %08x\n", u32(p, 32));
    put_counting_all(text, "\tDMA source:       %s\n", hdma_source(u32(p, 36)));
}

// --- FSI ---

void put_fsi_slave_error(Text& text, Bytes p) {
    put(text, "sisc         0x%8.8x\n", u32(p, 0));
    put(text, "slastd       0x%8.8x\n", u32(p, 4));
    put(text, "sdatat       0x%8.8x\n", u32(p, 8));
    put(text, "scmdt        0x%8.8x\n", u32(p, 12));
    put(text, "sstat        0x%8.8x\n", u32(p, 16));
}

void fsi(Text& text, Bytes p) {
    put(text, "- FSI FFDC Data -\n");
    put(text, "magic        0x%8.8x\n", u32(p, 0));
    put(text, "strno        0x%8.8x\n", u32(p, 4));
    put(text, "mver         0x%8.8x\n", u32(p, 8));
    put(text, "part         %d\n", s32(p, 12));
    put(text, "INFO: MASTER_ERROR=1 PORT_ERROR=2\n");
    put_pointer(text, "vaddr        ", u32(p, 84));
    put(text, "errno        0x%8.8x\n", u32(p, 88));
    put(text, "seqno        0x%8.8x\n", u32(p, 92));
    put(text, "Master Error Info\n");
    put(text, "mesrb        0x%8.8x\n", u32(p, 16));
    put(text, "mscsb        0x%8.8x\n", u32(p, 20));
    put(text, "matrb        0x%8.8x\n", u32(p, 24));
    put(text, "mdtrb        0x%8.8x\n", u32(p, 28));
    put(text, "mnr          %d\n", u8(p, 32));
    put(text, "recover      %d\n", u8(p, 33));
    put(text, "Slave Error - in struct master Info\n");
    put_fsi_slave_error(text, p + 36);
    put(text, "Port Error Info\n");
    put(text, "mstap        0x%8x\n", u32(p, 56));
    put(text, "pnr          %d\n", u8(p, 60));
    put(text, "snr          %d\n", u8(p, 61));
    put(text, "recover      %d\n", u8(p, 62));
    put(text, "Slave Error - in struct port Info\n");
    put_fsi_slave_error(text, p + 64);
}

// The FSI block of a SCAN or SCOM payload. Its count comes first, so the text is rendered aside.
void put_fsi_block(Text& text, Bytes block) {
    put(text, "and now fsi data \n");
    char* const scratch = static_cast<char*>(std::malloc(fsi_scratch_size));
    if (scratch == nullptr) {
        put(text, "fsidata len 0\n");
        return;
    }
    Text fsi_text{scratch, fsi_scratch_size};
    fsi(fsi_text, block);
    put(text, "fsidata len %d\n", fsi_text.count);
    put(text, "%s", scratch);
    std::free(scratch);
}

void put_engine_location(Text& text, int link, int cfam, int engine) {
    put(text, "link         0x%08x\n", static_cast<unsigned>(link));
    put(text, "cfam         0x%08x\n", static_cast<unsigned>(cfam));
    put(text, "engine       0x%08x\n", static_cast<unsigned>(engine));
}

void put_extra_data(Text& text, Bytes data) {
    put(text, "extra Data:\n");
    for (int i = 0; i < 10; i++) {
        put(text, "data: 0x%08x \n", u32(data, 4 * i));
    }
}

// --- SCAN ---

void scan_bulk(Text& text, Bytes p) {
    put(text, "scan bulk ffdc data v05\n");
    put(text, "ffdc version : 0x%08x\n", u32(p, 0));
    put(text, "link : 0x%08x\n", static_cast<unsigned>(u16(p, 16)));
    put(text, "cfam : 0x%08x\n", static_cast<unsigned>(u16(p, 18)));
    put(text, "engine : 0x%08x\n", static_cast<unsigned>(u16(p, 20)));
    put(text, "status  : 0x%08x\n\n", u32(p, 8));
    put(text, "rc : 0x%08x\n", u32(p, 12));
    put(text, "remaining size : %u\n", u32(p, 24));
    put(text, "last executed operation : %u\n", u32(p, 28));
}

void scan(Text& text, Bytes p, std::uint32_t version, int length) {
    if (version == 5) {
        scan_bulk(text, p);
        return;
    }
    if (version < 1 || version > 5) {
        put_unrecognized(text, version, p, length);
        return;
    }
    // Version 4 has a fel word at 16; everything behind it moves up.
    const int moved = version == 4 ? 4 : 0;
    put(text, "SCAN FFDC Data v%02u\n", version);
    put(text, "ffdc version 0x%08x\n", u32(p, 0));
    if (version >= 2) {
        put_engine_location(text, s16(p, 128 + moved), s16(p, 130 + moved), s16(p, 132 + moved));
    }
    put(text, "status       0x%08x\n", u32(p, 8));
    put(text, "ext Status   0x%08x\n", u32(p, 12));
    if (version == 4) {
        put(text, "fel          0x%08x\n", u32(p, 16));
    }
    put(text, "func rc      %d \n", s32(p, 16 + moved));
    put_pointer(text, "address      ", u32(p, 60 + moved), " \n");
    put(text, "haveLbus     %d \n", s32(p, 4));
    put(text, "text         %.64s \n", chars(p, 64 + moved));
    if (version >= 3) {
        put(text, "status       0x%08x\n", u32(p, 8));
        put(text, "pibErr1      0x%08x\n", u32(p, 136 + moved));
        put(text, "pibErr2      0x%08x\n", u32(p, 140 + moved));
    }
    put_extra_data(text, p + 20 + moved);
    if (version == 1) {
        put_fsi_block(text, p + 136);
    }
}

// --- SCOM ---

void scom(Text& text, Bytes p, std::uint32_t version, int length) {
    if (version < 1 || version > 4) {
        put_unrecognized(text, version, p, length);
        return;
    }
    // The general-purpose words stand at 16: none in version 1, two in version 2, one in versions 3 and 4.
    const int moved = version == 1 ? 0 : version == 2 ? 8 : 4;
    put(text, "SCOM FFDC Data v%02u\n", version);
    put(text, "ffdc version 0x%08x\n", u32(p, 0));
    if (version == 4) {
        put_engine_location(text, s16(p, 136), s16(p, 138), s16(p, 140));
    }
    put(text, "status       0x%08x\n", u32(p, 4));
    put(text, "true reg     0x%08x\n", u32(p, 8));
    put(text, "comp reg     0x%08x\n", u32(p, 12));
    if (version >= 2) {
        put(text, "gp1 reg      0x%08x\n", u32(p, 16));
    }
    if (version == 2) {
        put(text, "gp2 reg      0x%08x\n", u32(p, 20));
    }
    put(text, "func rc      %d \n", s32(p, 16 + moved));
    put_pointer(text, "address      ", u32(p, 60 + moved), " \n");
    put(text, "haveLbus     %d \n", s32(p, 64 + moved));
    put(text, "text         %.64s \n", chars(p, 68 + moved));
    put_extra_data(text, p + 20 + moved);
    if (version <= 3) {
        put_fsi_block(text, p + 140 + moved);
    }
}

// --- JTAG ---

void jtag(Text& text, Bytes p, std::uint32_t version, int length) {
    put(text, "\nFILE LOCATION INFO:\n");
    if (u32(p, 0) == 0x1A000000) {
        put(text, "File: jtag\n");
    } else {
        put(text, "File ID: 0x%x\n", u32(p, 0));
    }
    put(text, "Line: %d\n", u16(p, 4));
    put(text, "Return code: %d\n", s32(p, 8));

    put(text, "\nENGINE INFO:\n");
    put(text, "Engine location: link=%d cfam=%d engine=%d\n", u8(p, 13), u8(p, 14), u8(p, 15));
    put(text, "Virtual address: 0x%x\n", u32(p, 16));
    if (u8(p, 20) == 0x11) {
        put(text, "Model: VEK1 ");
    } else {
        put(text, "Model: 0x%x ", static_cast<unsigned>(u8(p, 20)));
    }
    put(text, "Revision: 0x%x\n", static_cast<unsigned>(u8(p, 21)));
    put(text, "IRQ: %d\n", s32(p, 24));
    put(text, "Lock process: %d(%.16s)\n", s32(p, 28), chars(p, 32));
    if (version >= 2) {
        put(text, "Lock fd: %d\n", s32(p, 308));
    }
    put(text, "Local bus speed: %u\n", u32(p, 48));
    if (version >= 3) {
        put(text, "Flags: 0x%x (%s)\n", u32(p, 332), bit(u32(p, 332), 0) ? "FFDC " : "");
        put(text, "Magic: 0x%x (%s)\n", u32(p, 336), u32(p, 336) == 0xFEEDB0BB ? "GOOD" : "BAD");
    }

    if (u8(p, 52) != 0) {
        put(text, "\nENGINE REGISTERS (%d valid):", u8(p, 52));
        for (int i = 0; i < 47; i++) {
            if (i % 4 == 0) {
                put(text, "\n%08x: ", static_cast<unsigned>(4 * i));
            }
            put(text, "%08x ", u32(p, 56 + 4 * i));
        }
        put(text, "\n");
    }
    if (version >= 3) {
        put(text, "\nREGISTER CACHE:\n");
        put(text, "%08x %08x %08x %08x %08x \n", u32(p, 312), u32(p, 316), u32(p, 320), u32(p, 324), u32(p, 328));
    }
    if (u8(p, 244) == 1) {
        put(text, "\nCHAIN STRUCT INFO:\n");
        put(text, "Chain: 0x%x/0x%x/0x%x/0x%x\n", u32(p, 248), u32(p, 252), u32(p, 256), u32(p, 260));
        put(text, "Shift speed: %d MHz\n", s32(p, 264));
        if (u32(p, 268) != 0) {
            put(text, "Mux mask: 0x%x", u32(p, 268));
        }
        put(text, "data/bypass/crc length: %d/%d/%d\n", s32(p, 272), s32(p, 276), s32(p, 280));
        put(text, "Shift mode (0 = storage): %d\n", s32(p, 284));
    }

    put(text, "Error-specific data: 0x%x 0x%x 0x%x 0x%x 0x%x\n", u32(p, 288), u32(p, 292), u32(p, 296), u32(p, 300),
        u32(p, 304));
    if (version >= 4) {
        put(text, "jtagerr trace:\n");
        put_dump(text, p + 340, 256);
    }
    if (version >= 5) {
        put(text, "\nUnknown FFDC version %d -- Raw FFDC:\n", static_cast<int>(version));
        put_dump(text, p, length);
    }
}

// --- IIC ---

void put_iic_summary(Text& text, Bytes p) {
    put(text, "\nFailure Summary\n----------------\n");
    put(text, "status: %d\n", s32(p, 0));
    put(text, "file id: 0x%08X\n", u32(p, 4));
    put(text, "line number: %d\n", s16(p, 8));
}

void put_iic_engine(Text& text, Bytes p, std::uint32_t version) {
    put(text, "\nEngine Info\n-----------\n");
    put(text, "engine ID: %08X\n", u32(p, 49));
    put(text, "base address: %08X\n", u32(p, 53));
    put(text, "irq: %d\n", s32(p, 57));
    put(text, "flags: 0x%08x\n", u32(p, 61));
    put(text, "       (NO_ACCESS:7, CLEANUP_FAILED:6, INIT_FAILED:5, THROTTLED:3, BLOCK:2, RESET:1, ABORT:0)\n");
    put(text, "lbus speed: %d\n", s32(p, 65));
    put(text, "fifo size: %d\n", s32(p, 69));
    if (version >= 2) {
        put(text, "transfer number: %d\n", s32(p, 73));
    }
    if (version >= 3) {
        put(text, "port mask: 0x%08x%08x\n", u32(p, 461), u32(p, 465));
    }
}

void put_iic_kor_registers(Text& text, Bytes p) {
    put(text, "\nKorvastadt IIC Registers\n------------------------\n");
    for (int i = 0; i < 9; i++) {
        put(text, "%02X: %08X\n", static_cast<unsigned>(4 + 4 * i), u32(p, 13 + 4 * i));
    }
}

void put_iic_wex_registers(Text& text, Bytes p, std::uint32_t version) {
    put(text, "\nWEX IIC Registers\n-----------------\n");
    for (int i = 0; i < 13; i++) {
        put(text, "%02X: %02X\n", static_cast<unsigned>(4 + i), static_cast<unsigned>(u8(p, 13 + i)));
    }
    if (version >= 2) {
        put(text, "OPB STATUS: %08X\n", u32(p, 45));
    }
}

void put_iic_master(Text& text, Bytes p, std::uint32_t version) {
    put(text, "\nMaster Transfer Info\n--------------------\n");
    put_pointer(text, "iocb: ", u32(p, 81));
    put_pointer(text, "ubuf: ", u32(p, 85));
    put(text, "num_pages: %d\n", s32(p, 89));
    put_pointer(text, "pages ptr: ", u32(p, 93));
    put(text, "xfr size: %d bytes\n", s32(p, 97));
    put(text, "bytes xfrd: %d bytes\n", s32(p, 101));
    if (version >= 2) {
        put(text, "write data: %08X\n", u32(p, 201));
    }
    put(text, "status: %d\n", s32(p, 105));
    put(text, "retries: %d\n", u16(p, 157));

    const std::uint32_t state = u32(p, 109);
    put(text, "flags: 0x%08X\n", state);
    put(text, "RD:%d\t\t\tASYNC:%d\t\tFAST:%d\n", bit_digit(state, 0), bit_digit(state, 1), bit_digit(state, 2));
    put(text, "CANCELLED:%d\t\tABORT:%d\t\tRECOVERY:%d\n", bit_digit(state, 3), bit_digit(state, 4),
        bit_digit(state, 5));
    put(text, "STARTED:%d\t\tDELAYED:%d\tENDED:%d\n", bit_digit(state, 6), bit_digit(state, 7), bit_digit(state, 8));
    put(text, "ENG_COMP:%d\t\tDMA:%d\t\tDMA_SUBMITTED:%d\n", bit_digit(state, 9), bit_digit(state, 10),
        bit_digit(state, 11));
    put(text, "DMA_COMPLETED:%d\t\tOFFSET_PHASE:%d\tQUEUED:%d\n", bit_digit(state, 12), bit_digit(state, 13),
        bit_digit(state, 14));
    put(text, "SPECIAL_PHASE:%d\n", bit_digit(state, 15));

    put(text, "\nTransfer Options\n----------------\n");
    if (version == 0) {
        put(text, "speed: %d khz\n", u16(p, 113));
    }
    put(text, "address: 0x%04X\n", static_cast<unsigned>(u16(p, 115)));
    put(text, "offset width: %d bytes\n", u16(p, 117));
    put(text, "address increment mask: 0x%08X\n", u32(p, 121));
    put(text, "timeout: %d milliseconds\n", s32(p, 125));
    put(text, "write delay: %d milliseconds\n", u16(p, 129));
    put(text, "read delay: %d milliseconds\n", u16(p, 131));
    put(text, "write page size: %d bytes\n", u16(p, 133));
    put(text, "read page size: %d bytes\n", u16(p, 135));
    put(text, "offset: 0x%08X\n", u32(p, 137));
    put(text, "flags: 0x%08X\n", u32(p, 141));
    put(text, "       (SPECIAL_RD[3], NO_DMA[2], FORCE_DMA[1])\n");

    put(text, "\nRecovery Options\n----------------\n");
    put(text, "redo policy: 0x%08X\n", u32(p, 145));
    if (version == 0) {
        put(text, "speed policy: 0x%08X\n", u32(p, 149));
    }
    put(text, "redo delay: %d milliseconds\n", s32(p, 153));

    put(text, "\nClient Data\n-----------\n");
    put(text, "PID: %d\n", s32(p, 161));
    put(text, "TGID: %d\n", s32(p, 165));

    put(text, "\nBus Data\n--------\n");
    put(text, "port: %d\n", u8(p, 185));
    put(text, "bus id: 0x%08X\n", u32(p, 189));
    put(text, "device number: 0x%08X\n", u32(p, 193));
    if (version >= 1) {
        put(text, "speed: %d\n", s32(p, 197));
    }
}

void put_iic_slave(Text& text, Bytes p) {
    put(text, "\nSlave Transfer Info\n--------------------\n");
    put(text, "len: %d\n", u16(p, 131));
    put(text, "start: %d\n", s32(p, 133));
    put(text, "flags: %02x\n", static_cast<unsigned>(u8(p, 129)));

    put(text, "\nSlave Client Info\n-----------------\n");
    put(text, "pid: %d\n", s32(p, 81));
    put(text, "tgid: %d\n", s32(p, 85));
    put(text, "flags: %08x\n", u32(p, 105));
    put(text, "next_rd: %d\n", s32(p, 109));
    put(text, "last_unrd: %d\n", s32(p, 113));
    put(text, "xfr: %d\n", s32(p, 117));
    put(text, "address: %d\n", s32(p, 121));
    put(text, "timeout: %d\n", s32(p, 125));

    put(text, "\nSlave Info\n----------\n");
    put_pointer(text, "xfrs: ", u32(p, 137));
    put(text, "cur_xfr: %d\n", s32(p, 141));
    put(text, "next_wr: %d\n", s32(p, 145));
    put(text, "ms_delay: %d\n", s32(p, 149));
    put(text, "throttle_bytes: %d\n", s32(p, 153));
    put(text, "checked_in: %d\n", s32(p, 157));
    put(text, "unrd: %d\n", s32(p, 161));
    put(text, "next_unrd: %d\n", s32(p, 165));
    put(text, "inactive_this_xfr: %d\n", s32(p, 169));
    put(text, "total_active: %d\n", s32(p, 173));
    put(text, "total_regd: %d\n", s32(p, 177));
    put(text, "devnum: %d\n", s32(p, 181));
    put(text, "data recvd: %08x\n", u32(p, 185));
}

void iic(Text& text, Bytes p, std::uint32_t version, int length) {
    if (version > 3) {
        put_dump(text, p, length);
        return;
    }
    put_iic_summary(text, p);
    put_iic_engine(text, p, version);

    if (u8(p, 12) == 0) {
        put(text, "Register data not collected(%d)\n", 0);
    } else if (u8(p, 11) == 'K') {
        put_iic_kor_registers(text, p);
    } else if (u8(p, 11) == 'W') {
        put_iic_wex_registers(text, p, version);
    } else {
        put(text, "Dumping unknown register format\n");
        put_dump(text, p, length);
    }

    switch (u8(p, 10)) {
        case 0: put(text, "No transfer data\n"); break;
        case 'S': put_iic_slave(text, p); break;
        case 'M': put_iic_master(text, p, version); break;
        default:
            put(text, "Dumping unknown transfer format\n");
            put_dump(text, p + 81, 124);
            break;
    }

    if (version >= 2) {
        put(text, "\n---------- Trace Data ----------\n");
        put(text, "          SSTTTTTT TTTTTTFP AARSSSSS DDDDDDDD\n");
        put_dump(text, p + 205, 256);
    }
}

// --- PSI ---

void psi(Text& text, Bytes p, std::uint32_t version, int length) {
    static const char* const paths[] = {"DOPBS", "POPBS", "HOPBS", "IRPTS", "ANY  "};
    static const char* const types[] = {"BAT    ", "RUNTIME", "DEBUG  ", "UNDEF  "};

    put(text, "PSI FFDC version %d\n", static_cast<int>(version));
    put(text, "%s", double_rule);
    if (version < 1 || version > 3) {
        put_dump(text, p, length);
        return;
    }
    put(text, "Function ID: 0x%08x\n", static_cast<unsigned>(u8(p, 0)));
    put(text, "Error ID:    0x%08x\n", static_cast<unsigned>(u8(p, 1)));
    put(text, "Link Number: %d\n", u8(p, 2));
    put(text, "Link Status: 0x%08x\n", static_cast<unsigned>(u8(p, 3)));
    put(text, "Path:        %s\n", Name(paths, u32(p, 4)).text);
    put(text, "Type:        %s\n", Name(types, u32(p, 8)).text);
    put(text, "rc:          0x%08x\n", u32(p, 16));

    put(text, "%sPSIC TX Registers\n%s", rule, rule);
    put(text, "000: SR00 - Error Report 0:            %08x\n", u32(p, 116));
    put(text, "010: SR01 - Error Report 1:            %08x\n", u32(p, 132));
    put(text, "020: SR02 - Error Report Mask 0:       %08x\n", u32(p, 148));
    put(text, "030: SR03 - Error Report Mask 1:       %08x\n", u32(p, 164));
    put(text, "040: SR04 - Control/Fencing 1:         %08x\n", u32(p, 180));
    put(text, "050: SR05 - Control/Fencing 2:         %08x\n", u32(p, 196));
    put(text, "060: SR06 - DOPBS Prefix:              %08x\n", u32(p, 212));
    put(text, "070: SR07 - POPBS Timeout:             %08x\n", u32(p, 228));
    put(text, "080: SR08 - DOPBS Timeout:             %08x\n", u32(p, 244));
    put(text, "090: SR09 - SCOM Address:              %08x\n", u32(p, 260));
    put(text, "0A0: SR10 - SCOM Write Data:           %08x\n", u32(p, 276));
    put(text, "0B0: SR11 - SCOM Read Data:            %08x\n", u32(p, 292));
    put(text, "0C0: SR12 - EI2 Control 1:             %08x\n", u32(p, 308));
    put(text, "0D0: SR13 - EI2 Control 2:             %08x\n", u32(p, 324));
    put(text, "0E0: SR14 - EI2 Control 3:             %08x\n", u32(p, 340));
    put(text, "0F0: SR15 - EI2 LL Status:             %08x\n", u32(p, 356));
    put(text, "0F4: SR16 - Command Word 0 POPBS:      %08x\n", u32(p, 360));
    put(text, "0F8: SR17 - Command Word 1 POPBS:      %08x\n", u32(p, 364));
    put(text, "0FC: SR18 - Command Word 0 DOPBS:      %08x\n", u32(p, 368));
    put(text, "100: SR19 - Command Word 1 DOPBS:      %08x\n", u32(p, 372));
    put(text, "104: SR20 - Command Word 0 HOPBS:      %08x\n", u32(p, 376));
    put(text, "108: SR21 - Command Word 1 HOPBS:      %08x\n", u32(p, 380));
    put(text, "10C: SR22 - Command Word 0 IRPTS:      %08x\n", u32(p, 384));
    put(text, "110: SR23 - Command Word 1 IRPTS:      %08x\n", u32(p, 388));
    if (version >= 2) {
        put(text, "118: SR24 - Trace Register 0_0:        %08x\n", u32(p, 396));
        put(text, "11C: SR25 - Trace Register 0_1:        %08x\n", u32(p, 400));
        put(text, "120: SR26 - Trace Register 1_0:        %08x\n", u32(p, 404));
        put(text, "124: SR27 - Trace Register 1_1:        %08x\n", u32(p, 408));
        put(text, "128: SR28 - Trace Register 2_0:        %08x\n", u32(p, 412));
        put(text, "12C: SR29 - Trace Register 2_1:        %08x\n", u32(p, 416));
        put(text, "130: SR30 - Trace Register 3_0:        %08x\n", u32(p, 420));
        put(text, "134: SR31 - Trace Register 3_1:        %08x\n", u32(p, 424));
        put(text, "138: SR32 - Trace Register 4:          %08x\n", u32(p, 428));
        put(text, "13C: SR33 - Trace Register 5:          %08x\n", u32(p, 432));
    }

    put(text, "%sPSIC RX Registers\n%s", rule, rule);
    put(text, "200: Status Accumulated:               %08x\n", u32(p, 436));
    put(text, "204: Status Interrupt Enable:          %08x\n", u32(p, 440));
    put(text, "208: Control:                          %08x\n", u32(p, 444));
    put(text, "20C: PSI-pH Error Response Packet:     %08x\n", u32(p, 448));
    put(text, "210: Trace 0: Status:                  %08x\n", u32(p, 452));
    put(text, "214: Trace 1: Status Interrupt Enable: %08x\n", u32(p, 456));
    put(text, "218: Trace 2: Control:                 %08x\n", u32(p, 460));
    put(text, "21C: Trace 3: Error Response Packet:   %08x\n", u32(p, 464));
    put(text, "220: Trace 4: Command Buffer MSW:      %08x\n", u32(p, 468));
    put(text, "224: Trace 5: Command Buffer LSW:      %08x\n", u32(p, 472));
    put(text, "228: Trace 6: Data Buffer MSW:         %08x\n", u32(p, 476));
    put(text, "22C: Trace 7: Data Buffer LSW:         %08x\n", u32(p, 480));
    put(text, "230: Trace 8: Internal State 1:        %08x\n", u32(p, 484));
    put(text, "234: Trace 9: Internal State 2:        %08x\n", u32(p, 488));
    put(text, "238: Error Inject:                     %08x\n", u32(p, 492));
    put(text, "23C: PLB Load/DMA RRESP Timeout:       %08x\n", u32(p, 496));
    put(text, "240: CI Load/TX Grant Timeout:         %08x\n", u32(p, 500));
    put(text, "244: PLB Load/Store Prefix Address:    %08x\n", u32(p, 504));
    put(text, "248: Status Error Injection:           %08x\n", u32(p, 508));
    put(text, "24C: Actual Status:                    %08x\n", u32(p, 512));

    put(text, "%sPSI Link Layer Registers\n%s", rule, rule);
    for (int i = 0; i < 24; i += 4) {
        put(text, "%02d:%08x %02d:%08x %02d:%08x %02d:%08x\n", i, u32(p, 20 + 4 * i), i + 1, u32(p, 24 + 4 * i), i + 2,
            u32(p, 28 + 4 * i), i + 3, u32(p, 32 + 4 * i));
    }
}

// --- Mailbox ---

constexpr char mbox_rule[] = "-----------------------------------------------------------\n";

void put_mbox_function(Text& text, Bytes p) {
    static const char* const functions[] = {
        "MBX_FSYNC_ID    ", "MBX_MASK_ID     ", "MBX_UNMASK_ID   ", "MBX_OPEN_ID     ", "MBX_RESET_ID    ",
        "MBX_SYS_READ_ID ", "MBX_READ_ID     ", "MBX_MSG_RD_ID   ", "MBX_SYS_WRITE_ID", "MBX_MSG_WR_ID   ",
        "MBX_WRITE_ID    ", "MBX_GETPMASK_ID ", "MBX_XMIT_ID     ", "MBX_IRQ_VEK_ID  ", "MBX_TMR_FN_ID   ",
        "MBX_IRQ_HST_ID  ", "MBX_WAIT_XDN    "};
    static const char* const errors[] = {
        "MBX_TX_LOCK_ERR  ", "MBX_RX_LOCK_ERR  ", "MBX_MUTEX_ERR    ", "MBX_WAIT_ERR     ", "MBX_IOCPY_ERR    ",
        "MBX_IOW32_ERR    ", "MBX_IOR32_ERR    ", "MBX_INVAL_ERR    ", "MBX_BAD_PD_ERR   ", "MBX_CPYTO_ERR    ",
        "MBX_CPYFR_ERR    ", "MBX_BAD_MSG_ERR  ", "MBX_BIG_MSG_ERR  ", "MBX_INT_VEK_ERR  ", "MBX_INT_NHAND_ERR",
        "MBX_INT_HST_ERR  ", "MBX_TMO          "};
    put(text, "Function ID:         %s\n", Name(functions, p[0]).text);
    put(text, "Error ID:            %s\n", Name(errors, p[1]).text);
}

void put_mbox_file(Text& text, Bytes p, int offset) {
    static const char* const files[] = {"mbx_core         ", "Unknown          ", "Unknown          ",
                                        "Unknown          ", "Unknown          ", "Unknown          "};
    put(text, "File name:           %s\n", Name(files, p[offset]).text);
}

void put_mbox_request_v1_to_v3(Text& text, Bytes payload, std::uint32_t version) {
    if (version == 3) {
        put_mbox_file(text, payload, 0);
        put(text, "Line number:         %d\n", s32(payload, 4));
    } else {
        put_mbox_function(text, payload);
    }
    // Version 3 names file and line instead of function and error, which takes eight bytes more.
    const Bytes p = version == 3 ? payload + 8 : payload;
    put(text, "rc:                  0x%08x\n", u32(p, 4));
    put(text, "Engine ID:           0x%08x\n", u32(p, 8));
    put(text, "TX Count:            %d\n", u8(p, 12));
    put(text, "RX Count:            %d\n", u8(p, 13));
    put(text, "Count:               %d\n", u8(p, 14));
    put(text, "Flags:               0x%08x\n", u32(p, 16));
    put(text, "Mode:                %d\n", u8(p, 20));
    put(text, "Engine:              %d\n", u8(p, 21));
    put(text, "Base:                0x%08x\n", u32(p, 24));
    put(text, "Dev Capabilities:    0x%08x\n", u32(p, 28));
    put(text, "IRQ:                 %d\n", s32(p, 32));
    put(text, "Parameter 0:         0x%08x\n", u32(p, 36));
    put(text, "Parameter 1:         0x%08x\n", u32(p, 40));
    put(text, "Parameter 2:         0x%08x\n", u32(p, 44));
    put(text, "Parameter 3:         0x%08x\n", u32(p, 48));
    put(text, "Message Header Size: %d\n", u8(p, 52));
    put(text, "Message Data Size:   %d\n", u8(p, 53));
}

void put_mbox_request_v4_and_v5(Text& text, Bytes p) {
    put(text, "Mbx version string:  %.16s\n", chars(p, 0));
    put(text, "VEK DD level:        0x%08x\n", u32(p, 16));
    put_mbox_file(text, p, 32);
    put(text, "Line number:         %d\n", s32(p, 20));
    const int rc = s32(p, 24);
    put(text, "rc:                  %d, (errno def: %s)\n", rc, std::strerror(rc == INT_MIN ? rc : std::abs(rc)));
    put(text, "Engine ID:           0x%08x\n", u32(p, 28));
    put(text, "TX Count:            %d\n", u8(p, 33));
    put(text, "RX Count:            %d\n", u8(p, 34));
    put(text, "Count:               %d\n", u8(p, 35));
    put(text, "Flags:               0x%08x\n", u32(p, 40));
    put(text, "Mode:                %d\n", u8(p, 36));
    put(text, "Engine:              %d\n", u8(p, 37));
    put(text, "Base:                0x%08x\n", u32(p, 44));
    put(text, "Dev Capabilities:    0x%08x\n", u32(p, 48));
    put(text, "IRQ:                 %d\n", s32(p, 52));
    put(text, "Parameter 0:         0x%08x\n", u32(p, 56));
    put(text, "Parameter 1:         0x%08x\n", u32(p, 60));
    put(text, "Parameter 2:         0x%08x\n", u32(p, 64));
    put(text, "Parameter 3:         0x%08x\n", u32(p, 68));
    put(text, "Message Header Size: %d\n", u8(p, 38));
    put(text, "Message Data Size:   %d\n", u8(p, 39));
}

void put_mbox_data(Text& text, Bytes data) {
    for (int i = 0; i < 64; i += 16) {
        put(text, "     %08x %08x %08x %08x\n", u32(data, i), u32(data, i + 4), u32(data, i + 8), u32(data, i + 12));
    }
}

void put_mbox_direction(Text& text, const char* direction, Bytes header, Bytes data) {
    put(text, "%s Header/Command 0:     %08x\n", direction, u32(header, 0));
    put(text, "%s Header/Command 1:     %08x\n", direction, u32(header, 4));
    put(text, "%s Header/Command 2:     %08x\n", direction, u32(header, 8));
    put(text, "%s Data:\n", direction);
    put_mbox_data(text, data);
}

void put_mbox_slave_irq(Text& text, Bytes p) {
    put(text, "     sism: %08x\n", u32(p, 0));
    put(text, "     sisc: %08x\n", u32(p, 4));
    put(text, "     si1m: %08x\n", u32(p, 8));
    put(text, "     si1s: %08x\n", u32(p, 12));
    put(text, "     si2m: %08x\n", u32(p, 16));
    put(text, "     si2s: %08x\n", u32(p, 20));
    put(text, "  nextirq: %02x\n", static_cast<unsigned>(u8(p, 24)));
}

void put_mbox_irqinfo(Text& text, Bytes p) {
    put(text, "\nfsi_irqinfo:\n");
    put(text, "irqno:     %04x\n", static_cast<unsigned>(u16(p, 300)));
    put(text, "slv:\n");
    put_mbox_slave_irq(text, p + 304);
    put(text, "cmslv:\n");
    put(text, "    cmfsi: %02x\n", static_cast<unsigned>(u8(p, 332)));
    put(text, "nextssirq: %02x\n", static_cast<unsigned>(u8(p, 333)));
    put(text, "    srsim: %08x\n", u32(p, 336));
    put(text, "    srsic: %08x\n", u32(p, 340));
    put(text, "slv2:\n");
    put_mbox_slave_irq(text, p + 344);
    for (int i = 0; i < 3; i++) {
        put(text, "uic%d:\n", i);
        put(text, "    uicer: %08x\n", u32(p, 372 + 8 * i));
        put(text, "    uicsr: %08x\n", u32(p, 376 + 8 * i));
    }
}

void mbox(Text& text, Bytes p, std::uint32_t version, int length) {
    put(text, "Mailbox FFDC version %d\n", static_cast<int>(version));
    put(text, "%s", double_rule);
    if (version < 1 || version > 5) {
        put_dump(text, p, length);
        return;
    }
    if (version <= 3) {
        put_mbox_request_v1_to_v3(text, p, version);
    } else {
        put_mbox_request_v4_and_v5(text, p);
    }

    // From here on the versions differ only in where the input/output description begins.
    const Bytes io = p + (version == 1 ? 56 : version == 2 ? 64 : version == 3 ? 72 : 80);
    put(text, "IO Data Address:     0x%08x\n", u32(io, 0));
    put(text, "IO Data Mask:        0x%08x\n", u32(io, 4));
    put(text, "IO Data Dest:        0x%08x\n", u32(io, 8));
    put(text, "IO Data Source:      0x%08x\n", u32(io, 12));
    put(text, "IO Data Size:        0x%08x\n", u32(io, 16));
    put(text, "IO Data Type:        0x%08x\n", u32(io, 20));
    if (version == 2 || version == 3) {
        put(text, "Read  TMO:           0x%08x\n", u32(io, -8));
        put(text, "Write TMO:           0x%08x\n", u32(io, -4));
    } else if (version >= 4) {
        put(text, "Read  TMO (jiffies): %d\n", s32(io, -8));
        put(text, "Write TMO (jiffies): %d\n", s32(io, -4));
    }

    put(text, "%sMailbox Registers\n%s", mbox_rule, mbox_rule);
    put(text, "Doorbell Status/Control: %08x\n", u32(io, 24));
    Bytes status;
    if (version == 1) {
        put(text, "Header/Command 0:        %08x\n", u32(io, 28));
        put(text, "Header/Command 1:        %08x\n", u32(io, 32));
        put(text, "Header/Command 2:        %08x\n", u32(io, 36));
        put(text, "Data:\n");
        put_mbox_data(text, io + 40);
        status = io + 104;
    } else {
        // Transmit is printed first although receive is stored first.
        put_mbox_direction(text, "TX", io + 40, io + 116);
        put_mbox_direction(text, "RX", io + 28, io + 52);
        status = io + 180;
    }
    put(text, "Local Error Status:      %08x\n", u32(status, 0));
    put(text, "Host Error Status:       %08x\n", u32(status, 4));
    put(text, "Host Interrupt:          %08x\n", u32(status, 8));
    put(text, "Host Interupt Mask:      %08x\n", u32(status, 12));
    put(text, "Local Interrupt:         %08x\n", u32(status, 16));
    put(text, "Local Interrupt Mask:    %08x\n", u32(status, 20));
    if (version >= 4) {
        put(text, "Scratch pad 0:           %08x\n", u32(p, 284));
        put(text, "Scratch pad 1:           %08x\n", u32(p, 288));
        put(text, "Scratch pad 2:           %08x\n", u32(p, 292));
        put(text, "Scratch pad 3:           %08x\n", u32(p, 296));
    }
    if (version == 5) {
        put_mbox_irqinfo(text, p);
    }
}

// --- UART driver and serial ports ---

void put_kb(Text& text, Bytes kb) {
    const std::uint32_t errors = u32(kb, 12);
    put(text, "kb: flags[%08x] errors[%08x] count[%d] head[%d] tail[%d] size[%d]\n", u32(kb, 0), errors, u16(kb, 4),
        u16(kb, 6), u16(kb, 8), u16(kb, 10));
    if (bit(errors, 16)) {
        put(text, "\t\t\tLRC error\n");
    }
    if (bit(errors, 17)) {
        put(text, "\t\t\tCRC error\n");
    }
    if (bit(errors, 18)) {
        put(text, "\t\t\tRX FRAMING error\n");
    }
    if (bit(errors, 19)) {
        put(text, "\t\t\tRX OVERRUN error\n");
    }
    if (bit(errors, 20)) {
        put(text, "\t\t\tRX UNDERFLOW error\n");
    }
    if (bit(errors, 21)) {
        put(text, "\t\t\tRX PARITY error\n");
    }
    if (bit(errors, 22)) {
        put(text, "\t\t\tRX MAX_LEN error\n");
    }
    if (bit(errors, 23)) {
        put(text, "\t\t\tTX UNDERRUN error\n");
        put(text, "\t\t\tTX PARITY error\n");
    }
    if (bit(errors, 24)) {
        put(text, "\t\t\tNRT error\n");
    }
    if (bit(errors, 25)) {
        put(text, "\t\t\tFSI error\n");
    }
}

void put_uart_statistics(Text& text, Bytes p) {
    // All bits set: the minimum was never updated.
    const unsigned long long low = u64(p, 16) == ~0ULL ? 0 : u64(p, 16);
    put(text, "  operation:%d  errors:%d  bytes:%d  low:%llu  avg:%llu  high:%llu\n", s32(p, 0), s32(p, 4), s32(p, 8),
        low, u64(p, 24), u64(p, 32));
}

void uart(Text& text, Bytes p, std::uint32_t version, int length) {
    if (version >= 8) {
        put(text, "\nULO UART FFDC\n");
        put(text, "V[0x%x] P[0x%x] fsi_rc[%d]\n\n", u32(p, 0), u32(p, 4), s32(p, 8));
    } else {
        put(text, "\nULO UART HW FFDC\n");
        if (version >= 2) {
            put(text, "drv ver[%.8s] ", chars(p, 72));
        }
        put(text, "rc[%d] file[%x] line[%d]\n", s32(p, 0), u32(p, 4), s16(p, 8));
        put(text, "pid[%d] tgid[%d] proc_name[%.16s]\n", s32(p, 44), s32(p, 48), chars(p, 52));
        put(text, "devnum[%x]\n", u32(p, 68));
        if (version >= 2) {
            put(text, "uart config:\n");
            put(text, "  tx chunk size: %d\n", s32(p, 88));
            put(text, "  rx chunk size: %d\n", s32(p, 92));
            put(text, "  tx queue size: %d\n", s32(p, 96));
            put(text, "  rx queue size: %d\n", s32(p, 100));
            put(text, "  soft len max: %d\n", s32(p, 104));
            put(text, "flags[%#x]\n", u32(p, 80));
            put(text, "rx count[%d]\n", u8(p, 85));
            put(text, "tx count[%d]\n", u8(p, 84));
        }
        put(text, "rx: ");
        put_kb(text, p + 12);
        put(text, "tx: ");
        put_kb(text, p + 28);
        if (version >= 2) {
            put(text, "tx stats:\n");
            put_uart_statistics(text, p + 112);
            put(text, "rx stats:\n");
            put_uart_statistics(text, p + 152);
        }
    }
    put(text, "\n");
    put_dump(text, p, length);
}

// The driver version text at the end of a payload has no size of its own.
void put_last_driver_version(Text& text, Bytes p, int offset, int length) {
    put(text, "drv ver[%.*s] ", length > offset ? length - offset : 0, chars(p, offset));
}

void put_capture_point(Text& text, std::int32_t rc, std::uint32_t file, int line) {
    put(text, "rc[%d] file[%x] line[%d]\n", rc, file, line);
}

const char* const kor_names[] = {
    "None",           "BIDI Parity",  "UNI Parity",   "FULL Parity",     "None",      "BIDI Mask",
    "BIDI Latches",   "BIDI Alert",   "UNI Mask",     "UNI Latches",     "UNI Alert", "IRQ Mask",
    "IRQ Conditions", "IRQ",          "Status",       "Extended Status", "FULL Mask", "FULL Latches",
    "FULL Alert",     "RX Port",      "TX Port",      "RX Baud",         "TX Baud",   "RX Mode",
    "TX Mode",        "RX Watermark", "TX Watermark", "SC Clock",        "SC Port"};

const char* const wex_names[] = {"FIFO", "IER", "IIR", "FCR", "LCR", "MCR", "LSR", "SCR"};

void alert(Text& text, Bytes p, std::uint32_t version, int length) {
    put(text, "\nKOR ALERT FFDC\n");
    if (version >= 2) {
        put_last_driver_version(text, p, 104, length);
    }
    put_capture_point(text, s32(p, 0), u32(p, 4), s16(p, 8));
    put(text, "devnum[%d]\n", s32(p, 20));
    put(text, "count[%d]\n", s32(p, 24));
    put(text, "flags[%08x]\n", u32(p, 28));
    if (u8(p, 32) != 0) {
        put(text, "\nKOR Alert Regs\n");
        for (int i = 1; i <= 16; i++) {
            put(text, "%15.15s: %08x\n", kor_names[i], u32(p, 36 + 4 * i));
        }
    }
    put(text, "\n");
    put_dump(text, p, length);
}

void kor_port(Text& text, Bytes p, std::uint32_t version, int length) {
    put(text, "\nKOR UART FFDC\n");
    if (version >= 2) {
        put(text, "drv ver[%.8s] ", chars(p, 160));
    }
    put_capture_point(text, s32(p, 0), u32(p, 20), s16(p, 24));
    put_kb(text, p + 4);
    if (version >= 2) {
        put(text, "last port change: rx[%llu] tx[%llu] ticks ago\n", u64(p, 144), u64(p, 152));
    }
    if (version >= 3) {
        put(text, "sc_freq:%u\n", u32(p, 168));
    }
    if (u8(p, 26) != 0) {
        put(text, "\nKOR UART Regs\n");
        for (int i = 1; i <= 28; i++) {
            put(text, "%15.15s: %08x\n", kor_names[i], u32(p, 28 + 4 * i));
        }
    }
    put(text, "\n");
    put_dump(text, p, length);
}

void put_wex_registers(Text& text, Bytes p, int offset) {
    for (int i = 1; i <= 7; i++) {
        put(text, "%4s:%02x\n", wex_names[i], static_cast<unsigned>(u8(p, offset + i)));
    }
}

void wex_port(Text& text, Bytes p, std::uint32_t version, int length) {
    put(text, "\nWEX UART FFDC\n");
    if (version >= 2) {
        put_last_driver_version(text, p, 37, length);
    }
    put_capture_point(text, s32(p, 0), u32(p, 4), s16(p, 8));
    put_kb(text, p + 12);
    if (u8(p, 28) != 0) {
        put(text, "\nWEX UART Regs\n");
        put_wex_registers(text, p, 28);
    }
    put(text, "\n");
    put_dump(text, p, length);
}

void tam_port(Text& text, Bytes p, std::uint32_t version, int length) {
    put(text, "\nTAM UART FFDC\n");
    if (version >= 2) {
        put_last_driver_version(text, p, 112, length);
    }
    put_capture_point(text, s32(p, 0), u32(p, 4), s16(p, 8));
    put_kb(text, p + 12);
    if (u8(p, 28) != 0) {
        put(text, "\nTAM UART Regs\n");
        put(text, "  status: %02x\n", static_cast<unsigned>(u8(p, 33)));
        put(text, "  parms: %08x\n", u32(p, 34));
        put(text, "  timeout: %08x\n", u32(p, 38));
        put(text, "  mrl: %08x\n", u32(p, 42));
        put(text, "  mrd: %08x\n", u32(p, 46));
        put(text, "  xmit: %08x\n", u32(p, 50));
        put(text, "  recv: %08x\n", u32(p, 54));
        put(text, "  len: %08x\n", u32(p, 58));
        put(text, "  pivot: %08x\n", u32(p, 62));
        put(text, "  trans_ctl: %08x\n", u32(p, 66));
        put(text, "  error: %08x\n", u32(p, 70));
        put(text, "  irq_mask: %08x\n", u32(p, 78));
        put(text, "  irq: %08x\n", u32(p, 86));
    }
    put(text, "\noperation type[%d]\n", s32(p, 100));
    put(text, "port operation[%d]\n", s32(p, 104));
    put(text, "cushion[%d]\n", u8(p, 108));
    put(text, "len[%d]\n", u16(p, 110));
    put(text, "\n");
    put_dump(text, p, length);
}

void rs485_port(Text& text, Bytes p, std::uint32_t version, int length) {
    put(text, "\nRS485 UART FFDC\n");
    if (version >= 1) {
        put(text, "drv ver[%.10s] ", chars(p, 106));
    }
    put_capture_point(text, s32(p, 44), u32(p, 68), s16(p, 72));
    if (u8(p, 96) != 0) {
        put(text, "\nRS485 UART Regs\n");
        put_wex_registers(text, p, 96);
    }
    put(text, "tx count[%d]\n", u8(p, 48));
    put(text, "rx count[%d]\n", u8(p, 49));
    put_kb(text, p + 52);
    put(text, "id[%d]\n", u8(p, 95));
    put(text, "rx_state[%d]\n", s32(p, 76));
    put(text, "tx_state[%d]\n", s32(p, 80));
    put(text, "wd_timer[%d]\n", s32(p, 84));
    put(text, "bo_timer[%d]\n", s32(p, 88));
    put(text, "sent_byte[%d]\n", u8(p, 92));
    put(text, "invert_next_char[%d]\n", u8(p, 93));
    put(text, "sync_count[%d]\n", u8(p, 94));
    if (version >= 1) {
        put(text, "rx_bad_checksum[%d]\n", s32(p, 196));
        put(text, "rx_bad_length[%d]\n", s32(p, 200));
        put(text, "rx_bytes[%d]\n", s32(p, 204));
        put(text, "rx_bad_bytes[%d]\n", s32(p, 208));
        put(text, "rx_packets[%d]\n", s32(p, 212));
        put(text, "rx_packets_dropped[%d]\n", s32(p, 216));
        put(text, "\ntx_bytes[%d]\n", s32(p, 220));
        put(text, "tx_sent[%d]\n", s32(p, 224));
        put(text, "tx_discarded[%d]\n", s32(p, 228));
        put(text, "tx_retries[%d]\n", s32(p, 232));
        put_dump(text, p + 116, 40);
        put_dump(text, p + 156, 40);
    }
    put(text, "\n");
    put_dump(text, p, length);
}

void serial8250(Text& text, Bytes p, std::uint32_t version, int length) {
    put(text, "  version: %04x\n", version);
    put(text, "  magic  : %08x %s\n", u32(p, 0), u32(p, 0) == 0x8250FFDC ? "" : "[CORRUPT!!]");
    put(text, "  rc     : %d\n", s32(p, 4));
    put(text, "  devnum : %08x\n", u32(p, 8));
    put(text, "  line   : %d\n", s32(p, 12));
    put(text, "  vaddr  : 0x%08x\n", u32(p, 20));
    put(text, "  paddr  : 0x%08x\n", u32(p, 16));
    put_dump(text, p, length);
}

// --- RTC ---

int bcd(int byte) { return (byte >> 4) * 10 + (byte & 0x0F); }

int alarm_bcd(int byte) { return bcd(byte & 0x7F); }

const char* bit_word(int byte, int number) { return (byte >> number & 1) != 0 ? "set" : "clear"; }

void rtc_hardware(Text& text, Bytes p) {
    static const char* const frequencies[] = {"1 HZ", "512 HZ", "4096 HZ", "32768 HZ"};
    const int flags = u8(p, 0);
    const int interrupts = u8(p, 6);
    const int calibration = u8(p, 8);

    put_counting_all(text, "RTC HW FFDC\n");
    put_counting_all(text, "\trc:      %08d\n", s32(p, 16));
    put_counting_all(text, "\tioctl:   %08x\n", u32(p, 20));
    put_counting_all(text,
                     "RTC time:\nHours: %02d\tMinutes: %02d\tSeconds: %02d\tDay: %02d\n"
                     "Date: %02d\tMonths: %02d\tYears: %02d\tCenturies: %02d\n",
                     bcd(u8(p, 11)), bcd(u8(p, 10)), bcd(u8(p, 9)), bcd(u8(p, 12)), bcd(u8(p, 13)), bcd(u8(p, 14)),
                     bcd(u8(p, 15)), bcd(u8(p, 1)));
    put_counting_all(text,
                     "\nAlarm time match:\nAlarm secs: %02d\tMatch bit: %s\nAlarm mins: %02d\tMatch bit: %s\n"
                     "Alarm hrs: %02d\tMatch bit: %s\nAlarm day: %02d\tMatch bit: %s\n",
                     alarm_bcd(u8(p, 2)), bit_word(u8(p, 2), 7), alarm_bcd(u8(p, 3)), bit_word(u8(p, 3), 7),
                     alarm_bcd(u8(p, 4)), bit_word(u8(p, 4), 7), alarm_bcd(u8(p, 5)), bit_word(u8(p, 5), 7));
    put_counting_all(text,
                     "\nFlag Bits:\nRead: %s\tWrite: %s\tCAL: %s\tBPF: %s\n"
                     "OSCF: %s\tPF: %s\tAF: %s\tWDF: %s\n",
                     bit_word(flags, 0), bit_word(flags, 1), bit_word(flags, 2), bit_word(flags, 3), bit_word(flags, 4),
                     bit_word(flags, 5), bit_word(flags, 6), bit_word(flags, 7));
    put_counting_all(text,
                     "\nInterrupt Status/Control:\nSQR Freq: %s\tP/L: %s\tH/L: %s\tSQWE: %s\n"
                     "PFE: %s\tAIE: %s\tWIE: %s\n",
                     frequencies[interrupts & 3], bit_word(interrupts, 2), bit_word(interrupts, 3),
                     bit_word(interrupts, 4), bit_word(interrupts, 5), bit_word(interrupts, 6),
                     bit_word(interrupts, 7));
    put_counting_all(text, "\nCalibration:\nOSCEN: %s\tCal sign: %s\n", bit_word(calibration, 7),
                     bit_word(calibration, 5));
}

void rtc(Text& text, Bytes p, std::uint32_t version, int length) {
    if (version == 0x0101) {
        if (length == 24) {
            rtc_hardware(text, p);
            return;
        }
        put_counting_all(text, "HW Data size mismatch %d vs %d\n", 24, length);
    } else if (version == 0x0102) {
        if (length == 72) {
            put_counting_all(text, "RTC SW FFDC\n");
            put_counting_all(text, "\trc:      %08d\n", s32(p, 64));
            put_counting_all(text, "\tioctl:   %08x\n", u32(p, 68));
            put_counting_all(text, "\tErr Str: [%.64s]\n", chars(p, 0));
            return;
        }
        put_counting_all(text, "SW Data size mismatch %d vs %d\n", 72, length);
    } else {
        put_counting_all(text, "Unrecognised FFDC version %04x\n", version);
    }
    put_dump(text, p, length);
}

// --- Simple drivers ---

void tone(Text& text, Bytes p, std::uint32_t version, int length) {
    put_counting_all(text, "Tone Version: 0x%x\n", version);
    put_dump(text, p, length);
}

void spad(Text& text, Bytes p, std::uint32_t version, int length) {
    if (u32(p, 4) == 0x1B000000) {
        put_counting_all(text, "File: scratchpad\n");
    } else {
        put_counting_all(text, "File ID: 0x%x\n", u32(p, 4));
    }
    put_counting_all(text, "Line: %d\n", u16(p, 8));
    put_counting_all(text, "Return code: %d\n", s32(p, 0));
    put_counting_all(text, "Engine size: %d bytes\n", s32(p, 12));
    put_counting_all(text, "Engine location: link=%d cfam=%d engine=%d\n", u8(p, 17), u8(p, 18), u8(p, 19));
    if (version >= 2) {
        put_counting_all(text, "\nUnknown FFDC version -- Raw FFDC:\n");
        put_dump(text, p, length);
    }
}

void iomux(Text& text, Bytes p, std::uint32_t version, int length) {
    static const char* const register_names[] = {
        "CTL0 ", "CTL1 ", "CTL2 ", "CTL3 ", "CTL4 ", "CTL5 ", "CTL6 ", "CTL7 ", "CTL8 ", "STAT ", "RCG0 ", "RCG1 ",
        "RCG2 ", "RCG3 ", "RCG4 ", "RCG5 ", "RCG6 ", "RCG7 ", "RCG8 ", "MODE0", "MODE1", "MODE2", "MODE3", "MODE4"};
    if (version != 256) {
        put_unrecognized(text, version, p, length);
        return;
    }
    if (length != 149) {
        put_wrong_size(text, 149, p, length);
        return;
    }
    put_counting_all(text, "FFDC for %.32s:\n", chars(p, 20));
    put_counting_all(text, "\tdevnum:      %08x\n", u32(p, 12));
    put_counting_all(text, "\tflags:       %08x\n", u32(p, 8));
    put_counting_all(text, "\treg_offset:  %08x\n", u32(p, 4));
    put_counting_all(text, "\tlbus_reason: %08x\n", u32(p, 16));
    put_counting_all(text, "\trc:          %8d\n", s32(p, 0));
    if (u8(p, 52) != 0) {
        put_counting_all(text, "\tCurrent state of hw regs:\n");
    } else {
        put_counting_all(text, "\tSoftware state of hw regs:\n");
    }
    for (int i = 0; i < 24; i += 2) {
        put_counting_all(text, "\t\t%s:    %08x\t%s:    %08x\n", register_names[i], u32(p, 53 + 4 * i),
                         register_names[i + 1], u32(p, 57 + 4 * i));
    }
}

void dpss(Text& text, Bytes p, int length) {
    if (length <= 0 || p == nullptr || text.out == nullptr) {
        return;
    }
    put(text, "Device name: %.16s\n", chars(p, 0));
    put(text, "Return code: %d\n", s32(p, 18));
    put(text, "Register data: 0x%x\n", u32(p, 22));
    put(text, "Phase number: %d\n", s16(p, 26));
    put(text, "Pin number: %d\n", s16(p, 28));
}

void mtdcram(Text& text, Bytes p, std::uint32_t version, int length) {
    if (version != 1) {
        put_unrecognized(text, version, p, length);
        return;
    }
    put(text, "MTDCRAM FFDC Data\n");
    put(text, "RC\t\t%d\n", s32(p, 16));
    put(text, "Op:             %s\n", u32(p, 0) == 0 ? "read" : "write");
    put(text, "Offset\t\t%lld\n", static_cast<long long>(u64(p, 4)));
    put(text, "Count           %d\n", s32(p, 12));
}

// --- Records ---

const char* type_name(int type) {
    static const char* const names[] = {"UNKNOWN",
                                        "FFDC_TYPE_FSI",
                                        "FFDC_TYPE_PSI",
                                        "FFDC_TYPE_DMA",
                                        "FFDC_TYPE_HDMA",
                                        "FFDC_TYPE_MDMA",
                                        "FFDC_TYPE_IIC",
                                        "FFDC_TYPE_UART",
                                        "FFDC_TYPE_JTAG",
                                        "FFDC_TYPE_MBOX",
                                        "FFDC_TYPE_DIO",
                                        "FFDC_TYPE_SCAN",
                                        "FFDC_TYPE_SCOM",
                                        "FFDC_TYPE_TONE",
                                        "UNKNOWN",
                                        "FFDC_TYPE_RTC",
                                        "FFDC_TYPE_SPAD",
                                        "FFDC_TYPE_IOMUX",
                                        "FFDC_TYPE_DRA",
                                        "FFDC_TYPE_USB",
                                        "FFDC_TYPE_8250",
                                        "FFDC_TYPE_RS485",
                                        "FFDC_TYPE_ALERT",
                                        "FFDC_TYPE_KOR_PORT",
                                        "FFDC_TYPE_TAM_PORT",
                                        "FFDC_TYPE_WEX_PORT",
                                        "FFDC_TYPE_DPSS",
                                        "FFDC_TYPE_MTDCRAM"};
    return type >= 1 && type <= 27 ? names[type] : "UNKNOWN";
}

void put_header(Text& text, Bytes record) {
    const int head_version = s32(record, 16);
    if (head_version != 1) {
        put(text, "Unsupported header version[%d]\nAssuming version 1\n", head_version);
    }
    put(text, "  head version[%d] time[%x %x] size[%d]\n", head_version, u32(record, 28), u32(record, 32),
        u16(record, 36));
    put(text, "  pid[%d]  tgid[%d] type[%d]\n", s32(record, 20), s32(record, 38), u16(record, 24));
}

}  // namespace

int dump(const void* data, int length, char* out, int room) {
    if (length < 1 || data == nullptr || out == nullptr) {
        return 0;
    }
    const Bytes bytes = static_cast<Bytes>(data);
    const int words = length / 4;
    char hex[64] = "";
    char characters[32] = "";
    int hex_length = 0;
    int character_count = 0;
    unsigned long offset = 0;
    int written = 0;

    for (int i = 0; i < words; i++) {
        hex_length += std::snprintf(hex + hex_length, sizeof hex - static_cast<std::size_t>(hex_length), "%08x ",
                                    u32(bytes, 4 * i));
        for (int j = 4 * i; j < 4 * i + 4; j++) {
            characters[character_count++] = std::isprint(bytes[j]) != 0 ? static_cast<char>(bytes[j]) : '.';
        }
        if ((i + 1) % 4 == 0) {
            written += std::snprintf(out + written, static_cast<std::size_t>(room - written), "%08lx [%s] [%s]\n",
                                     offset, hex, characters);
            offset += 16;
            std::memset(hex, 0, sizeof hex);
            std::memset(characters, 0, sizeof characters);
            hex_length = 0;
            character_count = 0;
        }
        // The next line needs 67 characters and its NUL.
        if (room - written <= 69) {
            return written;
        }
    }
    if (words % 4 != 0) {
        for (int i = words % 4; i < 4; i++) {
            hex_length +=
                std::snprintf(hex + hex_length, sizeof hex - static_cast<std::size_t>(hex_length), "%08x ", 0U);
            character_count +=
                std::snprintf(characters + character_count,
                              sizeof characters - static_cast<std::size_t>(character_count), "%4.4s", "....");
        }
        written += std::snprintf(out + written, static_cast<std::size_t>(room - written), "%08lx [%s] [%s]\n", offset,
                                 hex, characters);
    }
    return written;
}

int decode(int type, const void* payload, std::uint32_t version, int length, char* out, int room) {
    Text text{out, room};
    const Bytes bytes = static_cast<Bytes>(payload);
    switch (type) {
        case 1: fsi(text, bytes); break;
        case 2: psi(text, bytes, version, length); break;
        case 3: dma(text, bytes, version, length); break;
        case 4: hdma(text, bytes, version, length); break;
        case 6: iic(text, bytes, version, length); break;
        case 7: uart(text, bytes, version, length); break;
        case 8: jtag(text, bytes, version, length); break;
        case 9: mbox(text, bytes, version, length); break;
        case 11: scan(text, bytes, version, length); break;
        case 12: scom(text, bytes, version, length); break;
        case 13: tone(text, bytes, version, length); break;
        case 15: rtc(text, bytes, version, length); break;
        case 16: spad(text, bytes, version, length); break;
        case 17: iomux(text, bytes, version, length); break;
        case 20: serial8250(text, bytes, version, length); break;
        case 21: rs485_port(text, bytes, version, length); break;
        case 22: alert(text, bytes, version, length); break;
        case 23: kor_port(text, bytes, version, length); break;
        case 24: tam_port(text, bytes, version, length); break;
        case 25: wex_port(text, bytes, version, length); break;
        case 26: dpss(text, bytes, length); break;
        case 27: mtdcram(text, bytes, version, length); break;
        default:  // MDMA, DIO, DRA and USB among them
            put_dump(text, bytes, length);
            break;
    }
    return text.count;
}

int print(const void* record, char** output) {
    const Bytes bytes = static_cast<Bytes>(record);
    if (bytes == nullptr || output == nullptr || u32(bytes, 0) != record_magic) {
        return -EINVAL;
    }
    char* const work = static_cast<char*>(std::malloc(work_size));
    if (work == nullptr) {
        return -ENOMEM;
    }
    Text text{work, work_size};
    put_header(text, bytes);
    const int type = u16(bytes, 24);
    put(text, "type: %s\n", type_name(type));
    const int total = text.count + decode(type, bytes + header_size, static_cast<std::uint32_t>(u16(bytes, 26)),
                                          u16(bytes, 36) - header_size, work + text.count, text.left());

    char* const result = static_cast<char*>(std::malloc(static_cast<std::size_t>(total) + 1));
    *output = result;
    if (result == nullptr) {
        std::free(work);
        return -ENOMEM;
    }
    std::strncpy(result, work, static_cast<std::size_t>(total));
    result[total] = '\0';
    std::free(work);
    return total;
}

}  // namespace straightforward
