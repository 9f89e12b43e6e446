#include "input/source.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>

namespace {

constexpr std::size_t smallest = 16 << 10, chunk = 256 << 10;  // asked for in one go
constexpr int largest_pipe = 1 << 20;                          // what the system allows without privilege

class File : public Source {
public:
    explicit File(const std::string& path)
        : number_(path == "-" ? dup(STDIN_FILENO) : open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        struct stat s;
        if (number_ < 0) throw Failure(std::strerror(errno));
        if (fstat(number_, &s) != 0 || S_ISDIR(s.st_mode)) {
            const int error = S_ISDIR(s.st_mode) ? EISDIR : errno;
            close(number_);
            throw Failure(std::strerror(error));
        }
        // Standard input may be a file of which something has been read already: it goes on from there.
        const off_t position = S_ISREG(s.st_mode) ? lseek(number_, 0, SEEK_CUR) : -1;
        if (position >= 0 && s.st_size > position) size_ = static_cast<std::size_t>(s.st_size - position);
#if defined(F_SETPIPE_SZ)
        fcntl(number_, F_SETPIPE_SZ, largest_pipe);  // fewer turns between writer and reader; not all are pipes
#endif
    }
    ~File() override { close(number_); }
    std::size_t size() const override { return size_; }
    bool waits() const override { return size_ == 0 && !is_ready(0); }

private:
    int number_;
    std::size_t size_ = 0, read_ = 0;

    bool is_ready(int milliseconds) const {
        pollfd asked = {number_, POLLIN, 0};
        return poll(&asked, 1, milliseconds) != 0;
    }
    // Of a file, what it had when it was opened: it may grow faster than it is read.
    std::size_t read(std::uint8_t* to, std::size_t room) override {
        if (size_ != 0) room = std::min(room, size_ - read_);
        while (true) {
            const ssize_t n = ::read(number_, to, room);
            if (n < 0 && errno == EAGAIN) is_ready(-1);
            if (n < 0 && (errno == EINTR || errno == EAGAIN)) continue;
            if (n < 0) throw Failure(std::strerror(errno));
            if (n == 0 && read_ < size_)
                throw Failure("expected " + std::to_string(size_) + " bytes, found that the file was cut after " +
                                  std::to_string(read_) + " of them while it was read",
                              true);
            read_ += static_cast<std::size_t>(n);
            return static_cast<std::size_t>(n);
        }
    }
};

}  // namespace

const std::string Source::no_gap_;

Failure past_limit(const std::string& limit, const std::string& missing) {
    return Failure("expected at most " + limit + ", found more: " + missing + "; --no-limits reads it all", true);
}

// To the front, in memory of another size.
void Source::move_to(std::size_t room) {
    if (!there_.empty() && there_.data() != held_.get()) std::memmove(held_.get(), there_.data(), there_.size());
    if (room != room_) {
        void* const memory = std::realloc(held_.get(), room);
        if (!memory) throw std::bad_alloc();
        static_cast<void>(held_.release());
        held_.reset(static_cast<std::uint8_t*>(memory));
        room_ = room;
    }
    there_ = {held_.get(), there_.size()};
}

// A few bytes that are packed, or lines that repeat, may stand for terabytes.
std::size_t Source::counted(std::size_t n) {
    constexpr std::size_t always = 64 << 20, factor = 1000;
    std::vector<std::size_t>& bytes = growth_->bytes;
    if (bytes.size() <= layer_) bytes.resize(layer_ + 1);
    bytes[layer_] += n;
    if (layer_ != 0 && growth_->limited && bytes[layer_] > std::max(always, factor * bytes[0]))
        throw past_limit("64 MiB, or 1000 times the bytes of the file, in what it is unpacked to",
                         "the rest is missing");
    return n;
}

// There is room for what is asked for and for as much as has been read at first, for some chunks later on; what has
// been skipped makes place only when there is none left behind the rest.
void Source::read_on(std::size_t n) {
    if (ended_) return;
    const std::size_t there = there_.size();
    std::size_t end = there == 0 ? 0 : static_cast<std::size_t>(there_.data() - held_.get()) + there;
    if (room_ - end < chunk / 4) {
        move_to(std::max(room_, std::max(std::min(n, 2 * there), there) + std::clamp(room_, smallest, 4 * chunk)));
        end = there;
    }
    std::size_t got = 0;
    try {
        got = counted(read(held_.get() + end, std::min(chunk, room_ - end)));
    } catch (const Failure& failure) {
        failure_ = failure;
    }
    ended_ = got == 0;
    there_ = {held_.get() + end - there, there + got};
}

void Source::keep() {
    keeps_ = true;
    if (size() != 0) move_to(size() + chunk);
#if defined(MADV_HUGEPAGE)
    // Most of the time for a large file would go into its 4 KiB pages.
    constexpr std::uintptr_t page = 4096;
    const std::size_t before = (page - reinterpret_cast<std::uintptr_t>(held_.get()) % page) % page;
    if (room_ > 4 * chunk) madvise(held_.get() + before, room_ - page, MADV_HUGEPAGE);
#endif
    peek(SIZE_MAX);
    if (held_) move_to(std::max<std::size_t>(1, there_.size()));
}

void Source::restart(std::size_t offset) {
    if (keeps_) {
        kept_.push_back(std::move(held_));
        room_ = 0;
    }
    there_ = {};
    offset_ = offset;
    ended_ = false;
    if (keeps_) keep();
}

std::unique_ptr<Source> open_file(const std::string& path) { return std::make_unique<File>(path); }
