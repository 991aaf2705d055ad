#pragma once

#include <QvPlatform/threads/SharedMemory.h>

#include <array>
#include <atomic>

namespace support {

/// A segment that any test process may open and close, viewed as `Data`, which is initially zero.
template <typename Data>
class SharedSegment : public QvPlatform::SharedMemoryBase {
public:
    using SharedMemoryBase::close;

    bool open(const std::string& key, std::size_t size = sizeof(Data)) {
        return SharedMemoryBase::open(key, size);
    }
    Data& operator*() { return *static_cast<Data*>(data()); }
    Data* operator->() { return static_cast<Data*>(data()); }
};

using SharedWord = std::atomic<std::uint64_t>;
using SharedBlock = std::array<char, 65'536>;

/// Shared state of processes that open and close one segment; it is in another segment, which stays open.
struct Meeting {
    SharedWord present, holders;
    std::uint64_t visits;  ///< guarded by the lock of the segment that they open and close
};

}  // namespace support
