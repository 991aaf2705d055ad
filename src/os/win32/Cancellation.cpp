#include "os/Cancellation.h"

namespace os {

CancellationShield::CancellationShield() noexcept = default;
CancellationShield::~CancellationShield() = default;

}  // namespace os
