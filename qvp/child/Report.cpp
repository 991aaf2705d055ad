#include "child/Report.h"

#include <cstring>

namespace qvp {

void ReportArea::append(std::string_view line) noexcept {
    const std::uint64_t place = size.fetch_add(line.size() + 1);
    if (place + line.size() + 1 > kCapacity) return;
    std::memcpy(text + place, line.data(), line.size());
    text[place + line.size()] = '\n';
}

}  // namespace qvp
