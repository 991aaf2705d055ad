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
/// `acquire`, `release` and `contains` take less than linear time in the number of names. Names are byte
/// strings; comparison is case-sensitive. If memory runs out, `acquire` and `release` change nothing. Not
/// thread-safe.
class QV_API UniqueNamesCollection {
public:
    /// Takes `name` if it is free, else `name` followed by the smallest decimal number, from 1, that gives a
    /// free name. Returns the name taken.
    std::string acquire(const std::string& name);

    /// Frees a taken name; false if it was not taken.
    bool release(const std::string& name);

    bool contains(const std::string& name) const;
    std::size_t size() const noexcept;
    void clear() noexcept;

private:
    /// Disjoint runs of numbers: maps the first number to the last, with a gap after each run.
    using Runs = std::map<std::uint64_t, std::uint64_t>;

    std::string freeNameFor(const std::string& name) const;

    std::unordered_set<std::string> taken_;
    /// For each prefix of a taken name, the numbers that follow it. May hold empty sets after a failed
    /// `acquire`.
    std::unordered_map<std::string, Runs> numbersAfter_;
};

}  // namespace QvSim::StringUtils
