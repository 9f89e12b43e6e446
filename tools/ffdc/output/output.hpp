// Where the text goes: standard output, a pager or a file, through one large buffer; and messages for people.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "output/draft.hpp"

struct Options;

enum class Style { plain, heading, dim, bad };

// Replaces by dots, byte for byte, what could inject control sequences into a terminal or change the order of its
// characters. Line breaks and tabs are replaced, too, unless `lines` is set. Without `utf8`, each byte from 0x80 to
// 0x9f is a control character.
bool locale_is_utf8();
void tame(char* text, std::size_t n, bool lines = false, bool utf8 = locale_is_utf8());

class Output {
public:
    // Nothing is changed yet: a file is written beside the one that is asked for.
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
    // A line that contains names of files: sanitized wherever it goes, and in ASCII if --ascii is given.
    void put_foreign(std::string line, Style style = Style::plain);

    // Returns `n` writable bytes, at most the room of one record's text. took(n) commits them; took_foreign(n) first
    // sanitizes the lines of a record in them, unless they are to stay exact.
    char* room(std::size_t n) {
        if (used_ + n > buffer_.size() || used_ >= flush_size) flush();
        return buffer_.data() + used_;
    }
    void took(std::size_t n) { used_ += n; }
    void took_foreign(std::size_t n) { exact_ && !ascii_ ? took(n) : took_tamed(n); }
    // Sanitizes text of a record or of a file's name, unless it is to stay exact: what `show` and `csv` write into a
    // pipe or a file.
    void sanitize(char* text, std::size_t n, bool lines = false) const {
        if (!exact_) tame(text, n, lines, utf8_);
    }

    // Passes on what has been put, unless a pager may still have to come before it.
    void pass_on() {
        if (!page_ || written_) flush();
    }
    // From now on nothing is passed on before all is well: then it all is, and otherwise none of it. What does not fit
    // the buffer waits in a file without a name.
    void hold() { holds_ = target_.empty(); }
    // A line to standard error; shown behind the output when both go to a terminal.
    void message(std::string text);
    // Everything is out, and messages are, too. When all is well, an output file takes the place of the old one; else
    // that stays as it was.
    void finish(bool well);
    // Finishes whatever output is open, without memory, and removes what is not complete.
    static void rescue();

    // The reader of a pager has seen enough. Not an error.
    struct Left {};

    bool is_terminal() const { return terminal_; }
    bool has_color() const { return color_; }
    std::size_t columns() const;  // of the terminal

private:
    std::vector<char> buffer_;
    std::size_t used_ = 0;
    std::string name_, target_, late_messages_;  // the last two may be empty
    Draft draft_;                                // of the target, if it has a name
    std::size_t late_ = 0;
    int file_, held_ = -1;
    std::FILE* pager_ = nullptr;
    bool terminal_, color_, page_, ascii_, exact_, utf8_, holds_ = false, written_ = false;

    static constexpr std::size_t flush_size = 256 * 1024;
    static Output* open_;

    void took_tamed(std::size_t n);
    void open_file(const std::string& path);
    void keep();
    void flush();
    void write_to(int file);
    void release();
    void start_pager();
    [[noreturn]] void fail() const;
};
