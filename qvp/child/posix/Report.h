#pragma once

namespace qvp {

/// The descriptor of the report in a child that starts.
inline constexpr int kReportDescriptor = 3;

}  // namespace qvp
