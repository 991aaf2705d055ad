#pragma once

#include <QvPlatform/core/Export.h>

#include <cstddef>

/// Memory allocation through a table of functions. An application may replace all of them, or one matching
/// pair, before it allocates and before it starts threads:
///
///     QvnMemoryAPI.create = myCreate;
///     QvnMemoryAPI.destroy = myDestroy;
///
/// The default functions use the C runtime's allocator and are as thread-safe as it is. Each call reads the
/// table again. If memory runs out, the result is null. Free blocks from `create`, `createZeroed` and
/// `resize` with `destroy`, and blocks from `createAligned` with `destroyAligned`.
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
/// Allocates at a multiple of `alignment` bytes, which should be a multiple of 4; any other value is logged
/// at DEBUG level and still used. Null if `alignment` is 0.
QV_API void* createAligned(std::size_t size, unsigned int alignment);
/// Does nothing for a null pointer.
QV_API void destroy(void* const block);
QV_API void destroyAligned(void* const block);
/// Keeps the content up to the smaller size. Trap: if `size` is 0, returns null without freeing the block;
/// its owner must still destroy it.
QV_API void* resize(void* const block, std::size_t size);

}  // namespace Qv::QvMemory
