#include <QvPlatform/threads/Mutex.h>

#include "os/CriticalSection.h"

namespace QvPlatform {

struct Mutex::Record {
    os::CriticalSection section;
};

Mutex::Mutex() : record_(std::make_unique<Record>()) {}

Mutex::~Mutex() = default;

void Mutex::lock() { record_->section.lock(); }

void Mutex::unlock() { record_->section.unlock(); }

}  // namespace QvPlatform
