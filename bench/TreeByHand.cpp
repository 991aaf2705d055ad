#include "TreeByHand.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>

namespace bench {
namespace {

int checked(int result) {
    if (result < 0) std::abort();
    return result;
}

int openDirectory(int parent, const char* name) {
    return checked(openat(parent, name, O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

template <typename Use>
void forEachEntry(int directory, Use use) {
    alignas(dirent64) char buffer[32'768];
    for (;;) {
        const auto size = static_cast<std::size_t>(syscall(SYS_getdents64, directory, buffer, sizeof buffer));
        if (size == 0) return;
        if (size > sizeof buffer) std::abort();
        for (std::size_t next = 0; next < size;) {
            const auto& entry = *reinterpret_cast<const dirent64*>(buffer + next);
            const std::string_view name = entry.d_name;
            if (name != "." && name != "..") use(entry);
            next += entry.d_reclen;
        }
    }
}

// A directory's entries, for walks that change it meanwhile.
struct Content {
    explicit Content(int directory) {
        forEachEntry(directory, [&](const dirent64& entry) {
            (entry.d_type == DT_DIR ? directories : files).emplace_back(entry.d_name);
        });
    }

    std::vector<std::string> directories;
    std::vector<std::string> files;
};

void findIn(int parent, const char* name, const std::string& path, const std::string& suffix, bool recursive,
            std::vector<std::string>& found) {
    const int directory = openDirectory(parent, name);
    std::vector<std::string> below;
    forEachEntry(directory, [&](const dirent64& entry) {
        const std::string_view entryName = entry.d_name;
        if (entry.d_type == DT_DIR && recursive)
            below.emplace_back(entryName);
        else if (entry.d_type == DT_REG && entryName.ends_with(suffix))
            found.emplace_back(path).append(1, '/').append(entryName);
    });
    for (const std::string& folder : below)
        findIn(directory, folder.c_str(), path + '/' + folder, suffix, true, found);
    close(directory);
}

// The system copies a large file; a small one is read and written at once.
void copyContent(int source, int target, std::size_t size) {
    char buffer[16'384];
    if (size <= sizeof buffer) {
        const ssize_t count = read(source, buffer, size);
        if (write(target, buffer, static_cast<std::size_t>(count)) != count) std::abort();
        return;
    }
    for (std::size_t left = size; left > 0;)
        left -= static_cast<std::size_t>(
            checked(static_cast<int>(copy_file_range(source, nullptr, target, nullptr, left, 0))));
}

void copyFileAt(int from, const char* name, int to, const char* temporary, const char* target,
                unsigned int flags) {
    const int source = checked(openat(from, name, O_RDONLY | O_CLOEXEC));
    struct stat status {};
    checked(fstat(source, &status));
    const int copy = checked(openat(to, temporary, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    copyContent(source, copy, static_cast<std::size_t>(status.st_size));
    const timespec times[] = {status.st_atim, status.st_mtim};
    checked(fchmod(copy, status.st_mode));
    checked(futimens(copy, times));
    checked(close(copy));
    checked(renameat2(to, temporary, to, target, flags));
    close(source);
}

void copyIn(int from, int to) {
    const Content content(from);
    for (const std::string& file : content.files)
        copyFileAt(from, file.c_str(), to, ".copy", file.c_str(), RENAME_NOREPLACE);
    for (const std::string& folder : content.directories) {
        checked(mkdirat(to, folder.c_str(), 0777));
        const int below = openDirectory(from, folder.c_str());
        const int copy = openDirectory(to, folder.c_str());
        copyIn(below, copy);
        close(copy);
        close(below);
    }
}

void removeIn(int parent, const char* name) {
    const int directory = openDirectory(parent, name);
    const Content content(directory);
    for (const std::string& file : content.files) checked(unlinkat(directory, file.c_str(), 0));
    for (const std::string& folder : content.directories) removeIn(directory, folder.c_str());
    close(directory);
    checked(unlinkat(parent, name, AT_REMOVEDIR));
}

}  // namespace

void findByHand(const std::string& root, const std::string& suffix, bool recursive,
                std::vector<std::string>& found) {
    findIn(AT_FDCWD, root.c_str(), root, suffix, recursive, found);
}

void copyTreeByHand(const std::string& from, const std::string& to) {
    const int source = openDirectory(AT_FDCWD, from.c_str());
    const int target = openDirectory(AT_FDCWD, to.c_str());
    copyIn(source, target);
    close(target);
    close(source);
}

void removeTreeByHand(const std::string& root) { removeIn(AT_FDCWD, root.c_str()); }

void copyFileByHand(const std::string& from, const std::string& to) {
    copyFileAt(AT_FDCWD, from.c_str(), AT_FDCWD, (to + ".copy").c_str(), to.c_str(), 0);
}

}  // namespace bench
