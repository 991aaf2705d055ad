#pragma once

#include <QvPlatform/QvPluginSystem/QvPluginManagerListener.h>

#include <map>
#include <set>
#include <string>
#include <vector>

/// The host's ears and its say: notes why plugins fail, keeps one plugin out, and one loaded a little longer.
class HostListener : public QvPluginSystem::QvPluginManagerListener {
public:
    /// The reasons that were reported for each plugin, by its name.
    using Refusals = std::map<std::string, std::set<std::string>>;

    /// Registers with the manager. The plugin `unwanted` is never initialized; `retained` survives the first
    /// attempt to unload it.
    HostListener(std::string unwanted, std::string retained);
    /// Withdraws itself.
    ~HostListener() override;
    HostListener(const HostListener&) = delete;
    HostListener& operator=(const HostListener&) = delete;

    void onPluginError(const std::string& file, const QvPluginSystem::QvPluginInfo* info,
                       const std::string& error) override;
    bool onAboutToInitialize(const QvPluginSystem::QvPluginInfo& info) override;
    bool onAboutToUninitialize(const QvPluginSystem::QvPluginInfo& info) override;

    const Refusals& refusals() const { return refusals_; }
    /// The plugins whose initialization was vetoed.
    const std::set<std::string>& keptOut() const { return keptOut_; }
    /// The plugins whose uninitialization was allowed, in the order in which they were asked about.
    const std::vector<std::string>& unloadOrder() const { return unloadOrder_; }

private:
    std::string unwanted_;
    std::string retained_;
    Refusals refusals_;
    std::set<std::string> keptOut_;
    std::vector<std::string> unloadOrder_;
};
