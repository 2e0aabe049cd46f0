// A file by which a program that serves tells others that it does.
#pragma once

#include "common/result.h"

#include <string>

namespace talvor {

// A file with the process id in it, which goes away with the object.
class ReadyFile {
public:
    ReadyFile() = default;
    ReadyFile(const ReadyFile&) = delete;
    ReadyFile& operator=(const ReadyFile&) = delete;
    ~ReadyFile();

    // The file appears with its content.
    [[nodiscard]] Status make(const std::string& path);

private:
    std::string path_;
};

} // namespace talvor
