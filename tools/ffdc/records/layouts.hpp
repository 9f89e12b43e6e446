// What records may show, as the library describes it: read once for each type and version, and kept.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "input/source.hpp"
#include "tavi_ffdc.h"

// "master.slave.sisc", "tx_data[3]"
std::string key_of(const char* group, const char* name, int index);

// Members without a comment are those of struct dd_ffdc_condition and struct dd_ffdc_field.
struct Condition {
    std::uint32_t offset, size;
    std::uint64_t mask, number;
    bool equal;

    bool operator==(const Condition&) const = default;
    bool holds(Bytes record) const;
};

struct Field {
    const char *group, *name;
    int index;
    std::uint32_t count, offset, size;
    dd_ffdc_kind kind;
    dd_ffdc_role role;
    std::uint64_t mask;
    std::uint32_t first_number;
    std::string before, format;
    std::vector<std::optional<std::string>> names = {};  // of the numbers from the first one on; none: shown in digits
    std::optional<std::string> other = {};               // for all other numbers
    std::vector<Condition> when = {};                    // the outermost first

    bool is_value() const { return *name != '\0'; }
    std::string key() const { return key_of(group, name, index); }
    bool holds(Bytes record) const;  // whether a record shows it
    // Of a value of kind DD_FFDC_NAME: what it shows for a number, without blanks around it,
    std::string name_of(std::uint64_t number) const;
    // the first number that it shows so, whatever the case,
    std::optional<std::uint64_t> number_of(std::string_view text) const;
    // and all names that it has.
    void add_names(std::set<std::string>& to) const;
};

struct Layout {
    int state = DD_FFDC_OK;  // DD_FFDC_OK, DD_FFDC_UNKNOWN_VERSION or DD_FFDC_UNKNOWN_TYPE
    bool exact = false;      // shows no values in a payload of any other length
    std::vector<Field> fields;
    std::vector<const Field*> causes;  // of them, return codes and names of errors
};

const Layout& layout_of(int type, unsigned version);

// Calls visit for every range of versions of a type that show the same.
void each_layout(int type, const std::function<void(const dd_ffdc_versions& versions, const Layout& layout)>& visit);
