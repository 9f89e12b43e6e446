#include "output/output.hpp"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <utility>

#include "input/input.hpp"
#include "options.hpp"
#include "tavi_ffdc.h"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t most_late = 1000;  // messages that wait until the output ends
constexpr const char* escapes[] = {"", "\33[1;36m", "\33[2m", "\33[31m"};

winsize screen() {
    winsize size{};
    if (ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) != 0) size = {};
    return {size.ws_row ? size.ws_row : std::uint16_t{24}, size.ws_col ? size.ws_col : std::uint16_t{80}, 0, 0};
}

// The file that symbolic links lead to. One to an open descriptor stays: what that is has no name that another file
// could get.
fs::path behind_links(fs::path path) {
    std::error_code error;
    for (int links = 0; links < 40 && fs::is_symlink(path, error); ++links) {
        const fs::path folder = fs::canonical(path.has_parent_path() ? path.parent_path() : ".", error);
        if (folder.native().starts_with("/proc/")) break;
        path = folder / fs::read_symlink(path, error);
    }
    return path;
}

std::string folder_of(const std::string& file) {
    const std::string folder = fs::path(file).parent_path();
    return folder.empty() ? "." : folder;
}

bool same_file(const struct stat& a, const struct stat& b) {
    return (S_ISREG(a.st_mode) || S_ISBLK(a.st_mode)) && a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// Bytes of the character at `text`, 1 for what is none.
std::size_t character(const unsigned char* text, std::size_t n, unsigned& code) {
    code = *text;
    const std::size_t size = code < 0xc2 ? 1 : code < 0xe0 ? 2 : code < 0xf0 ? 3 : code < 0xf5 ? 4 : 1;
    if (size == 1 || size > n) return 1;
    unsigned wide = code & (0x7fu >> size);
    for (std::size_t i = 1; i < size; ++i) {
        if ((text[i] & 0xc0) != 0x80) return 1;
        wide = wide << 6 | (text[i] & 0x3f);
    }
    code = wide;
    return size;
}

bool is_ascii(char c) { return static_cast<unsigned char>(c) < 0x80; }  // chars are unsigned on some machines

std::string in_ascii(std::string_view text) {
    std::string ascii;
    for (const char c : text) {
        if (is_ascii(c)) {
            ascii += c;
            continue;
        }
        const unsigned byte = static_cast<unsigned char>(c);
        ascii += {'\\', 'x', "0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
    }
    return ascii;
}

}  // namespace

bool locale_is_utf8() { return std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0; }

void tame(char* text, std::size_t n, bool lines, bool utf8) {
    for (std::size_t i = 0, size; i < n; i += size) {
        size = 1;
        if (text[i] >= ' ' && text[i] < 0x7f) continue;  // most are, whether chars have a sign or not
        unsigned code;
        size = character(reinterpret_cast<unsigned char*>(text) + i, utf8 ? n - i : 1, code);
        const bool control =
            (code < ' ' && !(lines && (code == '\n' || code == '\t'))) || (code >= 0x7f && code < 0xa0);
        const bool ends_line = code == 0x2028 || code == 0x2029;
        const bool turns = code == 0x61c || code == 0x200e || code == 0x200f || (code >= 0x202a && code <= 0x202e) ||
                           (code >= 0x2066 && code <= 0x2069);
        if (control || ends_line || turns) std::memset(text + i, '.', size);
    }
}

Output::Output(const Options& options)
    : buffer_(flush_size + DD_FFDC_RENDER_ROOM),
      name_(options.output.empty() || options.output == "-" ? "standard output" : options.output),
      file_(STDOUT_FILENO),
      ascii_(options.ascii) {
    const bool to_file = !options.output.empty() && options.output != "-";
    struct stat output, input;
    if ((to_file ? stat(options.output.c_str(), &output) : fstat(file_, &output)) == 0)
        for (const std::string& path : options.files)
            if ((path == "-" ? fstat(STDIN_FILENO, &input) : stat(path.c_str(), &input)) == 0 &&
                same_file(output, input))
                throw Fatal((path == "-" ? "standard input" : path) + ": is also the output");
    if (to_file) open_file(options.output);
    const char* const no_color = std::getenv("NO_COLOR");
    const char* const terminal = std::getenv("TERM");
    terminal_ = isatty(file_) == 1;
    color_ = options.color == "always" || (options.color == "auto" && terminal_ && !(no_color && *no_color) &&
                                           terminal && std::strcmp(terminal, "dumb") != 0);
    const bool shown = terminal_ || color_;  // colour is asked for where a terminal will show it in the end
    exact_ = options.exact && !shown;
    utf8_ = !shown || locale_is_utf8();  // scripts have names in UTF-8 whatever their locale
    page_ = terminal_ && !to_file && options.paged && !options.no_pager;
    open_ = this;
}

// A regular file gets its name at the end, and until then has none where the file system can do so and there is /proc,
// through which it is named. Symbolic links are followed only where the system follows them, too: it refuses those that
// others have left in directories such as /tmp.
void Output::open_file(const std::string& path) {
    const fs::path file = behind_links(path);
    file_ = open(path.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
    if (file_ < 0 && errno != ENOENT) fail();
    const bool exists = file_ >= 0;
    struct stat old, found;
    if (exists) {
        std::error_code error;
        if (fstat(file_, &old) != 0) fail();
        if (!S_ISREG(old.st_mode) || fs::is_symlink(file, error)) return;
        if (stat(file.c_str(), &found) != 0 || !same_file(old, found)) throw Fatal(name_ + ": changed meanwhile");
        close(file_);
    }
    target_ = file;
    const bool nameless = access("/proc/self/fd", F_OK) == 0;
    file_ = nameless ? open(folder_of(target_).c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0666) : -1;
    const auto make = [&](const char* name) {
        file_ = open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        return file_ >= 0;
    };
    if (file_ < 0 && !draft_.create(folder_of(target_), make)) fail();
    if (exists) {  // whose it was, as far as that is in our hands
        if (fchown(file_, old.st_uid, old.st_gid) != 0) errno = 0;
        if (fchmod(file_, old.st_mode & 0777) != 0) errno = 0;
    }
}

void Output::keep() {
    const std::string open_one = "/proc/self/fd/" + std::to_string(file_);
    const auto link = [&](const char* name) {
        return linkat(AT_FDCWD, open_one.c_str(), AT_FDCWD, name, AT_SYMLINK_FOLLOW) == 0;
    };
    if (draft_.name().empty() && !draft_.create(folder_of(target_), link)) fail();
    if (close(std::exchange(file_, -1)) != 0 || !draft_.replace(target_)) fail();
}

void Output::fail() const { throw Fatal(name_ + ": " + std::strerror(errno)); }

Output::~Output() {
    open_ = nullptr;
    try {
        finish(false);
    } catch (const Fatal&) {
    } catch (const Left&) {
    }
    if (held_ >= 0) close(held_);
}

Output* Output::open_ = nullptr;

void Output::rescue() {
    if (Output* const out = std::exchange(open_, nullptr)) {
        out->page_ = false;
        try {
            out->finish(false);
        } catch (const Fatal&) {
        } catch (const Left&) {
        }
    }
    Draft::remove_all();
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
    if (colored) put(escapes[static_cast<int>(style)]);
    put(text);
    if (colored) put("\33[0m");
}

void Output::put_foreign(std::string line, Style style) {
    tame(line.data(), line.size(), false, utf8_);
    if (ascii_) line = in_ascii(line);
    put(style, line);
}

void Output::took_tamed(std::size_t n) {
    char* const text = buffer_.data() + used_;
    sanitize(text, n, true);
    if (ascii_ && std::any_of(text, text + n, [](char c) { return !is_ascii(c); }))
        put(in_ascii({text, n}));
    else
        took(n);
}

std::size_t Output::columns() const { return screen().ws_col; }

void Output::message(std::string text) {
    text.insert(0, "ffdc: ");
    tame(text.data(), text.size());
    text += '\n';
    if (!terminal_ || isatty(STDERR_FILENO) != 1) {
        std::fputs(text.c_str(), stderr);
    } else if (++late_ <= most_late) {
        late_messages_ += text;
    }
}

void Output::finish(bool well) {
    if (std::exchange(holds_, false)) {
        if (well)
            release();
        else
            used_ = 0;
    }
    if (file_ >= 0) flush();
    if (pager_) pclose(std::exchange(pager_, nullptr));
    std::fputs(late_messages_.c_str(), stderr);
    if (late_ > most_late) std::fprintf(stderr, "ffdc: %zu more messages; 2>FILE keeps them all\n", late_ - most_late);
    late_messages_.clear();
    late_ = 0;
    if (well && !target_.empty() && file_ >= 0) keep();
}

void Output::flush() {
    if (page_ && !written_ &&
        std::count(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(used_), '\n') >= screen().ws_row)
        start_pager();
    written_ = true;
    if (holds_ && held_ < 0) {
        std::error_code error;
        const fs::path folder = fs::temp_directory_path(error);
        std::string name = (error ? "/tmp" : folder) / "ffdc-XXXXXX";
        held_ = mkostemp(name.data(), O_CLOEXEC);
        if (held_ < 0) throw Fatal(name + ": " + std::strerror(errno));
        unlink(name.c_str());
    }
    write_to(holds_ ? held_ : file_);
}

void Output::write_to(int file) {
    const std::size_t size = std::exchange(used_, 0);
    for (std::size_t done = 0; done < size;) {
        const ssize_t n = write(file, buffer_.data() + done, size - done);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0 && errno == EPIPE && pager_) throw Left();
        if (n < 0 && file == held_) throw Fatal("a temporary file: " + std::string(std::strerror(errno)));
        if (n < 0) fail();
        done += static_cast<std::size_t>(n);
    }
}

void Output::release() {
    if (held_ < 0) return;
    write_to(held_);
    for (off_t at = 0;;) {
        const ssize_t n = pread(held_, buffer_.data(), buffer_.size(), at);
        if (n < 0) fail();
        if (n == 0) return;
        at += n;
        used_ = static_cast<std::size_t>(n);
        write_to(file_);
    }
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
    std::signal(SIGINT, SIG_IGN);   // it is the pager's while that runs
    std::signal(SIGPIPE, SIG_IGN);  // messages are told even when it ends early
    file_ = fileno(pager_);
}
