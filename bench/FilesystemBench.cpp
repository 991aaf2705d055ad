// Finding the files of one suffix in a large tree, copying and removing trees and files, creating
// directories, compared with the system calls alone, which are the limit, and with other libraries and
// programs. The system has the directories in memory.

#include <QvPlatform/filesystem/Filesystem.h>

#include "BenchSupport.h"
#include "TreeByHand.h"

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;
using bench::check;
namespace Filesystem = QvPlatform::Filesystem;

constexpr const char* kPattern = "*.qvp";
const std::string kSuffix = ".qvp";
constexpr std::size_t kFilesPerFolder = 100;
constexpr std::size_t kFoldersPerGroup = 25;

// In memory: a journal would disturb the figures, and ext4 searches long for an inode that was not removed in
// the last seconds.
fs::path temporaryFolder() {
    const fs::path inMemory = "/dev/shm";
    return access(inMemory.c_str(), W_OK) == 0 ? inMemory : fs::temp_directory_path();
}

// A temporary folder that is removed at the end.
class Folder {
public:
    explicit Folder(const std::string& name)
        : path_(temporaryFolder() / ("qv-bench-" + name + "-" + std::to_string(getpid()))) {
        fs::create_directory(path_);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    ~Folder() { fs::remove_all(path_); }

    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

void writeFile(const fs::path& path, std::size_t size) { std::ofstream(path) << std::string(size, 'q'); }

// Folders of a hundred small files, every tenth of which is a plugin by its name. The first folder of a group
// holds the other ones.
void fillTree(const fs::path& root, std::size_t files) {
    fs::path outer;
    for (std::size_t i = 0; i < files / kFilesPerFolder; ++i) {
        const bool isFirst = i % kFoldersPerGroup == 0;
        const fs::path folder = (isFirst ? root : outer) / ("scenario-" + std::to_string(i));
        if (isFirst) outer = folder;
        fs::create_directory(folder);
        for (std::size_t k = 0; k < kFilesPerFolder; ++k)
            writeFile(folder / ("result-" + std::to_string(k) + (k % 10 == 0 ? ".qvp" : ".dat")), 64);
    }
}

std::size_t glob(const std::string& root) {
    return Filesystem::glob(QvPlatform::Directory(root), kPattern, true).size();
}

void readByCalls(const std::string& root, std::vector<std::string>& found) {
    bench::findByHand(root, kSuffix, true, found);
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
bool run(const std::vector<std::string>& command) {
    const pid_t child = bench::startProgram(command, "/dev/null");
    int status = 0;
    check(child == 0 || (waitpid(child, &status, 0) == child && status == 0));
    return child != 0;
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
    const auto files = static_cast<std::size_t>(state.range(0));
    const Folder tree("tree");
    fillTree(tree.path(), files);
    std::vector<bench::Peer> peers = {{"limit, getdents64", 1.15, countOf<readByCalls>},
                                      {"std::filesystem", 1, countOf<iterate>}};
    for (const bench::Peer& program : {bench::Peer{"find", 1, runFind}, {"fdfind", 1, runFdfind}}) {
        if (run({program.name, "--version"}))
            peers.push_back(program);
        else
            std::fprintf(stderr, "%s is not installed; its row is left out\n", program.name);
    }
    bench::compareReaders(state, "recursive glob of *.qvp, by files", 1, tree.path(), files, glob, peers);
}
BENCHMARK(benchGlob)->Arg(100'000)->Iterations(20);

void benchGlobGrowth(benchmark::State& state) {
    const auto files = static_cast<std::size_t>(state.range(0));
    const Folder tree("tree");
    fillTree(tree.path(), files);
    bench::compareReaders(state, "glob, by files", 1, tree.path(), files, glob,
                          {{"limit, getdents64", 0, countOf<readByCalls>}}, bench::Growth::shown);
}
const auto forGrowth = [](auto* growing) { growing->Arg(1'000)->Arg(10'000)->Arg(100'000)->Iterations(4); };
BENCHMARK(benchGlobGrowth)->Name("growth/glob")->Apply(forGrowth);

const std::string& makeFolder(const std::string& path) {
    check(mkdir(path.c_str(), 0777) == 0);
    return path;
}

// Ours also looks at the target before it copies and draws a random name for each file.
// A turn copies the tree and removes the copy, each in two ways.
void benchTree(benchmark::State& state) {
    const auto files = static_cast<std::size_t>(state.range(0));
    const Folder tree("tree");
    fillTree(tree.path(), files);
    const Folder target("copies");
    const std::string copy = target.path() / "copy";
    const QvPlatform::Directory source(tree.path());
    const QvPlatform::Directory ours(copy);
    const auto timeOf = [](auto work) { return bench::timePerCall(1, [&](std::size_t) { work(); }); };
    bench::Sides copying;
    bench::Sides removing;
    bench::Sides removingBeside;
    for ([[maybe_unused]] auto turn : state) {
        copying.ours.add(timeOf([&] { check(Filesystem::copy(source, ours, false)); }));
        removing.ours.add(timeOf([&] { check(Filesystem::remove(ours)); }));
        copying.peer.add(timeOf([&] { bench::copyTreeByHand(tree.path(), makeFolder(copy)); }));
        removing.peer.add(timeOf([&] { bench::removeTreeByHand(copy); }));
        bench::copyTreeByHand(tree.path(), makeFolder(copy));
        removingBeside.peer.add(timeOf([&] { run({"rm", "-r", copy}); }));
    }
    removingBeside.ours = removing.ours;
    bench::report(state, {"copy of a tree, by files", "limit, system calls", files, {.ratio = 1.4}, files},
                  copying);
    bench::report(state, {"removal of a tree, by files", "limit, system calls", files, {.ratio = 1.2}, files},
                  removing);
    bench::report(state, {"removal of a tree, by files", "rm -r", files, {.ratio = 1.2}}, removingBeside);
}
BENCHMARK(benchTree)->Arg(10'000)->Iterations(5);
BENCHMARK(benchTree)->Name("growth/tree")->Apply(forGrowth);

template <typename Peer>
void benchCopy(benchmark::State& state, const char* peerName, double targetRatio, Peer copyByPeer) {
    const auto size = static_cast<std::size_t>(state.range(0));
    const Folder folder("files");
    const std::string source = folder.path() / "source";
    const std::string target = folder.path() / "target";
    writeFile(source, size);
    const QvPlatform::File from(source);
    const QvPlatform::File to(target);
    bench::compare(
        state, {"copy over a file, bytes", peerName, size, {.ratio = targetRatio}}, size < 10'000 ? 500 : 2,
        [&](std::size_t) { check(Filesystem::copy(from, to, true)); },
        [&](std::size_t) { copyByPeer(source, target); });
}
const auto forEachSize = [](auto* copy) { copy->Arg(1024)->Arg(16 << 20)->Iterations(30); };
BENCHMARK_CAPTURE(benchCopy, limit, "limit, system calls", 1.4, bench::copyFileByHand)->Apply(forEachSize);
BENCHMARK_CAPTURE(benchCopy, std, "fs::copy_file, in place", 0,
                  [](const std::string& from, const std::string& to) {
                      fs::copy_file(from, to, fs::copy_options::overwrite_existing);
                  })
    ->Apply(forEachSize);

void benchCreate(benchmark::State& state) {
    constexpr std::size_t kDirectories = 500;
    const Folder folder("directories");
    const std::string parent = folder.path().string() + "/";
    const auto timeOf = [&](auto create) {
        const double time = bench::timePerCall(
            kDirectories, [&](std::size_t number) { check(create(parent + std::to_string(number))); });
        for (std::size_t i = 0; i < kDirectories; ++i)
            check(rmdir((parent + std::to_string(i)).c_str()) == 0);
        return time;
    };
    bench::Sides limit;
    bench::Sides library;
    for ([[maybe_unused]] auto turn : state) {
        limit.ours.add(
            timeOf([](const std::string& path) { return Filesystem::create(QvPlatform::Directory(path)); }));
        limit.peer.add(timeOf([](const std::string& path) { return mkdir(path.c_str(), 0777) == 0; }));
        library.peer.add(timeOf([](const std::string& path) { return fs::create_directories(path); }));
    }
    library.ours = limit.ours;
    bench::report(state, {"create a directory", "limit, mkdir", 1, {.ratio = 1.5}}, limit);
    bench::report(state, {"create a directory", "std::filesystem", 1, {.ratio = 1.2}}, library);
}
BENCHMARK(benchCreate)->Iterations(30);

}  // namespace
