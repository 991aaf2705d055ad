#include "child/Arguments.h"

#include <QvPlatform/core/StringConversions.h>

#include "os/win32/Windows.h"

#include <shellapi.h>

#include <memory>

namespace qvp {

// The C runtime's own arguments are in the system's code page, and have wildcards replaced.
std::vector<std::string> programArguments(int /*argc*/, char** /*argv*/) {
    int count = 0;
    const std::unique_ptr<wchar_t*, decltype(&LocalFree)> arguments(
        CommandLineToArgvW(GetCommandLineW(), &count), &LocalFree);
    std::vector<std::string> texts;
    for (int i = 1; i < count; ++i)
        texts.push_back(QvPlatform::StringConversions::toNarrow(arguments.get()[i]));
    return texts;
}

}  // namespace qvp
