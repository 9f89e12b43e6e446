// The golden cases: payloads, and the texts that their decoders must print.
#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "tavi_ffdc.h"

struct Driver {
    std::string_view name;  // of its type, without the prefix; in lower case the folder of its cases
    int type;
    ffdc_print_fn print;
};

inline constexpr Driver drivers[] = {
#define DRIVER(type, driver, exported) {#type, FFDC_TYPE_##type, exported},
#include "../core/records/drivers.def"
#undef DRIVER
};

struct Golden {
    const Driver* driver;
    std::string name;  // folder/case
    std::filesystem::path text_file;
    std::uint32_t version;
    std::vector<std::uint8_t> payload;
    std::string text;
};

// All cases, read on the first call; none is an error that ends the program.
const std::vector<Golden>& goldens();
