// Help, man page and shell completions, all made from the command line's own tables.
#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

extern const char* const exit_text;

void format_help(CLI::App& app);
std::vector<std::string> values_of_option(
    const CLI::Option& option);  // those it chooses from; none when it takes any text
std::string completions_of(const CLI::App& app, const std::string& shell);
std::string man_page_of(const CLI::App& app);
