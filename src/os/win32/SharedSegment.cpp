// A segment is a named mutex ("NAME_mutex") and a named file mapping in the paging file. The system removes
// each with its last handle, however a process ends. `open` takes them in the order of `SegmentFailure`:
// mutex, mapping, view, then the size, which is too small if an existing segment is smaller than requested.
// On failure the record closes what it has opened.
//
// The mutex is re-entrant. If its owner died, waiting succeeds too (`WAIT_ABANDONED`), and the memory is as
// the owner left it. Closing does not release a mutex that the calling thread owns.

#include "os/SharedSegment.h"

#include "os/win32/Windows.h"

namespace os {
namespace {

struct Unmap {
    void operator()(void* view) const { UnmapViewOfFile(view); }
};

}  // namespace

// Destroyed in reverse order: the mutex outlives the memory that it guards.
struct SharedSegment::Record {
    win32::Handle mutex;
    win32::Handle mapping;
    std::unique_ptr<void, Unmap> view;

    SegmentFailure open(const std::string& name, std::size_t size) {
        const std::wstring wideName = base::widen(name);
        mutex = win32::Handle(CreateMutexW(nullptr, FALSE, (wideName + L"_mutex").c_str()));
        if (!mutex) return SegmentFailure::mutex;
        mapping = win32::Handle(CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE,
                                                   static_cast<DWORD>(size >> 32U), static_cast<DWORD>(size),
                                                   wideName.c_str()));
        if (!mapping) return SegmentFailure::memory;
        view.reset(MapViewOfFile(mapping.get(), FILE_MAP_ALL_ACCESS, 0, 0, 0));
        if (!view) return SegmentFailure::view;
        MEMORY_BASIC_INFORMATION region{};
        VirtualQuery(view.get(), &region, sizeof region);
        return region.RegionSize < size ? SegmentFailure::size : SegmentFailure::none;
    }
};

SharedSegment::SharedSegment() = default;

SharedSegment::~SharedSegment() = default;

SegmentFailure SharedSegment::open(const std::string& name, std::size_t size) {
    auto record = std::make_unique<Record>();
    const SegmentFailure failure = record->open(name, size);
    if (failure == SegmentFailure::none) record_ = std::move(record);
    return failure;
}

void SharedSegment::close() noexcept { record_.reset(); }

void* SharedSegment::data() const noexcept { return record_ ? record_->view.get() : nullptr; }

void SharedSegment::lock() noexcept {
    if (record_) WaitForSingleObject(record_->mutex.get(), INFINITE);
}

void SharedSegment::unlock() noexcept {
    if (record_) ReleaseMutex(record_->mutex.get());
}

}  // namespace os
