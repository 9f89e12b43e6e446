// A file that is not complete yet. It has a name of its own, and is removed if it is never finished.
#pragma once

#include <functional>
#include <string>

class Draft {
public:
    Draft() = default;
    ~Draft() { remove(); }
    Draft(const Draft&) = delete;
    Draft& operator=(const Draft&) = delete;

    // Chooses a free name in a directory. `make` creates a file of that name, or returns false and sets errno; so does
    // this function, unless the name is taken (EEXIST).
    bool create(const std::string& directory, const std::function<bool(const char* name)>& make);
    // "" if there is no draft.
    const std::string& name() const { return name_; }
    // The draft becomes the file `path`, in place of an old one or only if there is none (EEXIST). False and errno if
    // it cannot.
    bool replace(const std::string& path);
    bool add(const std::string& path);
    void remove();

    // Removes all drafts of the program. May be called in a signal handler.
    static void remove_all();

private:
    std::string name_;
    Draft* next_ = nullptr;
    static Draft* first_;

    void forget();
};
