#include <QvPlatform/core/StringConversions.h>

#include "os/Utf.h"

namespace QvPlatform::StringConversions {

std::wstring toWide(std::string_view narrow) { return os::widen(narrow); }

std::string toNarrow(std::wstring_view wide) { return os::narrow(wide); }

}  // namespace QvPlatform::StringConversions
