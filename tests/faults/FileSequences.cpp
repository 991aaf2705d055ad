// Paths, files, trees, and the environment.

#include <QvPlatform/filesystem/Environment.h>
#include <QvPlatform/filesystem/Filesystem.h>
#include <QvPlatform/system/CPU.h>
#include <QvPlatform/system/Registry.h>
#include <QvPlatform/system/Services.h>

#include "faults/Faults.h"
#include "support/Platform.h"
#include "support/TemporaryFolder.h"

#include <cstdint>
#include <filesystem>

namespace faults {
namespace {

using QvPlatform::Directory;
using QvPlatform::File;
namespace Filesystem = QvPlatform::Filesystem;

const char* const kFile = "name with more than fifteen bytes";

void paths() {
    for (int which = Directory::kCurrentDirectory; which <= Directory::kTemporaryDirectory; ++which) {
        const Directory known(static_cast<Directory::WellKnownDirectory>(which));
        check(known.exists(), true);
    }
    const File file(folder() + kFile);
    check(file.exists(), true);
    check(file.getName() == kFile && Directory(file).toUniversalPath() == folder());
    check(File("relative/path/of/some/length").getName() == "length");
    check(!File::thatContains(reinterpret_cast<void*>(&paths)).getName().empty(), true);
    const Directory own(folder());
    check(own.files().size() == 2, true);
    check(own.directories().size() == 1, true);
    check(own.hasParent() && own.hasDirectory("plugins") && own.hasFile(kFile), true);
    check(Directory::commonRootOf({own.directory("plugins"), own.directory("absent")}) != nullptr, true);
}

// What the sequence was told; judged when nothing fails any more.
struct {
    bool copied, tree, renamed, removed, made;
} told;

void files() {
    told = {};
    const Directory own(folder());
    const File source = own.file(kFile);
    told.copied = Filesystem::copy(source, own.file("copy"), false);
    check(told.copied, true);
    told.tree = Filesystem::copy(own.directory("plugins"), own.directory("tree/deeper"), true);
    check(told.tree, true);
    check(Filesystem::glob(own, "*.qvp", true).size() == (told.tree ? 4 : 2), true);
    told.renamed = Filesystem::rename(source, "another name with more bytes");
    check(told.renamed, true);
    told.tree = false;
    told.removed = Filesystem::remove(own.directory("tree"));
    check(told.removed, true);
    told.made = Filesystem::create(own.directory("a/new/folder"));
    check(told.made, true);
    check(Filesystem::create(own.file("b/empty file")), true);
    std::int64_t time = 0;
    check(Filesystem::getLastModifiedTime(own.file("lower.new"), &time), true);
    check(!Filesystem::createUniqueName("a prefix with some length").empty());
    const File temporary = Filesystem::createTempFile("a prefix with some length");
    check(Filesystem::remove(temporary), true);
    check(!Filesystem::createTempFileName("prefix").exists(), true);
}

// The size of a file, 0 for a directory, or -1.
std::int64_t sizeOf(const char* name) {
    const std::filesystem::path path = support::pathOf(folder() + name);
    if (!exists(path)) return -1;
    return is_directory(path) ? 0 : static_cast<std::int64_t>(file_size(path));
}

void verifyFiles() {
    check(!told.copied || sizeOf("copy") == 7);
    check(sizeOf("copy") == 7 || sizeOf("copy") == -1);
    check(!told.removed || sizeOf("tree") == -1);
    check(!told.tree || sizeOf("tree/deeper/lower.qvp") == sizeOf("plugins/lower.qvp"));
    check(!told.renamed || (sizeOf("another name with more bytes") == 7 && sizeOf(kFile) == -1));
    check(sizeOf("another name with more bytes") == 7 || sizeOf(kFile) == 7);
    check(!told.made || sizeOf("a/new/folder") >= 0);
}

void environment() {
    const char* const value = "a value with more than fifteen bytes";
    const bool isPut = QvPlatform::putEnv("QV_FAULTS_VARIABLE", value);
    check(isPut, true);
    if (isPut) check(QvPlatform::getEnv("QV_FAULTS_VARIABLE") == value);
    check(QvPlatform::getEnv("QV_FAULTS_ABSENT").empty() && QvPlatform::getPathSeparator().size() == 1);
    check(QvPlatform::getServiceStatus("service") == QvPlatform::eServiceStatusUnknown);
    check(QvPlatform::CPU::getCoreCount() > 0);
}

void registry() {
    const char* const value = "a value with more than fifteen bytes";
    long error = 0;
    check(QvPlatform::getRegistryValue("key", "name", &error).empty() && error != 0);
    const bool isSet = QvPlatform::setRegistryValue(true, "QV_FAULTS\\key", "name", value, &error);
    check(isSet == (error == 0));
    check(isSet == support::kWindows, !isSet);
    if (!isSet) return;
    check(QvPlatform::getRegistryValue("QV_FAULTS\\key", "name", &error) == value, error != 0);
    check(QvPlatform::getSubKeys(true, "QV_FAULTS", &error).size() == 1, error != 0);
    for (const char* key : {"QV_FAULTS\\key", "QV_FAULTS"})
        check(QvPlatform::deleteRegistryKey(true, key, nullptr), true);
}

}  // namespace

const Family kFileFamilies[] = {
    {"paths", paths}, {"files", files, verifyFiles}, {"environment", environment}, {"registry", registry}};

}  // namespace faults
