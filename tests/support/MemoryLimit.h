#pragma once

/// How many allocations by `new` the calling thread may still make in this program; negative for any number.
/// On Windows the library has a `new` of its own.
extern thread_local int allocationsLeft;
