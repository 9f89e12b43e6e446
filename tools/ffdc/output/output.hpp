// Where the text goes: standard output, a pager or a file, through one large buffer; and messages for people.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

struct Options;

enum class Style { plain, heading, dim, bad };

class Output {
public:
    explicit Output(const Options& options);
    ~Output();  // after an error, what has been put still comes out
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;

    void put(std::string_view text);
    template <typename... Piece>
    void put(std::string_view first, const Piece&... piece) {
        put(first);
        (put(std::string_view(piece)), ...);
    }
    void put(Style style, std::string_view text);  // as `text` alone where there is no colour
    // In text that a record brought along, what would steer a terminal becomes dots if it goes to one.
    void tame(char* text, std::size_t n) const;

    // `n` free bytes, at most the room of one record's text; then `n` of them have been written.
    char* room(std::size_t n);
    void took(std::size_t n) { used_ += n; }

    // A line to standard error; shown behind the output when both go to a terminal.
    void message(const std::string& text);
    void finish();
    // Finishes whatever output is open, without memory.
    static void rescue();

    bool is_terminal() const { return terminal_; }
    bool has_color() const { return color_; }

private:
    std::vector<char> buffer_;
    std::size_t used_ = 0;
    std::string name_, late_messages_;
    int file_;
    std::FILE* pager_ = nullptr;
    bool terminal_, color_, page_, written_ = false;

    static Output* open_;

    void flush();
    void start_pager();
};

// A table that fits the terminal; elsewhere it is as wide as its cells. A very long one is fitted, and printed, in
// parts.
struct Column {
    const char* name;
    bool right = false;  // aligned
    bool cut = false;    // to make the table fit
};
class Table {
public:
    Table(const std::vector<Column>& columns, Output& out, bool headings);
    ~Table();
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;
    void row(const std::vector<std::string>& cells, Style style = Style::plain);
    void print();

private:
    Output& out_;
    struct libscols_table* table_;
};
