// Everything that the library exports, a line each. Inside the library nothing calls these names: a program that
// defines one of them changes nothing here.
#include <cerrno>

#include "drivers.hpp"
#include "engine/text.hpp"
#include "record.hpp"
#include "serial/registers.hpp"

namespace {

using namespace ffdc;

int run(const Driver& driver, const void* payload, std::uint32_t version, int length, char* out, int room) {
    const std::size_t size = payload && length > 0 ? static_cast<std::size_t>(length) : 0;
    Report r({static_cast<const std::uint8_t*>(payload), size}, length, version, out, room);
    r.decode(driver);
    return r.finish();
}

// A piece of a decoder, on a payload that is as long as it must be.
int piece(const Driver& driver, void (*print)(Report&), const void* payload, char* out, int room,
          std::uint32_t version) {
    Report r({static_cast<const std::uint8_t*>(payload), payload ? 512u : 0u}, 512, version, out, room);
    r.choose(driver.layouts);
    print(r);
    return r.finish();
}

}  // namespace

int dd_ffdc_chain_size(const Record* record) {
    return has_magic(record) ? static_cast<int>(word(record->size)) : -EINVAL;
}
void dd_ffdc_driver_data(const Record* record, const void** payload, std::int32_t* length) {
    *payload = payload_of(*record);
    *length = payload_length(*record);
}
int dd_ffdc_get_chain(const Record* head, const Record** cursor) { return get_chain(head, cursor); }
int dd_ffdc_get_type(const Record* head, std::int32_t type, const Record** found) {
    return get_type(head, type, found);
}

int dd_ffdc_print(const Record* record, std::int32_t, char** text) { return print(record, text); }
int print_header(const Record* record, char* out) { return ffdc::print_header(*record, out, true); }
int print_header_v1(const Record* record, char* out) { return ffdc::print_header(*record, out, false); }

int dd_ffdc_render(const Record* record, std::size_t there, char* out, int room, dd_ffdc_state* state) {
    return render(record, there, out, room, state);
}
int dd_ffdc_next(const void* area, std::size_t size, dd_ffdc_cursor* cursor) {
    return next(static_cast<const std::uint8_t*>(area), size, *cursor);
}
std::size_t dd_ffdc_find(const void* area, std::size_t size, std::size_t from) {
    return find(static_cast<const std::uint8_t*>(area), size, from);
}
int dd_ffdc_values(const Record* record, std::size_t there, dd_ffdc_value_fn each, void* context) {
    return values(record, there, each, context);
}
const char* dd_ffdc_value_text(const dd_ffdc_value* value, char* buffer, std::size_t* length) {
    const std::string_view text = text_of(*value, buffer);
    *length = text.size();
    return text.data();
}
int dd_ffdc_annotate(const Record* record, std::size_t there, char* out, int room, dd_ffdc_value_fn each,
                     void* context) {
    return annotate(record, there, out, room, each, context);
}
const char* dd_ffdc_state_name(int state) {
    static constexpr char names[][16] = {"ok", "short", "size_mismatch", "unknown_version", "unknown_type"};
    return state >= 0 && state < static_cast<int>(std::size(names)) ? names[state] : nullptr;
}
const char* dd_ffdc_type_name(int type) {
    const Type& t = type_of(static_cast<std::uint32_t>(type));
    return t.driver ? t.name : nullptr;
}
int dd_ffdc_layout(int type, std::uint32_t version, std::size_t* size) { return layout(type, version, size); }
int dd_ffdc_layout_row(int type, std::size_t n, dd_ffdc_versions* row) { return layout_row(type, n, *row); }
int dd_ffdc_fields(int type, std::uint32_t version, dd_ffdc_field_fn each, void* context) {
    return describe(type, version, each, context);
}
const char* dd_ffdc_field_text(const dd_ffdc_field* field, std::uint64_t number, std::size_t* length) {
    return field_text(*field, number, length);
}
const char* tavi_ffdc_version() { return TAVI_FFDC_VERSION; }

int scnprintf(char* out, int size, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int n = ffdc::format(out, size, format, arguments);
    va_end(arguments);
    return n;
}
int pretty_print(const void* data, int length, char* out, int room) { return dump(data, length, out, room); }
int test_bit(std::uint32_t value, std::uint32_t bit) { return bit_of(value, bit); }

#define DRIVER(type, driver, exported)                                                          \
    int exported(const void* payload, std::uint32_t version, int length, char* out, int room) { \
        return run(driver, payload, version, length, out, room);                                \
    }
#include "drivers.def"
#undef DRIVER

#define PIECE(exported, print)                                                      \
    int exported(const void* payload, char* out, int room, std::uint32_t version) { \
        return piece(iic, print, payload, out, room, version);                      \
    }
PIECE(iic_print_summary, iic_summary)
PIECE(iic_print_eng, iic_engine)
PIECE(iic_print_kor_regs, iic_kor_registers)
PIECE(iic_print_wex_regs, iic_wex_registers)
PIECE(iic_print_mstr, iic_master)
PIECE(iic_print_slv, iic_slave)
int print_kb(const void* kb, char* out, int room) { return piece(uart, buffer_descriptor, kb, out, room, 0); }
const char* get_type(std::uint32_t kind) { return endpoint_kind(kind); }

#define EIGHT(names, i) \
    names[i], names[i + 1], names[i + 2], names[i + 3], names[i + 4], names[i + 5], names[i + 6], names[i + 7]
const char* const kor_reg_names[29] = {EIGHT(kor_registers, 0), EIGHT(kor_registers, 8), EIGHT(kor_registers, 16),
                                       kor_registers[24],       kor_registers[25],       kor_registers[26],
                                       kor_registers[27],       kor_registers[28]};
const char* const wex_regs[8] = {EIGHT(wex_registers, 0)};
