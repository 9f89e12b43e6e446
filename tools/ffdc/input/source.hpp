// Bytes in their order, seen through a window: a file, or what a decoder makes of another source.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <optional>
#include <span>
#include <stdexcept>
#include <string>
#include <vector>

// What keeps one input from being read: status 2 in the end; or, as damage, what ends it before its time: status 3.
struct Failure : std::runtime_error {
    explicit Failure(const std::string& why, bool is_damage = false) : std::runtime_error(why), damage(is_damage) {}
    bool damage;
};
// What ends the whole command, with status 2.
struct Fatal : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A limit on what is made of an input is reached: damage, with what is missing.
Failure past_limit(const std::string& limit, const std::string& missing);

using Bytes = std::span<const std::uint8_t>;

class Source {
public:
    // `from` is what this source decodes, if that is not a file. All members of an archive have the same.
    explicit Source(const Source* from = nullptr)
        : growth_(from ? from->growth_ : std::make_shared<Growth>()), layer_(from ? from->layer_ + 1 : 0) {}
    virtual ~Source() = default;
    Source(const Source&) = delete;
    Source& operator=(const Source&) = delete;

    // What has been read and not skipped; it stays where it is until more is read.
    Bytes bytes() const { return there_; }
    std::size_t offset() const { return offset_; }  // of bytes()[0]
    bool ended() const { return ended_; }           // nothing comes behind bytes()
    // Why it ended before its time; else null.
    const Failure* failure() const { return failure_ ? &*failure_ : nullptr; }
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
    virtual void keep();
    // What is made of this file has no limit.
    void lift_limits() { growth_->limited = false; }
    // Whether reading on may take its time.
    virtual bool waits() const { return false; }

    // A source may end in a gap, behind which there is another piece.
    virtual const std::string& gap() const { return no_gap_; }  // what is missing, "" if nothing is
    virtual bool resume() { return false; }

protected:
    // Stores at most `room` bytes; none at all are the end.
    virtual std::size_t read(std::uint8_t* to, std::size_t room) = 0;
    void give(Bytes all) {  // at once, instead of reading; they live as long as the source
        there_ = all;
        ended_ = true;
    }
    void start(std::size_t offset) { offset_ = offset; }  // before anything is read
    void restart(std::size_t offset);                     // a piece

private:
    struct Free {
        void operator()(std::uint8_t* memory) const { std::free(memory); }
    };
    using Held = std::unique_ptr<std::uint8_t[], Free>;  // grows and shrinks in place, and is not set to zero

    // What has been read of a file, and made of that in each layer of packing and text.
    struct Growth {
        bool limited = true;
        std::vector<std::size_t> bytes = {};
    };

    const std::shared_ptr<Growth> growth_;
    const std::size_t layer_;
    Held held_;
    std::size_t room_ = 0;
    Bytes there_;
    std::size_t offset_ = 0;
    bool ended_ = false, keeps_ = false;
    std::vector<Held> kept_;
    std::optional<Failure> failure_;
    static const std::string no_gap_;

    void move_to(std::size_t room);
    std::size_t counted(std::size_t n);
};

// A file, or standard input for "-". Files are read, not mapped: one that is cut meanwhile ends there, as damage.
std::unique_ptr<Source> open_file(const std::string& path);
