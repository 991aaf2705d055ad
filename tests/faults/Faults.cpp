#include "faults/Faults.h"

#include <QvPlatform/filesystem/Directory.h>

#include "faults/Allocator.h"
#include "support/TemporaryFolder.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <exception>
#include <filesystem>
#include <iterator>
#include <new>
#include <typeinfo>

namespace faults {
namespace {

const Family* running = nullptr;

// The sequences' folder, and one with the files that are linked into it.
struct Folders {
    support::TemporaryFolder own;
    support::TemporaryFolder built;
};
Folders* folders = nullptr;

void record(int line, const char* what) {
    const AllocationPause pause;
    ++findings;
    dprintf(STDOUT_FILENO, "  %s: line %d: %s\n", running ? running->name : "", line, what);
}

}  // namespace

int findings = 0;
bool mayFail = false;

const Family* familyNamed(const std::string& name) {
    const Family* found = nullptr;
    forEachFamily([&](const Family& family) { found = name == family.name ? &family : found; });
    return found;
}

void check(bool right, bool failed, int line) {
    if (!right && !(mayFail && failed)) record(line, failed ? "failed without a cause" : "wrong result");
}

void runChecked(const Family& family) {
    running = &family;
    try {
        family.run();
    } catch (const std::bad_alloc&) {
        if (!mayFail) record(0, "std::bad_alloc without a cause");
    } catch (const std::exception& error) {
        const AllocationPause pause;
        record(0, (std::string(typeid(error).name()) + ": " + error.what()).c_str());
    }
}

const std::string& folder() {
    static const std::string path = folders->own.path();
    return path;
}

void makeFolder() {
    namespace fs = std::filesystem;
    folders = new Folders;
    const QvPlatform::Directory programs(QvPlatform::Directory::kExecutableDirectory);
    const fs::path from = support::pathOf(programs.toUniversalPath() + "test-plugins/");
    const fs::path to = support::pathOf(folders->built.path());
    fs::copy_file(from / "faultLower.qvp", to / "lower.qvp");
    fs::copy_file(from / "faultUpper.qvp", to / "upper.qvp");
    fs::copy_file(from / "faultLower.qvp", to / "lower.new");
    std::ofstream(to / "lower.new", std::ios::app) << ' ';
}

void restoreFolder() {
    namespace fs = std::filesystem;
    const fs::path built = support::pathOf(folders->built.path());
    const fs::path own = support::pathOf(folder());
    for (const auto& entry : fs::directory_iterator(own)) fs::remove_all(entry);
    fs::create_directory(own / "plugins");
    for (const char* name : {"lower.qvp", "upper.qvp"})
        fs::create_hard_link(built / name, own / "plugins" / name);
    fs::create_hard_link(built / "lower.new", own / "lower.new");
    support::writeFile(folder() + "name with more than fifteen bytes");
}

void removeFolder() { delete folders; }

int openDescriptors() {
    pollfd candidates[256] = {};
    for (int i = 0; i < 256; ++i) candidates[i].fd = i;
    poll(candidates, 256, 0);
    return static_cast<int>(std::count_if(std::begin(candidates), std::end(candidates),
                                          [](const pollfd& one) { return (one.revents & POLLNVAL) == 0; }));
}

}  // namespace faults
