#include "output/table.hpp"

#include <algorithm>
#include <cwchar>
#include <numeric>
#include <utility>

namespace {

constexpr std::size_t narrow = 10, narrowest = 3;  // what a column keeps before others go as a whole, and in the end

// Calls back with every character and its columns. What is no character of the locale takes one for each byte.
template <typename Use>
void each_character(std::string_view text, const Use& use) {
    std::mbstate_t state{};
    for (std::size_t i = 0; i < text.size();) {
        wchar_t wide;
        std::size_t n =
            static_cast<unsigned char>(text[i]) < 0x80 ? 1 : std::mbrtowc(&wide, &text[i], text.size() - i, &state);
        int columns = 1;
        if (n > text.size()) {
            state = {};
            n = 1;
        } else if (n > 1) {
            columns = std::max(0, wcwidth(wide));
        }
        use(text.substr(i, n), static_cast<std::size_t>(columns));
        i += n;
    }
}

std::size_t width_of(std::string_view text) {
    if (std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; })) return text.size();
    std::size_t width = 0;
    each_character(text, [&](std::string_view, std::size_t columns) { width += columns; });
    return width;
}

std::string mark() { return MB_CUR_MAX > 1 ? "…" : "~"; }

// As much of a text as `width` columns show, with marks where something was cut.
std::string cut_to(std::string_view text, std::size_t width, Cut cut, std::size_t matters) {
    const std::size_t all = width_of(text);
    if (all <= width) return std::string(text);
    std::size_t begin = cut == Cut::begin ? all - width : 0;
    if (cut == Cut::far) {
        const std::size_t at = width_of(text.substr(0, matters));
        begin = at + width / 3 < width ? 0 : std::min(at - (width - width / 3 - 1), all - width);
    }
    const std::size_t end = begin + width;
    const bool marked = end < all;
    std::string shown;
    if (begin > 0) shown = mark();
    std::size_t at = 0;
    each_character(text, [&](std::string_view character, std::size_t columns) {
        if (at >= begin + (begin > 0) && at + columns <= end - marked) shown += character;
        at += columns;
    });
    return marked ? shown.append(mark()) : shown;
}

}  // namespace

Table::Table(std::vector<Column> columns, Output& out, bool headings, std::size_t part)
    : columns_(std::move(columns)), out_(out), headings_(headings), part_(part) {
    if (headings_)
        for (Column& column : columns_) column.width = std::max(column.width, width_of(column.name));
}

void Table::row(std::span<const std::string_view> cells, Style style, std::size_t matters) {
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const std::size_t begin = text_.size();
        text_ += cells[i].empty() ? "-" : cells[i];
        char* const cell = text_.data() + begin;
        out_.sanitize(cell, text_.size() - begin);
        columns_[i].width = std::max(columns_[i].width, width_of({cell, text_.size() - begin}));
        ends_.push_back(text_.size());
    }
    rows_.push_back({style, matters});
    if (rows_.size() == part_) print();
}

std::string_view Table::cell(std::size_t number) const {
    const std::size_t begin = number == 0 ? 0 : ends_[number - 1];
    return std::string_view(text_).substr(begin, ends_[number] - begin);
}

// The widths that columns get; a column of width 0 is left out, and the first of those beside each other is 1 wide, for
// the mark.
std::vector<std::size_t> Table::fitted() const {
    std::vector<std::size_t> widths;
    for (const Column& column : columns_) widths.push_back(column.width);
    if (!out_.is_terminal()) return widths;
    const std::size_t room = out_.columns();
    const auto total = [&] {
        std::size_t sum = 0;
        for (const std::size_t width : widths) sum += width + (width > 0);
        return sum - 1;
    };
    // Takes from the widest of those that may give until all fit or none has more than `least`.
    const auto shrink = [&](std::size_t least, bool all) {
        while (total() > room) {
            std::size_t widest = widths.size();
            for (std::size_t i = 0; i < widths.size(); ++i)
                if ((all || columns_[i].cut != Cut::never) && widths[i] > least &&
                    (widest == widths.size() || widths[i] > widths[widest]))
                    widest = i;
            if (widest == widths.size()) return;
            --widths[widest];
        }
    };
    shrink(narrow, false);
    for (std::size_t i = widths.size(); i-- > 0 && total() > room;) {
        if (!columns_[i].spare) continue;
        const bool beside = i + 1 < widths.size() && columns_[i + 1].spare;  // to the right they have gone already
        widths[i] = 1;
        if (beside) widths[i + 1] = 0;
    }
    shrink(narrowest, false);
    shrink(narrowest, true);
    return widths;
}

void Table::print() {
    if (rows_.empty()) return;
    const std::vector<std::size_t> widths = fitted();
    std::string line;
    const auto put = [&](const Row& row, auto&& cell_of) {
        line.clear();
        std::size_t owed = 0;  // blanks, if more comes
        for (std::size_t i = 0; i < widths.size(); ++i) {
            if (widths[i] == 0) continue;
            const Column& column = columns_[i];
            std::string cut;
            std::string_view text = cell_of(i);
            std::size_t width = width_of(text);
            if (widths[i] < column.width && (width > widths[i] || column.spare)) {
                text = cut = column.spare ? mark() : cut_to(text, widths[i], column.cut, row.matters);
                width = width_of(text);
            }
            const std::size_t blanks = widths[i] - width;
            line.append(owed + (column.right ? blanks : 0), ' ').append(text);
            owed = 1 + (column.right ? 0 : blanks);
        }
        out_.put(row.style, line);
        out_.put("\n");
    };
    if (std::exchange(headings_, false))
        put({Style::plain, 0}, [&](std::size_t i) { return std::string_view(columns_[i].name); });
    for (std::size_t i = 0; i < rows_.size(); ++i)
        put(rows_[i], [&](std::size_t column) { return cell(i * columns_.size() + column); });
    rows_.clear();
    text_.clear();
    ends_.clear();
}
