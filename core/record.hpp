// Records: the header, the chain, the walk through bytes of unknown origin, and the rendering of one record.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

#include "report.hpp"

namespace ffdc {

using Record = dd_ffdc_hdr;

template <std::size_t N>
constexpr std::uint32_t word(const std::uint8_t (&bytes)[N]) {
    std::uint32_t v = 0;
    for (std::uint8_t b : bytes) v = v << 8 | b;
    return v;
}

inline bool has_magic(const Record* record) { return record && word(record->magic) == DD_FFDC_MAGIC; }
inline int payload_length(const Record& record) { return static_cast<int>(word(record.size)) - DD_FFDC_HEADER_SIZE; }
inline const std::uint8_t* payload_of(const Record& record) {
    return reinterpret_cast<const std::uint8_t*>(&record) + DD_FFDC_HEADER_SIZE;
}

// A driver type that this library knows. Others have an empty name.
struct Type {
    char name[12];
    Decoder decode;
};
const Type& type_of(std::uint32_t code);

// Each function below does what the public function of the same name says.
int get_chain(const Record* head, const Record** cursor);
int get_type(const Record* head, std::int32_t type, const Record** found);
int next(const std::uint8_t* area, std::size_t size, dd_ffdc_cursor& cursor);
std::size_t find(const std::uint8_t* area, std::size_t size, std::size_t from);

int print_header(const Record& record, char* out, bool notice);
int print(const Record* record, char** text);
int render(const Record* record, std::size_t there, char* out, int room, dd_ffdc_state* state);
int values(const Record* record, std::size_t there, dd_ffdc_value_fn each, void* context);
int layout(int type, std::uint32_t version, std::size_t* size);

}  // namespace ffdc
