#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvArray.h>
#include <QvPlatform/core/QvVersion.h>

#include <cstdint>
#include <string>

namespace QvPluginSystem {

/// A plugin that another plugin needs.
///
/// Trap: the default version is the product's, not zero; set the needed one.
struct QV_API QvDependency {
    QvDependency();
    QvDependency(const std::string& pluginName, const Qv::QvVersion& neededVersion);
    QvDependency(const QvDependency& other);
    QvDependency& operator=(const QvDependency& other);
    ~QvDependency();

    /// True if the names are equal (case-sensitive) and the first three version components are equal.
    bool operator==(const QvDependency& other) const;
    bool operator!=(const QvDependency& other) const;

    std::string name;
    Qv::QvVersion version;
};

/// Describes a plugin. A plugin fills it in `GetPluginInfo`; the manager keeps one for each loaded plugin,
/// sets `path`, and maintains `dependentCount` and `explicitlyLoaded`.
///
///     info.name = "collision";
///     info.version = Qv::QvVersion(1, 2, 0, 0, "");
///     info.compatibilityVersion = Qv::QvVersion(1, 0, 0, 0, "");
///     info.addDependency({"scene", Qv::QvVersion("1.0")});
///
/// A value type; copies are deep. Getters return references that are valid as long as the descriptor. Not
/// thread-safe. Do not change `name` or `dependencies` of a loaded plugin.
class QV_API QvPluginInfo {
public:
    QvPluginInfo();
    explicit QvPluginInfo(const std::string& libraryPath);
    QvPluginInfo(const QvPluginInfo& other);
    QvPluginInfo& operator=(const QvPluginInfo& other);
    ~QvPluginInfo();

    /// Resets every field to that of a new descriptor, including the path.
    void clear();

    const std::string& getName() const;
    /// `displayName`, or `name` if that is empty.
    const std::string& getDisplayName() const;
    const std::string& getDescription() const;
    const std::string& getVendor() const;
    const std::string& getCopyright() const;
    const std::string& getPath() const;
    const std::string& getUrl() const;
    const std::string& getGroup() const;
    const Qv::QvVersion& getVersion() const;
    const Qv::QvVersion& getCompatibilityVersion() const;
    const Qv::QvArray<QvDependency>& getDependencies() const;
    /// The number of dependents, plus one if the plugin was loaded by request. At 0 it may be unloaded.
    std::int32_t getUseCount() const;

    void setDisplayName(const std::string& value);
    void setDescription(const std::string& value);
    void setVendor(const std::string& value);
    void setCopyright(const std::string& value);
    void setUrl(const std::string& value);
    void setGroup(const std::string& value);
    void setVersion(const Qv::QvVersion& value);
    void setCompatibilityVersion(const Qv::QvVersion& value);

    /// Appends a copy. Do not add the same dependency twice.
    void addDependency(const QvDependency& dependency);
    /// Removes one entry equal to `dependency`; does nothing if there is none. If several entries are equal,
    /// the list still shrinks by one, and the last entries then hold unspecified values.
    void removeDependency(const QvDependency& dependency);

    std::string name;         ///< the key for lookup, unloading and dependencies
    std::string displayName;  ///< for display; may be empty
    std::string description;
    std::string vendor;
    std::string copyright;
    std::string path;  ///< the library file, as the load request named it
    std::string url;
    std::string group;
    Qv::QvVersion version;                   ///< the plugin's version; by default the product's
    Qv::QvVersion compatibilityVersion;      ///< the oldest version that a dependent may need; 0.0.0.0
    Qv::QvArray<QvDependency> dependencies;  ///< in loading order
    std::int32_t dependentCount = 0;         ///< initialized plugins that depend on this one
    bool explicitlyLoaded = false;           ///< loaded by request, not only as a dependency
};

}  // namespace QvPluginSystem
