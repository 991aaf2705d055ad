#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvArray.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace Qv {

/// Base of reference-counted objects; `QvSmartPtr` does the counting.
///
///     class Mesh : public Qv::QvRefCount { ... };
///     Qv::QvSmartPtr<Mesh> mesh(new Mesh);          // count 1
///     Qv::QvWeakPtr<Mesh> watch(mesh);              // count still 1
///
/// A new object has count 0 and is deleted when the count returns to 0. Allocate it on the heap unless
/// nothing ever references it. A copy is a new object: it starts with count 0 and no subscribers. Any thread
/// may count.
///
/// Traps: in a constructor, a temporary smart pointer to `this` deletes the object. In a destructor, it is
/// harmless only if the object was deleted by its count, not by `delete` or at the end of a scope.
class QV_API QvRefCount {
public:
    /// Observer of an object's destruction. Not owned by the object.
    class QV_API Subscriber {
    public:
        Subscriber();
        Subscriber(const Subscriber&);
        Subscriber& operator=(const Subscriber&);
        virtual ~Subscriber();
        /// Called once by the destructor of `QvRefCount`, on the destroying thread, in the order of
        /// subscription. Only the `QvRefCount` base of `object` still exists. May unsubscribe or delete this
        /// observer and others; those not yet called are then skipped. Must not throw.
        virtual void onDestroyed(const QvRefCount& object) = 0;
    };

    /// The count, in a separate record that outlives the object as long as an observer holds it.
    struct RefCountData {
        std::atomic<std::int32_t> count{0};
        QvArray<Subscriber*> subscribers;

        /// Adds a reference if there is at least one. False if there is none: the object is destroyed, being
        /// destroyed, or not referenced yet.
        QV_API bool refUnlessZero() noexcept;
    };

    QvRefCount();
    QvRefCount(const QvRefCount& other);
    QvRefCount& operator=(const QvRefCount& other);

    /// Logs at DEBUG level if references remain; never throws.
    virtual ~QvRefCount();

    /// Adds a reference.
    void ref() const noexcept;
    /// Removes a reference. If it was the last one, deletes the object.
    void unref() const;
    /// The current number of references.
    std::int32_t refCount() const noexcept;

    /// Registers an observer of the object's destruction. Does nothing if the pointer is null or already
    /// registered, or while observers are being called. Not synchronized: one thread at a time.
    void subscribe(Subscriber* subscriber);
    /// Removes an observer; an unknown one is ignored.
    void unsubscribe(Subscriber* subscriber);

    /// The count's record, for observers such as `QvWeakPtr`.
    const std::shared_ptr<RefCountData>& refCountData() const noexcept;

private:
    template <typename T>
    friend class QvSmartPtr;
    // `ref` and `unref` without a call into the library.
    void addReference() const noexcept { data_->count.fetch_add(1, std::memory_order_relaxed); }
    void removeReference() const {
        if (data_->count.fetch_sub(1, std::memory_order_acq_rel) == 1) destroy();
    }
    void destroy() const;

    std::shared_ptr<RefCountData> data_;
};

}  // namespace Qv
