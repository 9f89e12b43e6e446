// The tool's readers: any bytes are read or refused with a message, and bytes spelled in any form come back.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>

#include "fuzz.hpp"
#include "input/input.hpp"

namespace {

// A file in memory.
class File {
public:
    explicit File(std::string_view text) : number_(memfd_create("input", MFD_CLOEXEC)) {
        expect(number_ >= 0 && write(number_, text.data(), text.size()) == static_cast<ssize_t>(text.size()),
               "cannot write a file in memory");
        lseek(number_, 0, SEEK_SET);
    }
    ~File() { close(number_); }
    File(const File&) = delete;
    File& operator=(const File&) = delete;
    std::string path() const { return "/proc/self/fd/" + std::to_string(number_); }

private:
    int number_;
};

std::string hex_of(Bytes bytes, std::size_t every, const char* gap) {
    std::string s;
    char digits[3];
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        std::snprintf(digits, sizeof digits, "%02x", bytes[i]);
        s += (i != 0 && i % every == 0 ? gap : "") + std::string(digits);
    }
    return s;
}

std::string characters_of(Bytes bytes) {
    std::string s;
    for (std::uint8_t c : bytes) s += c >= ' ' && c < 0x7f ? static_cast<char>(c) : '.';
    return s;
}

std::string lines(Bytes bytes, bool xxd) {
    std::string s;
    char offset[32];
    for (std::size_t at = 0; at < bytes.size(); at += 16) {
        const Bytes line = bytes.subspan(at, std::min<std::size_t>(16, bytes.size() - at));
        std::snprintf(offset, sizeof offset, xxd ? "%08zx: " : "%08zx  ", at);
        s += offset + (xxd ? hex_of(line, 2, " ") + "  " + characters_of(line)
                           : hex_of(line, 1, " ") + "  |" + characters_of(line) + "|");
        s += '\n';
    }
    return s;
}

std::string base64(Bytes bytes) {
    constexpr char digits[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string s;
    for (std::size_t at = 0; at < bytes.size(); at += 3) {
        const std::size_t n = std::min<std::size_t>(3, bytes.size() - at);
        std::uint32_t v = 0;
        for (std::size_t i = 0; i < 3; ++i) v = v << 8 | (i < n ? bytes[at + i] : 0u);
        for (std::size_t i = 0; i < 4; ++i) s += i <= n ? digits[v >> (18 - 6 * i) & 63] : '=';
        if (s.size() % 77 == 76) s += '\n';
    }
    return s;
}

// All that a file spells, gaps left out.
std::vector<std::uint8_t> read_all(const File& file, const std::string& form) {
    std::vector<std::uint8_t> all;
    Inputs inputs(file.path(), form, true);
    for (Input input; inputs.next(input);) do {
            const Bytes piece = input.source->peek(SIZE_MAX);
            all.insert(all.end(), piece.begin(), piece.end());
        } while (input.source->resume());
    return all;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const Bytes bytes(data, size);
    const File file(std::string_view(reinterpret_cast<const char*>(data), size));
    const bool record = dd_ffdc_find(data, size, 0) != size;
    for (const std::string form : {"auto", "hex", "base64", "raw"}) try {
            const std::vector<std::uint8_t> read = read_all(file, form);
            expect(form != "raw" || std::ranges::equal(read, bytes), "raw bytes changed");
            expect(form != "auto" || !record || std::ranges::equal(read, bytes), "a record was taken for text");
        } catch (const Failure& failure) {
            expect(*failure.what() != '\0', "refused without a message");
        }

    // Less than a header is taken for raw bytes, and longer texts are slow. Without a record, groups of hex digits may
    // also be words with their bytes swapped.
    if (size < DD_FFDC_HEADER_SIZE || size > 4096 || !record) return 0;
    for (const std::string& text :
         {hex_of(bytes, 16, "\n"), hex_of(bytes, 4, " "), lines(bytes, true), lines(bytes, false), base64(bytes)})
        expect(std::ranges::equal(read_all(File(text), "auto"), bytes), "spelled bytes do not come back: " + text);
    return 0;
}
