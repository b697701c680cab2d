#include <afxcoll.h>
#include <gtest/gtest.h>

#include <climits>
#include <type_traits>
#include <vector>

namespace
{

template <typename Array>
class ValueArray : public testing::Test
{
protected:
    using Value = std::decay_t<decltype(std::declval<Array>().GetAt(0))>;

    std::vector<Value> Values() const
    {
        std::vector<Value> values;
        for (INT_PTR i = 0; i < array.GetSize(); ++i)
        {
            values.push_back(array.GetAt(i));
        }
        return values;
    }

    Array array;
};

using Arrays = testing::Types<CDWordArray, CUIntArray>;
TYPED_TEST_SUITE(ValueArray, Arrays);

template <typename Action>
void ExpectInvalidArgument(Action action)
{
    try
    {
        action();
        FAIL() << "nothing was thrown";
    }
    catch (CInvalidArgException* exception)
    {
        exception->Delete();
    }
}

template <typename Action>
void ExpectMemoryException(Action action)
{
    try
    {
        action();
        FAIL() << "nothing was thrown";
    }
    catch (CMemoryException* exception)
    {
        exception->Delete();
    }
}

TEST(ValueArrays, HoldTheTypesThatTheyAreNamedAfter)
{
    static_assert(std::is_same_v<decltype(std::declval<const CDWordArray&>()[0]), DWORD>);
    static_assert(std::is_same_v<decltype(std::declval<const CUIntArray&>()[0]), UINT>);
    static_assert(std::is_base_of_v<CObject, CDWordArray>);
    static_assert(std::is_base_of_v<CObject, CUIntArray>);
    static_assert(!std::is_copy_constructible_v<CDWordArray>);
    CDWordArray array;
    array.Add(0xFFFFFFFFu);
    EXPECT_EQ(array[0], 4294967295u);
}

TYPED_TEST(ValueArray, IsEmptyAtFirst)
{
    EXPECT_EQ(this->array.GetSize(), 0);
    EXPECT_EQ(this->array.GetCount(), 0);
    EXPECT_EQ(this->array.GetUpperBound(), -1);
    EXPECT_TRUE(this->array.IsEmpty());
    EXPECT_EQ(this->array.GetData(), nullptr);
}

TYPED_TEST(ValueArray, AddPutsAnElementAtTheEndAndReturnsItsIndex)
{
    EXPECT_EQ(this->array.Add(7), 0);
    EXPECT_EQ(this->array.Add(8), 1);
    EXPECT_EQ(this->array.Add(9), 2);
    EXPECT_EQ(this->array.GetCount(), 3);
    EXPECT_EQ(this->array.GetUpperBound(), 2);
    EXPECT_FALSE(this->array.IsEmpty());
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{7, 8, 9}));
}

TYPED_TEST(ValueArray, SetAtGrowAtTheSizeAppends)
{
    for (int i = 0; i < 1000; ++i)
    {
        this->array.SetAtGrow(this->array.GetSize(), static_cast<unsigned>(i * i));
    }
    ASSERT_EQ(this->array.GetSize(), 1000);
    for (int i = 0; i < 1000; ++i)
    {
        EXPECT_EQ(this->array[i], static_cast<unsigned>(i * i));
    }
}

TYPED_TEST(ValueArray, SetAtGrowPastTheEndFillsWithZeros)
{
    this->array.Add(1);
    this->array.SetAtGrow(4, 5);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{1, 0, 0, 0, 5}));
}

TYPED_TEST(ValueArray, SetAtGrowWithinTheArrayReplaces)
{
    this->array.Add(1);
    this->array.Add(2);
    this->array.SetAtGrow(0, 3);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{3, 2}));
}

TYPED_TEST(ValueArray, ElementsAreSetAndReadByIndex)
{
    this->array.SetSize(3);
    this->array.SetAt(0, 10);
    this->array[1] = 11;
    this->array.ElementAt(2) = 12;
    const TypeParam& readOnly = this->array;
    EXPECT_EQ(readOnly[0], 10u);
    EXPECT_EQ(readOnly.GetAt(1), 11u);
    EXPECT_EQ(readOnly.GetData()[2], 12u);
    this->array.GetData()[2] = 13;
    EXPECT_EQ(this->array.GetAt(2), 13u);
}

TYPED_TEST(ValueArray, AnIndexOutsideThrows)
{
    this->array.Add(1);
    for (const INT_PTR index : {INT_PTR(-1), INT_PTR(1), INT_PTR(INT_MAX), INTPTR_MIN, INTPTR_MAX})
    {
        ExpectInvalidArgument([&] { this->array.GetAt(index); });
        ExpectInvalidArgument([&] { this->array.SetAt(index, 2); });
        ExpectInvalidArgument([&] { this->array.ElementAt(index); });
        ExpectInvalidArgument([&] { this->array[index] = 2; });
        ExpectInvalidArgument([&] { this->array.RemoveAt(index); });
    }
    ExpectInvalidArgument([&] { this->array.SetAtGrow(-1, 2); });
    ExpectInvalidArgument([&] { this->array.SetSize(-1); });
    ExpectInvalidArgument([&] { this->array.InsertAt(-1, 2); });
    ExpectInvalidArgument([&] { this->array.RemoveAt(0, 2); });
    ExpectInvalidArgument([&] { this->array.RemoveAt(0, -1); });
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{1}));
}

TYPED_TEST(ValueArray, ASizeThatMemoryCannotHoldThrowsAndLeavesTheArray)
{
    this->array.Add(1);
    ExpectMemoryException([&] { this->array.SetSize(INTPTR_MAX); });
    ExpectMemoryException([&] { this->array.SetAtGrow(INTPTR_MAX, 2); });
    ExpectMemoryException([&] { this->array.SetAtGrow(INT_MAX, 2); });
    ExpectMemoryException([&] { this->array.InsertAt(0, 2, INTPTR_MAX); });
    ExpectMemoryException([&] { this->array.InsertAt(3, 2, INTPTR_MAX); });
    ExpectMemoryException([&] { this->array.InsertAt(3, 2, INT_MAX - 2); });
    ExpectMemoryException([&] { this->array.InsertAt(INTPTR_MAX, 2, 1); });
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{1}));
}

TYPED_TEST(ValueArray, SetSizeCutsOffAndFillsWithZeros)
{
    this->array.Add(1);
    this->array.Add(2);
    this->array.SetSize(1);
    this->array.SetSize(3, 16);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{1, 0, 0}));
}

TYPED_TEST(ValueArray, RoomIsMadeInStepsAsAskedFor)
{
    this->array.SetSize(1, 100);
    const auto* const elements = this->array.GetData();
    for (unsigned i = 1; i < 100; ++i)
    {
        this->array.Add(i);
        EXPECT_EQ(this->array.GetData(), elements);
    }
    EXPECT_EQ(this->array.GetSize(), 100);
    EXPECT_EQ(this->array[99], 99u);
}

TYPED_TEST(ValueArray, RemoveAllEmptiesItAndItCanBeFilledAgain)
{
    this->array.Add(1);
    this->array.RemoveAll();
    this->array.RemoveAll();
    EXPECT_TRUE(this->array.IsEmpty());
    EXPECT_EQ(this->array.GetData(), nullptr);
    this->array.SetAtGrow(1, 4);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{0, 4}));
    this->array.FreeExtra();
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{0, 4}));
}

TYPED_TEST(ValueArray, InsertsBeforeAnIndex)
{
    this->array.Add(1);
    this->array.Add(2);
    this->array.InsertAt(1, 9);
    this->array.InsertAt(0, 8, 2);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{8, 8, 1, 9, 2}));
}

TYPED_TEST(ValueArray, InsertingPastTheEndFillsWithZeros)
{
    this->array.Add(1);
    this->array.InsertAt(3, 7);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{1, 0, 0, 7}));
    this->array.InsertAt(5, 8, 2);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{1, 0, 0, 7, 0, 8, 8}));
    this->array.InsertAt(7, 9);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{1, 0, 0, 7, 0, 8, 8, 9}));
}

TYPED_TEST(ValueArray, RemovesFromTheMiddle)
{
    for (unsigned i = 0; i < 6; ++i)
    {
        this->array.Add(i);
    }
    this->array.RemoveAt(1, 3);
    this->array.RemoveAt(2);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{0, 4}));
}

TYPED_TEST(ValueArray, CopiesAndAppendsAnother)
{
    TypeParam other;
    other.Add(3);
    other.Add(4);
    this->array.Add(1);
    EXPECT_EQ(this->array.Append(other), 1);
    EXPECT_EQ(this->array.Append(this->array), 3);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{1, 3, 4, 1, 3, 4}));
    this->array.Copy(other);
    EXPECT_EQ(this->Values(), (std::vector<typename TestFixture::Value>{3, 4}));
    EXPECT_EQ(other.GetSize(), 2);
}

}  // namespace
