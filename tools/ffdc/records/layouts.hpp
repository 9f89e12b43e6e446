// What records may show, as the library describes it: read once for each type and version, and kept.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "tavi_ffdc.h"

// Members without a comment are those of struct dd_ffdc_condition and struct dd_ffdc_field.
struct Condition {
    std::uint32_t offset, size;
    std::uint64_t mask, number;
    bool equal;

    bool operator==(const Condition&) const = default;
};

struct Field {
    const char *group, *name;
    int index;
    std::uint32_t count, offset, size;
    dd_ffdc_kind kind;
    dd_ffdc_role role;
    std::uint64_t mask;
    std::uint32_t first_number;
    std::vector<std::optional<std::string>> names;  // of the numbers from the first one on; none: shown in digits
    std::optional<std::string> other;               // for all other numbers
    std::string before, format;
    std::vector<Condition> when;  // the outermost first

    bool is_value() const { return *name != '\0'; }
    std::string key() const;  // "master.slave.sisc", "tx_data[3]"
};

struct Layout {
    int state;  // DD_FFDC_OK, DD_FFDC_UNKNOWN_VERSION or DD_FFDC_UNKNOWN_TYPE
    std::vector<Field> fields;
};

const Layout& layout_of(int type, unsigned version);

// Calls visit for every range of versions of a type that show the same.
void each_layout(int type, const std::function<void(const dd_ffdc_versions& versions, const Layout& layout)>& visit);

// "master.slave.sisc", "tx_data[3]"
std::string key_of(const char* group, const char* name, int index);
