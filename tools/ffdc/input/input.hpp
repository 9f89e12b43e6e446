// What the command line names, as inputs of bytes: files, members of archives, texts that spell bytes.
#pragma once

#include "input/archive.hpp"
#include "input/source.hpp"

struct Input {
    std::string name = "";     // of the file; "archive:member"
    std::string read_as = "";  // what it was taken for, "" for raw bytes that look like nothing else
    std::unique_ptr<Source> source = nullptr;

    std::string told_form() const { return read_as.empty() ? "" : ": read as " + read_as; }  // in messages
};

// All inputs that a file, or standard input for "-", holds.
class Inputs {
public:
    // `from` is what the bytes are: auto, raw, hex or base64.
    Inputs(const std::string& path, const std::string& from, bool limited)
        : name_(path), from_(from), file_(open_file(path)) {
        if (!limited) file_->lift_limits();
    }
    // The next one; false at the end. Throws Failure for one that cannot be read: then the next call goes on behind it.
    // The one before must be gone, unless its source has been told to keep its bytes.
    bool next(Input& input);
    const std::string& name() const { return name_; }  // of the one that next() spoke about

private:
    std::string name_, from_;
    std::unique_ptr<Source> file_;
    struct Level {
        std::string name;
        std::size_t layers;  // of packing
        std::unique_ptr<Archive> archive;
    };
    std::vector<Level> levels_;  // archives in archives

    bool unpack(Input& input, std::size_t layers);
};

// What the bytes are but for raw bytes, "" if they are nothing else.
std::string looks_like(Source& source);

// What a directory holds and is not read.
struct Skipped {
    std::string name, why;
    bool failed;  // to be read
};
// The files to read: those named, with a directory standing for the files in it, and `recursive` in those below;
// standard input when none is named.
std::vector<std::string> files_of(const std::vector<std::string>& named, bool recursive, std::vector<Skipped>& skipped);
