// What the page asks of the library, in few calls that do much each: records and values cross into JavaScript as flat
// tables of 32-bit words in this module's memory, never one call a record.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
    std::uint32_t hash;  // of the payload's identity: type, version and bytes
};
static_assert(sizeof(Row) == 36);

// One value of the record that was decoded last. Read by worker.js.
struct Value {
    const char *group, *name;
    std::int32_t index;
    std::uint32_t offset, size;
    std::uint16_t kind, missing;
    std::int64_t number;
    std::uint64_t mask;
    std::uint32_t text_at, text_size;
    std::uint32_t reserved[2];
};
static_assert(sizeof(Value) == 56);

std::uint8_t* area;
std::size_t area_size;
dd_ffdc_cursor cursor;
std::vector<Row> rows;
std::vector<Value> values;
std::vector<std::uint32_t> hits;
char text[DD_FFDC_RENDER_ROOM];
char needles[4096];  // words of a search in lower case, each ended by a NUL, and one more NUL
int text_length;

template <std::size_t n>
std::uint32_t word(const std::uint8_t (&bytes)[n]) {
    std::uint32_t v = 0;
    for (const std::uint8_t b : bytes) v = v << 8 | b;
    return v;
}

const dd_ffdc_hdr& record(const Row& row) { return *reinterpret_cast<const dd_ffdc_hdr*>(area + row.offset); }

std::uint32_t hash_of(const std::uint8_t* bytes, std::size_t size, std::uint32_t hash) {
    for (std::size_t i = 0; i < size; ++i) hash = (hash ^ bytes[i]) * 16777619u;
    return hash;
}

int render(const Row& row, dd_ffdc_state* state) {
    return dd_ffdc_render(&record(row), row.size, text, sizeof text, state);
}

Row row_of(int step) {
    const std::size_t size = cursor.next > cursor.offset ? cursor.next - cursor.offset : 0;
    Row row = {};
    row.offset = cursor.offset;
    row.size = size;
    row.step = static_cast<std::int8_t>(step);
    row.has_header = step != DD_FFDC_NO_MAGIC && step != DD_FFDC_NO_NEXT && size >= DD_FFDC_HEADER_SIZE;
    if (!row.has_header) return row;
    const dd_ffdc_hdr& header = record(row);
    row.type = static_cast<std::uint16_t>(word(header.type));
    row.version = static_cast<std::uint16_t>(word(header.version));
    row.chained = word(header.chained) != 0;
    row.pid = static_cast<std::int32_t>(word(header.pid));
    row.tgid = static_cast<std::int32_t>(word(header.tgid));
    for (int i = 0; i < 2; ++i) row.time[i] = word(header.time[i]);
    dd_ffdc_state state;
    if (render(row, &state) >= 0) row.state = static_cast<std::uint8_t>(state);
    row.hash = hash_of(area + row.offset + DD_FFDC_HEADER_SIZE, size - DD_FFDC_HEADER_SIZE,
                       (2166136261u ^ row.type) * 16777619u ^ row.version);
    return row;
}

// Bytes that no value gives back: the runs that the library tells, the reserved ones of the header, and what stands
// behind the NUL of a text.
void add_unshown(std::uint32_t offset, std::uint32_t size) {
    Value v = {};
    v.group = v.name = "";
    v.index = -1;
    v.offset = offset;
    v.size = size;
    v.kind = DD_FFDC_UNSHOWN;
    values.push_back(v);
}

void add_value(void* context, const dd_ffdc_value* v) {
    const Row& row = *static_cast<const Row*>(context);
    if (v->kind == DD_FFDC_UNSHOWN) return add_unshown(v->offset, v->size);
    Value value = {v->group,        v->name,   v->index, v->offset, v->size, static_cast<std::uint16_t>(v->kind),
                   v->missing != 0, v->number, 0,        0,         0,       {}};
    values.push_back(value);
    if (v->kind != DD_FFDC_TEXT || v->missing || v->offset + v->size > row.size) return;
    const std::uint8_t* const field = area + row.offset + v->offset;
    const std::uint8_t* const end = field + v->size;
    const std::uint8_t* const rest = std::min(std::find(field, end, 0) + 1, end);
    if (std::any_of(rest, end, [](std::uint8_t b) { return b != 0; }))
        add_unshown(v->offset + static_cast<std::uint32_t>(rest - field), static_cast<std::uint32_t>(end - rest));
}

bool holds(const char* lower, std::size_t size, const char* needle) {
    return memmem(lower, size, needle, std::strlen(needle)) != nullptr;
}

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

// Makes text and values of an entry and returns the number of values; 0 without a header.
PAGE_CALLS(decode) std::size_t decode(std::size_t index) {
    Row& row = rows[index];
    values.clear();
    text_length = 0;
    if (!row.has_header) return 0;
    text_length = std::max(render(row, nullptr), 0);
    add_unshown(offsetof(dd_ffdc_hdr, reserved), sizeof(dd_ffdc_hdr::reserved));
    dd_ffdc_values(&record(row), row.size, add_value, &row);
    return values.size();
}
PAGE_CALLS(value_table) const Value* value_table() { return values.data(); }
PAGE_CALLS(text_start) const char* text_start() { return text; }
PAGE_CALLS(text_size) int text_size() { return text_length; }

// Which entries of [from, to) have all the words of needle_buffer() in their texts, whatever the case: their indices in
// hit_table(), their number as the result.
PAGE_CALLS(needle_buffer) char* needle_buffer() { return needles; }
PAGE_CALLS(hit_table) const std::uint32_t* hit_table() { return hits.data(); }
PAGE_CALLS(search) std::size_t search(std::size_t from, std::size_t to) {
    hits.clear();
    for (std::size_t i = from; i < std::min(to, rows.size()); ++i) {
        if (!rows[i].has_header) continue;
        const std::size_t size = static_cast<std::size_t>(std::max(render(rows[i], nullptr), 0));
        for (std::size_t c = 0; c < size; ++c)
            if (text[c] >= 'A' && text[c] <= 'Z') text[c] = static_cast<char>(text[c] | 0x20);
        bool all = true;
        for (const char* word = needles; *word && all; word += std::strlen(word) + 1) all = holds(text, size, word);
        if (all) hits.push_back(static_cast<std::uint32_t>(i));
    }
    return hits.size();
}

// Used by the library instead of the one of this module's C library, which knows other numbers and names.
extern "C" int strerror_r(int error, char* buffer, std::size_t size) {
    static constexpr const char* names[] = {
#include "errors.inc"
    };
    const bool known = error >= 0 && static_cast<std::size_t>(error) < std::size(names);
    if (known)
        std::snprintf(buffer, size, "%s", names[error]);
    else
        std::snprintf(buffer, size, "Unknown error %d", error);
    return 0;
}

PAGE_CALLS(type_name) const char* type_name(int type) { return dd_ffdc_type_name(type); }
PAGE_CALLS(layout) std::size_t layout(int type, std::uint32_t version) {
    std::size_t size = 0;
    dd_ffdc_layout(type, version, &size);
    return size;
}
PAGE_CALLS(version) const char* version() { return tavi_ffdc_version(); }
