#pragma once

#include <QvPlatform/diagnostics/Log.h>

namespace Qv::detail {

/// The installed handler, for code that reports without applying the filter.
LogHandler currentLogHandler();

}  // namespace Qv::detail
