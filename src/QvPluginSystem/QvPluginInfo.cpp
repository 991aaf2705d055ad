#include <QvPlatform/QvPluginSystem/QvPluginInfo.h>

#include <algorithm>

namespace QvPluginSystem {

QvDependency::QvDependency() = default;
QvDependency::QvDependency(const std::string& pluginName, const Qv::QvVersion& neededVersion)
    : name(pluginName), version(neededVersion) {}
QvDependency::QvDependency(const QvDependency& other) = default;
QvDependency& QvDependency::operator=(const QvDependency& other) = default;
QvDependency::~QvDependency() = default;

bool QvDependency::operator==(const QvDependency& other) const {
    return name == other.name && Qv::QvVersion::compare(version, other.version) == 0;
}

bool QvDependency::operator!=(const QvDependency& other) const { return !(*this == other); }

QvPluginInfo::QvPluginInfo() : compatibilityVersion(0, 0, 0, 0, std::string()) {}
QvPluginInfo::QvPluginInfo(const std::string& libraryPath) : QvPluginInfo() { path = libraryPath; }
QvPluginInfo::QvPluginInfo(const QvPluginInfo& other) = default;
QvPluginInfo& QvPluginInfo::operator=(const QvPluginInfo& other) = default;
QvPluginInfo::~QvPluginInfo() = default;

void QvPluginInfo::clear() { *this = QvPluginInfo(); }

const std::string& QvPluginInfo::getName() const { return name; }
const std::string& QvPluginInfo::getDisplayName() const { return displayName.empty() ? name : displayName; }
const std::string& QvPluginInfo::getDescription() const { return description; }
const std::string& QvPluginInfo::getVendor() const { return vendor; }
const std::string& QvPluginInfo::getCopyright() const { return copyright; }
const std::string& QvPluginInfo::getPath() const { return path; }
const std::string& QvPluginInfo::getUrl() const { return url; }
const std::string& QvPluginInfo::getGroup() const { return group; }
const Qv::QvVersion& QvPluginInfo::getVersion() const { return version; }
const Qv::QvVersion& QvPluginInfo::getCompatibilityVersion() const { return compatibilityVersion; }
const Qv::QvArray<QvDependency>& QvPluginInfo::getDependencies() const { return dependencies; }
std::int32_t QvPluginInfo::getUseCount() const { return dependentCount + (explicitlyLoaded ? 1 : 0); }

void QvPluginInfo::setDisplayName(const std::string& value) { displayName = value; }
void QvPluginInfo::setDescription(const std::string& value) { description = value; }
void QvPluginInfo::setVendor(const std::string& value) { vendor = value; }
void QvPluginInfo::setCopyright(const std::string& value) { copyright = value; }
void QvPluginInfo::setUrl(const std::string& value) { url = value; }
void QvPluginInfo::setGroup(const std::string& value) { group = value; }
void QvPluginInfo::setVersion(const Qv::QvVersion& value) { version = value; }
void QvPluginInfo::setCompatibilityVersion(const Qv::QvVersion& value) { compatibilityVersion = value; }

void QvPluginInfo::addDependency(const QvDependency& dependency) { dependencies.push_back(dependency); }

void QvPluginInfo::removeDependency(const QvDependency& dependency) {
    const QvDependency unwanted = dependency;  // it may lie in the list that is about to move
    const auto firstLeft = std::remove(dependencies.begin(), dependencies.end(), unwanted);
    if (firstLeft != dependencies.end()) dependencies.erase(firstLeft);
}

}  // namespace QvPluginSystem
