#pragma once

/// The header for plugin authors. A plugin is a shared library with the extension ".qvp" that defines the
/// first four functions below, and both of the others if it keeps its state when it is reloaded (see
/// `QvPluginReloader`); `qv_add_plugin` of the CMake package builds it.
///
///     bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info) { info.name = "hello"; return true; }
///     const char* GetPluginBuildInfo() { return QV_PLUGIN_BUILD_INFO; }
///     ...

#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>
#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/core/QvVersion.h>

#include <string>

#if defined(__ELF__)
#define QV_PLUGIN_EXPORT __attribute__((visibility("default")))
#else
#define QV_PLUGIN_EXPORT __declspec(dllexport)
#endif

#if defined(_MSC_VER)
#define QV_PLUGIN_COMPILER "CompilerName:MSVC\nCompilerVersion:" QV_TEXT_OF(_MSC_VER) "\n"
#elif defined(__clang__)
#define QV_PLUGIN_COMPILER "CompilerName:Clang\nCompilerVersion:" QV_TEXT_OF(__clang_major__) "\n"
#elif defined(__GNUC__)
#define QV_PLUGIN_COMPILER "CompilerName:GCC\nCompilerVersion:" QV_TEXT_OF(__GNUC__) "\n"
#else
#define QV_PLUGIN_COMPILER "CompilerName:unknown\nCompilerVersion:0\n"
#endif

#if defined(NDEBUG)
#define QV_PLUGIN_RELEASE "Release:1\n"
#else
#define QV_PLUGIN_RELEASE "Release:0\n"
#endif

/// The build configuration of this translation unit: the text that `GetPluginBuildInfo` returns. "Plateform"
/// is the width of a pointer in bits; "Release" is 1 if `NDEBUG` is defined.
#define QV_PLUGIN_BUILD_INFO \
    "Plateform:64\n" QV_PLUGIN_COMPILER QV_PLUGIN_RELEASE      \
    "QvVersionMajor:" QV_TEXT_OF(QV_VERSION_MAJOR) "\n"    \
    "QvVersionMinor:" QV_TEXT_OF(QV_VERSION_MINOR) "\n"    \
    "QvVersionServicePack:" QV_TEXT_OF(QV_VERSION_SERVICE_PACK) "\n"

extern "C" {

/// Fills the descriptor; `info.path` is already set. It may be called several times and before any other
/// function, so it must do nothing else. Its result is ignored.
QV_PLUGIN_EXPORT bool GetPluginInfo(QvPluginSystem::QvPluginInfo& info);

/// Starts the plugin; its dependencies are already initialized. `argc` is 0 and `argv` is null. On failure,
/// return false and store the reason in `*error`; an exception counts as failure.
QV_PLUGIN_EXPORT bool InitializePlugin(QvPluginSystem::QvPluginManager& manager, int argc, char** argv,
                                       std::string* error);

/// Stops the plugin; returning false keeps it loaded. `error` may be null. Remove every published object
/// here.
QV_PLUGIN_EXPORT bool UninitializePlugin(QvPluginSystem::QvPluginManager& manager, std::string* error);

/// `QV_PLUGIN_BUILD_INFO`, as static text.
QV_PLUGIN_EXPORT const char* GetPluginBuildInfo();

/// Optional. Called before `UninitializePlugin` when the plugin is to be reloaded, also on account of a
/// plugin that it depends on. Stores any bytes in `*state`, which is empty, for the version that comes next,
/// so no pointers. If it returns false or throws, the next version starts without a state.
QV_PLUGIN_EXPORT bool SavePluginState(std::string* state);

/// Optional. Called after `InitializePlugin` with what `SavePluginState` stored, perhaps in another version
/// of the plugin. If `state` is of no use, leave the plugin as `InitializePlugin` did and return false, or
/// throw; the plugin stays loaded and the failure is reported.
QV_PLUGIN_EXPORT bool RestorePluginState(const std::string& state);
}
