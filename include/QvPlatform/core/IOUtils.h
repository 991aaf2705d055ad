#pragma once

#include <QvPlatform/core/Export.h>

#include <iosfwd>

/// Indentation that is kept with a stream, so that nested output reads well without passing a depth on.
///
///     using namespace QvPlatform;
///     out << IOUtils::indent << "plugin\n" << IOUtils::increaseIndent;
///     out << IOUtils::indent << "name\n" << IOUtils::decreaseIndent;
///
/// A stream starts without indentation; `std::ios::copyfmt` copies it. As thread-safe as the stream.
namespace QvPlatform::IOUtils {

/// One level, two blanks, more from here on.
QV_API std::ostream& increaseIndent(std::ostream& stream);
/// One level less; stays at none.
QV_API std::ostream& decreaseIndent(std::ostream& stream);
/// Writes the blanks of the current indentation.
QV_API std::ostream& indent(std::ostream& stream);

}  // namespace QvPlatform::IOUtils
