// The driver types, versions and layout sizes that this build knows.
#include "commands/commands.hpp"

namespace {

constexpr unsigned probed = 1024, last_version = 0xffff;

std::string range(unsigned first, unsigned last) {
    if (first == 0 && last == probed) return "any";
    if (last == probed) return std::to_string(first) + " and later";
    return std::to_string(first) + (last == first ? "" : "-" + std::to_string(last));
}

}  // namespace

int types(Session& s) {
    Table table({{"TYPE"}, {"CODE", true}, {"VERSIONS"}, {"BYTES", true}}, s.out, !s.options.no_legend);
    bool any = false;
    for (int type = 0; type <= last_type; ++type) {
        if (!dd_ffdc_type_name(type) || !s.wants(type)) continue;
        any = true;
        const auto layout = [&](unsigned version) {
            std::size_t size = 0;
            return dd_ffdc_layout(type, version, &size) == DD_FFDC_OK ? static_cast<long>(size) : -1;
        };
        for (unsigned first = 0, last; first <= probed; first = last + 1) {
            const long size = layout(first);
            for (last = first; last < probed && layout(last + 1) == size;) ++last;
            if (size < 0) continue;
            // What holds up to here holds for all later versions, unless the highest one says otherwise.
            if (last == probed && layout(last_version) != size) --last;
            table.row(
                {type_name(type), std::to_string(type), range(first, last), size == 0 ? "raw" : std::to_string(size)});
        }
    }
    table.print();
    return any ? exit_ok : exit_none;
}
