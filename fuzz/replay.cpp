// Feeds files, and the files of folders, to a fuzz target, without a fuzzing engine: replay PATH...
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

#include "fuzz.hpp"

namespace fs = std::filesystem;

int main(int count, char** paths) {
    std::vector<fs::path> files;
    for (const fs::path path : std::span(paths, static_cast<std::size_t>(count)).subspan(1)) {
        if (fs::is_regular_file(path)) files.push_back(path);
        if (fs::is_directory(path))
            for (const auto& entry : fs::directory_iterator(path)) files.push_back(entry.path());
    }
    for (const fs::path& file : files) {
        std::ifstream in(file, std::ios::binary);
        const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
        std::fprintf(stderr, "%s\n", file.c_str());  // the last line names the input that ends the program
        LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
    }
    std::fprintf(stderr, "%zu inputs\n", files.size());
    return files.empty() ? 1 : 0;
}
