#include <QvPlatform/QvPluginSystem/QvPluginFuncInterface.h>

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/core/QvVersion.h>
#include <QvPlatform/diagnostics/Log.h>

#include "QvPluginSystem/rules/BuildInfo.h"

#include <exception>

namespace QvPluginSystem {
namespace {

using rules::BuildInfo;

// The version of the compared compiler that built the product.
constexpr std::int32_t kProductCompilerVersion = 1900;

BuildInfo parseOrReport(const std::string& text) {
    try {
        return rules::parseBuildInfo(text);
    } catch (const std::exception& exception) {
        Qv::LogWarn("QvPluginManager - The following error occurred when parsing the build info : %s.",
                    exception.what());
    } catch (...) {
        Qv::LogWarn("QvPluginManager - An error occurred when parsing the build info");
    }
    return {};
}

void noteCompilerVersion(const std::string& plugin, const BuildInfo& build) {
    if (build.compilerVersion == kProductCompilerVersion) return;
    Qv::LogDebug(
        "The plugin %s was created with the compiler version %d of MS Visual C++ Compiler while Quorex was "
        "compiled "
        "with %d.",
        plugin.c_str(), static_cast<int>(build.compilerVersion), static_cast<int>(kProductCompilerVersion));
}

void noteProductVersion(const std::string& plugin, const BuildInfo& build) {
    if (build.productMajor == QV_VERSION_MAJOR && build.productMinor == QV_VERSION_MINOR &&
        build.productServicePack == QV_VERSION_SERVICE_PACK)
        return;
    Qv::LogDebug(
        "The plugin %s was created with the Quorex version %d.%d.%d while the current version is %d.%d.%d.",
        plugin.c_str(), static_cast<int>(build.productMajor), static_cast<int>(build.productMinor),
        static_cast<int>(build.productServicePack), QV_VERSION_MAJOR, QV_VERSION_MINOR,
        QV_VERSION_SERVICE_PACK);
}

// The reason to reject a build by the compared compiler, or "".
std::string judgeBuild(const std::string& plugin, const BuildInfo& build) {
    std::string mismatch = rules::buildMismatch(plugin, build);
    if (mismatch.empty()) {
        noteCompilerVersion(plugin, build);
        noteProductVersion(plugin, build);
    }
    return mismatch;
}

}  // namespace

QvPluginFuncInterface::QvPluginFuncInterface() = default;
QvPluginFuncInterface::QvPluginFuncInterface(PluginSystemVersionFunc pluginSystemVersionFunc,
                                             GetPluginInfoFunc getInfoFunc, InitializeFunc initializeFunc,
                                             UninitializeFunc uninitializeFunc,
                                             GetBuildInfoFunc buildInfoFunc)
    : pluginSystemVersion_(pluginSystemVersionFunc),
      getInfo_(getInfoFunc),
      initialize_(initializeFunc),
      uninitialize_(uninitializeFunc),
      buildInfo_(buildInfoFunc) {}
QvPluginFuncInterface::QvPluginFuncInterface(const QvPluginFuncInterface& other) = default;
QvPluginFuncInterface& QvPluginFuncInterface::operator=(const QvPluginFuncInterface& other) = default;
QvPluginFuncInterface::~QvPluginFuncInterface() = default;

int QvPluginFuncInterface::getPluginSystemVersion() const {
    return pluginSystemVersion_ ? pluginSystemVersion_() : 0;
}

bool QvPluginFuncInterface::getPluginInfo(QvPluginInfo& info) const { return getInfo_ && getInfo_(info); }

bool QvPluginFuncInterface::initialize(QvPluginManager& manager, int argc, char** argv,
                                       std::string* error) const {
    return initialize_ && initialize_(manager, argc, argv, error);
}

bool QvPluginFuncInterface::uninitialize(QvPluginManager& manager, std::string* error) const {
    return uninitialize_ && uninitialize_(manager, error);
}

std::string QvPluginFuncInterface::getBuildInfo() const {
    const char* text = buildInfo_ ? buildInfo_() : nullptr;
    return text ? text : "";
}

bool QvPluginFuncInterface::isValid(std::string* error) const {
    const auto fail = [error](const std::string& reason) {
        if (error) *error = reason;
        return false;
    };
    const auto missing = [&](const char* symbol) {
        return fail(std::string("Symbol ") + symbol + " was not found in this plugin.");
    };
    if (!getInfo_) return missing("GetPluginInfo");
    if (!initialize_) return missing("InitializePlugin");
    if (!uninitialize_) return missing("UninitializePlugin");
    const std::string buildText = getBuildInfo();
    if (buildText.empty()) return fail("There is no build information found for this plugin.");
    QvPluginInfo info;
    getInfo_(info);
    if (rules::buildCompiler(buildText) != rules::kComparedCompiler) return true;
    const std::string mismatch = judgeBuild(info.getDisplayName(), parseOrReport(buildText));
    return mismatch.empty() || fail(mismatch);
}

}  // namespace QvPluginSystem
