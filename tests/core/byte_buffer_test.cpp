#include <gtest/gtest.h>

#include <cstring>
#include <numeric>
#include <vector>

#include "CMemManage.h"

namespace
{

// A buffer whose bytes count up from 0.
void FillCounting(CMemManage& buffer)
{
    unsigned char* bytes = buffer.m_F_p_GetMemPoint();
    std::iota(bytes, bytes + buffer.m_F_n_GetMemSize(), static_cast<unsigned char>(0));
}

std::vector<unsigned char> BytesOf(CMemManage& buffer)
{
    const unsigned char* bytes = buffer.m_F_p_GetMemPoint();
    return std::vector<unsigned char>(bytes, bytes + buffer.m_F_n_GetMemSize());
}

constexpr unsigned __int64 kAllOnes = ~0ULL;
constexpr unsigned __int64 kUnallocatable = kAllOnes / 2;

}  // namespace

TEST(ByteBuffer, DefaultConstructionAllocatesNothing)
{
    CMemManage buffer;
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
}

TEST(ByteBuffer, ConstructionWithSizeZeroAllocatesNothing)
{
    CMemManage buffer(0);
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
}

TEST(ByteBuffer, ConstructionWithASizeAllocatesThatSize)
{
    CMemManage buffer(1);
    ASSERT_NE(buffer.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 1u);
}

TEST(ByteBuffer, FailedConstructionLeavesItEmptyWithoutAnError)
{
    CMemManage buffer(kUnallocatable);
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
}

TEST(ByteBuffer, DeletingEmptiesItAndMayBeRepeated)
{
    CMemManage buffer(10);
    buffer.m_S_DelMem();
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
    buffer.m_S_DelMem();
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
    // The destructor now runs on the emptied object: it must free nothing a second time.
}

TEST(ByteBuffer, AllocatingTheSizeHeldKeepsBlockAndBytes)
{
    CMemManage buffer(64);
    FillCounting(buffer);
    const std::vector<unsigned char> before = BytesOf(buffer);
    unsigned char* const block = buffer.m_F_p_GetMemPoint();
    EXPECT_EQ(buffer.m_F_p_MemAlloc(64), block);
    EXPECT_EQ(BytesOf(buffer), before);
}

TEST(ByteBuffer, AllocatingAnyOtherSizeHoldsExactlyThatSize)
{
    CMemManage buffer(64);
    for (const unsigned __int64 size : {65ULL, 63ULL, 1ULL, 100000ULL})
    {
        unsigned char* const block = buffer.m_F_p_MemAlloc(size);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(block, buffer.m_F_p_GetMemPoint());
        EXPECT_EQ(buffer.m_F_n_GetMemSize(), size);
        std::memset(block, 0xA5, size);  // the whole block is there to be written
    }
}

TEST(ByteBuffer, AllocatingSizeZeroOnAnEmptyBufferReturnsNull)
{
    CMemManage buffer;
    EXPECT_EQ(buffer.m_F_p_MemAlloc(0), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
}

TEST(ByteBuffer, AllocatingSizeZeroFreesTheBlockHeld)
{
    CMemManage buffer(64);
    buffer.m_F_p_MemAlloc(0);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
}

TEST(ByteBuffer, FailedAllocationReturnsNullAndLosesTheOldBlock)
{
    CMemManage buffer(64);
    EXPECT_EQ(buffer.m_F_p_MemAlloc(kUnallocatable), nullptr);
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
}

TEST(ByteBuffer, ZeroingClearsEveryByte)
{
    CMemManage buffer(257);
    std::memset(buffer.m_F_p_GetMemPoint(), 0xFF, 257);
    buffer.m_S_ZeroMem();
    EXPECT_EQ(BytesOf(buffer), std::vector<unsigned char>(257, 0));
}

TEST(ByteBuffer, ZeroingAnEmptyBufferDoesNothing)
{
    CMemManage buffer;
    buffer.m_S_ZeroMem();
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
}

TEST(ByteBuffer, TextViewsNameTheSameBlock)
{
    CMemManage buffer(8);
    EXPECT_EQ(static_cast<void*>(buffer.m_F_p_GetStrCHAR()), buffer.m_F_p_GetMemPoint());
    EXPECT_EQ(static_cast<void*>(buffer.m_F_p_GetStrWCHAR()), buffer.m_F_p_GetMemPoint());
}

TEST(ByteBuffer, PlainCopyTouchesOnlyItsArguments)
{
    CMemManage buffer(4);
    FillCounting(buffer);
    const unsigned char source[3] = {7, 8, 9};
    unsigned char destination[3] = {};
    buffer.m_S_MemCopy(destination, source, sizeof(source));
    EXPECT_EQ(std::memcmp(destination, source, sizeof(source)), 0);
    EXPECT_EQ(BytesOf(buffer), (std::vector<unsigned char>{0, 1, 2, 3}));
}

TEST(ByteBuffer, CopyFromMemoryFillsTheRoomAfterTheOffset)
{
    CMemManage buffer(8);
    FillCounting(buffer);
    const unsigned char source[3] = {101, 102, 103};
    EXPECT_EQ(buffer.m_F_n_MemCopy(source, 3, 5), 3);
    EXPECT_EQ(BytesOf(buffer), (std::vector<unsigned char>{0, 1, 2, 3, 4, 101, 102, 103}));
}

TEST(ByteBuffer, CopyFromMemoryOneByteTooLongIsRefused)
{
    CMemManage buffer(8);
    FillCounting(buffer);
    const std::vector<unsigned char> before = BytesOf(buffer);
    const unsigned char source[4] = {101, 102, 103, 104};
    EXPECT_EQ(buffer.m_F_n_MemCopy(source, 4, 5), -1);
    EXPECT_EQ(BytesOf(buffer), before);
}

TEST(ByteBuffer, CopyOfNothingToTheEndReturnsZero)
{
    CMemManage buffer(8);
    const unsigned char source = 1;
    EXPECT_EQ(buffer.m_F_n_MemCopy(&source, 0, 8), 0);
}

TEST(ByteBuffer, OffsetBeyondTheEndWrapsAroundAndPassesWithoutTouchingMemory)
{
    CMemManage buffer(8);
    FillCounting(buffer);
    const std::vector<unsigned char> before = BytesOf(buffer);
    const unsigned char source[4] = {101, 102, 103, 104};
    // 8 - 9 is 2^64 - 1 in unsigned arithmetic: room enough for any length.
    EXPECT_EQ(buffer.m_F_n_MemCopy(source, 4, 9), 4);
    EXPECT_EQ(buffer.m_F_n_MemCopy(source, 4, kAllOnes), 4);
    EXPECT_EQ(BytesOf(buffer), before);
}

TEST(ByteBuffer, CopyFromANullPointerReportsTheLengthAndCopiesNothing)
{
    CMemManage buffer(8);
    FillCounting(buffer);
    const std::vector<unsigned char> before = BytesOf(buffer);
    EXPECT_EQ(buffer.m_F_n_MemCopy(static_cast<const unsigned char*>(nullptr), 4, 0), 4);
    EXPECT_EQ(BytesOf(buffer), before);
}

TEST(ByteBuffer, CopyLengthIsReturnedTruncatedTo32Bits)
{
    // An offset past the end makes any length pass, so that no such block is needed.
    CMemManage buffer(8);
    const unsigned char source = 1;
    EXPECT_EQ(buffer.m_F_n_MemCopy(&source, 0x100000005ULL, 9), 5);
    EXPECT_EQ(buffer.m_F_n_MemCopy(&source, 0xFFFFFFFEULL, 9), -2);
}

TEST(ByteBuffer, CopyFromABufferTakesSourceOffsetLengthThenOffset)
{
    CMemManage source(8);
    FillCounting(source);
    CMemManage buffer(6);
    buffer.m_S_ZeroMem();
    EXPECT_EQ(buffer.m_F_n_MemCopy(source, 5, 3, 2), 3);
    EXPECT_EQ(BytesOf(buffer), (std::vector<unsigned char>{0, 0, 5, 6, 7, 0}));
}

TEST(ByteBuffer, CopyFromABufferPastTheSourcesEndIsRefusedWhateverTheRoom)
{
    CMemManage source(8);
    CMemManage buffer(100);
    FillCounting(buffer);
    const std::vector<unsigned char> before = BytesOf(buffer);
    EXPECT_EQ(buffer.m_F_n_MemCopy(source, 5, 4, 0), -1);
    EXPECT_EQ(buffer.m_F_n_MemCopy(source, 9, 0, 0), -1);
    EXPECT_EQ(BytesOf(buffer), before);
}

TEST(ByteBuffer, CopyFromABufferBeyondTheRoomIsRefused)
{
    CMemManage source(8);
    CMemManage buffer(4);
    FillCounting(buffer);
    const std::vector<unsigned char> before = BytesOf(buffer);
    EXPECT_EQ(buffer.m_F_n_MemCopy(source, 0, 4, 1), -1);
    EXPECT_EQ(BytesOf(buffer), before);
}

TEST(ByteBuffer, SourceRangeThatWrapsAroundPassesWithoutTouchingMemory)
{
    CMemManage source(8);
    CMemManage buffer(8);
    FillCounting(buffer);
    const std::vector<unsigned char> before = BytesOf(buffer);
    EXPECT_EQ(buffer.m_F_n_MemCopy(source, kAllOnes, 4, 0), 4);  // the sum is 3
    EXPECT_EQ(BytesOf(buffer), before);
}

TEST(ByteBuffer, CopyWithinOneBufferMayOverlap)
{
    CMemManage buffer(8);
    FillCounting(buffer);
    EXPECT_EQ(buffer.m_F_n_MemCopy(buffer, 0, 6, 2), 6);
    EXPECT_EQ(BytesOf(buffer), (std::vector<unsigned char>{0, 1, 0, 1, 2, 3, 4, 5}));
}

TEST(ByteBuffer, AssignmentIsShallow)
{
    CMemManage owner(8);
    CMemManage other;
    EXPECT_EQ(&(other = owner), &other);
    EXPECT_EQ(other.m_F_p_GetMemPoint(), owner.m_F_p_GetMemPoint());
    EXPECT_EQ(other.m_F_n_GetMemSize(), 8u);
    other = CMemManage();  // resets the second object: the block has one owner again
    EXPECT_EQ(other.m_F_p_GetMemPoint(), nullptr);
    EXPECT_NE(owner.m_F_p_GetMemPoint(), nullptr);
}

TEST(ByteBuffer, CopyConstructionIsShallow)
{
    CMemManage owner(8);
    CMemManage other(owner);
    EXPECT_EQ(other.m_F_p_GetMemPoint(), owner.m_F_p_GetMemPoint());
    EXPECT_EQ(other.m_F_n_GetMemSize(), 8u);
    other = CMemManage();
}
