#pragma once

#include "support/Platform.h"

#include <functional>

#ifndef _WIN32
#include <pthread.h>
#endif

namespace support {

/// Runs it in a thread whose stack is small, on Linux.
inline void onSmallStack(const std::function<void()>& work) {
#ifdef _WIN32
    work();
#else
    const bool isSanitized = kAddressSanitizer || kThreadSanitizer;
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstacksize(&attributes, isSanitized ? 512 * 1024 : 96 * 1024);
    pthread_t thread{};
    const auto run = [](void* argument) -> void* {
        (*static_cast<const std::function<void()>*>(argument))();
        return nullptr;
    };
    if (pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&work)) == 0)
        pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
#endif
}

}  // namespace support
