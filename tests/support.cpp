#include "support.hpp"

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>

namespace {

[[noreturn]] void give_up(const std::string& why) {
    std::fprintf(stderr, "%s\n", why.c_str());
    std::exit(2);
}

std::string contents(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
}

Golden load(const Driver& driver, const std::filesystem::path& hex) {
    Golden golden = {};
    golden.driver = &driver;
    golden.name = hex.parent_path().filename().string() + "/" + hex.stem().string();
    golden.text_file = std::filesystem::path(hex).replace_extension(".txt");
    if (!std::filesystem::exists(golden.text_file)) give_up(golden.name + ": no .txt beside the .hex");
    golden.text = contents(golden.text_file);
    std::istringstream lines(contents(hex));
    for (std::string line; std::getline(lines, line);) {
        line = line.substr(0, line.find('#'));
        if (line.starts_with("version ")) {
            golden.version = static_cast<std::uint32_t>(std::stoul(line.substr(8), nullptr, 0));
            continue;
        }
        std::erase_if(line, [](unsigned char c) { return std::isspace(c) != 0; });
        if (line.size() % 2 != 0 || line.find_first_not_of("0123456789abcdefABCDEF") != line.npos)
            give_up(golden.name + ": not hexadecimal bytes: " + line);
        for (std::size_t i = 0; i < line.size(); i += 2)
            golden.payload.push_back(static_cast<std::uint8_t>(std::stoul(line.substr(i, 2), nullptr, 16)));
    }
    return golden;
}

void put(Bytes& to, std::uint32_t v, int width) {
    for (int i = width - 1; i >= 0; --i) to.push_back(static_cast<std::uint8_t>(v >> 8 * i));
}

}  // namespace

const std::vector<Golden>& goldens() {
    static const std::vector<Golden> all = [] {
        const char* const other = std::getenv("FFDC_GOLDEN_DIR");
        const std::filesystem::path root = other ? other : GOLDEN_DIR;
        std::vector<Golden> found;
        std::set<std::filesystem::path> folders;
        for (const auto& entry : std::filesystem::directory_iterator(root)) folders.insert(entry.path());
        for (const Driver& driver : drivers) {
            std::string name(driver.name);
            for (char& c : name) c = static_cast<char>(std::tolower(c));
            const std::size_t before = found.size();
            if (folders.erase(root / name) != 0)
                for (const auto& entry : std::filesystem::directory_iterator(root / name))
                    if (entry.path().extension() == ".hex") found.push_back(load(driver, entry.path()));
            if (found.size() == before) give_up("driver " + name + ": no golden cases in " + (root / name).string());
        }
        for (const auto& folder : folders) give_up(folder.string() + ": golden cases of no driver in drivers.def");
        std::sort(found.begin(), found.end(), [](const Golden& a, const Golden& b) { return a.name < b.name; });
        return found;
    }();
    return all;
}

Bytes record_of(Header h, const Bytes& payload) {
    Bytes r;
    put(r, h.magic, 4);
    put(r, 0xaaaaaaaa, 4);
    put(r, 0xbbbbbbbb, 4);
    put(r, h.chained, 4);
    put(r, static_cast<std::uint32_t>(h.head_version), 4);
    put(r, static_cast<std::uint32_t>(h.pid), 4);
    put(r, static_cast<std::uint32_t>(h.type), 2);
    put(r, h.version, 2);
    put(r, h.time[0], 4);
    put(r, h.time[1], 4);
    put(r, h.size >= 0 ? static_cast<std::uint32_t>(h.size) : static_cast<std::uint32_t>(42 + payload.size()), 2);
    put(r, static_cast<std::uint32_t>(h.tgid), 4);
    r.insert(r.end(), payload.begin(), payload.end());
    return r;
}

Bytes record_of(const Golden& golden) {
    return record_of({.type = golden.driver->type, .version = golden.version}, golden.payload);
}

std::string heading(const Header& h, std::size_t size, std::string_view type_line) {
    std::ostringstream s;
    if (h.head_version != 1) s << "Unsupported header version[" << h.head_version << "]\nAssuming version 1\n";
    s << "  head version[" << h.head_version << "] time[" << std::hex << h.time[0] << " " << h.time[1] << std::dec
      << "] size[" << size << "]\n  pid[" << h.pid << "]  tgid[" << h.tgid << "] type[" << h.type << "]\n"
      << type_line;
    return s.str();
}

std::string heading(const Golden& golden) {
    return heading({.type = golden.driver->type}, 42 + golden.payload.size(),
                   "type: FFDC_TYPE_" + std::string(golden.driver->name) + "\n");
}

Guarded::Guarded(std::size_t size) : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
    const std::size_t inside = (size + page_ - 1) / page_ * page_;
    void* const all = mmap(nullptr, inside + 2 * page_, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (all == MAP_FAILED) give_up("mmap failed");
    begin_ = static_cast<std::uint8_t*>(all) + page_;
    end_ = begin_ + inside;
    if (mprotect(begin_, inside, PROT_READ | PROT_WRITE) != 0) give_up("mprotect failed");
}

Guarded::~Guarded() { munmap(begin_ - page_, static_cast<std::size_t>(end_ - begin_) + 2 * page_); }

const std::uint8_t* Guarded::back(const Bytes& bytes, std::size_t size) const {
    std::copy_n(bytes.begin(), size, end_ - size);
    return end_ - size;
}

Capture::Capture() : saved_(dup(1)), file_(std::tmpfile()) {
    std::fflush(stdout);
    if (saved_ < 0 || !file_ || dup2(fileno(file_), 1) < 0) give_up("cannot redirect standard output");
}

Capture::~Capture() {
    std::fflush(stdout);
    dup2(saved_, 1);
    close(saved_);
    std::fclose(file_);
}

std::string Capture::text() {
    std::fflush(stdout);
    std::string s(static_cast<std::size_t>(lseek(1, 0, SEEK_END)), '\0');
    if (pread(1, s.data(), s.size(), 0) != static_cast<ssize_t>(s.size())) give_up("cannot read standard output");
    return s;
}

std::string written_by(const std::function<void()>& call) {
    Capture capture;
    call();
    return capture.text();
}

std::string dump_text(const std::uint8_t* data, int length, long room) {
    std::string text;
    const int end = length / 4 * 4;
    for (int line = 0; line < end && static_cast<long>(text.size()) < room - 69; line += 16) {
        std::string characters;
        text += formatted("%08x [", static_cast<unsigned>(line));
        for (int i = line; i < line + 16; ++i) {
            text += formatted(i % 4 == 3 ? "%02x " : "%02x", i < end ? data[i] : 0u);
            characters += i < end && std::isprint(data[i]) ? static_cast<char>(data[i]) : '.';
        }
        text += "] [" + characters + "]\n";
    }
    return text;
}

Fitted::Fitted(std::string_view whole) {
    constexpr std::size_t line = 67;
    static constexpr std::string_view announced = "fsidata len ";
    const std::size_t embedded = whole.find(announced);
    auto dump_line_at = [whole](std::size_t i) {
        const std::string_view s = whole.substr(i, line);
        return s.size() == line && s[8] == ' ' && s[9] == '[' && s.substr(45, 4) == " ] [" && s.ends_with("]\n") &&
               s.find_first_not_of("0123456789abcdef") == 8;
    };
    std::size_t i = 0, plain = 0;
    auto take_plain = [&] {
        if (plain < i) pieces_.push_back({std::string(whole.substr(plain, i - plain)), false});
    };
    while (i < whole.size()) {
        if (i == embedded) {
            // The text of an embedded block is copied as it is, its dump included.
            const std::size_t n = std::stoul(std::string(whole.substr(i + announced.size(), 6)));
            i = whole.find('\n', i) + 1 + n;
        } else if (dump_line_at(i)) {
            take_plain();
            pieces_.push_back({std::string(whole.substr(i, line)), true});
            plain = i += line;
        } else {
            ++i;
        }
    }
    take_plain();
}

Written Fitted::in(int room) const {
    Written w = {{}, 0};
    for (const Piece& p : pieces_) {
        const std::int64_t left = std::int64_t{room} - static_cast<std::int64_t>(w.length);
        if (p.dump_line && left <= 69) continue;
        w.length += p.text.size();
        if (left > 1) w.text += p.text.substr(0, static_cast<std::size_t>(left - 1));
    }
    return w;
}

std::string rendered(const Renderer& render) {
    thread_local std::vector<char> buffer(DD_FFDC_RENDER_ROOM);
    buffer[0] = '\0';
    const int n = render(buffer.data(), static_cast<int>(buffer.size()));
    if (n < 0 || std::strlen(buffer.data()) != static_cast<std::size_t>(n))
        return "count " + std::to_string(n) + " but text: " + buffer.data();
    return buffer.data();
}

std::string room_flaw(const Renderer& render, const Fitted& expected, bool whole, int room) {
    static const Guarded area(1 << 17);
    constexpr char guard = '\xa5';
    constexpr int before = 32;
    const Written want = expected.in(room);
    char* const out = reinterpret_cast<char*>(area.end()) - std::max(room, 0);
    std::memset(out - before, guard, static_cast<std::size_t>(std::max(room, 0) + before));
    const int count = render(out, room);
    auto guarded = [](char c) { return c == guard; };
    const std::string where = "room " + std::to_string(room) + ": ";
    if (!std::all_of(out - before, out, guarded)) return where + "wrote before the buffer";
    const std::size_t n = whole ? want.length : want.text.size();
    if (static_cast<std::size_t>(count) != n)
        return where + "count is " + std::to_string(count) + ", not " + std::to_string(n);
    if (want.length == 0 && !std::all_of(out, out + std::max(room, 0), guarded)) return where + "wrote without a text";
    if (want.length == 0 || room < 1) return "";
    if (std::memcmp(out, want.text.c_str(), want.text.size() + 1) != 0)
        return where + "stored <" + std::string(out, strnlen(out, static_cast<std::size_t>(room))) + ">, not <" +
               want.text + ">";
    return "";
}

std::string difference(std::string_view text, std::string_view expected) {
    const auto line_at = [](std::string_view s, std::size_t at) {
        const std::size_t begin = at == 0 ? 0 : s.rfind('\n', at - 1) + 1;  // npos + 1 is 0
        return begin < s.size() ? "<" + std::string(s.substr(begin, s.find('\n', begin) - begin)) + ">" : "its end";
    };
    if (text == expected) return "";
    const auto [here, there] = std::mismatch(text.begin(), text.end(), expected.begin(), expected.end());
    const auto at = static_cast<std::size_t>(here - text.begin());
    return "line " + std::to_string(1 + std::count(text.begin(), here, '\n')) + " is " + line_at(text, at) + ", not " +
           line_at(expected, at);
}

std::string record_text(const std::uint8_t* record, std::size_t there, dd_ffdc_state* state) {
    return rendered([&](char* out, int room) { return dd_ffdc_render(as_record(record), there, out, room, state); });
}

Renderer printing(const Driver& driver, std::uint32_t version, const std::uint8_t* payload, int length) {
    return [=, &driver](char* out, int room) { return driver.print(payload, version, length, out, room); };
}

std::string decoded(const Driver& driver, std::uint32_t version, const std::uint8_t* payload, int length) {
    return rendered(printing(driver, version, payload, length));
}

bool exact(const Driver& driver) {
    static const std::set<int> types = [] {
        std::set<int> shown;
        std::size_t layout;
        for (const Golden& g : goldens())
            if (dd_ffdc_layout(g.driver->type, g.version, &layout) == DD_FFDC_OK && g.payload.size() > layout &&
                g.text.find("Data size mismatch") != g.text.npos)
                shown.insert(g.driver->type);
        for (const Golden& g : goldens()) {
            if (dd_ffdc_layout(g.driver->type, g.version, &layout) != DD_FFDC_OK || layout == 0) continue;
            const Bytes longer = record_of({.type = g.driver->type, .version = g.version}, Bytes(layout + 1));
            dd_ffdc_state state;
            record_text(longer.data(), longer.size(), &state);
            if (state == DD_FFDC_SIZE_MISMATCH && !shown.contains(g.driver->type))
                give_up(g.name + ": the driver refuses a payload that is longer than its layout (`exact`), but no " +
                        "golden case beside this one has such a payload");
        }
        return shown;
    }();
    return types.contains(driver.type);
}

bool counts_whole(const Driver& driver, std::string_view text) {
    return exact(driver) || driver.type == FFDC_TYPE_SPAD || driver.type == FFDC_TYPE_TONE ||
           text.starts_with("Unrecognized");
}

std::string trace_of(const Golden& golden) {
    const std::string fsi = "fsi_print called\n";
    const std::uint32_t v = golden.version;
    if (golden.driver->type == FFDC_TYPE_FSI) return fsi;
    if (golden.driver->type == FFDC_TYPE_SCAN) return "scan_print called support up to v4\n" + (v == 1 ? fsi : "");
    if (golden.driver->type == FFDC_TYPE_SCOM)
        return "scom_print called - suport up to v4\n" + (v >= 1 && v <= 3 ? fsi : "");
    return "";
}
