#include <QvPlatform/core/UniqueNamesCollection.h>

#include "Require.h"

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>

namespace {

using fuzz::require;

// The definition: counts until a name is free.
std::string referenceAcquire(std::set<std::string>& taken, const std::string& name) {
    std::string free = name;
    for (int number = 1; taken.count(free) != 0; ++number) free = name + std::to_string(number);
    taken.insert(free);
    return free;
}

// Names that end alike collide.
std::string nameOf(std::uint8_t byte) {
    constexpr const char* kNames[] = {"", "a", "a1", "a0", "a11", "1", "0", "a9999999999999999999"};
    return kNames[byte % 8];
}

}  // namespace

// Each byte is a step: the lower bits are a name, a number after it, and whether it is acquired or released.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    QvSim::StringUtils::UniqueNamesCollection names;
    std::set<std::string> taken;
    for (std::size_t i = 0; i < size; ++i) {
        std::string name = nameOf(data[i]);
        if (const int number = data[i] >> 4U & 7; number != 0) name += std::to_string(number);
        if (data[i] < 0x80)
            require(names.acquire(name) == referenceAcquire(taken, name));
        else
            require(names.release(name) == (taken.erase(name) != 0));
        require(names.size() == taken.size());
    }
    for (const std::string& name : taken) require(names.contains(name));
    return 0;
}
