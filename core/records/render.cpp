// The text of a record: header, type line and payload.
#include <cerrno>
#include <cstdlib>

#include "engine/driver.hpp"
#include "record.hpp"

namespace ffdc {
namespace {

constexpr int work_buffer_size = 32768, header_room = 174;

constexpr Row notice_rows[] = {
    {"Unsupported header version[%d]\nAssuming version 1\n", s32(16), again},
};
constexpr Row header_rows[] = {
    {u32(0), "magic"},        {u32(12), "chained"},   {"  head version[%d]", s32(16)}, {" time[%x %x]", u32(28, 2)},
    {" size[%d]\n", u16(36)}, {"  pid[%d]", s32(20)}, {"  tgid[%d]", s32(38)},         {" type[%d]\n", u16(24)},
    {u16(26), "version"},
};
constexpr auto header_of_record = section<header_rows>("header", 0);
constexpr auto is_odd = s32(16) != 1;
constexpr auto shown = all<when<is_odd, notice_rows>, header_of_record>;
constexpr DriverLayout layouts[] = {{{0, any, header_size}, {{4, 11}}}};
static_assert(longest_text(body::node<shown>(), layouts, 0) < header_room);
static_assert(sizeof(Record) == header_size && alignof(Record) == 1);

void print_header(Report& r, bool notice) {
    using Header = Proved<layouts, shown>;
    notice ? Header::print_part<shown>(r) : Header::print_part<header_of_record>(r);
}

// strncpy, but for texts up to a length where memcpy is faster: in pieces that are too short for its path for long
// blocks, and of a length that the compiler cannot know, or it would write an instruction that is slower still.
void copy_text(char* to, const char* from, std::size_t length) {
    constexpr std::size_t longest = 24 * 1024, longest_piece = 2048;
    if (length > longest) {
        std::strncpy(to, from, length);
        return;
    }
    for (std::size_t i = 0; i < length; i += longest_piece) {
        std::size_t piece = std::min(longest_piece, length - i);
        asm volatile("" : "+r"(piece));
        std::memcpy(to + i, from + i, piece);
    }
}

}  // namespace

Report report_of(const Record& record, int length, char* out, int room) {
    const Payload payload = {payload_of(record), static_cast<std::size_t>(std::max(length, 0))};
    return {payload, length, word(record.version), out, room};
}

int print_record(const Record& record, Report& r) {
    const Payload payload = r.payload;
    r.payload = {bytes_of(record), header_size};
    r.base = 0;
    print_header(r, true);
    r.payload = payload;
    r.base = header_size;

    const Type& type = type_of(word(record.type));
    if (type.driver) {
        char line[] = "type: FFDC_TYPE_............\n";
        constexpr std::size_t name_at = 16;
        std::memcpy(line + name_at, type.name, sizeof type.name);
        const std::size_t length = name_at + std::strlen(type.name);
        line[length] = '\n';
        r.put(std::string_view(line, length + 1));
        r.decode(*type.driver);
    } else {
        r.put("type: UNKNOWN\n");
        r.raw();
        r.state = DD_FFDC_UNKNOWN_TYPE;
    }
    return r.finish();
}

bool readable(const Record* record, std::size_t there, int& length) {
    if (!record || there < header_size || !has_magic(record)) return false;
    length = payload_length(*record);
    if (length > 0) length = static_cast<int>(std::min(static_cast<std::size_t>(length), there - header_size));
    return true;
}

int print_header(const Record& record, char* out, bool notice) {
    char text[header_room];
    Report r({bytes_of(record), header_size}, header_size, 0, text, header_room);
    print_header(r, notice);
    const int length = r.finish();
    std::memcpy(out, text, static_cast<std::size_t>(length) + 1);
    return length;
}

int print(const Record* record, char** text) {
    if (!has_magic(record) || !text) return -EINVAL;
    char* const work = static_cast<char*>(std::malloc(work_buffer_size));
    if (!work) return -ENOMEM;
    Report r = report_of(*record, payload_length(*record), work, work_buffer_size);
    const std::size_t length = static_cast<std::size_t>(print_record(*record, r));
    char* const result = static_cast<char*>(std::malloc(length + 1));
    *text = result;
    if (result) {
        copy_text(result, work, length);
        result[length] = '\0';
    }
    std::free(work);
    return result ? static_cast<int>(length) : -ENOMEM;
}

int render(const Record* record, std::size_t there, char* out, int room, dd_ffdc_state* state) {
    int length = 0;
    if (!readable(record, there, length)) return -EINVAL;
    Report r = report_of(*record, length, out, room);
    r.quiet = true;
    print_record(*record, r);
    if (state) *state = r.state;
    return static_cast<int>(r.out.stored());
}

#ifdef FFDC_NO_DESCRIPTIONS
int describe(int, std::uint32_t, dd_ffdc_field_fn, void*) { return -EOPNOTSUPP; }
const char* field_text(const dd_ffdc_field&, std::uint64_t, std::size_t* length) {
    *length = 0;
    return nullptr;
}
#else
int describe(int type, std::uint32_t version, dd_ffdc_field_fn each, void* context) {
    Describer describer(each, context);
    Report r({nullptr, 0}, 0, version, nullptr, 0);
    r.describer = &describer;
    r.quiet = true;
    r.base = 0;
    print_header(r, true);
    r.base = header_size;
    const Driver* const driver = type_of(static_cast<std::uint32_t>(type)).driver;
    driver ? r.decode(*driver) : r.raw();
    describer.unshown(0, header_size + r.layout_size);
    return !driver ? DD_FFDC_UNKNOWN_TYPE : r.known && !r.newer ? DD_FFDC_OK : DD_FFDC_UNKNOWN_VERSION;
}
#endif

}  // namespace ffdc
