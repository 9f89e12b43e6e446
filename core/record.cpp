#include "record.hpp"

#include <cerrno>
#include <cstdlib>

#include "decoders.hpp"
#include "proof.hpp"

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace ffdc {
namespace {

constexpr int work_buffer_size = 32768;
constexpr std::size_t header_size = DD_FFDC_HEADER_SIZE;

constexpr Row notice_rows[] = {
    {"Unsupported header version[%d]\nAssuming version 1\n", s32(16), again},
};
constexpr Row header_rows[] = {
    {u32(0), "magic"},        {u32(12), "chained"},   {"  head version[%d]", s32(16)}, {" time[%x %x]", u32(28, 2)},
    {" size[%d]\n", u16(36)}, {"  pid[%d]", s32(20)}, {"  tgid[%d]", s32(38)},         {" type[%d]\n", u16(24)},
    {u16(26), "version"},
};
static_assert(sound({header_rows}, {header_size}));
static_assert(unread({header_rows}, 0, header_size) == Bytes{{4, 11}});
static_assert(longest_text({notice_rows}, 0) + longest_text({header_rows}, 0) < 174);
static_assert(sizeof(Record) == header_size && alignof(Record) == 1);

constexpr Type types[] = {
    {"", nullptr},          {"FSI", fsi},          {"PSI", psi},         {"DMA", dma},           {"HDMA", hdma},
    {"MDMA", raw_dump},     {"IIC", iic},          {"UART", uart},       {"JTAG", jtag},         {"MBOX", mailbox},
    {"DIO", raw_dump},      {"SCAN", scan},        {"SCOM", scom},       {"TONE", tone},         {"", nullptr},
    {"RTC", rtc},           {"SPAD", spad},        {"IOMUX", iomux},     {"DRA", raw_dump},      {"USB", raw_dump},
    {"8250", serial8250},   {"RS485", rs485_port}, {"ALERT", alert},     {"KOR_PORT", kor_port}, {"TAM_PORT", tam_port},
    {"WEX_PORT", wex_port}, {"DPSS", dpss},        {"MTDCRAM", mtdcram},
};
static_assert(std::size(types) == FFDC_TYPE_MTDCRAM + 1);

const std::uint8_t* bytes_of(const Record& record) { return reinterpret_cast<const std::uint8_t*>(&record); }

void print_header(Report& r, bool notice) {
    if (notice && r.peek(u32(16)) != 1) r.print<notice_rows>();
    r.print<header_rows>();
}

// The text of a record whose payload has `there` bytes at least as far as its size says. Quiet unless printed.
Report record_report(const Record& record, int length, char* out, int room) {
    const Payload payload = {payload_of(record), static_cast<std::size_t>(std::max(length, 0))};
    return {payload, length, word(record.version), out, room};
}

// Header, type line and payload, one after the other in the same text. Returns the count.
int print_record(const Record& record, Report& r) {
    Report header({bytes_of(record), header_size}, header_size, 0, nullptr, 0);
    header.out = r.out;
    if (r.observer.each) header.observer = {r.observer.each, r.observer.context, 0, "header"};
    print_header(header, true);
    r.out = header.out;

    const Type& type = type_of(word(record.type));
    if (type.decode) {
        r.put("type: FFDC_TYPE_", type.name, "\n");
        type.decode(r);
    } else {
        r.put("type: UNKNOWN\n");
        r.raw();
        r.state = DD_FFDC_UNKNOWN_TYPE;
    }
    return r.finish();
}

// Null unless `there` bytes hold at least a header; then the length of the payload that is there.
bool readable(const Record* record, std::size_t there, int& length) {
    if (!record || there < header_size || !has_magic(record)) return false;
    length = payload_length(*record);
    if (length > 0) length = static_cast<int>(std::min(static_cast<std::size_t>(length), there - header_size));
    return true;
}

// Where the magic stands next, from `at` on; `size` when it does not. With SSE2 sixteen places are compared at once:
// several times as fast as memmem, and as fast on any bytes as on any other.
std::size_t find_magic(const std::uint8_t* area, std::size_t size, std::size_t at) {
    constexpr std::uint8_t magic[] = {0xff, 0xdc, 0xff, 0xdc};
#if defined(__SSE2__)
    for (; size - at >= 16 + sizeof magic - 1; at += 16) {
        const auto same = [&](std::size_t i) {
            const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(area + at + i));
            return _mm_cmpeq_epi8(bytes, _mm_set1_epi8(static_cast<char>(magic[i])));
        };
        const __m128i all = _mm_and_si128(_mm_and_si128(same(0), same(1)), _mm_and_si128(same(2), same(3)));
        if (const int places = _mm_movemask_epi8(all); places != 0)
            return at + static_cast<std::size_t>(std::countr_zero(static_cast<unsigned>(places)));
    }
#endif
    const void* const hit = memmem(area + at, size - at, magic, sizeof magic);
    return hit ? static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - area) : size;
}

bool plausible(const std::uint8_t* area, std::size_t size, std::size_t at) {
    if (size - at < header_size) return false;
    const Record& record = *reinterpret_cast<const Record*>(area + at);
    const std::size_t length = word(record.size);
    return has_magic(&record) && length >= header_size && length <= size - at &&
           (word(record.head_version) == 1 || (type_of(word(record.type)).decode && word(record.chained) <= 1));
}

// Hands values on and remembers which bytes of the payload they cover.
struct Coverage {
    dd_ffdc_value_fn each;
    void* context;
    std::uint8_t covered[(65536 - header_size + 7) / 8] = {};

    static void note(void* self, const dd_ffdc_value* value) {
        Coverage& c = *static_cast<Coverage*>(self);
        for (std::size_t i = value->offset; i < value->offset + value->size; ++i)
            if (i >= header_size && i - header_size < 8 * sizeof c.covered)
                c.covered[(i - header_size) / 8] |= static_cast<std::uint8_t>(1 << (i - header_size) % 8);
        c.each(c.context, value);
    }
    bool has(std::size_t i) const { return (covered[i / 8] >> i % 8 & 1) != 0; }

    void tell_rest(std::size_t size) const {
        for (std::size_t end = 0, begin = 0; begin < size; begin = end) {
            while (end < size && has(end) == has(begin)) ++end;
            if (has(begin)) continue;
            const dd_ffdc_value rest = {.group = "",
                                        .name = "",
                                        .index = -1,
                                        .offset = static_cast<std::uint32_t>(header_size + begin),
                                        .size = static_cast<std::uint32_t>(end - begin),
                                        .kind = DD_FFDC_UNSHOWN,
                                        .missing = 0,
                                        .number = 0,
                                        .text = nullptr,
                                        .text_length = 0};
            each(context, &rest);
        }
    }
};

}  // namespace

const Type& type_of(std::uint32_t code) { return types[code < std::size(types) ? code : 0]; }

int get_chain(const Record* head, const Record** cursor) {
    if (!has_magic(head)) {
        errno = EINVAL;
        return -1;
    }
    const Record* const record = *cursor;
    if (!record) {
        *cursor = head;
    } else if (word(record->chained) != 0 && word(record->size) >= header_size) {
        *cursor = reinterpret_cast<const Record*>(bytes_of(*record) + word(record->size));
    } else {
        *cursor = nullptr;
    }
    return 0;
}

int get_type(const Record* head, std::int32_t type, const Record** found) {
    *found = nullptr;
    const Record* record = nullptr;
    do {
        if (get_chain(head, &record) != 0) return -1;
    } while (record && static_cast<std::int32_t>(word(record->type)) != type);
    *found = record;
    return 0;
}

std::size_t find(const std::uint8_t* area, std::size_t size, std::size_t from) {
    for (std::size_t at = from; at < size; ++at) {
        at = find_magic(area, size, at);
        if (at == size || plausible(area, size, at)) return at;
    }
    return size;
}

int next(const std::uint8_t* area, std::size_t size, dd_ffdc_cursor& cursor) {
    const std::size_t search = cursor.offset == cursor.next ? cursor.next + 1 : cursor.offset + header_size;
    const int chained = cursor.chained;
    cursor.offset = cursor.next;
    cursor.chained = 0;
    const std::size_t left = size - std::min(cursor.offset, size);
    if (left == 0) return chained ? DD_FFDC_NO_NEXT : DD_FFDC_END;

    const Record& record = *reinterpret_cast<const Record*>(area + cursor.offset);
    int damage = DD_FFDC_CUT;
    if (left >= sizeof record.magic && !has_magic(&record)) {
        damage = DD_FFDC_NO_MAGIC;
    } else if (left >= header_size) {
        const std::size_t length = word(record.size);
        if (length >= header_size && length <= left) {
            cursor.next = cursor.offset + length;
            cursor.chained = word(record.chained) != 0;
            return DD_FFDC_RECORD;
        }
        if (length < header_size) damage = DD_FFDC_BAD_SIZE;
    }
    // Bytes too few to hold a magic are no record that was cut, unless they begin like one.
    if (left < sizeof record.magic && std::memcmp(area + cursor.offset, "\xff\xdc\xff\xdc", left) != 0)
        damage = DD_FFDC_NO_MAGIC;
    cursor.next = find(area, size, search);
    return damage;
}

int print_header(const Record& record, char* out, bool notice) {
    Report r({bytes_of(record), header_size}, header_size, 0, out, 174);
    print_header(r, notice);
    return r.finish();
}

int print(const Record* record, char** text) {
    if (!has_magic(record) || !text) return -EINVAL;
    char* const work = static_cast<char*>(std::malloc(work_buffer_size));
    if (!work) return -ENOMEM;
    Report r = record_report(*record, payload_length(*record), work, work_buffer_size);
    const std::size_t length = static_cast<std::size_t>(print_record(*record, r));
    char* const result = static_cast<char*>(std::malloc(length + 1));
    *text = result;
    if (result) {
        std::strncpy(result, work, length);
        result[length] = '\0';
    }
    std::free(work);
    return result ? static_cast<int>(length) : -ENOMEM;
}

int render(const Record* record, std::size_t there, char* out, int room, dd_ffdc_state* state) {
    int length = 0;
    if (!readable(record, there, length)) return -EINVAL;
    Report r = record_report(*record, length, out, room);
    r.quiet = true;
    print_record(*record, r);
    if (state) *state = r.state;
    return static_cast<int>(r.out.stored());
}

int values(const Record* record, std::size_t there, dd_ffdc_value_fn each, void* context) {
    int length = 0;
    if (!readable(record, there, length)) return -EINVAL;
    Coverage coverage = {each, context};
    Report r = record_report(*record, length, nullptr, 0);
    r.quiet = true;
    r.observer.each = Coverage::note;
    r.observer.context = &coverage;
    print_record(*record, r);
    coverage.tell_rest(r.payload.size);
    return r.state;
}

int layout(int type, std::uint32_t version, std::size_t* size) {
    *size = 0;
    const Type& t = type_of(static_cast<std::uint32_t>(type));
    if (!t.decode) return DD_FFDC_UNKNOWN_TYPE;
    const std::uint8_t byte = 0;  // a decoder may leave an empty payload alone
    Report r({&byte, 1}, 1, version, nullptr, 0);
    r.quiet = true;
    t.decode(r);
    *size = r.layout_size;
    return r.state == DD_FFDC_UNKNOWN_VERSION ? r.state : DD_FFDC_OK;
}

}  // namespace ffdc
