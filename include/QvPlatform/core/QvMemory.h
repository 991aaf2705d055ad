#pragma once

#include <QvPlatform/core/Export.h>

#include <cstddef>

/// Memory through a table of functions that an application may replace, all of them or a pair that belongs
/// together, before it allocates and before it has other threads:
///
///     QvnMemoryAPI.create = myCreate;
///     QvnMemoryAPI.destroy = myDestroy;
///
/// By default the functions are those of the C runtime, as thread-safe as they are. Each call reads the table
/// anew. Null is returned when there is no memory. What `create`, `createZeroed` and `resize` return is given
/// to `destroy`, what `createAligned` returns to `destroyAligned`.
extern "C" {

struct QvnMemoryFunctions {
    void* (*create)(std::size_t size);
    void* (*createZeroed)(std::size_t size);
    void* (*createAligned)(std::size_t size, std::size_t alignment);
    void (*destroy)(void* block);
    void (*destroyAligned)(void* block);
    void* (*resize)(void* block, std::size_t size);
};

extern QV_API QvnMemoryFunctions QvnMemoryAPI;

QV_API void* QvnMemoryAPI_create(std::size_t size);
QV_API void* QvnMemoryAPI_createZeroed(std::size_t size);
QV_API void* QvnMemoryAPI_createAligned(std::size_t size, std::size_t alignment);
QV_API void QvnMemoryAPI_destroy(void* block);
QV_API void QvnMemoryAPI_destroyAligned(void* block);
QV_API void* QvnMemoryAPI_resize(void* block, std::size_t size);
}

namespace Qv::QvMemory {

QV_API void* create(std::size_t size);
QV_API void* createZeroed(std::size_t size);
/// At a multiple of `alignment`, which should be a multiple of 4: any other is reported at DEBUG level and
/// used all the same. Null for an alignment of 0.
QV_API void* createAligned(std::size_t size, unsigned int alignment);
/// A null pointer does nothing.
QV_API void destroy(void* const block);
QV_API void destroyAligned(void* const block);
/// Keeps the content as far as it fits. Trap: with a size of 0 it returns null and the block stays, to be
/// destroyed by its owner.
QV_API void* resize(void* const block, std::size_t size);

}  // namespace Qv::QvMemory
