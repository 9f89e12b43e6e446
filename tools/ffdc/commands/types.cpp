// The driver types, versions and layout sizes that this build knows.
#include "commands/commands.hpp"

namespace {

std::string range(const dd_ffdc_versions& v) {
    constexpr unsigned any = 0xffff;
    if (v.last == any) return v.first == 0 ? "any" : std::to_string(v.first) + " and later";
    return std::to_string(v.first) + (v.last == v.first ? "" : "-" + std::to_string(v.last));
}

}  // namespace

int types(Session& s) {
    Table table({{"TYPE"}, {"CODE", true}, {"VERSIONS"}, {"BYTES", true}}, s.out, !s.options.no_legend);
    bool any = false;
    for (const int type : known_types()) {
        if (!s.wants(type)) continue;
        any = true;
        dd_ffdc_versions row, next;
        for (std::size_t n = 0; dd_ffdc_layout_row(type, n, &row); ++n) {
            // Layouts of one size differ in what they show, which is not asked for here.
            for (; dd_ffdc_layout_row(type, n + 1, &next) && next.first == row.last + 1 && next.size == row.size; ++n)
                row.last = next.last;
            table.row(
                {type_name(type), std::to_string(type), range(row), row.size == 0 ? "raw" : std::to_string(row.size)});
        }
    }
    table.print();
    return any ? exit_ok : exit_none;
}
