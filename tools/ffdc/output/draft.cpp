#include "output/draft.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>

namespace {

// No signal is handled while the list of drafts and the directory differ.
class Blocked {
public:
    Blocked() {
        sigset_t all;
        sigfillset(&all);
        sigprocmask(SIG_BLOCK, &all, &before_);
    }
    ~Blocked() {
        const int error = errno;
        sigprocmask(SIG_SETMASK, &before_, nullptr);
        errno = error;
    }
    Blocked(const Blocked&) = delete;
    Blocked& operator=(const Blocked&) = delete;

private:
    sigset_t before_;
};

// The signal is blocked until its handler returns; then it ends the program.
extern "C" void end_without_drafts(int number) {
    Draft::remove_all();
    std::signal(number, SIG_DFL);
    raise(number);
}

void handle_signals() {
    for (const int number : {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGXCPU, SIGXFSZ}) {
        struct sigaction action;
        if (sigaction(number, nullptr, &action) != 0 || action.sa_handler != SIG_DFL) continue;  // nohup ignores them
        action.sa_handler = end_without_drafts;
        sigaction(number, &action, nullptr);
    }
}

}  // namespace

Draft* Draft::first_ = nullptr;

bool Draft::create(const std::string& directory, const std::function<bool(const char*)>& make) {
    static unsigned long number = 0;
    if (number == 0) handle_signals();
    const Blocked blocked;
    while (true) {
        name_ = directory + "/.ffdc-" + std::to_string(getpid()) + "-" + std::to_string(number++);
        if (make(name_.c_str())) break;
        if (errno == EEXIST) continue;
        name_.clear();
        return false;
    }
    next_ = first_;
    first_ = this;
    return true;
}

bool Draft::replace(const std::string& path) {
    const Blocked blocked;
    if (rename(name_.c_str(), path.c_str()) != 0) return false;
    forget();
    return true;
}

// Not every file system can rename like this, and not every one has hard links.
bool Draft::add(const std::string& path) {
    const Blocked blocked;
    if (renameat2(AT_FDCWD, name_.c_str(), AT_FDCWD, path.c_str(), RENAME_NOREPLACE) != 0) {
        if (errno == EEXIST || link(name_.c_str(), path.c_str()) != 0) return false;
        unlink(name_.c_str());
    }
    forget();
    return true;
}

void Draft::remove() {
    if (name_.empty()) return;
    const Blocked blocked;
    unlink(name_.c_str());
    forget();
}

void Draft::remove_all() {
    for (const Draft* draft = first_; draft; draft = draft->next_) unlink(draft->name_.c_str());
}

void Draft::forget() {
    Draft** at = &first_;
    while (*at != this) at = &(*at)->next_;
    *at = next_;
    name_.clear();
}
