// One row a record.
#include <algorithm>
#include <memory>
#include <utility>

#include "commands/commands.hpp"

namespace {

// Columns for a person: the file if there may be several, or several members of one.
std::vector<std::string> default_columns(const Options& options, const Entry& first) {
    std::vector<std::string> names = {"index", "offset", "type", "version", "size",
                                      "pid",   "tgid",   "time", "state",   "cause"};
    if (options.files.size() > 1 || first.file != options.files[0]) names.insert(names.begin(), "file");
    return names;
}

std::vector<std::string> sort_keys(const Options& options) {
    std::vector<std::string> names;
    for (const std::string& key : options.sort) names.push_back(key.substr(key.starts_with('-')));
    return names;
}

}  // namespace

Listing::Listing(Session& s) : s_(s), keys_(sort_keys(s.options), "--sort") {
    if (!s.options.columns.empty()) begin(s.options.columns);
    for (const std::string& key : s.options.sort) descending_.push_back(key.starts_with('-'));
    // On a terminal, widths that change would be seen.
    if (!s.out.is_terminal() && descending_.empty())
        s.before_waiting = [this] {
            if (std::exchange(waits_, false)) table_->print();
        };
}

void Listing::begin(const std::vector<std::string>& columns) {
    columns_.emplace(columns, "--columns");
    table_.emplace(columns_->headings(), s_.out, !s_.options.no_legend);
    cells_.resize(columns.size());
    rooms_ = std::vector<Cell::Room>(columns.size());
}

int Listing::add(const Entry& entry) {
    if (!table_) begin(default_columns(s_.options, entry));
    const int state = columns_->read(entry);
    const std::span<const Cell> cells = columns_->cells();
    for (std::size_t i = 0; i < cells.size(); ++i) cells_[i] = cells[i].for_people(rooms_[i]);
    const Style style = state == DD_FFDC_OK ? Style::plain : Style::bad;
    descending_.empty() ? table_->row(cells_, style) : keep(entry, style);
    waits_ = true;
    return state;
}

void Listing::keep(const Entry& entry, Style style) {
    const auto copy = [&](std::string_view text) {
        char* const kept = static_cast<char*>(memory_.allocate(text.size() + 1, 1));
        return std::string_view(kept, static_cast<std::size_t>(std::copy(text.begin(), text.end(), kept) - kept));
    };
    keys_.read(entry, Need::entry);
    const std::size_t size = keys_.cells().size();
    Cell* const keys = static_cast<Cell*>(memory_.allocate(size * sizeof(Cell), alignof(Cell)));
    std::uninitialized_copy(keys_.cells().begin(), keys_.cells().end(), keys);
    for (Cell& key : std::span(keys, size)) key.text = copy(key.text);
    std::string cells;
    for (const std::string_view cell : cells_) cells.append(cell).append(1, '\0');
    kept_.push_back({{keys, size}, copy(cells), style});
}

void Listing::print() {
    std::stable_sort(kept_.begin(), kept_.end(), [&](const Kept& a, const Kept& b) {
        for (std::size_t i = 0; i < descending_.size(); ++i) {
            const bool there = a.keys[i].kind != Cell::Kind::none && b.keys[i].kind != Cell::Kind::none;
            const auto found = descending_[i] && there ? order(b.keys[i], a.keys[i]) : order(a.keys[i], b.keys[i]);
            if (found != 0) return found < 0;
        }
        return false;
    });
    for (const Kept& row : kept_) {
        std::string_view rest = row.cells;
        for (std::string_view& cell : cells_) {
            cell = rest.substr(0, rest.find('\0'));
            rest.remove_prefix(cell.size() + 1);
        }
        table_->row(cells_, row.style);
    }
    if (table_) table_->print();
}

int list(Session& s) {
    Listing listing(s);
    s.each_entry([&](const Entry& entry) { return listing.add(entry); });
    listing.print();
    return s.status();
}
