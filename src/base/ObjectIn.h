#pragma once

#include <new>

namespace base {

/// The object that lives in this storage. Precondition: it was created there by a placement new.
template <typename T>
T* objectIn(void* storage) noexcept {
    return std::launder(static_cast<T*>(storage));
}

}  // namespace base
