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

// --- Records ---

const char* type_name(int type) {
    switch (type) {
        case 1: return "FFDC_TYPE_FSI";
        case 2: return "FFDC_TYPE_PSI";
        case 3: return "FFDC_TYPE_DMA";
        case 6: return "FFDC_TYPE_IIC";
        case 9: return "FFDC_TYPE_MBOX";
        default: return "UNKNOWN";
    }
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

int decode(int type, const void* payload, std::uint32_t version, int length, char* out, int room) {
    Text text{out, room};
    const Bytes bytes = static_cast<Bytes>(payload);
    switch (type) {
        case 1: fsi(text, bytes); break;
        case 2: psi(text, bytes, version, length); break;
        case 3: dma(text, bytes, version, length); break;
        case 6: iic(text, bytes, version, length); break;
        case 9: mbox(text, bytes, version, length); break;
        default: put_dump(text, bytes, length); break;
    }
    return text.count;
}

}  // namespace

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
