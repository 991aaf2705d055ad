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
class QV_API QvRefCount {
public:
    /// Is told when an object that it subscribed to is about to go. Not owned by the object.
    class QV_API Subscriber {
    public:
        Subscriber();
        Subscriber(const Subscriber&);
        Subscriber& operator=(const Subscriber&);
        virtual ~Subscriber();
        /// Called once, at the start of the object's destruction, on the destroying thread. Only the
        /// base part of `object` is still whole. Must not throw.
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
    /// Takes a reference away and deletes the object when none is left.
    void unref() const;
    /// The number of references at this moment.
    std::int32_t refCount() const noexcept;

    /// Registers an observer of the object's end; a null pointer or a second registration does nothing.
    /// Subscribing is not synchronized: one thread at a time.
    void subscribe(Subscriber* subscriber);
    /// Withdraws an observer; an unknown one is ignored.
    void unsubscribe(Subscriber* subscriber);

    /// The record, for observers such as `QvWeakPtr`.
    const std::shared_ptr<RefCountData>& refCountData() const noexcept;

private:
    std::shared_ptr<RefCountData> data_;
};

}  // namespace Qv
