#include <QvPlatform/core/IOUtils.h>

#include <ostream>

namespace QvPlatform::IOUtils {
namespace {

constexpr int kLevelWidth = 2;

// The index of the indentation level in each stream's storage. Allocated when the library is loaded, so that
// no forked process finds it half initialized.
const int slot = std::ios_base::xalloc();

long& levelOf(std::ostream& stream) { return stream.iword(slot); }

}  // namespace

std::ostream& increaseIndent(std::ostream& stream) {
    ++levelOf(stream);
    return stream;
}

std::ostream& decreaseIndent(std::ostream& stream) {
    if (levelOf(stream) > 0) --levelOf(stream);
    return stream;
}

std::ostream& indent(std::ostream& stream) {
    for (long i = levelOf(stream) * kLevelWidth; i > 0; --i) stream.put(' ');
    return stream;
}

}  // namespace QvPlatform::IOUtils
