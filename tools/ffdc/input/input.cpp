#include "input/input.hpp"

#include <unistd.h>

#include <algorithm>
#include <filesystem>

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
            if (!member.empty()) name_ += ":" + member;
        }
        input = {name_, "", std::move(source)};
        const char* const packed = from_ == "raw" ? nullptr : packed_with(*input.source);
        if (packed && levels_.size() == deepest)
            throw Failure("expected at most " + std::to_string(deepest) + " layers of packing, found one more, " +
                          packed);
        if (packed) {
            if (auto archive = Archive::open(input.source, packed)) {
                levels_.push_back({name_, std::move(archive)});
                continue;
            }
            input.read_as = "raw bytes";
        }
        read_as(input, from_);
        return true;
    }
}

std::vector<std::string> files_of(const std::vector<std::string>& named) {
    namespace fs = std::filesystem;
    if (named.empty()) {
        if (isatty(STDIN_FILENO)) throw Fatal("expected a FILE, or input from a pipe, found a terminal");
        return {"-"};
    }
    std::vector<std::string> files;
    for (const std::string& name : named) {
        std::error_code error;
        if (name == "-" || !fs::is_directory(name, error)) {
            files.push_back(name);
            continue;
        }
        const std::size_t first = files.size();
        for (const fs::directory_entry& entry : fs::directory_iterator(name, error))
            if (entry.is_regular_file(error)) files.push_back(entry.path().string());
        if (error) throw Fatal(name + ": " + error.message());
        std::sort(files.begin() + static_cast<std::ptrdiff_t>(first), files.end());
    }
    return files;
}
