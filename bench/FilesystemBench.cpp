// Finding the files of one suffix in a large tree, whose directories the system has in memory, compared with
// reading them by hand and with other libraries and programs.

#include <QvPlatform/filesystem/Filesystem.h>

#include "BenchSupport.h"

#include <dirent.h>
#include <fcntl.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

namespace {

namespace fs = std::filesystem;

constexpr const char* kPattern = "*.qvp";
constexpr std::string_view kSuffix = ".qvp";
constexpr std::size_t kOuterFolders = 40;
constexpr std::size_t kInnerFolders = 24;  // in each outer one: 1,000 folders together
constexpr std::size_t kFilesPerFolder = 100;
constexpr std::size_t kFiles = kOuterFolders * (1 + kInnerFolders) * kFilesPerFolder;

class Tree {
public:
    Tree() : root_(fs::temp_directory_path() / ("qv-bench-tree-" + std::to_string(getpid()))) {
        fs::create_directory(root_);
        for (std::size_t i = 0; i < kOuterFolders; ++i) {
            const fs::path outer = addFolder(root_, i);
            for (std::size_t k = 0; k < kInnerFolders; ++k) addFolder(outer, k);
        }
    }
    Tree(const Tree&) = delete;
    Tree& operator=(const Tree&) = delete;
    ~Tree() { fs::remove_all(root_); }

    std::string root() const { return root_.string(); }

private:
    static fs::path addFolder(const fs::path& parent, std::size_t number) {
        const fs::path folder = parent / ("scenario-" + std::to_string(number));
        fs::create_directory(folder);
        for (std::size_t i = 0; i < kFilesPerFolder; ++i)
            std::ofstream(folder / ("result-" + std::to_string(i) + (i % 10 == 0 ? ".qvp" : ".dat")));
        return folder;
    }

    fs::path root_;
};

std::size_t glob(const std::string& root) {
    return QvPlatform::Filesystem::glob(QvPlatform::Directory(root), kPattern, true).size();
}

// The system calls alone, and each directory opened relative to the one above.
void readByCalls(int parent, const std::string& name, const std::string& path,
                 std::vector<std::string>& found) {
    const int directory = openat(parent, name.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (directory < 0) std::abort();
    std::vector<std::string> below;
    alignas(dirent64) char buffer[32'768];
    for (;;) {
        const auto size = static_cast<std::size_t>(syscall(SYS_getdents64, directory, buffer, sizeof buffer));
        if (size == 0) break;
        if (size > sizeof buffer) std::abort();
        for (std::size_t next = 0; next < size;) {
            const auto& entry = *reinterpret_cast<const dirent64*>(buffer + next);
            const std::string_view entryName = entry.d_name;
            if (entry.d_type == DT_DIR && entryName != "." && entryName != "..")
                below.emplace_back(entryName);
            else if (entry.d_type == DT_REG && entryName.ends_with(kSuffix))
                found.emplace_back(path).append(1, '/').append(entryName);
            next += entry.d_reclen;
        }
    }
    for (const std::string& folder : below) readByCalls(directory, folder, path + '/' + folder, found);
    close(directory);
}

void readByHand(const std::string& root, std::vector<std::string>& found) {
    readByCalls(AT_FDCWD, root, root, found);
}

void iterate(const std::string& root, std::vector<std::string>& found) {
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(root))
        if (entry.path().native().ends_with(kSuffix) && entry.is_regular_file())
            found.push_back(entry.path().native());
}

template <void (*search)(const std::string&, std::vector<std::string>&)>
std::size_t countOf(const std::string& root) {
    std::vector<std::string> found;
    search(root, found);
    return found.size();
}

// Runs a program without its output; false when there is no such program.
bool run(std::vector<std::string> command) {
    std::vector<char*> arguments;
    for (std::string& argument : command) arguments.push_back(argument.data());
    arguments.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
    pid_t child = 0;
    const int error = posix_spawnp(&child, arguments[0], &actions, nullptr, arguments.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (error == 0 && (waitpid(child, &status, 0) != child || status != 0)) std::abort();
    return error == 0;
}

std::size_t runFind(const std::string& root) {
    run({"find", root, "-name", kPattern});
    return 0;
}

std::size_t runFdfind(const std::string& root) {
    run({"fdfind", "--no-ignore", "--hidden", "--glob", kPattern, root});
    return 0;
}

void benchGlob(benchmark::State& state) {
    const Tree tree;
    std::vector<bench::Peer> peers = {{"limit, getdents64", 1.15, countOf<readByHand>},
                                      {"std::filesystem", 1, countOf<iterate>}};
    for (const bench::Peer& program : {bench::Peer{"find", 1, runFind}, {"fdfind", 1, runFdfind}}) {
        if (run({program.name, "--version"}))
            peers.push_back(program);
        else
            std::fprintf(stderr, "%s is not installed; its row is left out\n", program.name);
    }
    bench::compareReaders(state, "recursive glob of *.qvp, by files", 1, tree.root(), kFiles, glob, peers);
}
BENCHMARK(benchGlob)->Iterations(20);

}  // namespace
