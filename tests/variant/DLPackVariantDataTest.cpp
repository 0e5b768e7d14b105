// DLPack exchange seen from inside: the one share an exported tensor holds,
// the copies made of memory that a caller lent, and an imported tensor as a
// storage object.
#include "LumCore/c/DLPackTensor.h"
#include "LumCore/ZVariant.hpp"
#include "StorageTestSupport.hpp"

namespace {

using namespace StorageTest;

ZVariantData* handleOf(const IVariantData* data)
{
    return reinterpret_cast<ZVariantData*>(const_cast<IVariantData*>(data));
}

TEST(DLPackExport, EachTensorHoldsOneShareAndItsDeleterGivesItUp)
{
    const double values[] = {1, 2, 3, 4};
    Owned array(constructVariantVectorWithDataWithDimsUnresolved<double>(values, 4, ArrayDimensionsView(), kRow));
    ErrorRecord error;
    ZDLManagedTensor* plain = ZVariantData_C_API_exportDLManagedTensor(&error, handleOf(array.get()));
    EXPECT_EQ(refCount(array.get()), 2u);
    ZDLManagedTensorVersioned* versioned =
        ZVariantData_C_API_exportDLManagedTensorVersioned(&error, handleOf(array.get()));
    EXPECT_EQ(refCount(array.get()), 3u);
    EXPECT_EQ(plain->dl_tensor.data, array->constStoredData());
    plain->deleter(plain);
    EXPECT_EQ(refCount(array.get()), 2u);
    versioned->deleter(versioned);
    EXPECT_EQ(refCount(array.get()), 1u);
}

TEST(DLPackExport, LentMemoryAndInPlaceScalarsAreCopiedFirst)
{
    ErrorRecord error;
    auto samples = std::make_unique<LentSamples>(std::vector<double>{1, 2, 3, 4}, Extents{2, 2});
    Owned lent(constructVariantExternal(samples.get()));
    ZDLManagedTensorVersioned* copied = ZVariantData_C_API_exportDLManagedTensorVersioned(&error, handleOf(lent.get()));
    ASSERT_EQ(error.typeName, nullptr);
    EXPECT_NE(copied->dl_tensor.data, samples->values.data());
    EXPECT_EQ(copied->flags, ZDLPACK_FLAG_READ_ONLY | ZDLPACK_FLAG_IS_COPIED);
    EXPECT_EQ(refCount(lent.get()), 1u);

    // A view of lent memory is no safer than the memory itself, nor is a
    // view of that view.
    lent->copy();
    Owned view(constructTransmuteRealToComplexVariant(lent.get()));
    view->copy();
    Owned reals(constructTransmuteComplexToRealVariant(view.get()));
    ZDLManagedTensor* parts = ZVariantData_C_API_exportDLManagedTensor(&error, handleOf(reals.get()));
    ASSERT_EQ(error.typeName, nullptr);
    EXPECT_NE(parts->dl_tensor.data, samples->values.data());
    parts->deleter(parts);
    ZDLManagedTensor* pairs = ZVariantData_C_API_exportDLManagedTensor(&error, handleOf(view.get()));
    ASSERT_EQ(error.typeName, nullptr);
    EXPECT_EQ(pairs->dl_tensor.dtype.code, ZDLDataTypeCode_Complex);
    EXPECT_NE(pairs->dl_tensor.data, samples->values.data());

    // The owner takes its memory back; the tensors still read their copies.
    samples.reset();
    EXPECT_EQ(static_cast<const double*>(copied->dl_tensor.data)[3], 4.0);
    EXPECT_EQ(static_cast<const std::complex<double>*>(pairs->dl_tensor.data)[1], std::complex<double>(3, 4));
    copied->deleter(copied);
    pairs->deleter(pairs);

    // A scalar kept in a variant's own buffer outlives the variant.
    ZDLManagedTensor* scalar = nullptr;
    {
        const ZVariant x = 2.5;
        scalar = ZVariantData_C_API_exportDLManagedTensor(&error, handleOf(x.storage().data()));
        ASSERT_EQ(error.typeName, nullptr);
        EXPECT_NE(scalar->dl_tensor.data, x.storage().data()->constStoredData());
    }
    EXPECT_EQ(scalar->dl_tensor.ndim, 0);
    EXPECT_EQ(*static_cast<const double*>(scalar->dl_tensor.data), 2.5);
    scalar->deleter(scalar);
}

// A producer's row-major 2 x 3 tensor of int16, counting its deleter's calls.
struct Int16Producer {
    std::int16_t elements[6] = {1, 2, 3, 4, 5, 6};
    std::int64_t shape[2] = {2, 3};
    int deleted = 0;
    ZDLManagedTensor managed{};

    Int16Producer()
    {
        managed.dl_tensor.data = elements;
        managed.dl_tensor.device.device_type = ZDLDeviceType_CPU;
        managed.dl_tensor.ndim = 2;
        managed.dl_tensor.dtype = ZDLDataType{ZDLDataTypeCode_Int, 16, 1};
        managed.dl_tensor.shape = shape;
        managed.manager_ctx = this;
        managed.deleter = [](ZDLManagedTensor* self) { ++static_cast<Int16Producer*>(self->manager_ctx)->deleted; };
    }
};

TEST(DLPackImport, ReadsInPlaceReshapesItsOwnShapeAndNeverWrites)
{
    Int16Producer producer;
    ErrorRecord error;
    Owned imported(
        reinterpret_cast<IVariantData*>(ZVariantData_C_API_importDLManagedTensor(&error, &producer.managed)));
    ASSERT_EQ(error.typeName, nullptr);
    EXPECT_EQ(imported->constStoredData(), producer.elements);
    EXPECT_EQ(imported->wellKnownDataType(), WellKnownType(WellKnownTypeValue::int16));
    EXPECT_EQ(imported->numberAllocatedElements(), 6u);
    EXPECT_EQ(imported->typeInfo(), nullptr);
    EXPECT_EQ(imported->customTypeOperations(), nullptr);

    // The shape is the variant's: an unshared import takes another within
    // the tensor, a shared one refuses.
    imported->reshapeNoRealloc(ArrayDimensionsView{3, 2});
    EXPECT_EQ(extentsOf(*imported), (Extents{3, 2}));
    EXPECT_EQ(producer.shape[0], 2);
    imported->copy();  // the same shape asks nothing, shared or not
    imported->reshapeNoRealloc(ArrayDimensionsView{3, 2});
    imported->destruct();
    EXPECT_THROW(imported->reshapeNoRealloc(ArrayDimensionsView{7}), std::length_error);
    imported->copy();
    EXPECT_THROW(imported->reshapeNoRealloc(ArrayDimensionsView{6}), std::runtime_error);
    imported->destruct();

    // Copies out: by reshaping, reordering, cloning and asking to write.
    Owned firstFour(imported->reshapeToZVariant(imported.get(), ArrayDimensionsView{4}, kRow));
    EXPECT_EQ(valuesOf<std::int16_t>(*firstFour), (std::vector<std::int16_t>{1, 2, 3, 4}));
    Owned columns(imported->reorderData(kColumn));
    EXPECT_EQ(valuesOf<std::int16_t>(*columns), (std::vector<std::int16_t>{1, 3, 5, 2, 4, 6}));
    Owned same(imported->reorderData(kRow));
    EXPECT_EQ(same.get(), imported.get());
    same.reset();
    EXPECT_THROW((void)imported->mutableStoredData(), std::logic_error);
    imported->copy();
    Owned mine(imported->mutableInstance());
    EXPECT_NE(mine.get(), imported.get());
    static_cast<std::int16_t*>(mine->mutableStoredData())[0] = 100;
    EXPECT_EQ(producer.elements[0], 1);
    EXPECT_EQ(producer.deleted, 0);
    imported.reset();
    EXPECT_EQ(producer.deleted, 1);
}

TEST(DLPackExchange, TypedVariantsGoOutAndComeBackThroughTheirHandles)
{
    const std::vector<std::size_t> shape{2, 3};
    const float values[] = {1, 2, 3, 4, 5, 6};
    const ZVariantAbi grid(values, 6, shape, kColumn);
    ErrorRecord error;
    ZDLManagedTensorVersioned* tensor = ZVariantData_C_API_exportDLManagedTensorVersioned(&error, grid.flatHandle());
    ASSERT_EQ(error.typeName, nullptr);
    const ZVariant back = ZVariant::adoptFlatHandle(ZVariantData_C_API_importDLManagedTensorVersioned(&error, tensor));
    ASSERT_EQ(error.typeName, nullptr);
    EXPECT_EQ(back.dataOrdering(), kColumn);
    EXPECT_EQ(back.elementAt<float>(5), 6.0f);
    EXPECT_EQ(back.storage().data()->constStoredData(), tensor->dl_tensor.data);
    const ZVariantAbi again = ZVariantAbi::adoptFlatHandle(ZVariantData_C_API_copy(&error, back.flatHandle()));
    EXPECT_TRUE(again.isIdenticalTo(grid));
}

}  // namespace
