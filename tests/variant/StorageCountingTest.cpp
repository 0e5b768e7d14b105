// Sharing and copy-on-write of storage objects: what is shared is never
// written, and mutableInstance hands back an object its caller owns alone.
#include <cstring>
#include <typeinfo>

#include "StorageTestSupport.hpp"

namespace {

using namespace StorageTest;

// Each counted kind of storage: the count follows copy and destruct, the
// sole owner writes in place, and a shared object is cloned and never written.
TEST(StorageCounting, CountFollowsCopyAndASharedObjectIsClonedAndNeverWritten)
{
    Owned kinds[] = {makeArray(iota(6), {2, 3}), adopt(iota(6), {2, 3}),
                     Owned(new ScalarVariantDataRefCounted<double>(0.0))};
    for (Owned& data : kinds) {
        SCOPED_TRACE(typeid(*data).name());
        const auto& counted = dynamic_cast<const IVariantDataRefCounted&>(*data);
        data->copy();
        data->copy();
        EXPECT_EQ(counted.referenceCount(), 3u);
        EXPECT_FALSE(counted.hasSingleReference());
        data->destruct();
        data->destruct();
        EXPECT_TRUE(counted.hasSingleReference());

        const void* before = data->constStoredData();
        data.reset(data.release()->mutableInstance());
        EXPECT_EQ(data->constStoredData(), before) << "an unshared object must not be copied";
        EXPECT_EQ(refCount(data.get()), 1u);

        const std::vector<double> content = valuesOf<double>(*data);
        data->copy();  // a second holder
        Owned mine(data->mutableInstance());
        ASSERT_NE(mine.get(), data.get());
        EXPECT_EQ(refCount(data.get()), 1u) << "the clone must give up the caller's reference";
        EXPECT_EQ(refCount(mine.get()), 1u);
        EXPECT_EQ(typeid(*mine), typeid(*data));
        EXPECT_EQ(extentsOf(*mine), extentsOf(*data));
        EXPECT_EQ(valuesOf<double>(*mine), content);
        auto* writable = static_cast<double*>(mine->mutableStoredData());
        std::fill(writable, writable + content.size(), -1.0);
        EXPECT_EQ(valuesOf<double>(*data), content);
    }
}

// A clone keeps the room and shape of a shrunk array, and shares the text of
// strings until it is written.
TEST(StorageCounting, CloneKeepsRoomAndShapeAndSharesText)
{
    Owned shrunk = makeArray(iota(6), {2, 3});
    shrunk->reshapeNoRealloc(ArrayDimensionsView{2, 2});
    shrunk->copy();
    Owned clone(shrunk->mutableInstance());
    ASSERT_NE(clone.get(), shrunk.get());
    EXPECT_EQ(clone->numberAllocatedElements(), 6u);
    EXPECT_EQ(extentsOf(*clone), (Extents{2, 2}));
    EXPECT_EQ(valuesOf<double>(*clone, 6), iota(6));

    Owned texts = makeArray(std::vector<ZString>{ZString("alpha"), ZString("beta")}, {2});
    texts->copy();
    Owned mine(texts->mutableInstance());
    EXPECT_NE(mine->constStoredData(), texts->constStoredData());
    EXPECT_EQ(elementsOf<ZString>(*mine)[1].c_str(), elementsOf<ZString>(*texts)[1].c_str());
    static_cast<ZString*>(mine->mutableStoredData())[1] = ZString("gamma");
    EXPECT_EQ(elementsOf<ZString>(*texts)[1], ZString("beta"));
}

// A scalar whose count check always reports a second holder: what
// mutableInstance sees when the other holder lets go between its check and
// its decrement.
class StaleSharedScalar final : public ScalarVariantData<double, IVariantDataRefCounted> {
public:
    StaleSharedScalar(double value, int& destroyed) : ScalarVariantData(value), m_destroyed(destroyed) {}
    ~StaleSharedScalar() override { ++m_destroyed; }
    [[nodiscard]] IVariantData* clone() const override { return new ScalarVariantDataRefCounted<double>(m_value); }
    [[nodiscard]] bool hasSingleReference() const override { return false; }

private:
    int& m_destroyed;
};

TEST(StorageCounting, MutableInstanceFreesTheOriginalWhenItHeldTheLastReference)
{
    int destroyed = 0;
    IVariantData* stale = new StaleSharedScalar(2.5, destroyed);
    Owned mine(stale->mutableInstance());
    EXPECT_NE(mine.get(), stale);
    EXPECT_EQ(destroyed, 1);
    EXPECT_EQ(*elementsOf<double>(*mine), 2.5);
    EXPECT_EQ(refCount(mine.get()), 1u);
}

TEST(StorageCounting, UncountedScalarIgnoresCopyAndDestructAndReorderShares)
{
    alignas(void*) unsigned char buffer[32];
    const ZString text("a text long enough to live in a record");
    IVariantData* scalar = constructVariantScalar<ZString>(buffer, sizeof buffer, text);
    ASSERT_EQ(static_cast<void*>(scalar), static_cast<void*>(buffer));
    scalar->copy();
    scalar->destruct();
    scalar->destruct();  // would destroy the value if it were counted
    EXPECT_EQ(scalar->mutableInstance(), scalar);
    IVariantData* reordered = scalar->reorderData(kColumn);
    EXPECT_EQ(reordered, scalar);
    reordered->destruct();
    EXPECT_EQ(elementsOf<ZString>(*scalar)->c_str(), text.c_str());
    scalar->~IVariantData();

    // Reordering to the current ordering shares; a scalar has no ordering.
    Owned array = makeArray(iota(6), {2, 3}, kColumn);
    Owned same(array->reorderData(kColumn));
    EXPECT_EQ(same.get(), array.get());
    EXPECT_EQ(refCount(array.get()), 2u);
    Owned counted(new ScalarVariantDataRefCounted<double>(1.0));
    Owned alsoSame(counted->reorderData(kColumn));
    EXPECT_EQ(alsoSame.get(), counted.get());
    EXPECT_EQ(refCount(counted.get()), 2u);
}

}  // namespace
