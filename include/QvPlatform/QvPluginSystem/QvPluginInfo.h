#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvArray.h>
#include <QvPlatform/core/QvVersion.h>

#include <cstdint>
#include <string>

namespace QvPluginSystem {

/// One plugin that another needs.
///
/// Trap: the version of a new value is the product's, not zero; state the one that is needed.
struct QV_API QvDependency {
    QvDependency();
    QvDependency(const std::string& pluginName, const Qv::QvVersion& neededVersion);
    QvDependency(const QvDependency& other);
    QvDependency& operator=(const QvDependency& other);
    ~QvDependency();

    /// Equal names, letter case mattering, and equal first three version components.
    bool operator==(const QvDependency& other) const;
    bool operator!=(const QvDependency& other) const;

    std::string name;
    Qv::QvVersion version;
};

/// Describes one plugin. A plugin fills it in its `GetPluginInfo`; the manager keeps one for each loaded
/// plugin, sets `path`, and maintains `dependentCount` and `explicitlyLoaded`.
///
///     info.name = "collision";
///     info.version = Qv::QvVersion(1, 2, 0, 0, "");
///     info.compatibilityVersion = Qv::QvVersion(1, 0, 0, 0, "");
///     info.addDependency({"scene", Qv::QvVersion("1.0")});
///
/// A value whose copies are whole and independent. Getters return references that live as long as the
/// descriptor. Not synchronized. `name` and `dependencies` of a loaded plugin are not to be changed.
class QV_API QvPluginInfo {
public:
    QvPluginInfo();
    explicit QvPluginInfo(const std::string& libraryPath);
    QvPluginInfo(const QvPluginInfo& other);
    QvPluginInfo& operator=(const QvPluginInfo& other);
    ~QvPluginInfo();

    /// Makes every field as in a new descriptor, the path included.
    void clear();

    const std::string& getName() const;
    /// `displayName`, or `name` when that is empty.
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
    /// The number of dependents, and one more when the plugin was loaded by request. At 0 it may go.
    std::int32_t getUseCount() const;

    void setDisplayName(const std::string& value);
    void setDescription(const std::string& value);
    void setVendor(const std::string& value);
    void setCopyright(const std::string& value);
    void setUrl(const std::string& value);
    void setGroup(const std::string& value);
    void setVersion(const Qv::QvVersion& value);
    void setCompatibilityVersion(const Qv::QvVersion& value);

    /// Appends a copy; never add the same dependency twice.
    void addDependency(const QvDependency& dependency);
    /// Removes one entry equal to `dependency`; nothing when there is none. With several equal entries the
    /// list still shrinks by one, and those that stay at its end hold unspecified values.
    void removeDependency(const QvDependency& dependency);

    std::string name;         ///< the identity: plugins are found, unloaded and depended on by it
    std::string displayName;  ///< for people; may be empty
    std::string description;
    std::string vendor;
    std::string copyright;
    std::string path;  ///< the library file, as the load request named it
    std::string url;
    std::string group;
    Qv::QvVersion version;                   ///< the plugin's own; the product's unless set
    Qv::QvVersion compatibilityVersion;      ///< the oldest version that a dependent may ask for; 0.0.0.0
    Qv::QvArray<QvDependency> dependencies;  ///< in the order in which they are loaded
    std::int32_t dependentCount = 0;         ///< initialized plugins that depend on this one
    bool explicitlyLoaded = false;           ///< asked for by a request, not only as a dependency
};

}  // namespace QvPluginSystem
