// What the command line asks for.
#pragma once

#include <string>
#include <vector>

struct Options {
    std::vector<std::string> files, types;
    std::string color = "auto", from = "auto", output, write_to;
    bool no_legend = false, quiet = false, no_pager = false, pretty = false, decode = false, verbose = false,
         all = false, ascii = false;
    bool paged = false;  // by what the command is
};
