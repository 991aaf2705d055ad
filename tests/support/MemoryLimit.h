#pragma once

/// The number of allocations by `new` that the calling thread may still make in this program; negative means
/// unlimited. On Windows the library has its own `new`.
extern thread_local int allocationsLeft;
