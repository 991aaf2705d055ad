#pragma once

#include <QvPlatform/core/Export.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <unordered_map>
#include <unordered_set>

namespace QvSim::StringUtils {

/// Hands out names that are unique within the collection.
///
///     QvSim::StringUtils::UniqueNamesCollection names;
///     names.acquire("wheel");    // "wheel"
///     names.acquire("wheel");    // "wheel1"
///     names.acquire("wheel");    // "wheel2"
///     names.release("wheel1");
///     names.acquire("wheel");    // "wheel1"
///
/// No operation takes time that grows linearly with the number of names. Names are bytes; letter case
/// matters. `acquire` and `release` change nothing when memory runs out. Not thread-safe.
class QV_API UniqueNamesCollection {
public:
    /// Takes `name` if it is free, else `name` followed by the smallest number from 1 on, in decimal, that
    /// makes it free. Returns the name taken.
    std::string acquire(const std::string& name);

    /// Makes a taken name free again; false when it was not taken.
    bool release(const std::string& name);

    bool contains(const std::string& name) const;
    std::size_t size() const noexcept;
    void clear() noexcept;

private:
    /// Disjoint runs of numbers, first to last, with a gap after each.
    using Runs = std::map<std::uint64_t, std::uint64_t>;

    std::string freeNameFor(const std::string& name) const;

    std::unordered_set<std::string> taken_;
    /// The numbers that follow each beginning of a taken name; none after an `acquire` that failed.
    std::unordered_map<std::string, Runs> numbersAfter_;
};

}  // namespace QvSim::StringUtils
