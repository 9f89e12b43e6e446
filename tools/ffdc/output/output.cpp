#include "output/output.hpp"

#include <fcntl.h>
#include <libsmartcols.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "input/input.hpp"
#include "options.hpp"
#include "tavi_ffdc.h"

namespace {

constexpr std::size_t flush_size = 256 * 1024;

struct Escape {
    const char* code;
    const char* name;  // in tables
};
constexpr Escape escapes[] = {{"", nullptr}, {"\33[1;36m", "cyan"}, {"\33[2m", "darkgray"}, {"\33[31m", "red"}};

long screen_lines() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_row > 0 ? size.ws_row : 24;
}

}  // namespace

// An output file is emptied by the first write only: it may turn out to be an input.
Output::Output(const Options& options)
    : buffer_(flush_size + DD_FFDC_RENDER_ROOM),
      name_(options.output.empty() ? "standard output" : options.output),
      file_(options.output.empty() ? STDOUT_FILENO
                                   : open(options.output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0666)) {
    if (file_ < 0) throw Fatal(name_ + ": " + std::strerror(errno));
    struct stat output, input;
    for (const std::string& path : options.files)
        if (fstat(file_, &output) == 0 && S_ISREG(output.st_mode) && stat(path.c_str(), &input) == 0 &&
            input.st_dev == output.st_dev && input.st_ino == output.st_ino)
            throw Fatal(path + ": is also the output");
    const char* const no_color = std::getenv("NO_COLOR");
    terminal_ = isatty(file_) == 1;
    color_ = options.color == "always" || (options.color == "auto" && terminal_ && !(no_color && *no_color));
    page_ = terminal_ && options.output.empty() && options.paged && !options.no_pager;
    open_ = this;
}

Output::~Output() {
    open_ = nullptr;
    try {
        finish();
    } catch (const Fatal&) {
    }
}

Output* Output::open_ = nullptr;

void Output::rescue() {
    Output* const out = std::exchange(open_, nullptr);
    if (!out) return;
    out->page_ = false;
    try {
        out->finish();
    } catch (const Fatal&) {
    }
}

void Output::put(std::string_view text) {
    while (!text.empty()) {
        const std::size_t n = std::min(text.size(), flush_size);
        std::memcpy(room(n), text.data(), n);
        took(n);
        text.remove_prefix(n);
    }
}

void Output::put(Style style, std::string_view text) {
    const bool colored = color_ && style != Style::plain;
    if (colored) put(escapes[static_cast<int>(style)].code);
    put(text);
    if (colored) put("\33[0m");
}

void Output::tame(char* text, std::size_t n) const {
    const auto steers = [](char c) {
        return (static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\t') || c == 0x7f;
    };
    if (terminal_) std::replace_if(text, text + n, steers, '.');
}

char* Output::room(std::size_t n) {
    if (used_ + n > buffer_.size() || used_ >= flush_size) flush();
    return buffer_.data() + used_;
}

void Output::message(const std::string& text) {
    const std::string line = "ffdc: " + text + "\n";
    if (terminal_) {
        late_messages_ += line;
    } else {
        std::fputs(line.c_str(), stderr);
    }
}

void Output::finish() {
    flush();
    if (pager_) pclose(pager_);
    pager_ = nullptr;
    std::fputs(late_messages_.c_str(), stderr);
    late_messages_.clear();
}

void Output::flush() {
    if (page_ && !written_ &&
        std::count(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(used_), '\n') >= screen_lines())
        start_pager();
    if (!written_ && file_ != STDOUT_FILENO && !pager_ && ftruncate(file_, 0) != 0 && errno != EINVAL)
        throw Fatal(name_ + ": " + std::strerror(errno));
    written_ = true;
    for (std::size_t done = 0; done < used_;) {
        const ssize_t n = write(file_, buffer_.data() + done, used_ - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) {
            used_ = 0;
            throw Fatal(name_ + ": " + std::strerror(errno));
        }
        done += static_cast<std::size_t>(n);
    }
    used_ = 0;
}

void Output::start_pager() {
    const char* const chosen = std::getenv("PAGER");
    const std::string pager = chosen ? chosen : "less -R";
    if (pager.empty() ||
        std::system(("command -v " + pager.substr(0, pager.find(' ')) + " >/dev/null 2>&1").c_str()) != 0)
        return;
    setenv("LESS", "FRX", 0);
    pager_ = popen(pager.c_str(), "w");
    if (!pager_) return;
    std::signal(SIGINT, SIG_IGN);  // it is the pager's while that runs
    file_ = fileno(pager_);
}

namespace {

template <typename T>
T* got(T* made) {
    if (!made) throw std::bad_alloc();
    return made;
}
void done(int result) {
    if (result != 0) throw std::bad_alloc();
}

}  // namespace

Table::Table(const std::vector<Column>& columns, Output& out, bool headings)
    : out_(out), table_(got(scols_new_table())) {
    scols_table_enable_noheadings(table_, !headings);
    scols_table_enable_colors(table_, out.has_color());
    scols_table_set_termforce(table_, out.is_terminal() ? SCOLS_TERMFORCE_ALWAYS : SCOLS_TERMFORCE_NEVER);
    for (const Column& column : columns)
        got(scols_table_new_column(table_, column.name, column.cut ? 0.3 : 0,
                                   (column.right ? SCOLS_FL_RIGHT : 0) | (column.cut ? SCOLS_FL_TRUNC : 0)));
}

Table::~Table() { scols_unref_table(table_); }

void Table::row(const std::vector<std::string>& cells, Style style) {
    constexpr std::size_t part = 10000;
    if (scols_table_get_nlines(table_) == part) print();
    libscols_line* const line = got(scols_table_new_line(table_, nullptr));
    for (std::size_t i = 0; i < cells.size(); ++i)
        done(scols_line_set_data(line, i, cells[i].empty() ? "-" : cells[i].c_str()));
    if (style != Style::plain) done(scols_line_set_color(line, escapes[static_cast<int>(style)].name));
}

void Table::print() {
    char* text = nullptr;
    errno = 0;  // the library leaves out what it has no memory for, without a word
    done(scols_print_table_to_string(table_, &text));
    const std::unique_ptr<char, void (*)(void*)> owner(text, std::free);
    if (errno == ENOMEM) throw std::bad_alloc();
    const std::string_view lines = text ? text : "";
    out_.put(lines);
    if (!lines.empty() && lines.back() != '\n') out_.put("\n");
    scols_table_remove_lines(table_);
    scols_table_enable_noheadings(table_, true);
}
