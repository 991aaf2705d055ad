#pragma once

#include "commands/Command.h"

#include <string>
#include <vector>

/// Parts that several documents share, and their text output.
namespace qvp {

/// A step's name in text output: "build information" for "buildInformation".
std::string stepTitle(const std::string& step);

/// "ok", "refused", "otherSystem" or "duplicate".
std::string stateOf(const Entry& entry);
Style styleOf(const std::string& state);

/// Only name and file.
Document shortDocument(const Entry& entry);
/// Descriptor, state, problem, finding, dependents.
Document pluginDocument(const Catalogue& catalogue, std::size_t index);
/// For each dependency, what is required and what was found.
Document dependenciesDocument(const Catalogue& catalogue, const Entry& entry);
Document directoriesDocument(const std::vector<SearchDirectory>& directories);
/// The directories that cannot be searched, except a default one that does not exist.
std::vector<SearchDirectory> unusableDirectories(const Setting& setting);
Document stepDocument(const Step& step);
/// The manager's message, and after it what the tool knows about it.
std::string problemText(const Document& plugin);
Document libraryDocument(const NeededLibrary& library);
Document cyclesDocument(const Catalogue& catalogue);
/// Names that several files share, and the file that is used.
Document duplicatesDocument(const Catalogue& catalogue);

/// The text of a member; "" if it is null or missing.
std::string textOf(const Document& document, const char* key);
std::vector<std::string> textsOf(const Document& array);
/// The same member of each element.
std::vector<std::string> textsOf(const Document& array, const char* key);

/// "a -[1.2]-> b -[1.0]-> a".
std::string pathText(const Document& cycle);
void printDuplicates(const Document& duplicates, Page& page);

/// Inspects one file with `Depth::everything`.
Inspection closeLookAt(const std::string& path, const Setting& setting);

/// Adds the argument of commands for one plugin.
void addPluginArgument(Syntax& syntax, std::string& nameOrPath);

/// The files to add to the catalogue so that it contains the plugin: the file found for `nameOrPath`, else
/// `nameOrPath` itself if it must be a path, else none.
std::vector<std::string> filesFor(const std::string& nameOrPath, const Setting& setting);

/// A catalogue that tells everything about these files but their dependents. Examines no others if it can.
Catalogue catalogueFor(const std::vector<std::string>& files, const Setting& setting);

}  // namespace qvp
