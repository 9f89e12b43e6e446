// Where the bytes come from: files, which are mapped, pipes, and texts that spell bytes in hex or base64.
#pragma once

#include <cstdint>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

// What keeps one input from being read, and what ends the whole command. Status 2 in the end.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};
struct Fatal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using Bytes = std::span<const std::uint8_t>;

class Input {
public:
    // Opens a file, or standard input for "-". `form` is what the bytes are: auto, raw, hex or base64. Of raw bytes at
    // most `window` are looked at in one go.
    Input(const std::string& path, const std::string& form, std::size_t window = SIZE_MAX);

    const std::string& name() const { return name_; }
    Bytes bytes() const { return bytes_; }
    std::size_t base() const { return base_; }   // offset of bytes()[0] in the input
    bool complete() const { return complete_; }  // nothing comes behind bytes()
    std::size_t size() const { return size_; }   // of the whole input, 0 where that is not known
    // Forgets the first bytes and reads on.
    void slide(std::size_t forgotten);

private:
    struct File {
        explicit File(int descriptor) : number(descriptor) {}
        ~File();
        File(const File&) = delete;
        File& operator=(const File&) = delete;
        int number;
        Bytes mapping;
    };
    std::string name_;
    File file_;
    std::size_t window_, base_ = 0, size_ = 0;
    bool complete_ = false;
    Bytes bytes_;
    std::vector<std::uint8_t> held_;

    void fill(std::size_t most);
    void map();
};

// The files to read: those named, with a directory standing for the files in it; standard input when none is named.
std::vector<std::string> files_of(const std::vector<std::string>& named);
