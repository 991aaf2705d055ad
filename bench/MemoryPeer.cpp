// The limit for the memory table: a library that does nothing but call what a pointer says.

#include "MemoryPeer.h"

#include <cstdlib>

namespace {

void* (*volatile makeBlock)(std::size_t) = std::malloc;
void (*volatile freeBlock)(void*) = std::free;

}  // namespace

void* makeByPointer(std::size_t size) { return makeBlock(size); }
void freeByPointer(void* block) { freeBlock(block); }
