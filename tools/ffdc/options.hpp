// What the command line asks for.
#pragma once

#include <string>
#include <vector>

#include "input/input.hpp"

struct Options {
    std::vector<std::string> files, types, columns, sort, where, count_by, templates;
    std::string color = "auto", from, output, write_to;
    bool no_legend = false, quiet = false, no_pager = false, pretty = false, decode = false, json = false,
         verbose = false, all = false, recursive = false, ascii = false, values = false, no_formulas = false,
         no_limits = false;
    std::vector<Skipped> skipped;  // in the directories that were named
    bool paged = false;            // by what the command is
    bool exact = false;            // the same: text of records is not sanitized for pipes and files
};
