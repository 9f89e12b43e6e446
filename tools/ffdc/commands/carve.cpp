// Finds records in any bytes.
#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iterator>
#include <list>
#include <optional>

#include "commands/commands.hpp"

namespace {

namespace fs = std::filesystem;

// Bytes of records inside a record, for each one of its own: those of records inside those count again, and headers
// that overlap would make as many records of any size.
constexpr std::size_t most_inside = 16;

constexpr std::uint8_t magic[] = {0xff, 0xdc, 0xff, 0xdc};

// How far a long search has come, for people who watch it.
class Progress {
public:
    explicit Progress(const Session& s)
        : shown_(isatty(STDERR_FILENO) == 1 && steers(std::getenv("TERM")) && !s.options.quiet && !s.options.verbose &&
                 !s.options.decode && !s.options.json) {}

    void tell(const Input& input, std::size_t done, std::size_t hits) {
        const auto now = std::chrono::steady_clock::now();
        if (!shown_ || now < next_) return;
        next_ = now + std::chrono::milliseconds(200);
        cleared_ = false;
        std::string name = input.name;
        tame(name.data(), name.size());
        std::fprintf(stderr, "\r\33[Kffdc: %s: %zu MiB", name.c_str(), done >> 20);
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

    static bool steers(const char* terminal) { return terminal && std::strcmp(terminal, "dumb") != 0; }
};

// Files for what is found: one for each chain whose records lie end to end, and for each other record.
class RecordFiles {
public:
    explicit RecordFiles(Session& s) : s_(s), directory_(s.options.write_to) {
        std::error_code error;  // told when there is something to write
        fs::create_directories(directory_, error);
    }

    // Entries of one input come in the order of their offsets.
    void add(const Entry& entry) {
        close_those([&](const Chain& chain) { return chain.end < entry.offset; });
        auto chain = std::ranges::find_if(chains_, [&](const Chain& c) { return c.end == entry.offset; });
        if (chain == chains_.end()) chain = begin(entry);
        put_at(*chain, chain->size, entry.bytes);
        chain->flag_at = chain->size + offsetof(dd_ffdc_hdr, chained);
        chain->size += entry.bytes.size();
        chain->last = entry.offset;
        chain->end = entry.offset + entry.bytes.size();
        chain->flag = entry.has_header() ? word(entry.header().chained) : 0;
        if (!entry.is_damaged() && chain->flag != 0) return;
        complete(*chain);
        chains_.erase(chain);
    }
    // The input ends. What it had is its own.
    void finish() {
        close_those([](const Chain&) { return true; });
    }

private:
    struct Chain {
        std::string path = "", input = "";  // without number and ending
        std::size_t size = 0;               // of the file
        std::size_t last = 0, end = 0;      // offsets in the input of the last record and of its end
        std::size_t flag_at = 0;            // of the last record, in the file
        std::uint32_t flag = 0;
        Draft file = {};
    };
    Session& s_;
    const fs::path directory_;
    std::list<Chain> chains_;  // that go on; several where records lie in records

    std::list<Chain>::iterator begin(const Entry& entry) {
        Chain& chain = chains_.emplace_back();
        chain.path = directory_ / (input_part(entry) + hex_number(entry.offset, 8) + "-" +
                                   (entry.has_header() ? type_name(entry) : "CUT"));
        chain.input = entry.file;
        const auto make = [](const char* name) {
            const int file = open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            return file >= 0 && close(file) == 0;
        };
        if (!chain.file.create(directory_, make)) fail(chain);
        return std::prev(chains_.end());
    }
    // Gives the file a name that no other one has: one of before stays. Returns the name.
    static std::string complete(Chain& chain) {
        for (int number = 1;; ++number) {
            std::string path = chain.path + (number == 1 ? "" : "-" + std::to_string(number)) + ".ffdc";
            if (chain.file.add(path)) return path;
            if (errno != EEXIST) fail(chain);
        }
    }
    // Says which input it was, where there are several.
    std::string input_part(const Entry& entry) const {
        constexpr std::size_t longest = 180;
        if (s_.options.files.size() == 1 && entry.file == s_.options.files[0]) return "";
        std::string name = entry.file == "-" ? "stdin" : entry.file;
        name.erase(0, std::min(name.find_first_not_of("./"), name.size()));
        std::ranges::replace_if(
            name, [](char c) { return c == '/' || c == ':'; }, '_');
        tame(name.data(), name.size());
        return name.substr(name.size() - std::min(name.size(), longest)) + "-";
    }

    [[noreturn]] static void fail(const Chain& chain) { throw Fatal(chain.path + ".ffdc: " + std::strerror(errno)); }
    static void put_at(const Chain& chain, std::size_t at, Bytes bytes) {
        const int file = open(chain.file.name().c_str(), O_WRONLY | O_CLOEXEC);
        if (file < 0) fail(chain);
        while (!bytes.empty()) {
            const ssize_t n = pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(at));
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) break;
            at += static_cast<std::size_t>(n);
            bytes = bytes.subspan(static_cast<std::size_t>(n));
        }
        const int error = errno;
        if (close(file) != 0) fail(chain);
        errno = error;
        if (!bytes.empty()) fail(chain);
    }

    // A flag that announces a record which the file does not have is cleared there, so that the file is a whole chain.
    template <typename Which>
    void close_those(const Which& which) {
        for (Chain& chain : chains_) {
            if (!which(chain)) continue;
            constexpr std::uint8_t none[sizeof(dd_ffdc_hdr::chained)] = {};
            put_at(chain, chain.flag_at, none);
            const std::string path = complete(chain);
            if (!s_.options.quiet)
                s_.out.message(chain.input + ": offset " + hex_number(chain.last) + ": chain flag " +
                               std::to_string(chain.flag) + " is cleared in " + path +
                               ", as the record that it announces was not found behind it");
        }
        chains_.remove_if(which);
    }
};

// Whether the header is that of a record, but for its size.
bool is_credible(const Entry& entry) {
    if (!entry.has_header()) return false;
    const dd_ffdc_hdr& header = entry.header();
    return word(header.head_version) == 1 || (dd_ffdc_type_name(entry.type()) && word(header.chained) <= 1);
}

// Whether the end of the input cuts a record that begins where these bytes do.
bool is_cut(const Entry& rest) {
    if (rest.has_header()) return is_credible(rest) && rest.size() > rest.bytes.size();
    return rest.bytes.size() >= offsetof(dd_ffdc_hdr, pid) && word(rest.header().head_version) == 1;
}

// The walk takes a dump for what it should be, records end to end. Here it may be anything: bytes between records are
// no damage, and what walks like a record must look like one, too.
class Carver {
public:
    Carver(Session& session, const Session::Visit& visit) : s_(session), visit_(visit), progress_(session) {}

    void read(Input& input) {
        index_ = cut_end_ = 0;
        const std::string form = s_.options.from.empty() ? looks_like(*input.source) : "";
        s_.walk(input, [&](const Entry& entry) {
            progress_.tell(input, entry.offset, index_);
            const bool whole = !entry.is_damaged();
            if (entry.offset < cut_end_) return;
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
    std::size_t cut_end_ = 0;  // of the record that the end of the input cuts, which may lie in several parts of damage

    void found(const std::string& file, std::size_t offset, Bytes bytes, int step) {
        s_.one_entry({file, offset, index_++, bytes, step}, visit_);
    }
    void find_inside(const Entry& entry) {
        const Bytes area = entry.bytes;
        std::size_t left = most_inside * area.size();
        for (std::size_t at = 1; (at = dd_ffdc_find(area.data(), area.size(), at)) < area.size();) {
            const std::size_t size = word(reinterpret_cast<const dd_ffdc_hdr*>(area.data() + at)->size);
            if (size > left && !s_.options.no_limits)
                return s_.fail(entry.file + ": offset " + hex_number(entry.offset),
                               past_limit(std::to_string(most_inside) + " times the " + std::to_string(area.size()) +
                                              " bytes of the record in those inside it",
                                          "those from offset " + hex_number(entry.offset + at) + " on are missing"));
            left -= size;
            found(entry.file, entry.offset + at, area.subspan(at, size), DD_FFDC_RECORD);
            at += s_.options.all ? 1 : size;
        }
    }

    // What bears the magic in bytes that are no record: one that the end of the input cuts, or nothing.
    void tell_rejected(const Entry& entry, const Input& input) {
        constexpr std::size_t longest = 0xffff;
        const Bytes area = entry.bytes, rest = input.source->bytes();
        const bool last = input.source->ended() && rest.size() - area.size() < longest &&
                          dd_ffdc_find(rest.data(), rest.size(), area.size()) >= rest.size();
        std::size_t at = s_.options.verbose ? 0 : last ? rest.size() - std::min(rest.size(), longest) : area.size();
        for (; at < area.size(); ++at) {
            const void* const hit = memmem(rest.data() + at, std::min(area.size() + sizeof magic - 1, rest.size()) - at,
                                           magic, sizeof magic);
            if (!hit) return;
            at = static_cast<std::size_t>(static_cast<const std::uint8_t*>(hit) - rest.data());
            const Entry candidate{entry.file, entry.offset + at, 0, rest.subspan(at), DD_FFDC_CUT};
            if (last && is_cut(candidate)) {
                cut_end_ = candidate.offset + candidate.bytes.size();
                return found(entry.file, candidate.offset, candidate.bytes, candidate.step);
            }
            if (s_.options.verbose) tell_why({entry.file, candidate.offset, 0, area.subspan(at), DD_FFDC_CUT});
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
    if (s.options.decode && s.options.json) throw Fatal("expected one of --decode and --json, found both");
    Listing listing(s);
    const Session::Visit visit_json = json_visit(s);
    std::optional<RecordFiles> files;
    if (!s.options.write_to.empty()) files.emplace(s);
    const Session::Visit visit = [&](const Entry& entry) {
        if (files) files->add(entry);
        return s.options.decode ? show_entry(s, entry) : s.options.json ? visit_json(entry) : listing.add(entry);
    };
    Carver carver(s, visit);
    const auto read = [&](Input& input) {
        if (files) files->finish();  // with what an input that could not be read to its end has left
        carver.read(input);
    };
    s.each_input(read, "raw");
    if (files) files->finish();
    carver.finish();
    if (!s.options.decode && !s.options.json) listing.print();
    return s.status();
}
