#pragma once

#include <QvPlatform/core/QvRefCount.h>

#include <cstddef>
#include <utility>

namespace Qv {

/// Owning pointer to an object derived from `QvRefCount`; follows `std::shared_ptr`.
///
/// Any number of smart pointers may be made from the same raw pointer: the count lives with the object.
/// One smart pointer must not be changed by two threads at once; two that share an object may.
template <typename T>
class QvSmartPtr {
public:
    using element_type = T;

    QvSmartPtr() noexcept = default;
    QvSmartPtr(std::nullptr_t) noexcept {}
    explicit QvSmartPtr(T* object) noexcept : object_(object) {
        if (object_) object_->ref();
    }
    QvSmartPtr(const QvSmartPtr& other) noexcept : QvSmartPtr(other.object_) {}
    QvSmartPtr(QvSmartPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    template <typename U>
    QvSmartPtr(const QvSmartPtr<U>& other) noexcept : QvSmartPtr(static_cast<T*>(other.get())) {}
    ~QvSmartPtr() {
        if (object_) object_->unref();
    }

    QvSmartPtr& operator=(QvSmartPtr other) noexcept {
        swap(other);
        return *this;
    }

    T* get() const noexcept { return object_; }
    T* operator->() const noexcept { return object_; }
    T& operator*() const noexcept { return *object_; }
    explicit operator bool() const noexcept { return object_ != nullptr; }

    void reset() noexcept { QvSmartPtr().swap(*this); }
    void reset(T* object) noexcept { QvSmartPtr(object).swap(*this); }
    void swap(QvSmartPtr& other) noexcept { std::swap(object_, other.object_); }

private:
    template <typename U>
    friend class QvWeakPtr;
    struct Adopt {};
    QvSmartPtr(Adopt, T* referenced) noexcept : object_(referenced) {}

    T* object_ = nullptr;
};

template <typename T, typename U>
bool operator==(const QvSmartPtr<T>& a, const QvSmartPtr<U>& b) noexcept {
    return a.get() == b.get();
}
template <typename T, typename U>
bool operator!=(const QvSmartPtr<T>& a, const QvSmartPtr<U>& b) noexcept {
    return a.get() != b.get();
}

/// Observer of an object derived from `QvRefCount` that does not keep it alive; follows `std::weak_ptr`.
///
/// An object that nobody has referred to yet cannot be locked, and one whose count has reached zero is
/// never revived. Made from a smart pointer, on the thread that holds it.
template <typename T>
class QvWeakPtr {
public:
    QvWeakPtr() noexcept = default;
    template <typename U>
    QvWeakPtr(const QvSmartPtr<U>& owner) noexcept : object_(owner.get()) {
        if (object_) data_ = object_->refCountData();
    }

    /// An owning pointer, or an empty one when the object is gone. Any thread.
    QvSmartPtr<T> lock() const noexcept {
        if (data_ && data_->refUnlessZero()) return QvSmartPtr<T>(typename QvSmartPtr<T>::Adopt{}, object_);
        return nullptr;
    }
    bool expired() const noexcept { return !data_ || data_->count.load() <= 0; }
    void reset() noexcept {
        data_.reset();
        object_ = nullptr;
    }

private:
    T* object_ = nullptr;
    std::shared_ptr<QvRefCount::RefCountData> data_;
};

}  // namespace Qv
