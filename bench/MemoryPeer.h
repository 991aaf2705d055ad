#pragma once

#include <cstddef>

[[gnu::visibility("default")]] void* makeByPointer(std::size_t size);
[[gnu::visibility("default")]] void freeByPointer(void* block);
