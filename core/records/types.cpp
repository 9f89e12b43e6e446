// What this library knows: the driver types and their layouts.
#include "drivers.hpp"
#include "record.hpp"

namespace ffdc {
namespace {

struct Line {
    std::size_t code;
    Type type;
};
constexpr Line lines[] = {
#define DRIVER(type, driver, exported) {FFDC_TYPE_##type, {#type, &driver}},
#include "drivers.def"
#undef DRIVER
};
constexpr auto types = [] {
    std::array<Type, std::ranges::max(lines, {}, &Line::code).code + 1> by_code = {};
    for (const Line& line : lines) {
        if (by_code[line.code].driver) refuse(line.type.name, "another driver has this type");
        by_code[line.code] = line.type;
    }
    return by_code;
}();

}  // namespace

const Type& type_of(std::uint32_t code) { return types[code < types.size() ? code : 0]; }

int layout(int type, std::uint32_t version, std::size_t* size) {
    *size = 0;
    const Driver* const driver = type_of(static_cast<std::uint32_t>(type)).driver;
    if (!driver) return DD_FFDC_UNKNOWN_TYPE;
    const Chosen chosen = choose_layout(driver->layouts, version);
    *size = chosen.size;
    return chosen.known && !chosen.newer ? DD_FFDC_OK : DD_FFDC_UNKNOWN_VERSION;
}

bool layout_row(int type, std::size_t n, dd_ffdc_versions& row) {
    const Driver* const driver = type_of(static_cast<std::uint32_t>(type)).driver;
    if (!driver || n >= driver->layouts.size()) return false;
    const Versions& versions = driver->layouts[n];
    row = {versions.first, std::min(versions.last, versions.whole), versions.size, driver->exact};
    return true;
}

}  // namespace ffdc
