#pragma once

namespace qvp {

/// The descriptor of the report stream in a child.
inline constexpr int kReportDescriptor = 3;

}  // namespace qvp
