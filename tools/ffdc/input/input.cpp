#include "input/input.hpp"

#include <fcntl.h>
#include <nettle/base16.h>
#include <nettle/base64.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <charconv>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <string_view>

#include "tavi_ffdc.h"

namespace {

constexpr std::size_t head_size = 65536;          // looked at to tell text from raw bytes
constexpr int largest_pipe = 1 << 20;             // what the system allows without privilege
constexpr std::size_t most_repeated = 256 << 20;  // so that a few bytes of text do not spell more than there is memory

std::string_view text_of(Bytes bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

bool is_hex(std::string_view s) {
    return !s.empty() && std::all_of(s.begin(), s.end(), [](unsigned char c) { return std::isxdigit(c) != 0; });
}

[[noreturn]] void fail(std::size_t line, std::string_view expected, std::string_view found) {
    throw Failure("line " + std::to_string(line) + ": expected " + std::string(expected) + ", found '" +
                  std::string(found.substr(0, 20)) + "'");
}

// Calls back for every line, without the blanks around it, and its number.
template <typename Use>
void each_line(std::string_view text, const Use& use) {
    constexpr std::string_view blanks = " \t\r\v\f";
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
        use(line.substr(0, line.find_last_not_of(blanks) + 1), number);
        text.remove_prefix(std::min(end + 1, text.size()));
    }
}

// Text in hex: plain digits, or the lines of xxd and of hexdump -C, each with its offset and perhaps its characters.
class Hex_text {
public:
    std::vector<std::uint8_t> bytes;

    void add(std::string_view text) {
        each_line(text, [this](std::string_view line, std::size_t number) {
            line_ = number;
            add_line(line);
        });
    }

private:
    std::size_t line_ = 0, base_ = 0, last_ = 0;
    bool offsets_ = false, squeezed_ = false;
    std::size_t repeated_ = 0;  // bytes that "*" has stood for

    void add_line(std::string_view line) {
        if (line == "*" && offsets_) {
            squeezed_ = true;
            return;
        }
        const std::string_view token = line.substr(0, line.find_first_of(": "));
        const std::string_view rest = line.substr(token.size());
        const bool xxd = rest.starts_with(':');
        const bool hexdump = (rest.starts_with("  ") && line.ends_with('|')) || (rest.empty() && offsets_);
        if ((xxd || hexdump) && is_hex(token)) {
            go_to(token);
            line = rest.substr(xxd ? 1 : 0);
            line.remove_prefix(std::min(line.find_first_not_of(' '), line.size()));
            line = line.substr(0, xxd ? line.find("  ") : line.find('|'));
        } else if (offsets_ && !line.empty()) {
            fail(line_, "an offset", line);
        }
        const std::size_t begin = bytes.size();
        for (std::size_t i = 0; i < line.size();) {
            i = std::min(line.find_first_not_of(" \t", i), line.size());
            const std::string_view digits = line.substr(i, std::min(line.find_first_of(" \t", i), line.size()) - i);
            i += digits.size();
            add_digits(digits);
        }
        if (bytes.size() != begin) last_ = bytes.size() - begin;
    }

    void add_digits(std::string_view digits) {
        const std::size_t begin = bytes.size();
        bytes.resize(begin + BASE16_DECODE_LENGTH(digits.size()));
        base16_decode_ctx decoder;
        base16_decode_init(&decoder);
        std::size_t n = bytes.size() - begin;
        if (!base16_decode_update(&decoder, &n, bytes.data() + begin, digits.size(), digits.data()) ||
            !base16_decode_final(&decoder)) {
            bytes.resize(begin);
            fail(line_, "pairs of hex digits", digits);
        }
        bytes.resize(begin + n);
    }

    // Checks the offset of a line. Behind a "*" it says how often the line before was repeated.
    void go_to(std::string_view token) {
        std::size_t offset = 0;
        if (std::from_chars(token.data(), token.data() + token.size(), offset, 16).ec != std::errc{})
            fail(line_, "an offset", token);
        if (!offsets_) base_ = offset;
        const std::size_t begin = bytes.size();
        if (squeezed_ && last_ != 0 && offset > base_ + begin) {
            repeated_ += std::min(offset - base_ - begin, most_repeated + 1);
            if (repeated_ > most_repeated) fail(line_, "an offset that repeats less than 256 MiB in all", token);
            bytes.resize(offset - base_);
            for (std::size_t i = begin; i < bytes.size(); ++i) bytes[i] = bytes[i - last_];
        }
        offsets_ = true;
        squeezed_ = false;
        if (offset != base_ + bytes.size()) {
            char expected[32];
            std::snprintf(expected, sizeof expected, "offset %08zx", base_ + bytes.size());
            fail(line_, expected, token);
        }
    }
};

std::vector<std::uint8_t> from_base64(std::string_view text, bool whole) {
    std::vector<std::uint8_t> bytes(BASE64_DECODE_LENGTH(text.size()));
    base64_decode_ctx decoder;
    base64_decode_init(&decoder);
    std::size_t size = 0;
    each_line(text, [&](std::string_view line, std::size_t number) {
        std::size_t n = bytes.size() - size;
        if (!base64_decode_update(&decoder, &n, bytes.data() + size, line.size(), line.data()))
            fail(number, "base64", line);
        size += n;
    });
    if (whole && !base64_decode_final(&decoder)) throw Failure("expected base64, found that its last group is cut");
    bytes.resize(size);
    return bytes;
}

// What the beginning of an input looks like. Text that spells less than a header's bytes is not worth a guess; text
// that goes wrong after a good start of hex is an error rather than raw bytes.
std::string guess(Bytes head, bool whole) {
    const auto is_text = [](std::uint8_t c) { return (c >= ' ' && c < 0x7f) || (c >= '\t' && c <= '\r'); };
    if (!std::all_of(head.begin(), head.end(), is_text)) return "raw";
    std::string_view text = text_of(head);
    if (const std::size_t end = text.rfind('\n'); !whole && end != text.npos) text = text.substr(0, end);
    std::vector<std::uint8_t> decoded;
    try {
        decoded = from_base64(text, whole);
    } catch (const Failure&) {
    }
    Hex_text hex;
    try {
        hex.add(text);
        if (hex.bytes.size() >= DD_FFDC_HEADER_SIZE) return "hex";
    } catch (const Failure&) {
        // Zeros in base64 are a good start of hex, too, but then there is a record.
        if (hex.bytes.size() >= DD_FFDC_HEADER_SIZE &&
            dd_ffdc_find(decoded.data(), decoded.size(), 0) == decoded.size())
            throw;
    }
    return decoded.size() >= DD_FFDC_HEADER_SIZE ? "base64" : "raw";
}

extern "C" void mapping_failed(int) {
    constexpr std::string_view message = "ffdc: an input was cut, or could not be read, while it was in use\n";
    if (write(STDERR_FILENO, message.data(), message.size()) < 0) _exit(2);
    _exit(2);
}

}  // namespace

Input::Input(const std::string& path, const std::string& form, std::size_t window)
    : name_(path), file_(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC)), window_(window) {
    if (file_.number < 0) throw Failure(std::strerror(errno));
    map();
#if defined(F_SETPIPE_SZ)
    fcntl(file_.number, F_SETPIPE_SZ, largest_pipe);  // fewer turns between writer and reader; not all are pipes
#endif
    fill(head_size);
    const bool whole = complete_ && bytes_.size() <= head_size;
    const std::string actual = form == "auto" ? guess(bytes_.first(std::min(bytes_.size(), head_size)), whole) : form;
    fill(actual == "raw" ? window_ : SIZE_MAX);
    if (actual == "raw") return;
    if (actual == "hex") {
        Hex_text hex;
        hex.add(text_of(bytes_));
        held_ = std::move(hex.bytes);
    } else {
        held_ = from_base64(text_of(bytes_), true);
    }
    bytes_ = held_;
    size_ = held_.size();
}

Input::File::~File() {
    if (!mapping.empty()) munmap(const_cast<std::uint8_t*>(mapping.data()), mapping.size());
    if (number >= 0) close(number);
}

// Standard input may be a file of which something has been read already: it goes on from there.
void Input::map() {
    struct stat s;
    if (fstat(file_.number, &s) != 0) throw Failure(std::strerror(errno));
    const off_t position = lseek(file_.number, 0, SEEK_CUR);
    if (!S_ISREG(s.st_mode) || position < 0 || s.st_size <= position) return;
    const std::size_t size = static_cast<std::size_t>(s.st_size);
    void* const memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, file_.number, 0);
    if (memory == MAP_FAILED) return;
    madvise(memory, size, MADV_SEQUENTIAL);
    std::signal(SIGBUS, mapping_failed);
    file_.mapping = {static_cast<const std::uint8_t*>(memory), size};
    bytes_ = file_.mapping.subspan(static_cast<std::size_t>(position), 0);
    size_ = size - static_cast<std::size_t>(position);
}

void Input::fill(std::size_t most) {
    if (!file_.mapping.empty()) {
        const std::size_t left = static_cast<std::size_t>(file_.mapping.data() + file_.mapping.size() - bytes_.data());
        bytes_ = {bytes_.data(), std::min(most, left)};
        complete_ = bytes_.size() == left;
        return;
    }
    while (!complete_ && bytes_.size() < most) {
        const std::size_t there = bytes_.size();
        held_.resize(std::min(most, std::max(held_.size(), 2 * there + head_size)));
        const ssize_t n = read(file_.number, held_.data() + there, held_.size() - there);
        if (n < 0 && errno != EINTR) throw Failure(std::strerror(errno));
        complete_ = n == 0;
        bytes_ = Bytes(held_).first(there + static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
    }
}

void Input::slide(std::size_t forgotten) {
    bytes_ = bytes_.subspan(forgotten);
    base_ += forgotten;
    if (file_.mapping.empty()) {
        std::copy(bytes_.begin(), bytes_.end(), held_.begin());
        bytes_ = Bytes(held_).first(bytes_.size());
    }
    fill(window_);
}

std::vector<std::string> files_of(const std::vector<std::string>& named) {
    namespace fs = std::filesystem;
    if (named.empty()) {
        if (isatty(STDIN_FILENO)) throw Fatal("expected a FILE, or input from a pipe, found a terminal");
        return {"-"};
    }
    std::vector<std::string> files;
    for (const std::string& name : named) {
        std::error_code error;
        if (name == "-" || !fs::is_directory(name, error)) {
            files.push_back(name);
            continue;
        }
        const std::size_t first = files.size();
        for (const fs::directory_entry& entry : fs::directory_iterator(name, error))
            if (entry.is_regular_file(error)) files.push_back(entry.path().string());
        if (error) throw Fatal(name + ": " + error.message());
        std::sort(files.begin() + static_cast<std::ptrdiff_t>(first), files.end());
    }
    return files;
}
