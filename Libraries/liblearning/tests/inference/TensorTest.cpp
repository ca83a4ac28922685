#include "Learning/Tensor.h"

#include "inference/ONNXTensor.h"
#include "tests/TestModels.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <climits>

namespace Learning {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/// A platform tensor as a host hands one over.
Kernel::Counted<ONNXTensor> MakePlatformTensor(const std::vector<std::int64_t>& shape,
                                               ONNXTensorElementDataType type) {
    EnsureONNXRuntime();
    Ort::AllocatorWithDefaultOptions allocator;
    return Kernel::MakeCounted<ONNXTensor>(
        Ort::Value::CreateTensor(allocator, shape.data(), shape.size(), type));
}

TEST(Tensor, ChoosesTheConstructorThatTheArgumentsRead) {
    EXPECT_THAT(Tensor({}).GetDimensions(), IsEmpty());
    EXPECT_THAT(Tensor({0}).GetDimensions(), ElementsAre(0));
    EXPECT_THAT(Tensor({4, 0, 2}, 1.0F).GetDimensions(), ElementsAre(4, 0, 2));
    EXPECT_THAT(Tensor({2, 3}).GetDimensions(), ElementsAre(2, 3));
    EXPECT_THAT(GetValues(Tensor({3}, 7), 3), ElementsAre(7, 7, 7));
    EXPECT_THAT(GetValues(Tensor({2}, {7, 8.5F}), 2), ElementsAre(7, 8.5F));
    EXPECT_THAT(GetValues(Tensor({2}, std::vector<float>{1, 2}), 2), ElementsAre(1, 2));
    EXPECT_THAT(Tensor({3}, {}).GetDimensions(), ElementsAre(3));
}

TEST(Tensor, IsMadeCountedFromTheSameLists) {
    using Kernel::MakeCounted;
    EXPECT_THAT(MakeCounted<Tensor>({2, 3})->GetDimensions(), ElementsAre(2, 3));
    EXPECT_THAT(GetValues(*MakeCounted<Tensor>({2}, 7.5F), 2), ElementsAre(7.5F, 7.5F));
    EXPECT_THAT(GetValues(*MakeCounted<Tensor>({2}, {7.5F, 8.5F}), 2), ElementsAre(7.5F, 8.5F));
    EXPECT_THAT(GetValues(*MakeCounted<Tensor>({2}, std::vector<float>{1, 2}), 2),
                ElementsAre(1, 2));
}

TEST(Tensor, AddressesElementsInRowMajorOrder) {
    Tensor tensor({2, 3, 4}, 0.0F);
    for (int i = 0; i < 24; ++i) {
        tensor.SetValueAtIndexedSubscript(static_cast<std::uint64_t>(i), static_cast<float>(i));
    }
    EXPECT_EQ(tensor.GetValueAtKeyedSubscript({1, 2, 3}), 23);
    EXPECT_EQ(tensor.GetValueAtKeyedSubscript({1, 0, 0}), 12);
    EXPECT_EQ(tensor.GetValueAtKeyedSubscript({0, 2, 1}), 9);
    EXPECT_EQ(tensor.GetValueAtKeyedSubscript({0, 0, 7}), 7);  // not checked, on purpose

    Tensor scalar({}, 5.0F);
    EXPECT_EQ(scalar.GetValueAtKeyedSubscript({}), 5);
    scalar.SetValueAtKeyedSubscript({}, 6);
    EXPECT_EQ(scalar.GetValueAtIndexedSubscript(0), 6);
}

/// Takes storage and no shape.
class Shapeless : public Tensor {
public:
    explicit Shapeless(Kernel::Counted<ONNXTensor> platform) { SetPlatformTensor(&platform); }
};

TEST(Tensor, NeedsNoDimensionForAKeyOfOneIndex) {
    Tensor scalar({}, 5.0F);
    EXPECT_EQ(scalar.GetValueAtKeyedSubscript({0}), 5);
    Shapeless three(MakePlatformTensor({3}, ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT));
    three.SetValueAtKeyedSubscript({2}, 7);
    EXPECT_EQ(three.GetValueAtIndexedSubscript(2), 7);
}

TEST(Tensor, SharesElementsWithItsCopies) {
    Tensor source({2}, {1, 2});
    Tensor copy(source);
    Tensor assigned({5}, 0.0F);
    assigned = source;
    copy.SetValueAtIndexedSubscript(1, 9);
    EXPECT_THAT(GetValues(source, 2), ElementsAre(1, 9));
    EXPECT_THAT(GetValues(assigned, 2), ElementsAre(1, 9));
    EXPECT_THAT(assigned.GetDimensions(), ElementsAre(2));

    source.DestroyPlatformTensor();
    EXPECT_THAT(GetValues(copy, 2), ElementsAre(1, 9));
    source.CreatePlatformTensor({3});
    source.SetValueAtIndexedSubscript(0, 4);
    EXPECT_THAT(GetValues(copy, 2), ElementsAre(1, 9));
    EXPECT_THAT(source.GetDimensions(), ElementsAre(3));
}

TEST(Tensor, AdoptsAPlatformTensor) {
    auto platform = MakePlatformTensor({1, 3, 5, 7}, ONNX_TENSOR_ELEMENT_DATA_TYPE_FLOAT);
    {
        Tensor tensor(&platform);
        EXPECT_THAT(tensor.GetDimensions(), ElementsAre(1, 3, 5, 7));
        tensor.SetValueAtKeyedSubscript({0, 2, 4, 6}, 3);

        Tensor other({2});
        EXPECT_THAT(other.SetPlatformTensor(&platform), ElementsAre(1, 3, 5, 7));
        EXPECT_THAT(other.GetDimensions(), ElementsAre(2));  // the caller stores the shape
        EXPECT_EQ(other.GetValueAtIndexedSubscript(104), 3);
        EXPECT_EQ(platform->GetReferenceCount(), 3);
    }
    EXPECT_EQ(platform->GetReferenceCount(), 1);
}

TEST(Tensor, RefusesSizesBeyondItsMeansAndPlatformTensorsThatAreNone) {
    const std::vector<int> shapes[] = {
        {2, -1}, {-2, -2}, {INT_MAX, INT_MAX, INT_MAX, 2}, {1 << 30, 1 << 30, 4}};
    for (const std::vector<int>& shape : shapes) {
        EXPECT_THROW(Tensor tensor(shape), Ort::Exception) << testing::PrintToString(shape);
        EXPECT_THROW(Tensor(shape, 0.0F), Ort::Exception) << testing::PrintToString(shape);
    }
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)  // they end the program
    try {
        Tensor tensor({1 << 30, 1 << 20, 2});
        ADD_FAILURE() << "8 PiB of memory";
    } catch (const Ort::Exception& error) {
        EXPECT_THAT(error.what(), HasSubstr("1073741824x1048576x2 floats, which are 90071992547"));
    }
#endif
    Kernel::Counted<ONNXTensor> none;
    EXPECT_THROW(Tensor(nullptr), Ort::Exception);
    EXPECT_THROW(Tensor tensor(&none), Ort::Exception);
    auto integers = MakePlatformTensor({2}, ONNX_TENSOR_ELEMENT_DATA_TYPE_INT64);
    EXPECT_THROW(Tensor tensor(&integers), Ort::Exception);
}

}  // namespace
}  // namespace Learning
