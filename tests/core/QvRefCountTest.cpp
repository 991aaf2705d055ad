#include <QvPlatform/core/QvSmartPtr.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <new>
#include <set>
#include <stdexcept>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

namespace {

using Qv::QvRefCount;
using Qv::QvSmartPtr;
using Qv::QvWeakPtr;
using support::LogCapture;
using Texts = std::vector<std::string>;

class Body : public QvRefCount {
public:
    explicit Body(std::atomic<int>& destroyed) : destroyed_(destroyed) {}
    ~Body() override {
        EXPECT_FALSE(self.lock());
        ++destroyed_;
    }

    QvWeakPtr<Body> self;

private:
    std::atomic<int>& destroyed_;
};

class Sphere : public Body {
public:
    using Body::Body;
};

struct Witness : QvRefCount::Subscriber {
    void onDestroyed(const QvRefCount& object) override {
        EXPECT_EQ(&object, watched);
        ++told;
    }
    const QvRefCount* watched = nullptr;
    int told = 0;
};

// Removes itself and another observer when it is notified, and deletes itself.
struct Leaver : Witness {
    ~Leaver() override { object->unsubscribe(this); }
    void onDestroyed(const QvRefCount& goes) override {
        Witness::onDestroyed(goes);
        object->subscribe(newcomer);
        if (other) object->unsubscribe(other);
        delete this;
    }
    QvRefCount* object = nullptr;
    Witness* other = nullptr;
    Witness* newcomer = nullptr;
};

void throwAtOnce(Qv::eLogLevel, const char* const, Qv::LogArgs) { throw std::runtime_error("handler"); }

TEST(QvSmartPtr, countsEachOwnerAndDeletesWithTheLast) {
    std::atomic<int> destroyed{0};
    auto* const raw = new Sphere(destroyed);
    EXPECT_EQ(raw->refCount(), 0);
    QvSmartPtr<Sphere> first(raw);
    QvSmartPtr<Sphere> fromRaw(raw);  // the count is stored in the object
    QvSmartPtr<Body> base = first;
    EXPECT_EQ(raw->refCount(), 3);
    EXPECT_TRUE(base == first);

    QvSmartPtr<Body> moved(std::move(base));
    const QvSmartPtr<Sphere>& self = first;
    first = self;
    first.reset(raw);
    EXPECT_EQ(raw->refCount(), 3);

    first.reset();
    fromRaw = nullptr;
    base.swap(moved);
    EXPECT_FALSE(moved);
    EXPECT_EQ(base->refCount(), 1);
    EXPECT_EQ(destroyed, 0);
    base = moved;
    EXPECT_EQ(destroyed, 1);
}

TEST(QvRefCount, warnsInTwoLinesWhenReferencesRemain) {
    const LogCapture capture;
    for (const int count : {-1, 0, 1, 2}) {
        {
            QvRefCount object;
            if (count < 0) object.unref();
            for (int i = 0; i < count; ++i) object.ref();
        }
        const auto messages = LogCapture::take();
        if (count <= 0) {
            EXPECT_TRUE(messages.empty()) << count;
            continue;
        }
        ASSERT_EQ(messages.size(), 2U) << count;
        EXPECT_EQ(messages[0].level, Qv::kLogLevelDebug);
        EXPECT_EQ(messages[0].text, "QvRefCount: deleting still referenced object (refcount = " +
                                        std::to_string(count) + ")\n");
        EXPECT_EQ(messages[1].level, Qv::kLogLevelDebug);
        EXPECT_EQ(messages[1].text, "QvRefCount: memory corruption is possible.\n");
    }
}

TEST(QvRefCount, isDestroyedQuietlyWhenTheWarningThrows) {
    const LogCapture capture;
    {
        Qv::LogSetRegExFilter("[");
        QvRefCount object;
        object.ref();
    }
    Qv::LogSetRegExFilter("");
    Qv::LogSetHandler(throwAtOnce);
    QvRefCount object;
    object.ref();
}

TEST(QvRefCount, tellsEachSubscriberOnceThatItGoes) {
    Witness stays;
    Witness leaves;
    {
        QvRefCount object;
        stays.watched = &object;
        object.subscribe(nullptr);
        object.subscribe(&stays);
        object.subscribe(&leaves);
        object.subscribe(&stays);
        object.unsubscribe(&leaves);
        object.unsubscribe(&leaves);
        const QvRefCount copy = object;
    }
    EXPECT_EQ(stays.told, 1);
    EXPECT_EQ(leaves.told, 0);
}

TEST(QvRefCount, tellsEachSubscriberOnceAlthoughOthersLeave) {
    Witness witnesses[4];
    Witness& withdrawn = witnesses[2];
    Witness& newcomer = witnesses[3];
    {
        QvRefCount object;
        const auto subscribeLeaver = [&](Witness* other) {
            auto* const leaver = new Leaver;
            leaver->watched = leaver->object = &object;
            leaver->other = other;
            leaver->newcomer = &newcomer;
            object.subscribe(leaver);
        };
        for (Witness& witness : witnesses) witness.watched = &object;
        object.subscribe(&witnesses[0]);
        subscribeLeaver(&witnesses[0]);
        subscribeLeaver(&withdrawn);
        object.subscribe(&witnesses[1]);
        object.subscribe(&withdrawn);
        subscribeLeaver(nullptr);
    }
    EXPECT_EQ(witnesses[0].told, 1);
    EXPECT_EQ(witnesses[1].told, 1);
    EXPECT_EQ(withdrawn.told, 0);
    EXPECT_EQ(newcomer.told, 0);
}

// Creates a reference to itself during its destruction.
class Clinging : public QvRefCount {
public:
    Clinging(int& destroyed, QvSmartPtr<Clinging>* last) : destroyed_(destroyed), last_(last) {}
    ~Clinging() override {
        ++destroyed_;
        QvSmartPtr<Clinging> self(this);
        EXPECT_EQ(refCount(), 1);
        EXPECT_FALSE(QvWeakPtr<Clinging>(self).lock());
        if (last_) self.swap(*last_);
    }

private:
    int& destroyed_;
    QvSmartPtr<Clinging>* last_;
};

TEST(QvRefCount, isDestroyedOnceAlthoughItsDestructorRefersToIt) {
    const LogCapture capture;
    int destroyed = 0;
    QvSmartPtr<Clinging>(new Clinging(destroyed, nullptr)).reset();
    EXPECT_EQ(destroyed, 1);
    EXPECT_TRUE(LogCapture::take().empty());

    alignas(QvSmartPtr<Clinging>) unsigned char leaked[sizeof(QvSmartPtr<Clinging>)];
    QvSmartPtr<Clinging>(new Clinging(destroyed, new (leaked) QvSmartPtr<Clinging>)).reset();
    EXPECT_EQ(destroyed, 2);
    EXPECT_EQ(LogCapture::take().size(), 2U) << "a reference remains";
}

template <template <typename> class Pointer, template <typename> class Source = Pointer>
constexpr bool convertsLikeStandardPointers() {
    return std::is_convertible_v<Source<Sphere>, Pointer<Body>> &&
           std::is_convertible_v<Source<Body>, Pointer<const Body>> &&
           std::is_assignable_v<Pointer<Body>&, Source<Sphere>> &&
           !std::is_constructible_v<Pointer<Sphere>, Source<Body>> &&
           !std::is_constructible_v<Pointer<Body>, Source<const Body>> &&
           !std::is_assignable_v<Pointer<Sphere>&, Source<Body>> &&
           !std::is_constructible_v<Pointer<Body>, Source<Clinging>>;
}
static_assert(convertsLikeStandardPointers<QvSmartPtr>());
static_assert(convertsLikeStandardPointers<QvWeakPtr>());
static_assert(convertsLikeStandardPointers<QvWeakPtr, QvSmartPtr>());

TEST(QvSmartPtr, comparesAndConvertsLikeAStandardPointer) {
    std::atomic<int> destroyed{0};
    QvSmartPtr<Sphere> sphere(new Sphere(destroyed));
    EXPECT_TRUE(sphere != nullptr && nullptr != sphere && !(sphere == nullptr) && !(nullptr == sphere));
    EXPECT_EQ(std::hash<QvSmartPtr<Sphere>>()(sphere), std::hash<Sphere*>()(sphere.get()));
    EXPECT_EQ((std::set<QvSmartPtr<Sphere>>{sphere, sphere, nullptr}.size()), 2U);
    const QvWeakPtr<Sphere> watch(sphere);
    const QvWeakPtr<const Body> watchedBody = watch;
    EXPECT_TRUE(watchedBody.lock() == sphere);
    const QvSmartPtr<Body> body = std::move(sphere);
    EXPECT_TRUE(sphere == nullptr);
    EXPECT_EQ(body->refCount(), 1);
}

TEST(QvWeakPtr, locksOnlyWhatSomebodyOwns) {
    std::atomic<int> destroyed{0};
    EXPECT_TRUE(!QvWeakPtr<Body>().lock() && QvWeakPtr<Body>().expired());
    QvSmartPtr<Sphere> owner(new Sphere(destroyed));
    const QvWeakPtr<Body> watch(owner);
    owner->self = watch;
    EXPECT_FALSE(watch.expired());
    EXPECT_EQ(watch.lock(), owner);
    EXPECT_EQ(owner->refCount(), 1);

    QvSmartPtr<Body> locked = watch.lock();
    owner.reset();
    EXPECT_EQ(destroyed, 0);
    locked.reset();
    EXPECT_EQ(destroyed, 1);
    EXPECT_TRUE(watch.expired() && !watch.lock());

    // The record outlives its object, and a remaining reference does not make the object appear alive.
    const LogCapture capture;
    QvWeakPtr<Body> orphan;
    {
        Body body(destroyed);
        body.ref();
        body.ref();
        orphan = QvSmartPtr<Body>(&body);
    }
    EXPECT_TRUE(orphan.expired() && !orphan.lock());
}

TEST(QvWeakPtr, racesWithTheLastOwnerAndNeverRevives) {
    constexpr int kObjects = 2000;
    const LogCapture capture;
    std::atomic<int> destroyed{0};
    std::vector<QvSmartPtr<Body>> owners;
    std::vector<QvWeakPtr<Body>> watches;
    for (int i = 0; i < kObjects; ++i) {
        owners.emplace_back(new Body(destroyed));
        watches.emplace_back(owners.back());
        owners.back()->self = watches.back();
    }
    std::atomic<int> started{0};
    const auto together = [&] {
        for (++started; started < 2;) std::this_thread::yield();
    };
    std::thread locker([&] {
        together();
        for (const auto& watch : watches) {
            const auto locked = watch.lock();
            EXPECT_TRUE(!locked || locked->refCount() > 0);
        }
    });
    together();
    for (auto& owner : owners) owner.reset();
    locker.join();

    EXPECT_EQ(destroyed, kObjects);
    for (const auto& watch : watches) EXPECT_FALSE(watch.lock());
    EXPECT_EQ(LogCapture::takeTexts(), Texts{});
}

}  // namespace
