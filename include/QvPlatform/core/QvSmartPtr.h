#pragma once

#include <QvPlatform/core/QvRefCount.h>

#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace Qv {

/// Owning pointer to an object derived from `QvRefCount`; follows `std::shared_ptr`.
///
/// Any number of smart pointers may be constructed from the same raw pointer, since the count belongs to the
/// object. Two threads must not change the same smart pointer at once, but may change two that share an
/// object.
template <typename T>
class QvSmartPtr {
public:
    using element_type = T;

    QvSmartPtr() noexcept = default;
    QvSmartPtr(std::nullptr_t) noexcept {}
    explicit QvSmartPtr(T* object) noexcept : object_(object) {
        if (object_) countsOf(object_).addReference();
    }
    QvSmartPtr(const QvSmartPtr& other) noexcept : QvSmartPtr(other.object_) {}
    QvSmartPtr(QvSmartPtr&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    /// Accepts only pointers that convert implicitly: to a base or to const.
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    QvSmartPtr(const QvSmartPtr<U>& other) noexcept : QvSmartPtr(other.object_) {}
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    QvSmartPtr(QvSmartPtr<U>&& other) noexcept : object_(std::exchange(other.object_, nullptr)) {}
    ~QvSmartPtr() {
        if (object_) countsOf(object_).removeReference();
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
    friend class QvSmartPtr;
    template <typename U>
    friend class QvWeakPtr;
    struct Adopt {};
    QvSmartPtr(Adopt, T* referenced) noexcept : object_(referenced) {}
    static const QvRefCount& countsOf(const T* object) noexcept { return *object; }

    T* object_ = nullptr;
};

template <typename T, typename U>
bool operator==(const QvSmartPtr<T>& a, const QvSmartPtr<U>& b) noexcept {
    return a.get() == b.get();
}
template <typename T, typename U>
bool operator!=(const QvSmartPtr<T>& a, const QvSmartPtr<U>& b) noexcept {
    return !(a == b);
}
template <typename T>
bool operator==(const QvSmartPtr<T>& a, std::nullptr_t) noexcept {
    return !a;
}
template <typename T>
bool operator==(std::nullptr_t, const QvSmartPtr<T>& a) noexcept {
    return !a;
}
template <typename T>
bool operator!=(const QvSmartPtr<T>& a, std::nullptr_t) noexcept {
    return static_cast<bool>(a);
}
template <typename T>
bool operator!=(std::nullptr_t, const QvSmartPtr<T>& a) noexcept {
    return static_cast<bool>(a);
}
/// Orders by address.
template <typename T, typename U>
bool operator<(const QvSmartPtr<T>& a, const QvSmartPtr<U>& b) noexcept {
    return std::less<std::common_type_t<T*, U*>>()(a.get(), b.get());
}

/// Non-owning observer of an object derived from `QvRefCount`; follows `std::weak_ptr`.
///
/// An object that has not been referenced yet cannot be locked. An object whose count has reached zero is
/// never revived. Construct a weak pointer from a smart pointer, on the thread that holds it, or from another
/// weak pointer.
template <typename T>
class QvWeakPtr {
public:
    QvWeakPtr() noexcept = default;
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    QvWeakPtr(const QvSmartPtr<U>& owner) noexcept : object_(owner.get()) {
        if (owner) data_ = owner->refCountData();
    }
    // Locks `other` first, since the object must exist while its pointer is converted to a virtual base.
    template <typename U, typename = std::enable_if_t<std::is_convertible_v<U*, T*>>>
    QvWeakPtr(const QvWeakPtr<U>& other) noexcept : QvWeakPtr(other.lock()) {}

    /// An owning pointer, or an empty one if the object is destroyed. Any thread.
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

template <typename T>
QvWeakPtr(const QvSmartPtr<T>&) -> QvWeakPtr<T>;

}  // namespace Qv

/// Hashes the address, so that a smart pointer can be a key.
template <typename T>
struct std::hash<Qv::QvSmartPtr<T>> {
    std::size_t operator()(const Qv::QvSmartPtr<T>& pointer) const noexcept {
        return std::hash<T*>()(pointer.get());
    }
};
