// Records: the header, the chain, the walk through bytes of unknown origin, and the rendering of one record.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "engine/report.hpp"

namespace ffdc {

using Record = dd_ffdc_hdr;
inline constexpr std::size_t header_size = DD_FFDC_HEADER_SIZE;

template <std::size_t N>
constexpr std::uint32_t word(const std::uint8_t (&bytes)[N]) {
    std::uint32_t v = 0;
    for (std::uint8_t b : bytes) v = v << 8 | b;
    return v;
}

inline bool has_magic(const Record* record) { return record && word(record->magic) == DD_FFDC_MAGIC; }
inline int payload_length(const Record& record) {
    return static_cast<int>(word(record.size)) - static_cast<int>(header_size);
}
inline const std::uint8_t* bytes_of(const Record& record) { return reinterpret_cast<const std::uint8_t*>(&record); }
inline const std::uint8_t* payload_of(const Record& record) { return bytes_of(record) + header_size; }

// A driver type that this library knows. Others have an empty name.
struct Type {
    char name[12];
    const Driver* driver;
};
const Type& type_of(std::uint32_t code);

// Text and values come from one traversal. Whether `there` bytes hold a record's header, and the length of the payload
// that they hold.
bool readable(const Record* record, std::size_t there, int& length);
// The report of a record whose payload is as long as that.
Report report_of(const Record& record, int length, char* out, int room);
// Header, type line and payload, one after the other in the same text. Returns the count.
int print_record(const Record& record, Report& r);

// Each function below does what the public function of the same name says.
int get_chain(const Record* head, const Record** cursor);
int get_type(const Record* head, std::int32_t type, const Record** found);
int next(const std::uint8_t* area, std::size_t size, dd_ffdc_cursor& cursor);
std::size_t find(const std::uint8_t* area, std::size_t size, std::size_t from);

int print_header(const Record& record, char* out, bool notice);
int print(const Record* record, char** text);
int render(const Record* record, std::size_t there, char* out, int room, dd_ffdc_state* state);
int values(const Record* record, std::size_t there, dd_ffdc_value_fn each, void* context);
int annotate(const Record* record, std::size_t there, char* out, int room, dd_ffdc_value_fn each, void* context);
int layout(int type, std::uint32_t version, std::size_t* size);
bool layout_row(int type, std::size_t n, dd_ffdc_versions& row);
int describe(int type, std::uint32_t version, dd_ffdc_field_fn each, void* context);

}  // namespace ffdc
