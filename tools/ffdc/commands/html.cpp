// A report: the viewer's page with the dumps inside, to be attached to a ticket.
#include <nettle/base64.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "commands/commands.hpp"

namespace {

namespace fs = std::filesystem;

constexpr std::size_t most = 32 << 20;  // bytes of all dumps together: what mail and tickets still take
constexpr std::string_view place_of_dumps = "<!-- dumps -->\n";

// The page beside this program, wherever that was installed or unpacked, or where the build said.
fs::path page_path() {
    constexpr const char* name = "share/ffdc/ffdc-viewer.html";
    std::error_code error;
    fs::path beside = fs::read_symlink("/proc/self/exe", error).parent_path().parent_path() / name;
    if (!error && fs::exists(beside, error)) return beside;
    if (fs::exists(FFDC_PAGE, error)) return FFDC_PAGE;
    throw Fatal("expected the viewer's page at " + beside.string() +
                " or " FFDC_PAGE
                ", found none; `./try viewer` in the sources builds it, and `cmake --install` puts it there");
}

std::string escaped(const std::string& text) {
    std::string out;
    for (const char c : text) {
        if (c == '&' || c == '"' || c == '<')
            out += "&#" + std::to_string(c) + ";";
        else
            out += c;
    }
    return out;
}

}  // namespace

int html(Session& s) {
    if (s.out.is_terminal()) throw Fatal("expected -o FILE, or a pipe, to take the page, found a terminal");
    const fs::path path = page_path();
    std::ifstream file(path, std::ios::binary);
    const std::string page{std::istreambuf_iterator<char>(file), {}};
    const std::size_t place = page.find(place_of_dumps);
    if (place == page.npos) throw Fatal(path.string() + ": expected the viewer's page, found no place for dumps in it");

    // The entries of a file follow each other without a gap: all together are the file, or what was asked for of it.
    std::vector<std::pair<std::string, std::vector<std::uint8_t>>> dumps;
    std::size_t size = 0;
    const auto add = [&](const Entry& entry) -> int {
        size += entry.bytes.size();
        if (size > most)
            throw Fatal(entry.file + ": expected at most " + std::to_string(most >> 20) +
                        " MiB of dumps in a report, found more; send " + path.string() +
                        " along with the dump, or choose records with -t, or with `ffdc carve --write`");
        if (dumps.empty() || dumps.back().first != entry.file) dumps.emplace_back(entry.file, 0);
        dumps.back().second.insert(dumps.back().second.end(), entry.bytes.begin(), entry.bytes.end());
        const auto nothing = [](void*, const dd_ffdc_value*) {};
        if (entry.is_damaged()) return damaged;
        return dd_ffdc_values(&entry.header(), entry.bytes.size(), nothing, nullptr);
    };
    s.each_entry(add, Parts::all);
    s.out.put(std::string_view(page).substr(0, place));
    for (const auto& [name, bytes] : dumps) {
        std::string base64(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
        base64_encode_raw(base64.data(), bytes.size(), bytes.data());
        s.out.put("<script type=\"application/octet-stream\" data-dump=\"", escaped(name), "\">", base64,
                  "</script>\n");
    }
    s.out.put(std::string_view(page).substr(place + place_of_dumps.size()));
    return s.status();
}
