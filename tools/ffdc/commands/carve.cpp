// Finds records in any bytes.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>

#include "commands/commands.hpp"

namespace {

constexpr std::size_t window = 1 << 20, longest_record = 0xffff;
constexpr std::uint8_t magic[] = {0xff, 0xdc, 0xff, 0xdc};

// How far a long search has come, for people who watch it.
class Progress {
public:
    explicit Progress(const Session& s)
        : shown_(isatty(STDERR_FILENO) == 1 && !s.options.quiet && !s.options.verbose && !s.options.decode) {}

    void tell(const Input& input, std::size_t done, std::size_t hits) {
        const auto now = std::chrono::steady_clock::now();
        if (!shown_ || now < next_) return;
        next_ = now + std::chrono::milliseconds(200);
        cleared_ = false;
        std::fprintf(stderr, "\r\33[Kffdc: %s: %zu MiB", input.name().c_str(), done >> 20);
        if (input.size() != 0) std::fprintf(stderr, " of %zu", input.size() >> 20);
        std::fprintf(stderr, ", %zu records", hits);
    }
    void clear() {
        if (!cleared_) std::fputs("\r\33[K", stderr);
        cleared_ = true;
    }

private:
    bool shown_, cleared_ = true;
    std::chrono::steady_clock::time_point next_ = std::chrono::steady_clock::now() + std::chrono::seconds(1);
};

// A file for a record, which must not be there yet.
void write_record(const Session& s, const Entry& entry) {
    namespace fs = std::filesystem;
    const fs::path directory = s.options.write_to;
    std::error_code error;
    fs::create_directory(directory, error);
    const std::string input = s.options.files.size() > 1 ? fs::path(entry.file).filename().string() + "-" : "";
    const fs::path path = directory / (input + hex_number(entry.offset, 8) + "-" + type_name(entry) + ".ffdc");
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    bool written =
        file >= 0 && write(file, entry.bytes.data(), entry.bytes.size()) == static_cast<ssize_t>(entry.bytes.size());
    if (file >= 0) written = close(file) == 0 && written;
    if (!written) throw Fatal(path.string() + ": " + std::strerror(errno));
}

// Says why places with the magic, from `begin` to `end`, were passed over.
void tell_rejected(Session& s, const Input& input, std::size_t begin, std::size_t end) {
    const Bytes area = input.bytes();
    for (std::size_t at = begin; at < end; ++at) {
        const std::size_t last = std::min(end + sizeof magic - 1, area.size());
        const void* const found = memmem(area.data() + at, last - at, magic, sizeof magic);
        if (!found) return;
        at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - area.data());
        Entry entry{input.name(), input.base() + at, 0, area.subspan(at)};
        const bool cut = !entry.has_header() || entry.size() > entry.bytes.size();
        Trouble trouble;
        if (cut || entry.size() < DD_FFDC_HEADER_SIZE) {
            entry.step = cut ? DD_FFDC_CUT : DD_FFDC_BAD_SIZE;
            trouble = trouble_of(entry, damaged);
        } else {
            const dd_ffdc_hdr& header = entry.header();
            trouble = {"", "header version 1, or a known type and a chain flag of 0 or 1",
                       "header version " + std::to_string(word(header.head_version)) + ", type " +
                           std::to_string(entry.type()) + ", chain flag " + std::to_string(word(header.chained))};
        }
        s.out.message(entry.file + ": offset " + hex_number(entry.offset) + ": not a record: expected " +
                      trouble.expected + ", found " + trouble.found);
    }
}

// Where more is to come, a record that begins in the last 64 KiB may end behind the window: those wait for the next
// one.
void carve_input(Session& s, Input& input, Progress& progress, const Session::Visit& visit) {
    std::size_t index = 0, from = 0;
    while (true) {
        const Bytes area = input.bytes();
        const std::size_t sure = input.complete() ? area.size() : area.size() - longest_record;
        const std::size_t hit = std::min(dd_ffdc_find(area.data(), area.size(), from), sure);
        if (s.options.verbose) tell_rejected(s, input, from, hit);
        progress.tell(input, input.base() + hit, index);
        from = hit;
        if (hit < sure) {
            Entry entry{input.name(), input.base() + hit, index++, area.subspan(hit)};
            entry.bytes = entry.bytes.first(entry.size());
            s.one_entry(entry, visit);
            from += s.options.all ? 1 : entry.bytes.size();
        }
        if (from < sure) continue;
        if (input.complete()) return;
        input.slide(from);
        from = 0;
    }
}

}  // namespace

int carve(Session& s) {
    Listing listing(s);
    Progress progress(s);
    const auto visit = [&](const Entry& entry) {
        if (!s.options.write_to.empty()) write_record(s, entry);
        return s.options.decode ? show_entry(s, entry) : listing.add(entry);
    };
    s.each_input(window, [&](Input& input) { carve_input(s, input, progress, visit); });
    progress.clear();
    if (!s.options.decode) listing.print();
    return s.status();
}
