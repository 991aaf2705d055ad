#include "commands/Exists.h"

#include "commands/Documents.h"

#include <algorithm>
#include <cctype>

namespace qvp {

bool pluginExists(const Setting& setting, const std::string& nameOrPath, const std::string& atLeast) {
    const Catalogue catalogue = catalogueFor(filesFor(nameOrPath, setting), setting);
    const std::size_t index = catalogue.find(nameOrPath);
    if (index == Entry::kNone || stateOf(catalogue.entries()[index]) != "ok") return false;
    const Qv::QvVersion& version = catalogue.entries()[index].inspection.descriptor->version;
    return atLeast.empty() || Qv::QvVersion::compare(version, Qv::QvVersion(atLeast)) >= 0;
}

std::string problemOfVersion(const std::string& version) {
    constexpr std::size_t kLongestNumber = 9;
    std::size_t numbers = 0;
    bool isValid = true;
    for (std::size_t begin = 0; begin <= version.size(); ++numbers) {
        const std::size_t end = std::min(version.find('.', begin), version.size());
        const std::string number = version.substr(begin, end - begin);
        isValid = isValid && !number.empty() && number.size() <= kLongestNumber &&
                  std::all_of(number.begin(), number.end(),
                              [](char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; });
        begin = end + 1;
    }
    if (isValid && numbers <= 4) return {};
    return "\"" + version + "\" is not a version: one to four numbers separated by dots";
}

}  // namespace qvp
