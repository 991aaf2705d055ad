#include <QvPlatform/core/QvMemory.h>

#include <QvPlatform/diagnostics/Log.h>

#include "diagnostics/log/LogQuietly.h"

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <memory>

namespace {

/// Stored before each aligned block: the distance of the block from the start of the heap's block.
using Offset = std::uint32_t;

void* zeroed(std::size_t size) { return std::calloc(1, size); }

std::size_t offsetOf(const void* block, std::size_t alignment) {
    std::size_t offset = (alignment - reinterpret_cast<std::uintptr_t>(block) % alignment) % alignment;
    while (offset < sizeof(Offset)) offset += alignment;
    return offset;
}

void* aligned(std::size_t size, std::size_t alignment) {
    constexpr std::size_t kLimit = std::numeric_limits<Offset>::max() / 2;
    if (alignment == 0 || alignment > kLimit) return nullptr;
    const std::size_t added = alignment + sizeof(Offset);
    if (size > std::numeric_limits<std::size_t>::max() - added) return nullptr;
    std::unique_ptr<char, decltype(&std::free)> raw(static_cast<char*>(std::malloc(size + added)), std::free);
    if (!raw) return nullptr;
    if (alignment % sizeof(Offset) != 0)
        Qv::detail::logQuietly([] {
            Qv::LogDebug("MallocCreateAligned: Alignment must be a multiple of sizeof(unsigned int).\n");
        });
    const auto offset = static_cast<Offset>(offsetOf(raw.get(), alignment));
    char* const block = raw.release() + offset;
    std::memcpy(block - sizeof offset, &offset, sizeof offset);
    return block;
}

void destroyAlignedBlock(void* block) {
    if (!block) return;
    Offset offset = 0;
    std::memcpy(&offset, static_cast<char*>(block) - sizeof offset, sizeof offset);
    std::free(static_cast<char*>(block) - offset);
}

void* resized(void* block, std::size_t size) { return size == 0 ? nullptr : std::realloc(block, size); }

}  // namespace

QvnMemoryFunctions QvnMemoryAPI = {std::malloc, zeroed, aligned, std::free, destroyAlignedBlock, resized};

void* QvnMemoryAPI_create(std::size_t size) { return QvnMemoryAPI.create(size); }
void* QvnMemoryAPI_createZeroed(std::size_t size) { return QvnMemoryAPI.createZeroed(size); }
void* QvnMemoryAPI_createAligned(std::size_t size, std::size_t alignment) {
    return QvnMemoryAPI.createAligned(size, alignment);
}
void QvnMemoryAPI_destroy(void* block) { QvnMemoryAPI.destroy(block); }
void QvnMemoryAPI_destroyAligned(void* block) { QvnMemoryAPI.destroyAligned(block); }
void* QvnMemoryAPI_resize(void* block, std::size_t size) { return QvnMemoryAPI.resize(block, size); }

namespace Qv::QvMemory {

void* create(std::size_t size) { return QvnMemoryAPI.create(size); }
void* createZeroed(std::size_t size) { return QvnMemoryAPI.createZeroed(size); }
void* createAligned(std::size_t size, unsigned int alignment) {
    return QvnMemoryAPI.createAligned(size, alignment);
}
void destroy(void* const block) { QvnMemoryAPI.destroy(block); }
void destroyAligned(void* const block) { QvnMemoryAPI.destroyAligned(block); }
void* resize(void* const block, std::size_t size) { return QvnMemoryAPI.resize(block, size); }

}  // namespace Qv::QvMemory
