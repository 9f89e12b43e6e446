// What the page asks of the library, in few calls that do much each, so that no call is made for each record: rows
// cross into JavaScript as words in this module's memory, values as lines of text.
#include <strings.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "tavi_ffdc.h"

#define PAGE_CALLS(name) extern "C" [[clang::export_name(#name)]]

namespace {

// One entry of a dump: a record, or a place where one should be. Read by dump.js.
struct Row {
    std::uint32_t offset, size;
    std::uint16_t type, version;
    std::int8_t step;    // an enum dd_ffdc_step
    std::uint8_t state;  // an enum dd_ffdc_state
    std::uint8_t has_header, chained;
    std::int32_t pid, tgid;
    std::uint32_t time[2];
    std::uint32_t hash;  // of type, version and payload
};
static_assert(sizeof(Row) == 36);

std::uint8_t* area;
std::size_t area_size;
dd_ffdc_cursor cursor;
std::vector<Row> rows;
std::vector<dd_ffdc_value> values;
std::vector<std::uint32_t> hits;
std::string value_lines;
char text[DD_FFDC_RENDER_ROOM];
std::size_t text_length;
char needles[4096];  // each ended by a NUL, and one more NUL

template <std::size_t n>
std::uint32_t word(const std::uint8_t (&bytes)[n]) {
    std::uint32_t v = 0;
    for (const std::uint8_t b : bytes) v = v << 8 | b;
    return v;
}

const dd_ffdc_hdr& record(const Row& row) { return *reinterpret_cast<const dd_ffdc_hdr*>(area + row.offset); }

int render(const Row& row) {
    dd_ffdc_state state = DD_FFDC_OK;
    text_length =
        static_cast<std::size_t>(std::max(0, dd_ffdc_render(&record(row), row.size, text, sizeof text, &state)));
    return state;
}

Row row_of(int step) {
    Row row = {};
    row.offset = cursor.offset;
    row.size = cursor.next - cursor.offset;
    row.step = static_cast<std::int8_t>(step);
    row.has_header = step != DD_FFDC_NO_MAGIC && step != DD_FFDC_NO_NEXT && row.size >= DD_FFDC_HEADER_SIZE;
    if (!row.has_header) return row;
    const dd_ffdc_hdr& header = record(row);
    row.chained = word(header.chained) != 0;
    row.type = static_cast<std::uint16_t>(word(header.type));
    row.version = static_cast<std::uint16_t>(word(header.version));
    row.pid = static_cast<std::int32_t>(word(header.pid));
    row.tgid = static_cast<std::int32_t>(word(header.tgid));
    for (int i = 0; i < 2; ++i) row.time[i] = word(header.time[i]);
    row.state = static_cast<std::uint8_t>(render(row));
    row.hash = std::uint32_t{row.type} << 16 ^ row.version;
    for (std::size_t i = DD_FFDC_HEADER_SIZE; i < row.size; ++i)
        row.hash = (row.hash ^ area[row.offset + i]) * 16777619u;
    return row;
}

// Bytes that no value gives back: the runs that the library tells, the reserved ones of the header, and what stands
// behind the NUL of a text.
void add_unshown(std::uint32_t offset, std::uint32_t size) {
    dd_ffdc_value v = {};
    v.group = v.name = "";
    v.index = -1;
    v.offset = offset;
    v.size = size;
    v.kind = DD_FFDC_UNSHOWN;
    values.push_back(v);
}

void add_value(void* context, const dd_ffdc_value* v) {
    const Row& row = *static_cast<const Row*>(context);
    values.push_back(*v);
    if (v->kind != DD_FFDC_TEXT || v->missing || v->offset + v->size > row.size) return;
    const std::uint8_t* const field = area + row.offset + v->offset;
    const std::uint8_t* const end = field + v->size;
    const std::uint8_t* const rest = std::min(std::find(field, end, 0) + 1, end);
    if (std::any_of(rest, end, [](std::uint8_t b) { return b != 0; }))
        add_unshown(v->offset + static_cast<std::uint32_t>(rest - field), static_cast<std::uint32_t>(end - rest));
}

void annotate(const Row& row) {
    values.clear();
    text_length = 0;
    if (!row.has_header) return;
    add_unshown(offsetof(dd_ffdc_hdr, reserved), sizeof(dd_ffdc_hdr::reserved));
    Row context = row;
    if (dd_ffdc_annotate(&record(row), row.size, text, sizeof text, add_value, &context) >= 0)
        text_length = std::strlen(text);
}

// One condition of a search, in lower case: a word that the text has; or, behind '\1', a value's key, an operator and
// what the value is compared with, with '\2' between them.
struct Needle {
    std::string_view key, op, wanted;
    std::int64_t number = 0;
    bool is_number = false;

    explicit Needle(std::string_view said) : wanted(said) {
        if (!said.starts_with('\1')) return;
        const std::size_t a = said.find('\2'), b = said.find('\2', a + 1);
        key = said.substr(1, a - 1);
        op = said.substr(a + 1, b - a - 1);
        wanted = said.substr(b + 1);
        char* end = nullptr;
        number = wanted.starts_with('-')
                     ? std::strtoll(wanted.data(), &end, 0)  // 64 bits of an address are a number, too
                     : static_cast<std::int64_t>(std::strtoull(wanted.data(), &end, 0));
        is_number = !wanted.empty() && *end == '\0';
    }
    bool is_of(const dd_ffdc_value& v) const {
        char index[16] = "";
        if (v.index >= 0) std::snprintf(index, sizeof index, "[%d]", v.index);
        std::string_view rest = key;
        const auto skip = [&rest](std::string_view part) {
            const bool same = rest.starts_with(part);
            if (same) rest.remove_prefix(part.size());
            return same;
        };
        return skip(v.group) && (*v.group == '\0' || skip(".")) && skip(v.name) && (rest.empty() || rest == index);
    }
    bool holds(const dd_ffdc_value& v) const {
        std::string_view shown(text + v.text_at, v.text_size);
        if (op == "~") return shown.find(wanted) != shown.npos;
        if (!is_number || v.kind == DD_FFDC_TEXT || v.kind == DD_FFDC_BYTES) {
            shown.remove_prefix(std::min(shown.find_first_not_of(' '), shown.size()));
            shown = shown.substr(0, shown.find_last_not_of(" \n") + 1);
            return op == "=" ? shown == wanted : op == "!=" && shown != wanted;
        }
        if (v.missing) return false;
        const bool wide = v.size == 8 && v.kind != DD_FFDC_SIGNED;
        const bool less =
            wide ? static_cast<std::uint64_t>(v.number) < static_cast<std::uint64_t>(number) : v.number < number;
        const bool equal = v.number == number;
        if (op == "=" || op == "!=") return equal == (op == "=");
        if (op == "<" || op == ">=") return less == (op == "<");
        return (less || equal) == (op == "<=");
    }
    bool fits() const {
        if (key.empty()) return memmem(text, text_length, wanted.data(), wanted.size()) != nullptr;
        return std::any_of(values.begin(), values.end(), [this](const dd_ffdc_value& v) {
            return v.kind != DD_FFDC_UNSHOWN && is_of(v) && holds(v);
        });
    }
};

}  // namespace

// Memory for a dump of `size` bytes, or null. The caller fills it and then walks.
PAGE_CALLS(reserve) std::uint8_t* reserve(std::size_t size) {
    area = static_cast<std::uint8_t*>(std::malloc(size + 1));
    area_size = area ? size : 0;
    return area;
}

// Adds up to `most` entries to the table of rows and returns how many; less than asked for at the end of the dump.
PAGE_CALLS(walk) std::size_t walk(std::size_t most) {
    const std::size_t before = rows.size();
    while (rows.size() - before < most) {
        const int step = dd_ffdc_next(area, area_size, &cursor);
        if (step == DD_FFDC_END) break;
        rows.push_back(row_of(step));
    }
    return rows.size() - before;
}
PAGE_CALLS(walked) std::size_t walked() { return cursor.next; }
PAGE_CALLS(row_table) const Row* row_table() { return rows.data(); }
PAGE_CALLS(row_count) std::size_t row_count() { return rows.size(); }

// Makes the text of an entry, at text_start(), text_size() characters, and its values: lines whose cells are separated
// by tabs, read by library.js. Both are empty without a header.
PAGE_CALLS(decode) const char* decode(std::size_t index) {
    annotate(rows[index]);
    value_lines.clear();
    for (const dd_ffdc_value& v : values) {
        char line[512];
        const bool wide = v.size == 8 && v.kind != DD_FFDC_SIGNED;
        std::snprintf(line, sizeof line,
                      wide ? "%s\t%s\t%d\t%u\t%u\t%d\t%d\t%u\t%u\t%llu\t%llu\n"
                           : "%s\t%s\t%d\t%u\t%u\t%d\t%d\t%u\t%u\t%llu\t%lld\n",
                      v.group, v.name, v.index, v.offset, v.size, static_cast<int>(v.kind), v.missing != 0, v.text_at,
                      v.text_size, static_cast<unsigned long long>(v.mask), static_cast<long long>(v.number));
        value_lines += line;
    }
    return value_lines.c_str();
}
PAGE_CALLS(text_start) const char* text_start() { return text; }
PAGE_CALLS(text_size) std::size_t text_size() { return text_length; }

// Which entries of [from, to) fit all needles of needle_buffer(): their indices at hit_table(), their number as the
// result.
PAGE_CALLS(needle_buffer) char* needle_buffer() { return needles; }
PAGE_CALLS(needle_room) std::size_t needle_room() { return sizeof needles; }
PAGE_CALLS(hit_table) const std::uint32_t* hit_table() { return hits.data(); }
PAGE_CALLS(search) std::size_t search(std::size_t from, std::size_t to) {
    hits.clear();
    std::vector<Needle> all;
    for (const char* at = needles; *at; at += std::strlen(at) + 1) all.emplace_back(at);
    const bool by_value = std::any_of(all.begin(), all.end(), [](const Needle& n) { return !n.key.empty(); });
    for (std::size_t i = from; i < std::min(to, rows.size()); ++i) {
        if (!rows[i].has_header) continue;
        if (by_value)
            annotate(rows[i]);
        else
            render(rows[i]);
        for (char* c = text; c < text + text_length; ++c)
            if (*c >= 'A' && *c <= 'Z') *c = static_cast<char>(*c | 0x20);
        if (std::all_of(all.begin(), all.end(), [](const Needle& n) { return n.fits(); }))
            hits.push_back(static_cast<std::uint32_t>(i));
    }
    return hits.size();
}

// Used by the library instead of the one of this module's C library, which knows other numbers and names.
extern "C" int strerror_r(int error, char* buffer, std::size_t size) {
    static constexpr const char* names[] = {
#include "errors.inc"
    };
    if (error >= 0 && static_cast<std::size_t>(error) < std::size(names))
        std::snprintf(buffer, size, "%s", names[error]);
    else
        std::snprintf(buffer, size, "Unknown error %d", error);
    return 0;
}

PAGE_CALLS(type_name) const char* type_name(int type) { return dd_ffdc_type_name(type); }
PAGE_CALLS(state_name) const char* state_name(int state) { return dd_ffdc_state_name(state); }
PAGE_CALLS(layout) std::size_t layout(int type, std::uint32_t version) {
    std::size_t size = 0;
    dd_ffdc_layout(type, version, &size);
    return size;
}
PAGE_CALLS(version) const char* version() { return tavi_ffdc_version(); }
