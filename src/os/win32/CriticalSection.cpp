#include "os/CriticalSection.h"

#include "base/ObjectIn.h"
#include "os/win32/Windows.h"

#include <new>

namespace os {
namespace {

constexpr DWORD kSpinCount = 4000;

CRITICAL_SECTION* sectionIn(unsigned char* storage) { return base::objectIn<CRITICAL_SECTION>(storage); }

}  // namespace

CriticalSection::CriticalSection() {
    static_assert(sizeof(CRITICAL_SECTION) <= sizeof storage_);
    InitializeCriticalSectionAndSpinCount(new (storage_) CRITICAL_SECTION, kSpinCount);
}

CriticalSection::~CriticalSection() { DeleteCriticalSection(sectionIn(storage_)); }

int CriticalSection::lock() noexcept {
    EnterCriticalSection(sectionIn(storage_));
    return 0;
}

bool CriticalSection::try_lock() noexcept { return TryEnterCriticalSection(sectionIn(storage_)) != 0; }

void CriticalSection::unlock() noexcept { LeaveCriticalSection(sectionIn(storage_)); }

}  // namespace os
