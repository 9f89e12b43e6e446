// One row a record.
#include <algorithm>
#include <iterator>

#include "commands/commands.hpp"

namespace {

// What failed, in one line: the first return code, and the first error that has a name.
std::string cause_of(const std::vector<Value>& values) {
    constexpr std::string_view codes[] = {"func_rc", "return_code", "rc", "fsi_rc", "errno", "status"};
    constexpr std::string_view errors[] = {"err_type", "error_id", "rc_text"};
    const Value* code = nullptr;
    const Value* error = nullptr;
    auto best_code = std::end(codes), best_error = std::end(errors);
    for (const Value& v : values) {
        if (!v.group.empty() || v.missing || v.index >= 0) continue;
        if (const auto at = std::find(codes, best_code, v.name); at != best_code) best_code = at, code = &v;
        if (v.kind != DD_FFDC_NAME) continue;
        if (const auto at = std::find(errors, best_error, v.name); at != best_error) best_error = at, error = &v;
    }
    std::string cause;
    if (code) cause = std::string(*best_code) + " " + code->plain_text();
    if (error) cause += (cause.empty() ? "" : ", ") + error->plain_text();
    return cause;
}

std::vector<Column> columns_of(bool files) {
    std::vector<Column> columns = {{"INDEX", true},
                                   {"OFFSET"},
                                   {"TYPE"},
                                   {"VERSION", true, Cut::never, true},
                                   {"SIZE", true, Cut::never, true},
                                   {"PID", true, Cut::never, true},
                                   {"TGID", true, Cut::never, true},
                                   {"TIME", false, Cut::never, true},
                                   {"STATE"},
                                   {"CAUSE", false, Cut::end}};
    if (files) columns.insert(columns.begin(), {"FILE", false, Cut::begin});
    return columns;
}

std::string time_of(const dd_ffdc_hdr& header) {
    char text[32];
    std::snprintf(text, sizeof text, "%x:%x", word(header.time[0]), word(header.time[1]));
    return text;
}
std::string signed_text(const std::uint8_t (&bytes)[4]) {
    return std::to_string(static_cast<std::int32_t>(word(bytes)));
}

}  // namespace

Listing::Listing(Session& s)
    : files_(s.options.files.size() > 1), table(columns_of(s.options.files.size() > 1), s.out, !s.options.no_legend) {}

int Listing::add(const Entry& entry) {
    const int state = values_of(entry, values_);
    std::vector<std::string> cells;
    if (files_) cells.push_back(entry.file);
    cells.insert(cells.end(), {std::to_string(entry.index), hex_number(entry.offset), type_name(entry)});
    if (entry.has_header()) {
        const dd_ffdc_hdr& header = entry.header();
        cells.insert(cells.end(), {std::to_string(entry.version()), std::to_string(entry.size()),
                                   signed_text(header.pid), signed_text(header.tgid), time_of(header)});
    } else {
        cells.resize(cells.size() + 5);
    }
    cells.emplace_back(state_name(state));
    if (state == damaged) {
        const Trouble trouble = trouble_of(entry, state);
        cells.push_back("expected " + trouble.expected + ", found " + trouble.found);
    } else {
        cells.push_back(cause_of(values_));
    }
    const std::vector<std::string_view> views(cells.begin(), cells.end());
    table.row(views, state == DD_FFDC_OK ? Style::plain : Style::bad);
    return state;
}

int list(Session& s) {
    Listing listing(s);
    s.each_entry([&](const Entry& entry) { return listing.add(entry); });
    listing.table.print();
    return s.status();
}
