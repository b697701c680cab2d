// The memory of one slot of the wave-out player. Run under AddressSanitizer: what is read or
// written outside a block ends the program.
#include "present/wave_block.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <numeric>
#include <vector>

namespace
{

using ostrel::present::ResizeBlock;
using ostrel::present::TakeBlock;

std::vector<unsigned char> Count(std::size_t size, unsigned char first = 1)
{
    std::vector<unsigned char> bytes(size);
    std::iota(bytes.begin(), bytes.end(), first);
    return bytes;
}

std::vector<unsigned char> Contents(const CMemManage& buffer)
{
    return {buffer.m_pMem, buffer.m_pMem + buffer.m_nMemSize};
}

// A slot that holds the numbers from 1 on.
class Slot
{
public:
    explicit Slot(std::size_t size) : buffer(size)
    {
        const auto bytes = Count(size);
        std::copy(bytes.begin(), bytes.end(), buffer.m_pMem);
    }

    CMemManage buffer;
    CMemManage previous;
};

TEST(WaveBlock, ResizingToTheSizeHeldKeepsBlockAndContents)
{
    Slot slot(10);
    unsigned char* const before = slot.buffer.m_pMem;
    EXPECT_EQ(ResizeBlock(slot.buffer, 10, slot.previous), before);
    EXPECT_EQ(Contents(slot.buffer), Count(10));
    EXPECT_EQ(slot.previous.m_pMem, nullptr);
}

TEST(WaveBlock, ResizingGivesABlockOfExactlyThatSizeAndTheOldOneBack)
{
    for (const int size : {1, 9, 11, 100000})
    {
        Slot slot(10);
        unsigned char* const before = slot.buffer.m_pMem;
        unsigned char* const block = ResizeBlock(slot.buffer, size, slot.previous);
        ASSERT_NE(block, nullptr);
        EXPECT_EQ(slot.buffer.m_pMem, block);
        EXPECT_EQ(slot.buffer.m_nMemSize, static_cast<unsigned>(size));
        std::fill_n(block, size, static_cast<unsigned char>(7));
        EXPECT_EQ(slot.previous.m_pMem, before);
        EXPECT_EQ(Contents(slot.previous), Count(10));
    }
}

TEST(WaveBlock, AnEmptySlotHasNothingToGiveBack)
{
    CMemManage buffer;
    CMemManage previous;
    EXPECT_NE(ResizeBlock(buffer, 5, previous), nullptr);
    EXPECT_EQ(previous.m_pMem, nullptr);
}

TEST(WaveBlock, ResizingToNothingEmptiesTheSlot)
{
    for (const int size : {0, -1, INT_MIN})
    {
        Slot slot(10);
        EXPECT_EQ(ResizeBlock(slot.buffer, size, slot.previous), nullptr);
        EXPECT_EQ(slot.buffer.m_pMem, nullptr);
        EXPECT_EQ(slot.buffer.m_nMemSize, 0u);
        EXPECT_EQ(Contents(slot.previous), Count(10));
    }
}

TEST(WaveBlock, AForeignSourceIsCopied)
{
    for (const std::size_t size : {1, 10, 1000})
    {
        Slot slot(10);
        const auto source = Count(size, 50);
        EXPECT_EQ(TakeBlock(slot.buffer, source.data(), static_cast<int>(size), slot.previous),
                  static_cast<int>(size));
        EXPECT_EQ(Contents(slot.buffer), source);
    }
}

TEST(WaveBlock, TheSlotsOwnBlockStaysWhereItIs)
{
    Slot slot(10);
    unsigned char* const block = slot.buffer.m_pMem;
    EXPECT_EQ(TakeBlock(slot.buffer, block, 10, slot.previous), 10);
    EXPECT_EQ(TakeBlock(slot.buffer, block, 4, slot.previous), 4);
    EXPECT_EQ(slot.buffer.m_pMem, block);
    EXPECT_EQ(Contents(slot.buffer), Count(10));
    EXPECT_EQ(slot.previous.m_pMem, nullptr);
}

TEST(WaveBlock, NoMoreIsPlayedOfTheSlotsOwnBlockThanItHas)
{
    Slot slot(10);
    EXPECT_EQ(TakeBlock(slot.buffer, slot.buffer.m_pMem, 11, slot.previous), 10);
    EXPECT_EQ(TakeBlock(slot.buffer, slot.buffer.m_pMem, INT_MAX, slot.previous), 10);
}

TEST(WaveBlock, ASourceInsideTheSlotsBlockIsCopiedBeforeTheBlockGoes)
{
    Slot slot(10);
    EXPECT_EQ(TakeBlock(slot.buffer, slot.buffer.m_pMem + 4, 6, slot.previous), 6);
    EXPECT_EQ(Contents(slot.buffer), Count(6, 5));
}

TEST(WaveBlock, ASourceInsideABlockOfTheSameLengthMovesAndTheRestIsSilence)
{
    Slot slot(10);
    EXPECT_EQ(TakeBlock(slot.buffer, slot.buffer.m_pMem + 3, 10, slot.previous), 10);
    EXPECT_EQ(Contents(slot.buffer), (std::vector<unsigned char>{4, 5, 6, 7, 8, 9, 10, 0, 0, 0}));
}

TEST(WaveBlock, ASourceInsideTheBlockIsNotReadPastTheBlocksEnd)
{
    Slot slot(10);
    EXPECT_EQ(TakeBlock(slot.buffer, slot.buffer.m_pMem + 9, 1000, slot.previous), 1000);
    std::vector<unsigned char> expected(1000);
    expected[0] = 10;
    EXPECT_EQ(Contents(slot.buffer), expected);
}

TEST(WaveBlock, ASourceBehindTheBlockIsForeign)
{
    std::vector<unsigned char> memory = Count(20);
    CMemManage buffer;
    buffer.m_pMem = memory.data();
    buffer.m_nMemSize = 10;
    CMemManage previous;
    EXPECT_EQ(TakeBlock(buffer, memory.data() + 10, 10, previous), 10);
    EXPECT_EQ(Contents(buffer), Count(10, 11));
    buffer.m_pMem = nullptr;
    buffer.m_nMemSize = 0;
}

TEST(WaveBlock, ANegativeLengthTakesNothing)
{
    Slot slot(10);
    const auto source = Count(4, 50);
    EXPECT_EQ(TakeBlock(slot.buffer, source.data(), -1, slot.previous), 0);
    EXPECT_EQ(TakeBlock(slot.buffer, slot.buffer.m_pMem, INT_MIN, slot.previous), 0);
    EXPECT_EQ(Contents(slot.buffer), Count(10));
}

}  // namespace
