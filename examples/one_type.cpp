// one_type TYPE FILE...: the text of the records of one type, such as HDMA, in any number of dumps.
#include <tavi_ffdc.h>

#include <fstream>
#include <iostream>
#include <iterator>
#include <string>
#include <string_view>
#include <vector>

namespace {

// Calls visit(record, size) for every record among bytes of unknown origin.
template <class Visit>
void each_record(std::string_view area, Visit visit) {
    dd_ffdc_cursor at{};
    for (int step; (step = dd_ffdc_next(area.data(), area.size(), &at)) != DD_FFDC_END;) {
        if (step == DD_FFDC_RECORD)
            visit(reinterpret_cast<const dd_ffdc_hdr *>(area.data() + at.offset), at.next - at.offset);
    }
}

int type_called(std::string_view name) {
    for (int type = 0; type <= 0xffff; ++type) {
        const char *known = dd_ffdc_type_name(type);
        if (known && name == known) return type;
    }
    return -1;
}

}  // namespace

int main(int argc, char **argv) {
    const int wanted = argc > 2 ? type_called(argv[1]) : -1;
    if (wanted < 0) {
        std::cerr << "usage: " << argv[0] << " TYPE FILE...\n";
        return 2;
    }
    std::vector<char> text(DD_FFDC_RENDER_ROOM);
    for (int i = 2; i < argc; ++i) {
        std::ifstream file(argv[i], std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(file), {}};
        if (!file) {
            std::cerr << argv[i] << ": cannot be read\n";
            return 2;
        }
        each_record(bytes, [&](const dd_ffdc_hdr *record, std::size_t size) {
            if ((record->type[0] << 8 | record->type[1]) != wanted) return;
            dd_ffdc_state state;
            dd_ffdc_render(record, size, text.data(), static_cast<int>(text.size()), &state);
            std::cout << text.data();
            if (state != DD_FFDC_OK) std::cerr << argv[i] << ": " << dd_ffdc_state_name(state) << '\n';
        });
    }
    return std::cout.flush() ? 0 : 2;
}
