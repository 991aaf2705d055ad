// Built position-dependent, so that on Linux the linker moves the library's table into this program: the
// library must read what is written here.

#include <QvPlatform/core/QvMemory.h>

#include <cstdio>
#include <iterator>

namespace {

std::size_t calls = 0;
char block[8];
QvnMemoryFunctions* const table = &QvnMemoryAPI;

void* take(std::size_t) { return ++calls, block; }
void* takeAligned(std::size_t, std::size_t) { return ++calls, block; }
void give(void* taken) { calls += taken == block ? 1 : 0; }
void* change(void*, std::size_t) { return ++calls, block; }

}  // namespace

int main() {
    *table = {take, take, takeAligned, give, give, change};
    void* const results[] = {Qv::QvMemory::create(1),           QvnMemoryAPI_create(1),
                             Qv::QvMemory::createZeroed(1),     QvnMemoryAPI_createZeroed(1),
                             Qv::QvMemory::createAligned(1, 8), QvnMemoryAPI_createAligned(1, 8),
                             Qv::QvMemory::resize(block, 1),    QvnMemoryAPI_resize(block, 1)};
    if (calls != std::size(results)) return std::printf("%zu calls of the replacements\n", calls), 1;
    for (void* const result : results)
        if (result != block) return std::puts("another block"), 1;
    Qv::QvMemory::destroy(block);
    QvnMemoryAPI_destroy(block);
    Qv::QvMemory::destroyAligned(block);
    QvnMemoryAPI_destroyAligned(block);
    return calls == std::size(results) + 4 ? 0 : 1;
}
