#pragma once

#include "commands/Command.h"

#include <string>
#include <vector>

/// The parts that several documents have in common, and how they look in text.
namespace qvp {

/// "ok", "refused", "otherSystem", "duplicate".
std::string stateOf(const Entry& entry);
Style styleOf(const std::string& state);

/// Name and file, and nothing else.
Document shortDocument(const Entry& entry);
/// Descriptor, state, problem, dependents.
Document pluginDocument(const Catalogue& catalogue, std::size_t place);
/// What each dependency asks for, and what it gets.
Document dependenciesDocument(const Catalogue& catalogue, const Entry& entry);
Document directoriesDocument(const std::vector<SearchDirectory>& directories);
/// Those that somebody named and that are not there; the default one need not be.
std::vector<SearchDirectory> missingDirectories(const Setting& setting);
Document stepDocument(const Step& step);
Document libraryDocument(const NeededLibrary& library);
Document cyclesDocument(const Catalogue& catalogue);
/// Names that several files share, and the file that is taken.
Document duplicatesDocument(const Catalogue& catalogue);

/// The text of a member; "" when it is null.
std::string textOf(const Document& document, const char* key);
std::vector<std::string> textsOf(const Document& array);
/// The same member of each element.
std::vector<std::string> textsOf(const Document& array, const char* key);

/// "a -[1.2]-> b -[1.0]-> a".
std::string pathText(const Document& cycle);
void printDuplicates(const Document& duplicates, Page& page);

/// One file looked at with `Depth::everything`.
Inspection closeLookAt(const std::string& path, const Setting& setting);

/// The argument of the commands that are about one plugin.
void addPluginArgument(CLI::App& app, std::string& nameOrPath);

/// The files to look at so that the catalogue knows the plugin, which is a name or a path: a path itself
/// where it leads to a file or can only be one.
std::vector<std::string> filesFor(const std::string& nameOrPath, const Setting& setting);

}  // namespace qvp
