#include "os/LargeStack.h"

#include <pthread.h>

#include <cstddef>

namespace os {
namespace {

constexpr std::size_t kStackBytes = std::size_t{64} << 20U;

void* run(void* work) {
    (*static_cast<const std::function<void()>*>(work))();
    return nullptr;
}

}  // namespace

bool runOnLargeStack(const std::function<void()>& work) {
    pthread_attr_t attributes;
    if (pthread_attr_init(&attributes) != 0) return false;
    pthread_t thread{};
    const bool started =
        pthread_attr_setstacksize(&attributes, kStackBytes) == 0 &&
        pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)) == 0;
    pthread_attr_destroy(&attributes);
    return started && pthread_join(thread, nullptr) == 0;
}

}  // namespace os
