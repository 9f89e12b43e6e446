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
        std::fprintf(stderr, "\r\33[Kffdc: %s: %zu MiB", input.name.c_str(), done >> 20);
        if (input.source->size() != 0) std::fprintf(stderr, " of %zu", input.source->size() >> 20);
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

// Whether the header is that of a record, but for its size.
bool is_credible(const Entry& entry) {
    if (!entry.has_header()) return false;
    const dd_ffdc_hdr& header = entry.header();
    return word(header.head_version) == 1 || (dd_ffdc_type_name(entry.type()) && word(header.chained) <= 1);
}

// The walk takes a dump for what it should be, records end to end. Here it may be anything: bytes between records are
// no damage, and what walks like a record must look like one, too.
class Carver {
public:
    Carver(Session& session, const Session::Visit& visit) : s_(session), visit_(visit), progress_(session) {}

    void read(Input& input) {
        index_ = 0;
        const std::string form = s_.options.from.empty() ? looks_like(*input.source) : "";
        s_.walk(input, [&](const Entry& entry) {
            progress_.tell(input, entry.offset, index_);
            const bool whole = !entry.is_damaged();
            const bool shown = is_credible(entry) && (whole || entry.step == DD_FFDC_CUT);
            if (shown) found(entry.file, entry.offset, entry.bytes, entry.step);
            if (!shown) tell_rejected(entry, input);
            if (whole && (!shown || s_.options.all)) find_inside(entry);
        });
        if (index_ == 0 && !form.empty() && !s_.options.quiet)
            s_.out.message(input.name + ": read as raw bytes, but it looks like " + form + ": --from auto reads that");
    }
    void finish() { progress_.clear(); }

private:
    Session& s_;
    const Session::Visit& visit_;
    Progress progress_;
    std::size_t index_ = 0;

    void found(const std::string& file, std::size_t offset, Bytes bytes, int step) {
        s_.one_entry({file, offset, index_++, bytes, step}, visit_);
    }
    void find_inside(const Entry& entry) {
        const Bytes area = entry.bytes;
        for (std::size_t at = 1; (at = dd_ffdc_find(area.data(), area.size(), at)) < area.size();) {
            const std::size_t size = word(reinterpret_cast<const dd_ffdc_hdr*>(area.data() + at)->size);
            found(entry.file, entry.offset + at, area.subspan(at, size), DD_FFDC_RECORD);
            at += s_.options.all ? 1 : size;
        }
    }

    // What bears the magic in bytes that are no record: one that the end of the input cuts, or nothing.
    void tell_rejected(const Entry& entry, const Input& input) {
        const Bytes area = entry.bytes;
        const bool last = input.source->ended() && input.source->bytes().size() == area.size();
        if (!last && !s_.options.verbose) return;
        for (std::size_t at = 0; at < area.size(); ++at) {
            const void* const hit = memmem(area.data() + at, area.size() - at, magic, sizeof magic);
            if (!hit) return;
            at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - area.data());
            const Entry candidate{entry.file, entry.offset + at, 0, area.subspan(at), DD_FFDC_CUT};
            if (last && is_credible(candidate) && candidate.size() > candidate.bytes.size())
                return found(entry.file, candidate.offset, candidate.bytes, candidate.step);
            if (s_.options.verbose) tell_why(candidate);
        }
    }
    void tell_why(Entry entry) {
        const bool has_size = entry.has_header() && entry.size() <= entry.bytes.size();
        if (has_size && entry.size() < DD_FFDC_HEADER_SIZE) entry.step = DD_FFDC_BAD_SIZE;
        Trouble trouble = trouble_of(entry, damaged);
        if (has_size && entry.step != DD_FFDC_BAD_SIZE) {
            const dd_ffdc_hdr& header = entry.header();
            trouble = {"", "header version 1, or a known type and a chain flag of 0 or 1",
                       "header version " + std::to_string(word(header.head_version)) + ", type " +
                           std::to_string(entry.type()) + ", chain flag " + std::to_string(word(header.chained))};
        }
        s_.out.message(entry.file + ": offset " + hex_number(entry.offset) + ": not a record: expected " +
                       trouble.expected + ", found " + trouble.found);
    }
};

}  // namespace

int carve(Session& s) {
    Listing listing(s);
    const Session::Visit visit = [&](const Entry& entry) {
        if (!s.options.write_to.empty()) write_record(s, entry);
        return s.options.decode ? show_entry(s, entry) : listing.add(entry);
    };
    Carver carver(s, visit);
    s.each_input([&](Input& input) { carver.read(input); }, "raw");
    carver.finish();
    if (!s.options.decode) listing.print();
    return s.status();
}
