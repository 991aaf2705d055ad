// A library whose static initializer starts a thread, while the loader still holds its lock.

#include "ThreadAtLoad.h"

#include <QvPlatform/threads/QvThread.h>

namespace {

std::atomic<std::uint64_t> seenInside{0};

unsigned int tellIdentifier(void*) {
    seenInside = Qv::QvThreadGetID();
    return 0;
}

const std::uint64_t returned = Qv::QvThreadCreate(tellIdentifier, nullptr);

}  // namespace

std::uint64_t returnedAtLoad() { return returned; }
std::uint64_t seenByThreadAtLoad() { return seenInside; }
