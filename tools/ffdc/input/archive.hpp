// Compressed files and archives.
#pragma once

#include <memory>
#include <string>

#include "input/source.hpp"

// What the bytes are packed with, by their first ones: "gzip", "tar"; null if they are not.
const char* packed_with(Source& source);

class Archive {
public:
    // Takes the source if it can be unpacked; otherwise null, and the source is as it was. Throws Failure where this
    // build cannot unpack anything.
    static std::unique_ptr<Archive> open(std::unique_ptr<Source>& source, const char* packed);

    virtual ~Archive() = default;
    // The next member that is a file, with its name in the archive ("" where members have none); null at the end. Ends
    // the one before.
    virtual std::unique_ptr<Source> next(std::string& name) = 0;
};
