#pragma once

#include <QvPlatform/core/Export.h>
#include <QvPlatform/core/QvArray.h>

#include <atomic>
#include <cstdint>
#include <memory>

namespace Qv {

/// Base of objects that are shared by counting their references; `QvSmartPtr` does the counting.
///
///     class Mesh : public Qv::QvRefCount { ... };
///     Qv::QvSmartPtr<Mesh> mesh(new Mesh);          // count 1
///     Qv::QvWeakPtr<Mesh> watch(mesh);              // count still 1
///
/// A new object has count 0 and is deleted when the count comes back to 0, so it lives on the heap
/// unless nobody ever refers to it. A copy is a new object: it starts with a count and subscribers of
/// its own. Counting may be done from any thread.
///
/// Traps: a smart pointer to `this` that a constructor makes and drops deletes the object. In the destructor
/// it does no harm if the object was deleted by its count, and not by `delete` or the end of a scope.
class QV_API QvRefCount {
public:
    /// Is told when an object that it subscribed to is about to go. Not owned by the object.
    class QV_API Subscriber {
    public:
        Subscriber();
        Subscriber(const Subscriber&);
        Subscriber& operator=(const Subscriber&);
        virtual ~Subscriber();
        /// Called once by the destructor of `QvRefCount`, on the destroying thread, in the order of
        /// subscription. Only that base of `object` still exists. May unsubscribe or delete this observer
        /// and others, which then are not called. Must not throw.
        virtual void onDestroyed(const QvRefCount& object) = 0;
    };

    /// The count, in a record of its own that outlives the object for as long as an observer holds it.
    struct RefCountData {
        std::atomic<std::int32_t> count{0};
        QvArray<Subscriber*> subscribers;

        /// Adds a reference unless there is none left; false means that the object is gone or going.
        QV_API bool refUnlessZero() noexcept;
    };

    QvRefCount();
    QvRefCount(const QvRefCount& other);
    QvRefCount& operator=(const QvRefCount& other);

    /// Warns at debug level when references remain; never throws.
    virtual ~QvRefCount();

    /// Adds a reference.
    void ref() const noexcept;
    /// Takes a reference away and deletes the object when that was the last one.
    void unref() const;
    /// The number of references at this moment.
    std::int32_t refCount() const noexcept;

    /// Registers an observer of the object's end. Does nothing for a null pointer, for one that is
    /// registered, and while the observers are called. Not synchronized: one thread at a time.
    void subscribe(Subscriber* subscriber);
    /// Withdraws an observer; an unknown one is ignored.
    void unsubscribe(Subscriber* subscriber);

    /// The record, for observers such as `QvWeakPtr`.
    const std::shared_ptr<RefCountData>& refCountData() const noexcept;

private:
    std::shared_ptr<RefCountData> data_;
};

}  // namespace Qv
