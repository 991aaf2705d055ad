#pragma once

#include <QvPlatform/diagnostics/Log.h>

namespace Qv::detail {

/// The installed handler, for what reports past the filter.
LogHandler currentLogHandler();

}  // namespace Qv::detail
