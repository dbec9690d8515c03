#include <gtest/gtest.h>

#include <QPointer>

#include "sdk/qt/QuorvelServiceBase.h"

namespace QuorvelSdk {
namespace {

// Fills the base's holdings the way a derived service would.
class Holder : public QuorvelServiceBase
{
public:
    using QuorvelServiceBase::ownedObject;
    using QuorvelServiceBase::sharedHandle;
    using QuorvelServiceBase::trackedObjects;
};

TEST(QuorvelServiceBase, ReleaseAllLetsGoOfEverythingAndTwiceIsHarmless)
{
    Holder holder;
    QObject source;
    auto* tracked = new QObject;
    auto* alreadyGone = new QObject;
    int fired = 0;
    QObject::connect(&source, &QObject::objectNameChanged, tracked, [&] { ++fired; });
    holder.trackedObjects = {tracked, alreadyGone};
    delete alreadyGone;
    QPointer<QObject> watch = tracked;

    auto owned = std::make_unique<QObject>();
    QPointer<QObject> ownedWatch = owned.get();
    holder.ownedObject = std::move(owned);
    auto shared = std::make_shared<int>(7);
    holder.sharedHandle = shared;

    holder.releaseAll();
    EXPECT_TRUE(watch.isNull());
    EXPECT_TRUE(ownedWatch.isNull());
    EXPECT_TRUE(holder.trackedObjects.isEmpty());
    EXPECT_EQ(shared.use_count(), 1);
    source.setObjectName("changed");
    EXPECT_EQ(fired, 0);

    holder.releaseAll();
    EXPECT_TRUE(holder.trackedObjects.isEmpty());
    EXPECT_EQ(holder.ownedObject, nullptr);
}

TEST(QuorvelServiceBase, DestructionReleasesTrackedObjects)
{
    QPointer<QObject> watch;
    {
        Holder holder;
        auto* tracked = new QObject;
        watch = tracked;
        holder.trackedObjects.append(tracked);
    }
    EXPECT_TRUE(watch.isNull());
}

} // namespace
} // namespace QuorvelSdk
