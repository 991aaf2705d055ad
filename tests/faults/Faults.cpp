#include "faults/Faults.h"

#include <QvPlatform/filesystem/Directory.h>
#include <QvPlatform/filesystem/Environment.h>

#include "faults/Failures.h"
#include "support/Platform.h"
#include "support/TemporaryFolder.h"

#include <exception>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <new>
#include <system_error>
#include <typeinfo>

namespace faults {
namespace {

const Family* running = nullptr;

// The sequences' folder, and one with the files that are copied into it.
struct Folders {
    support::TemporaryFolder own;
    support::TemporaryFolder built;
};
Folders* folders = nullptr;

void record(int line, const std::string& what) {
    ++findings;
    report("  " + std::string(running->name) + ": line " + std::to_string(line) + ": " + what);
}

std::ostream& reportStream() {
    static const std::string path = QvPlatform::getEnv("QV_FAULTS_REPORT");
    static std::ofstream file(support::pathOf(path), std::ios::app);
    return path.empty() ? std::cout : file;
}

// On Windows the file of a library that stays in memory stays, too.
void clear(const std::filesystem::path& folder) {
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.is_directory()) clear(entry);
        std::error_code ignored;
        std::filesystem::remove(entry, ignored);
    }
}

}  // namespace

int findings = 0;
bool mayFail = false;

const Family* familyNamed(const std::string& name) {
    const Family* found = nullptr;
    forEachFamily([&](const Family& family) { found = name == family.name ? &family : found; });
    return found;
}

void report(const std::string& line) { reportStream() << line << std::endl; }

void check(bool right, bool failed, int line) {
    if (right || (mayFail && failed)) return;
    const Pause pause;
    record(line, failed ? "failed without a cause" : "wrong result");
}

void runChecked(const Family& family) {
    running = &family;
    try {
        family.run();
    } catch (const std::bad_alloc&) {
        const Pause pause;
        if (!mayFail) record(0, "std::bad_alloc without a cause");
    } catch (const std::exception& error) {
        const Pause pause;
        record(0, std::string(typeid(error).name()) + ": " + error.what());
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
    QvPlatform::putEnv(support::kWindows ? "TMP" : "TMPDIR", folder());
}

void restoreFolder() {
    namespace fs = std::filesystem;
    const fs::path built = support::pathOf(folders->built.path());
    const fs::path own = support::pathOf(folder());
    clear(own);
    fs::create_directory(own / "plugins");
    std::error_code ignored;
    for (const char* name : {"lower.qvp", "upper.qvp"}) fs::copy_file(built / name, own / "plugins" / name);
    fs::copy_file(built / "lower.new", own / "lower.new");
    support::writeFile(folder() + "name with more than fifteen bytes");
}

void removeFolder() { delete folders; }

}  // namespace faults
