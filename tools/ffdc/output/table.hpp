// A table for people.
#pragma once

#include <initializer_list>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "output/output.hpp"

// Which part of a cell goes when the table does not fit the terminal.
enum class Cut { never, end, begin, far };  // far: what is far from the place that matters
struct Column {
    std::string name;
    bool right = false;  // aligned
    Cut cut = Cut::never;
    bool spare = false;     // goes as a whole when cutting alone does not make the table fit, the last one first
    std::size_t width = 0;  // the least
};

// Fits the terminal, and marks what it cuts; elsewhere it is as wide as its cells. Rows are fitted, and printed, in
// parts, which never get narrower.
class Table {
public:
    Table(std::vector<Column> columns, Output& out, bool headings, std::size_t part = 10000);
    // `matters`: the byte of the cells that stays in sight.
    void row(std::span<const std::string_view> cells, Style style = Style::plain, std::size_t matters = 0);
    void row(std::initializer_list<std::string_view> cells, Style style = Style::plain, std::size_t matters = 0) {
        row(std::span(cells.begin(), cells.size()), style, matters);
    }
    void print();

private:
    struct Row {
        Style style;
        std::size_t matters;
    };
    std::vector<Column> columns_;
    Output& out_;
    bool headings_;
    std::size_t part_;
    std::vector<Row> rows_;
    std::string text_;               // of all cells
    std::vector<std::size_t> ends_;  // of each of them

    std::vector<std::size_t> fitted() const;
    std::string_view cell(std::size_t number) const;
};
