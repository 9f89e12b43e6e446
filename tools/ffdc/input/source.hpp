// Bytes in their order, seen through a window: a file, or what a decoder makes of another source.
#pragma once

#include <cstdint>
#include <memory>
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

class Source {
public:
    virtual ~Source() = default;
    Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // What has been read and not skipped; it stays where it is until more is read.
    Bytes bytes() const { return there_; }
    std::size_t offset() const { return offset_; }       // of bytes()[0]
    bool ended() const { return ended_; }                // nothing comes behind bytes()
    const std::string& error() const { return error_; }  // why it ended before its time
    // Of the whole, 0 where that is not known.
    virtual std::size_t size() const { return 0; }

    // Reads on, once, towards `n` bytes.
    void read_on(std::size_t n);
    // Reads until there are `n` bytes, or the end.
    Bytes peek(std::size_t n) {
        while (there_.size() < n && !ended_) read_on(n);
        return there_;
    }
    void skip(std::size_t n) {
        there_ = there_.subspan(n);
        offset_ += n;
    }
    // All bytes, of this piece and of those behind gaps, stay where they are as long as the source.
    virtual void keep() {
        keeps_ = true;
        peek(SIZE_MAX);
    }
    // Whether reading on may take its time.
    virtual bool waits() const { return false; }

    // A source may end in a gap, behind which there is another piece.
    virtual const std::string& gap() const { return no_gap_; }  // what is missing, "" if nothing is
    virtual bool resume() { return false; }

protected:
    // Stores at most `room` bytes; none at all are the end.
    virtual std::size_t read(std::uint8_t* to, std::size_t room) = 0;
    void give(Bytes all) {  // at once, instead of reading
        there_ = all;
        ended_ = true;
    }
    void start(std::size_t offset) { offset_ = offset; }  // before anything is read
    void restart(std::size_t offset);                     // a piece

private:
    std::vector<std::uint8_t> held_;
    Bytes there_;
    std::size_t offset_ = 0;
    bool ended_ = false, keeps_ = false;
    std::vector<std::vector<std::uint8_t>> kept_;
    std::string error_;
    static const std::string no_gap_;
};

// A file, mapped where that can be done, or standard input for "-".
std::unique_ptr<Source> open_file(const std::string& path);
