#include "support/MemoryLimit.h"

#include <cstdlib>
#include <new>

thread_local int allocationsLeft = -1;

void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    if (allocationsLeft == 0) return nullptr;
    if (allocationsLeft > 0) --allocationsLeft;
    return std::malloc(size);
}

void* operator new(std::size_t size) {
    void* const memory = operator new(size, std::nothrow);
    return memory ? memory : throw std::bad_alloc();
}

void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
