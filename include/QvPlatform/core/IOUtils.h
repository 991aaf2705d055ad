#pragma once

#include <QvPlatform/core/Export.h>

#include <iosfwd>

/// Indentation stored in a stream, so that functions that write nested output need no depth parameter.
///
///     using namespace QvPlatform;
///     out << IOUtils::indent << "plugin\n" << IOUtils::increaseIndent;
///     out << IOUtils::indent << "name\n" << IOUtils::decreaseIndent;
///
/// A stream starts without indentation; `std::ios::copyfmt` copies it. Thread safety is that of the stream.
namespace QvPlatform::IOUtils {

/// Increases the indentation by one level, which is two spaces.
QV_API std::ostream& increaseIndent(std::ostream& stream);
/// Decreases the indentation by one level, but not below zero.
QV_API std::ostream& decreaseIndent(std::ostream& stream);
/// Writes the spaces of the current indentation.
QV_API std::ostream& indent(std::ostream& stream);

}  // namespace QvPlatform::IOUtils
