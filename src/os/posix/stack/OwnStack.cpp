#include "os/posix/stack/OwnStack.h"

#include "os/Cancellation.h"

#include <pthread.h>

#include <csignal>
#include <cstddef>

namespace os::posix {
namespace {

constexpr std::size_t kStackBytes = std::size_t{1} << 20U;

// A new thread inherits the signal mask.
bool create(pthread_t& thread, void* (*work)(void*), void* argument) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const bool started = pthread_attr_setstacksize(&attributes, kStackBytes) == 0 &&
                         pthread_create(&thread, &attributes, work, argument) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    pthread_attr_destroy(&attributes);
    return started;
}

void* run(void* work) {
    (*static_cast<const std::function<void()>*>(work))();
    return nullptr;
}

}  // namespace

bool startThread(void* (*work)(void*), void* argument) {
    pthread_t thread{};
    return create(thread, work, argument) && pthread_detach(thread) == 0;
}

bool runOnOwnStack(const std::function<void()>& work) {
    const CancellationShield shield;
    pthread_t thread{};
    return create(thread, run, const_cast<std::function<void()>*>(&work)) &&
           pthread_join(thread, nullptr) == 0;
}

}  // namespace os::posix
