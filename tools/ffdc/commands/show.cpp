// The decoded text of every record.
#include "commands/commands.hpp"

namespace {

// Only separators begin like one, whatever lines the text of a record holds.
void mark_other_separators(char* text, std::size_t n) {
    const std::string_view all(text, n);
    for (std::size_t at = 3; (at = all.find('>', at)) < n; ++at)
        if (all[at - 1] == '=' && all[at - 2] == '=' && (all[at - 3] == '\n' || all[at - 3] == '\r'))
            text[at - 2] = '.';
}

}  // namespace

int show_entry(Session& s, const Entry& entry) {
    put_separator(s, entry);
    if (entry.is_damaged()) {
        const Trouble trouble = trouble_of(entry, damaged);
        s.out.put("damaged: expected ", trouble.expected, ", found ", trouble.found, "\n");
        if (!entry.has_header()) return damaged;
    }
    dd_ffdc_state state{};
    char* const text = s.out.room(DD_FFDC_RENDER_ROOM);
    std::size_t n = static_cast<std::size_t>(
        dd_ffdc_render(&entry.header(), entry.bytes.size(), text, DD_FFDC_RENDER_ROOM, &state));
    if (text[n - 1] != '\n') text[n++] = '\n';
    if (!s.options.no_legend) mark_other_separators(text, n);
    s.out.took_foreign(n);
    return entry.is_damaged() ? damaged : state;
}

int show(Session& s) {
    return s.each_entry([&](const Entry& entry) { return show_entry(s, entry); });
}
