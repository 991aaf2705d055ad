#include "HostListener.h"

#include <QvPlatform/QvPluginSystem/QvPluginManager.h>
#include <QvPlatform/filesystem/File.h>

#include <utility>

using QvPluginSystem::QvPluginInfo;
using QvPluginSystem::QvPluginManager;

HostListener::HostListener(std::string unwanted, std::string retained)
    : unwanted_(std::move(unwanted)), retained_(std::move(retained)) {
    QvPluginManager::addListener(this);
}

HostListener::~HostListener() { QvPluginManager::removeListener(this); }

void HostListener::onPluginError(const std::string& file, const QvPluginInfo* info,
                                 const std::string& error) {
    // If a library is refused before it is opened, its name is unknown.
    const std::string name = info ? info->getName() : QvPlatform::File(file).getBaseName();
    refusals_[name].insert(error);
}

bool HostListener::onAboutToInitialize(const QvPluginInfo& info) {
    if (info.getName() != unwanted_) return true;
    keptOut_.insert(info.getName());
    return false;
}

bool HostListener::onAboutToUninitialize(const QvPluginInfo& info) {
    if (info.getName() == retained_) {
        retained_.clear();
        return false;
    }
    unloadOrder_.push_back(info.getName());
    return true;
}
