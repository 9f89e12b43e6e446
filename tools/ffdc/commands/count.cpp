// How many records there are of each kind.
#include <algorithm>
#include <unordered_map>

#include "commands/commands.hpp"

namespace {

struct Hash : std::hash<std::string_view> {
    using is_transparent = void;
};

}  // namespace

int count(Session& s) {
    const std::vector<std::string> names =
        s.options.count_by.empty() ? std::vector<std::string>{"type"} : s.options.count_by;
    Columns columns(names, "--by");
    std::unordered_map<std::string, std::size_t, Hash, std::equal_to<>>
        counts;  // by all cells, each with a NUL behind it
    std::string kind;
    s.each_entry([&](const Entry& entry) {
        const int state = columns.read(entry);
        kind.clear();
        Cell::Room room;
        for (const Cell& cell : columns.cells()) kind.append(cell.for_people(room)).append(1, '\0');
        auto found = counts.find(std::string_view(kind));
        if (found == counts.end()) found = counts.emplace(kind, 0).first;
        ++found->second;
        return state;
    });
    std::vector<std::pair<std::string_view, std::size_t>> rows(counts.begin(), counts.end());
    std::sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
        return a.second != b.second ? a.second > b.second : a.first < b.first;
    });
    std::vector<Column> headings = columns.headings();
    headings.insert(headings.begin(), {"COUNT", true});
    Table table(headings, s.out, !s.options.no_legend);
    for (const auto& [cells, n] : rows) {
        const std::string number = std::to_string(n);
        std::vector<std::string_view> row = {number};
        for (std::size_t begin = 0; begin < cells.size(); begin += row.back().size() + 1)
            row.push_back(cells.substr(begin, cells.find('\0', begin) - begin));
        table.row(row);
    }
    table.print();
    return s.status();
}
