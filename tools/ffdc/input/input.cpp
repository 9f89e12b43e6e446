#include "input/input.hpp"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "input/decompress.hpp"
#include "input/text.hpp"

namespace {

constexpr std::size_t deepest = 4;  // layers, of which a compressed archive has two

void read_as(Input& input, const std::string& asked) {
    if (asked == "raw") return;
    if (std::unique_ptr<Source> ascii = read_utf16(input.source)) {
        input.source = std::move(ascii);
        input.read_as = "UTF-16";
    }
    const Reading reading = guess(*input.source, asked);
    if (reading.form) {
        input.read_as = reading.form->name;
        input.source = read_text(std::move(input.source), reading);
    } else if (reading.guessed) {
        input.read_as = "raw bytes";
    }
}

}  // namespace

std::string looks_like(Source& source) {
    if (const char* const packed = packed_with(source)) return packed;
    try {
        const Reading reading = guess(source, "auto");
        return reading.form ? std::string(reading.form->name) : "";
    } catch (const Failure&) {
        return "text";
    }
}

bool Inputs::next(Input& input) {
    while (true) {
        std::unique_ptr<Source> source = std::move(file_);
        std::size_t layers = 0;
        if (!source) {
            if (levels_.empty()) return false;
            Level& level = levels_.back();
            name_ = level.name;
            std::string member;
            source = level.archive->next(member);
            if (!source) {
                levels_.pop_back();
                continue;
            }
            name_ += ":" + member;
            layers = level.layers;
        }
        input = {name_, "", std::move(source)};
        if (from_ != "raw" && unpack(input, layers)) continue;
        read_as(input, from_);
        return true;
    }
}

// True if the input is an archive, which is then the level of the moment. What is compressed may be an archive.
bool Inputs::unpack(Input& input, std::size_t layers) {
    while (const char* const packed = packed_with(*input.source)) {
        if (layers++ == deepest)
            throw Failure("expected at most " + std::to_string(deepest) + " layers of packing, found one more, " +
                          packed);
        if (std::unique_ptr<Source> content = decompress(input.source, packed)) {
            input.source = std::move(content);
        } else if (std::unique_ptr<Archive> archive = Archive::open(input.source, packed)) {
            levels_.push_back({name_, layers, std::move(archive)});
            return true;
        } else {
            input.read_as = "raw bytes";
            break;
        }
    }
    return false;
}

namespace {

namespace fs = std::filesystem;

void add_directory(const fs::path& directory, bool recursive, std::vector<std::string>& files,
                   std::vector<Skipped>& skipped) {
    std::vector<std::string> here, below;
    std::size_t others = 0;
    std::error_code error;
    fs::directory_iterator entry(directory, error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        std::error_code unknown;
        const bool link = entry->is_symlink(unknown);
        if (entry->is_regular_file(unknown))
            here.push_back(entry->path().string());
        else if (entry->is_directory(unknown) && !link)
            below.push_back(entry->path().string());
        else
            ++others;
    }
    if (error) skipped.push_back({directory.string(), error.message(), true});
    const auto count = [](std::size_t n, const char* one, const char* many) {
        return std::to_string(n) + (n == 1 ? one : many);
    };
    if (!below.empty() && !recursive)
        skipped.push_back(
            {directory.string(),
             "skipped " + count(below.size(), " directory", " directories") + " in it; -r reads them, too", false});
    if (others != 0)
        skipped.push_back({directory.string(),
                           "skipped " + count(others, " entry that is", " entries that are") + " no file", false});
    std::ranges::sort(here);
    std::ranges::sort(below);
    files.insert(files.end(), here.begin(), here.end());
    if (!recursive) return;
    for (const std::string& name : below) add_directory(name, recursive, files, skipped);
}

}  // namespace

std::vector<std::string> files_of(const std::vector<std::string>& named, bool recursive,
                                  std::vector<Skipped>& skipped) {
    if (named.empty()) {
        if (isatty(STDIN_FILENO)) throw Fatal("expected a FILE, or input from a pipe, found a terminal");
        return {"-"};
    }
    std::vector<std::string> files;
    for (const std::string& name : named) {
        std::error_code error;
        if (name != "-" && fs::is_directory(name, error))
            add_directory(name, recursive, files, skipped);
        else
            files.push_back(name);
    }
    return files;
}
