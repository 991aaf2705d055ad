#pragma once

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>
#include <string>

namespace support {

/// The file system's form of a UTF-8 text. On Linux any bytes are valid.
inline std::filesystem::path pathOf(const std::string& text) {
#ifdef _WIN32
    return std::filesystem::path(std::u8string(text.begin(), text.end()));
#else
    return std::filesystem::path(text);
#endif
}

/// UTF-8 with "/" separators.
inline std::string textOf(const std::filesystem::path& path) {
    const std::u8string text = path.generic_u8string();
    return {text.begin(), text.end()};
}

inline void writeFile(const std::string& path, const std::string& content = "content") {
    std::ofstream(pathOf(path), std::ios::binary) << content;
}

inline std::string readFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(pathOf(path), std::ios::binary).rdbuf();
    return content.str();
}

/// A new empty folder, removed with its content by the destructor. Its name is not ASCII.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::random_device random;
        do {
            path_ = std::filesystem::temp_directory_path() /
                    pathOf("qv-t\xC3\xABst-\xE5\x90\x8D-" + std::to_string(random()));
        } while (!std::filesystem::create_directory(path_));
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;
    ~TemporaryFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }

    /// UTF-8 with "/" separators and a final "/".
    std::string path() const { return textOf(path_) + "/"; }

    /// Creates a file or a directory in it. Returns its path.
    std::string addFile(const std::string& name) const {
        writeFile(path() + name);
        return path() + name;
    }
    std::string addDirectory(const std::string& name) const {
        std::filesystem::create_directories(pathOf(path() + name));
        return path() + name + "/";
    }

private:
    std::filesystem::path path_;
};

/// Changes the current directory during its lifetime.
class CurrentDirectoryChange {
public:
    explicit CurrentDirectoryChange(const std::string& path) : previous_(std::filesystem::current_path()) {
        std::filesystem::current_path(pathOf(path));
    }
    CurrentDirectoryChange(const CurrentDirectoryChange&) = delete;
    CurrentDirectoryChange& operator=(const CurrentDirectoryChange&) = delete;
    ~CurrentDirectoryChange() {
        std::error_code ignored;
        std::filesystem::current_path(previous_, ignored);
    }

private:
    std::filesystem::path previous_;
};

}  // namespace support
