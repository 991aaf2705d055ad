#include <QvPlatform/core/QvSmartPtr.h>

#include "support/LogCapture.h"

#include <gtest/gtest.h>

#include <atomic>
#include <stdexcept>
#include <thread>
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

void throwAtOnce(Qv::eLogLevel, const char* const, Qv::LogArgs) { throw std::runtime_error("handler"); }

TEST(QvSmartPtr, countsEachOwnerAndDeletesWithTheLast) {
    std::atomic<int> destroyed{0};
    auto* const raw = new Sphere(destroyed);
    EXPECT_EQ(raw->refCount(), 0);
    QvSmartPtr<Sphere> first(raw);
    QvSmartPtr<Sphere> fromRaw(raw);  // the count lives with the object
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

    // The record outlives its object, and a reference that remained does not make it look alive.
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
