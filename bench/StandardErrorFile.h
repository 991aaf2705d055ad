#pragma once

#include <string>

namespace bench {

/// Sends what goes to the standard error stream into a temporary file for as long as it lives.
class StandardErrorFile {
public:
    StandardErrorFile();
    StandardErrorFile(const StandardErrorFile&) = delete;
    StandardErrorFile& operator=(const StandardErrorFile&) = delete;
    ~StandardErrorFile();

    void clear();
    std::string text() const;

private:
    int file_;
    int standardError_;
};

}  // namespace bench
