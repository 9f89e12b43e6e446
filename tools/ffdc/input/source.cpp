#include "input/source.hpp"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <string_view>

namespace {

constexpr std::size_t chunk = 256 << 10;  // asked for in one go
constexpr int largest_pipe = 1 << 20;     // what the system allows without privilege

extern "C" void mapping_failed(int) {
    constexpr std::string_view message = "ffdc: an input was cut, or could not be read, while it was in use\n";
    if (write(STDERR_FILENO, message.data(), message.size()) < 0) _exit(2);
    _exit(2);
}

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
        map(s);
#if defined(F_SETPIPE_SZ)
        fcntl(number_, F_SETPIPE_SZ, largest_pipe);  // fewer turns between writer and reader; not all are pipes
#endif
    }
    ~File() override {
        if (!mapping_.empty()) munmap(const_cast<std::uint8_t*>(mapping_.data()), mapping_.size());
        close(number_);
    }
    std::size_t size() const override { return size_; }
    bool waits() const override {
        pollfd asked = {number_, POLLIN, 0};
        return poll(&asked, 1, 0) == 0;
    }

private:
    int number_;
    Bytes mapping_;
    std::size_t size_ = 0;

    // Standard input may be a file of which something has been read already: it goes on from there.
    void map(const struct stat& s) {
        const off_t position = lseek(number_, 0, SEEK_CUR);
        if (!S_ISREG(s.st_mode) || position < 0 || s.st_size <= position) return;
        const std::size_t size = static_cast<std::size_t>(s.st_size);
        void* const memory = mmap(nullptr, size, PROT_READ, MAP_PRIVATE, number_, 0);
        if (memory == MAP_FAILED) return;
        madvise(memory, size, MADV_SEQUENTIAL);
        std::signal(SIGBUS, mapping_failed);
        mapping_ = {static_cast<const std::uint8_t*>(memory), size};
        give(mapping_.subspan(static_cast<std::size_t>(position)));
        size_ = bytes().size();
    }
    std::size_t read(std::uint8_t* to, std::size_t room) override {
        while (true) {
            const ssize_t n = ::read(number_, to, room);
            if (n >= 0) return static_cast<std::size_t>(n);
            if (errno != EINTR) throw Failure(std::strerror(errno));
        }
    }
};

}  // namespace

const std::string Source::no_gap_;

// The buffer has room for what is asked for and for a chunk; what has been skipped makes place only when there is none
// left behind the rest.
void Source::read_on(std::size_t n) {
    if (ended_) return;
    std::size_t begin = there_.empty() ? 0 : static_cast<std::size_t>(there_.data() - held_.data());
    if (held_.size() - begin - there_.size() < chunk / 4) {
        const std::size_t room = std::max(std::min(n, 2 * there_.size()), there_.size()) + 4 * chunk;
        std::copy(there_.begin(), there_.end(), held_.begin());
        begin = 0;
        if (held_.size() < room) held_.resize(room);
    }
    const std::size_t there = there_.size();
    std::uint8_t* const end = held_.data() + begin + there;
    std::size_t got = 0;
    try {
        got = read(end, std::min(chunk, held_.size() - begin - there));
    } catch (const Failure& failure) {
        error_ = failure.what();
    }
    ended_ = got == 0;
    there_ = Bytes(held_).subspan(begin, there + got);
}

void Source::restart(std::size_t offset) {
    if (keeps_) {
        kept_.push_back(std::move(held_));
        held_.clear();
    }
    there_ = {};
    offset_ = offset;
    ended_ = false;
    if (keeps_) peek(SIZE_MAX);
}

std::unique_ptr<Source> open_file(const std::string& path) { return std::make_unique<File>(path); }
