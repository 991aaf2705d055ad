#pragma once

#include "commands/Command.h"

#include <string>
#include <vector>

namespace qvp {

/// The ten steps of one plugin, and what was found during them.
struct WhySteps {
    std::vector<Step> steps;
    std::vector<NeededLibrary> libraries;
    std::vector<MissingSymbol> missingSymbols{};
    std::string callStack{};            ///< of a crash during the trial; "" without one
    std::string printed{};              ///< by the plugin, while it was inspected or tried
    std::string failedPlugin{};         ///< whose initialization failed in the trial; "" if none
    Misdeed misdeed = Misdeed::none;    ///< of the trial
    std::string afterInitialization{};  ///< what went wrong in the trial after that; "" if nothing

    /// True if all steps are OK.
    bool isOk() const;
    /// One sentence for the user.
    std::string verdict(const Entry& entry) const;
};

/// Repeats the steps of one file in full detail. If all others succeed, also tries the last one,
/// initialization.
WhySteps takeSteps(const Catalogue& catalogue, std::size_t index, const Setting& setting);

/// Prints the text output of `qvp why`.
void printWhy(const Document& document, Page& page);

}  // namespace qvp
