// Text, identifiers, versions, command lines, and descriptors.

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/core/IOUtils.h>
#include <QvPlatform/core/QvCommandLine.h>
#include <QvPlatform/core/QvMemory.h>
#include <QvPlatform/core/QvSmartPtr.h>
#include <QvPlatform/core/QvUuid.h>
#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/core/StringConversions.h>
#include <QvPlatform/core/StringUtils.h>
#include <QvPlatform/core/UniqueNamesCollection.h>

#include "faults/Faults.h"

#include <cstring>
#include <iterator>
#include <sstream>
#include <stdexcept>

namespace faults {
namespace {

namespace StringUtils = QvSim::StringUtils;

const char* const kLong = "longer than what a string holds itself";

void text() {
    Qv::QvArray<std::string> pieces{"the first one, which is there before"};
    check(StringUtils::split(pieces, "a piece of some length,another piece of some length", ",", false,
                             false) == 3);
    const std::string shown = StringUtils::format("%s: %ls", kLong, L"wide");
    check(shown == std::string(kLong) + ": wide", shown.empty());
    check(StringUtils::toLowerCase("THE SAME IN SMALL LETTERS") == "the same in small letters");
    check(StringUtils::trim("  without the blanks at its ends ") == "without the blanks at its ends");
    check(StringUtils::replace(kLong, "what", "that which").size() == std::strlen(kLong) + 6);
    check(StringUtils::base64Decode(StringUtils::base64Encode(kLong)) == kLong);
    check(StringUtils::tryFormatToXMLString("a text <with> some entities").size() > 27);
    check(StringUtils::match("*th*ds*f", kLong, false));
    check(StringUtils::timeToString(3661, true, true) == "01:01:01");
    namespace Conversions = QvPlatform::StringConversions;
    check(Conversions::toNarrow(Conversions::toWide(kLong)) == kLong);
    std::ostringstream stream;
    stream << QvPlatform::IOUtils::increaseIndent << QvPlatform::IOUtils::indent << kLong;
    check(stream.str() == std::string("  ") + kLong, true);
}

void names() {
    StringUtils::UniqueNamesCollection names;
    check(names.acquire(kLong) == kLong);
    check(names.acquire(kLong) == kLong + std::string("1"));
    check(names.release(kLong) && !names.contains(kLong) && names.size() == 1);
}

void uuid() {
    try {
        const QvSim::QvUuid random;
        check(QvSim::QvUuid(random.toString()) == random);
    } catch (const std::runtime_error&) {
        check(false, true);  // the system has no random numbers
    }
    check(QvSim::QvUuid(std::string(kLong)).isNull());
    check(!QvSim::QvUuid::createFromName(kLong).isNull());
}

void version() {
    const Qv::QvVersion parsed("1000000.2000000.3000000.4000000");
    Qv::QvVersion copy;
    copy = parsed;
    check(copy.toString() == "1000000.2000000.3000000.4000000");
    check(Qv::QvVersion::compare(parsed, copy) == 0);
    check(Qv::QvVersion(1, 2, 3, 4, kLong).label == kLong);
}

void commandLine() {
    const char* arguments[] = {
        "the program with a long name", "--steps", "7", "--name", kLong, "--reals", "1", "2.5"};
    Qv::QvCommandLine line(static_cast<int>(std::size(arguments)), arguments);
    line.addOption("--steps", kLong);
    check(line.getInt("--steps", true) == 7);
    double reals[2] = {};
    check(line.getQvRealArray("--reals", reals, 2, true) == 2 && reals[1] == 2.5);
    check(line.getString("--name", true) == kLong);
    check(line.getInt("--absent", true) == 0 && line.arguments().size() == 1);
}

void pluginInfo() {
    QvPluginSystem::QvPluginInfo info("a/path/of/some/length.qvp");
    info.setDescription(kLong);
    info.addDependency({kLong, Qv::QvVersion("1.0")});
    info.addDependency({"another plugin, with a long name", Qv::QvVersion("1.0")});
    QvPluginSystem::QvPluginInfo copy(info);
    check(copy.getDependencies() == info.getDependencies());
    copy.removeDependency({kLong, Qv::QvVersion("1.0")});
    check(copy.getDependencies().size() == 1);
    info = copy;
    check(info.getDescription() == kLong);
    info.clear();
    check(info.getDependencies().empty() && info.getPath().empty());
    void* const block = Qv::QvMemory::createAligned(100, 64);
    check(block, !block);
    Qv::QvMemory::destroyAligned(block);
    const Qv::QvSmartPtr<Qv::QvRefCount> counted(new Qv::QvRefCount);
    check(counted->refCount() == 1);
}

}  // namespace

const Family kTextFamilies[] = {{"text", text},
                                {"names", names},
                                {"uuid", uuid},
                                {"version", version},
                                {"commandLine", commandLine},
                                {"pluginInfo", pluginInfo}};

}  // namespace faults
