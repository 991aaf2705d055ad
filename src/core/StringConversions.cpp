#include <QvPlatform/core/StringConversions.h>

#include "base/Utf.h"

namespace QvPlatform::StringConversions {

std::wstring toWide(std::string_view narrow) { return base::widen(narrow); }

std::string toNarrow(std::wstring_view wide) { return base::narrow(wide); }

}  // namespace QvPlatform::StringConversions
