#include <QvPlatform/core/QvRefCount.h>

#include <QvPlatform/diagnostics/Log.h>

#include "diagnostics/log/LogQuietly.h"

#include <algorithm>

namespace Qv {
namespace {

// Added to the count: the first when the last reference is released, the second while observers are notified.
// Both are far below zero, so that references made during destruction never bring the count back to zero.
constexpr std::int32_t kGoing = -(1 << 29);
constexpr std::int32_t kTelling = -(1 << 30);

std::int32_t referencesIn(std::int32_t count) noexcept { return count < kGoing / 2 ? count - kGoing : count; }

void warnStillReferenced(std::int32_t count) noexcept {
    detail::logQuietly([=] {
        LogDebug("QvRefCount: deleting still referenced object (refcount = %d)\n", static_cast<int>(count));
        LogDebug("QvRefCount: memory corruption is possible.\n");
    });
}

}  // namespace

QvRefCount::Subscriber::Subscriber() = default;
QvRefCount::Subscriber::Subscriber(const Subscriber&) = default;
QvRefCount::Subscriber& QvRefCount::Subscriber::operator=(const Subscriber&) = default;
QvRefCount::Subscriber::~Subscriber() = default;

bool QvRefCount::RefCountData::refUnlessZero() noexcept {
    std::int32_t seen = count.load();
    while (seen > 0) {
        if (count.compare_exchange_weak(seen, seen + 1)) return true;
    }
    return false;
}

QvRefCount::QvRefCount() : data_(std::make_shared<RefCountData>()) {}

QvRefCount::QvRefCount(const QvRefCount&) : QvRefCount() {}

// The count belongs to the object, not to its value.
QvRefCount& QvRefCount::operator=(const QvRefCount&) { return *this; }

// Each observer is removed from the list before it is notified, so it may remove or delete itself or others.
// Nothing is allocated.
QvRefCount::~QvRefCount() {
    const std::int32_t left = referencesIn(data_->count.exchange(kTelling));
    auto& untold = data_->subscribers;
    std::reverse(untold.begin(), untold.end());
    while (!untold.empty()) {
        Subscriber* const next = untold.back();
        untold.pop_back();
        next->onDestroyed(*this);
    }
    if (left > 0) warnStillReferenced(left);
}

void QvRefCount::ref() const noexcept { addReference(); }

void QvRefCount::unref() const { removeReference(); }

void QvRefCount::destroy() const {
    data_->count.store(kGoing, std::memory_order_relaxed);
    delete this;
}

std::int32_t QvRefCount::refCount() const noexcept { return referencesIn(data_->count.load()); }

void QvRefCount::subscribe(Subscriber* subscriber) {
    if (!subscriber || data_->count.load() < (kTelling + kGoing) / 2) return;
    auto& known = data_->subscribers;
    if (std::find(known.begin(), known.end(), subscriber) == known.end()) known.push_back(subscriber);
}

void QvRefCount::unsubscribe(Subscriber* subscriber) {
    auto& known = data_->subscribers;
    known.erase(std::remove(known.begin(), known.end(), subscriber), known.end());
}

const std::shared_ptr<QvRefCount::RefCountData>& QvRefCount::refCountData() const noexcept { return data_; }

}  // namespace Qv
