// Writes the golden texts anew, as the decoders print them now, and shows what that changes, for review.
#include <cstdlib>
#include <fstream>

#include "support.hpp"

int main() {
    for (const Golden& g : goldens()) {
        std::string text;
        written_by([&] { text = decoded(*g.driver, g.version, g.payload.data(), static_cast<int>(g.payload.size())); });
        if (text == g.text) continue;
        const std::string path = g.text_file.string();
        std::filesystem::rename(path, path + "~");
        std::ofstream(path, std::ios::binary) << text;
        std::fflush(stdout);
        if (std::system(("diff -u '" + path + "~' '" + path + "'").c_str()) < 0) return 2;
        std::filesystem::remove(path + "~");
    }
    return 0;
}
