#pragma once

// The state that a plugin keeps while it is reloaded: some values of a simple type, as bytes.

#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>

namespace simulation {

template <typename Value>
std::string stateOf(const Value* values, std::size_t count) {
    static_assert(std::is_trivially_copyable_v<Value>);
    return {reinterpret_cast<const char*>(values), count * sizeof(Value)};
}

/// Returns false if the state is not that of so many values, as after a change of their type.
template <typename Value>
bool restoreState(const std::string& state, Value* values, std::size_t count) {
    static_assert(std::is_trivially_copyable_v<Value>);
    if (state.size() != count * sizeof(Value)) return false;
    if (count != 0) std::memcpy(values, state.data(), state.size());
    return true;
}

}  // namespace simulation
