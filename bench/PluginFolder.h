#pragma once

#include <QvPlatform/core/QvArray.h>

#include <cstddef>
#include <filesystem>
#include <string>

namespace bench {

/// How the generated plugins depend on each other; the letter begins their names.
enum class Layout : char {
    Independent = 'i',
    Layered = 'l',          ///< layers of twenty, each plugin on two of the layer below
    Star = 's',             ///< all others on the first
    LadderOfDiamonds = 'd'  ///< each third plugin on the two before it, these two on the third one before
};

/// A temporary folder with real copies of one small plugin, each of which is what its file's name says.
/// It becomes a search directory of the plugin manager.
class PluginFolder {
public:
    PluginFolder(Layout layout, std::size_t count);
    PluginFolder(const PluginFolder&) = delete;
    PluginFolder& operator=(const PluginFolder&) = delete;
    ~PluginFolder();

    std::string name(std::size_t number) const;
    std::string file(std::size_t number) const;
    /// The files of the plugins from `first` on and before `last`. A plugin depends on lower numbers only.
    Qv::QvArray<std::string> files(std::size_t first, std::size_t last) const;

private:
    Layout layout_;
    std::filesystem::path folder_;
};

}  // namespace bench
