#include <afxcoll.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <set>
#include <vector>

namespace
{

int values[40];

void* Element(int index)
{
    return &values[index];
}

std::vector<int> Forwards(const CPtrList& list)
{
    std::vector<int> result;
    for (POSITION position = list.GetHeadPosition(); position != nullptr;)
    {
        result.push_back(
            static_cast<int>(static_cast<const int*>(list.GetNext(position)) - values));
    }
    return result;
}

std::vector<int> Backwards(const CPtrList& list)
{
    std::vector<int> result;
    for (POSITION position = list.GetTailPosition(); position != nullptr;)
    {
        result.push_back(
            static_cast<int>(static_cast<const int*>(list.GetPrev(position)) - values));
    }
    return result;
}

void AddTails(CPtrList& list, int first, int last)
{
    for (int i = first; i <= last; ++i)
    {
        list.AddTail(Element(i));
    }
}

using Indices = std::vector<int>;

TEST(PointerList, IsEmptyAtFirst)
{
    CPtrList list;
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(list.GetSize(), 0);
    EXPECT_EQ(list.GetHeadPosition(), nullptr);
    EXPECT_EQ(list.GetTailPosition(), nullptr);
}

TEST(PointerList, AddsAtHeadAndTail)
{
    CPtrList list(10);
    list.AddTail(Element(1));
    list.AddTail(Element(2));
    list.AddHead(Element(0));
    EXPECT_EQ(Forwards(list), (Indices{0, 1, 2}));
    EXPECT_EQ(Backwards(list), (Indices{2, 1, 0}));
    EXPECT_EQ(list.GetCount(), 3);
    EXPECT_EQ(list.GetSize(), 3);
    EXPECT_FALSE(list.IsEmpty());
}

TEST(PointerList, AddingReturnsThePositionOfTheNewElement)
{
    CPtrList list;
    const POSITION tail = list.AddTail(Element(1));
    const POSITION head = list.AddHead(Element(0));
    EXPECT_EQ(head, list.GetHeadPosition());
    EXPECT_EQ(tail, list.GetTailPosition());
    EXPECT_EQ(list.GetAt(head), Element(0));
    EXPECT_EQ(list.GetAt(tail), Element(1));
}

TEST(PointerList, AddsAWholeListBeforeTheHeadInItsOrder)
{
    CPtrList list;
    AddTails(list, 5, 6);
    CPtrList other;
    AddTails(other, 1, 3);
    list.AddHead(&other);
    EXPECT_EQ(Forwards(list), (Indices{1, 2, 3, 5, 6}));
    EXPECT_EQ(Forwards(other), (Indices{1, 2, 3}));
}

TEST(PointerList, AddsAWholeListAfterTheTailInItsOrder)
{
    CPtrList list;
    AddTails(list, 5, 6);
    CPtrList other;
    AddTails(other, 1, 3);
    list.AddTail(&other);
    EXPECT_EQ(Forwards(list), (Indices{5, 6, 1, 2, 3}));
    EXPECT_EQ(Backwards(list), (Indices{3, 2, 1, 6, 5}));
}

TEST(PointerList, CanBeAddedToItself)
{
    CPtrList list(2);
    AddTails(list, 1, 3);
    list.AddTail(&list);
    EXPECT_EQ(Forwards(list), (Indices{1, 2, 3, 1, 2, 3}));
}

TEST(PointerList, HeadAndTailCanBeReadAndAssigned)
{
    CPtrList list;
    AddTails(list, 0, 2);
    EXPECT_EQ(list.GetHead(), Element(0));
    EXPECT_EQ(list.GetTail(), Element(2));
    list.GetHead() = Element(8);
    list.GetTail() = Element(9);
    EXPECT_EQ(Forwards(list), (Indices{8, 1, 9}));
}

TEST(PointerList, RemovesFromHeadAndTailAndReturnsTheElement)
{
    CPtrList list;
    AddTails(list, 0, 3);
    EXPECT_EQ(list.RemoveHead(), Element(0));
    EXPECT_EQ(list.RemoveTail(), Element(3));
    EXPECT_EQ(Forwards(list), (Indices{1, 2}));
    EXPECT_EQ(list.GetCount(), 2);
}

TEST(PointerList, RemovingTheLastElementLeavesAnEmptyList)
{
    CPtrList list;
    list.AddHead(Element(0));
    list.RemoveTail();
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.GetHeadPosition(), nullptr);
    EXPECT_EQ(list.GetTailPosition(), nullptr);
}

TEST(PointerList, RemoveAllEmptiesTheListAndIsHarmlessWhenRepeated)
{
    CPtrList list(3);
    AddTails(list, 0, 9);
    list.RemoveAll();
    list.RemoveAll();
    EXPECT_TRUE(list.IsEmpty());
    list.AddTail(Element(4));
    EXPECT_EQ(Forwards(list), Indices{4});
}

TEST(PointerList, GetNextReturnsTheElementAndMovesOn)
{
    CPtrList list;
    AddTails(list, 0, 1);
    POSITION position = list.GetHeadPosition();
    EXPECT_EQ(list.GetNext(position), Element(0));
    EXPECT_EQ(position, list.GetTailPosition());
    EXPECT_EQ(list.GetNext(position), Element(1));
    EXPECT_EQ(position, nullptr);
}

TEST(PointerList, GetPrevReturnsTheElementAndMovesBack)
{
    CPtrList list;
    AddTails(list, 0, 1);
    POSITION position = list.GetTailPosition();
    EXPECT_EQ(list.GetPrev(position), Element(1));
    EXPECT_EQ(position, list.GetHeadPosition());
    EXPECT_EQ(list.GetPrev(position), Element(0));
    EXPECT_EQ(position, nullptr);
}

TEST(PointerList, SetAtReplacesAnElement)
{
    CPtrList list;
    AddTails(list, 0, 2);
    list.SetAt(list.FindIndex(1), Element(7));
    EXPECT_EQ(Forwards(list), (Indices{0, 7, 2}));
    list.GetAt(list.FindIndex(1)) = Element(8);
    EXPECT_EQ(Forwards(list), (Indices{0, 8, 2}));
}

TEST(PointerList, RemoveAtRemovesFromHeadMiddleAndTail)
{
    CPtrList list;
    AddTails(list, 0, 4);
    list.RemoveAt(list.FindIndex(2));
    list.RemoveAt(list.GetHeadPosition());
    list.RemoveAt(list.GetTailPosition());
    EXPECT_EQ(Forwards(list), (Indices{1, 3}));
    EXPECT_EQ(Backwards(list), (Indices{3, 1}));
}

TEST(PointerList, AnElementCanBeRemovedDuringAWalk)
{
    CPtrList list;
    AddTails(list, 0, 5);
    for (POSITION position = list.GetHeadPosition(); position != nullptr;)
    {
        const POSITION current = position;
        if (list.GetNext(position) != Element(3))
        {
            list.RemoveAt(current);
        }
    }
    EXPECT_EQ(Forwards(list), Indices{3});
}

TEST(PointerList, InsertsBeforeAndAfterAPosition)
{
    CPtrList list;
    const POSITION middle = list.AddTail(Element(2));
    const POSITION before = list.InsertBefore(middle, Element(1));
    const POSITION after = list.InsertAfter(middle, Element(3));
    list.InsertBefore(before, Element(0));
    list.InsertAfter(after, Element(4));
    EXPECT_EQ(Forwards(list), (Indices{0, 1, 2, 3, 4}));
    EXPECT_EQ(Backwards(list), (Indices{4, 3, 2, 1, 0}));
    EXPECT_EQ(list.GetAt(before), Element(1));
    EXPECT_EQ(list.GetAt(after), Element(3));
}

TEST(PointerList, InsertingAtNoPositionMeansHeadOrTail)
{
    CPtrList list;
    list.InsertBefore(nullptr, Element(1));
    list.InsertBefore(nullptr, Element(0));
    list.InsertAfter(nullptr, Element(2));
    EXPECT_EQ(Forwards(list), (Indices{0, 1, 2}));
}

TEST(PointerList, FindsByPointerValueFromTheHead)
{
    CPtrList list;
    AddTails(list, 0, 2);
    AddTails(list, 1, 1);
    EXPECT_EQ(list.Find(Element(1)), list.FindIndex(1));
    EXPECT_EQ(list.Find(Element(5)), nullptr);
}

TEST(PointerList, FindsOnlyAfterTheStartPosition)
{
    CPtrList list;
    AddTails(list, 0, 2);
    AddTails(list, 1, 1);
    EXPECT_EQ(list.Find(Element(1), list.FindIndex(1)), list.FindIndex(3));
    EXPECT_EQ(list.Find(Element(0), list.FindIndex(0)), nullptr);
}

TEST(PointerList, FindIndexGivesThePositionOrNull)
{
    CPtrList list;
    AddTails(list, 0, 2);
    EXPECT_EQ(list.GetAt(list.FindIndex(2)), Element(2));
    EXPECT_EQ(list.FindIndex(3), nullptr);
}

TEST(PointerList, HoldsNullAsAnElement)
{
    CPtrList list;
    list.AddTail(static_cast<void*>(nullptr));
    EXPECT_EQ(list.GetCount(), 1);
    EXPECT_EQ(list.GetHead(), nullptr);
}

// The memory of a position is that of its node.
TEST(PointerList, ReusesTheNodeOfARemovedElement)
{
    CPtrList list(4);
    AddTails(list, 0, 3);
    const POSITION removed = list.FindIndex(1);
    list.RemoveAt(removed);
    EXPECT_EQ(list.AddTail(Element(9)), removed);
    EXPECT_EQ(Forwards(list), (Indices{0, 2, 3, 9}));
}

TEST(PointerList, AllocatesNodesInBlocksOfTheGivenSize)
{
    CPtrList list(8);
    std::vector<POSITION> positions;
    for (int i = 0; i < 8; ++i)
    {
        positions.push_back(list.AddTail(Element(i)));
    }
    const auto [lowest, highest] = std::minmax_element(positions.begin(), positions.end());
    const auto spread = reinterpret_cast<char*>(*highest) - reinterpret_cast<char*>(*lowest);
    // A node holds the element and its two neighbours.
    EXPECT_EQ(spread, static_cast<ptrdiff_t>(7 * 3 * sizeof(void*)));
}

TEST(PointerList, AWorkingSetWithinOneBlockKeepsTheSameNodes)
{
    CPtrList list(5);
    AddTails(list, 0, 4);
    std::set<POSITION> nodes;
    for (INT_PTR i = 0; i < 5; ++i)
    {
        nodes.insert(list.FindIndex(i));
    }
    for (int round = 0; round < 100; ++round)
    {
        list.RemoveHead();
        EXPECT_EQ(nodes.count(list.AddTail(Element(round % 40))), 1u);
    }
    EXPECT_EQ(list.GetCount(), 5);
}

TEST(PointerList, GrowsBeyondItsBlockSize)
{
    CPtrList list(1);
    AddTails(list, 0, 39);
    EXPECT_EQ(list.GetCount(), 40);
    EXPECT_EQ(Forwards(list).back(), 39);
    EXPECT_EQ(Backwards(list).back(), 0);
}

// A block this large has pages of its own, which are given back to the system when it is freed.
bool IsAllocated(POSITION position)
{
    MEMORY_BASIC_INFORMATION pages = {};
    EXPECT_NE(VirtualQuery(position, &pages, sizeof pages), 0u);
    return pages.State == MEM_COMMIT;
}

constexpr INT_PTR kLargeBlock = 1 << 21;

TEST(PointerList, FreesItsNodesWhenTheLastElementIsRemoved)
{
    CPtrList list(kLargeBlock);
    const POSITION first = list.AddTail(Element(0));
    list.AddTail(Element(1));
    list.RemoveHead();
    EXPECT_TRUE(IsAllocated(first));
    list.RemoveHead();
    EXPECT_FALSE(IsAllocated(first));
}

TEST(PointerList, FreesItsNodesWhenAllElementsAreRemoved)
{
    CPtrList list(kLargeBlock);
    const POSITION first = list.AddTail(Element(0));
    list.AddTail(Element(1));
    list.RemoveAll();
    EXPECT_FALSE(IsAllocated(first));
}

TEST(PointerList, FreesItsNodesWhenItIsDestroyed)
{
    POSITION first = nullptr;
    {
        CPtrList list(kLargeBlock);
        first = list.AddTail(Element(0));
        EXPECT_TRUE(IsAllocated(first));
    }
    EXPECT_FALSE(IsAllocated(first));
}

TEST(PointerList, AnEmptyListThrowsInvalidArgument)
{
    CPtrList list;
    const CPtrList& constant = list;
    EXPECT_THROW(list.GetHead(), CInvalidArgException*);
    EXPECT_THROW(list.GetTail(), CInvalidArgException*);
    EXPECT_THROW(constant.GetHead(), CInvalidArgException*);
    EXPECT_THROW(constant.GetTail(), CInvalidArgException*);
    EXPECT_THROW(list.RemoveHead(), CInvalidArgException*);
    EXPECT_THROW(list.RemoveTail(), CInvalidArgException*);
}

TEST(PointerList, ANullPositionThrowsInvalidArgument)
{
    CPtrList list;
    AddTails(list, 0, 2);
    const CPtrList& constant = list;
    POSITION position = nullptr;
    EXPECT_THROW(list.GetNext(position), CInvalidArgException*);
    EXPECT_THROW(list.GetPrev(position), CInvalidArgException*);
    EXPECT_THROW(constant.GetNext(position), CInvalidArgException*);
    EXPECT_THROW(constant.GetPrev(position), CInvalidArgException*);
    EXPECT_THROW(list.GetAt(nullptr), CInvalidArgException*);
    EXPECT_THROW(constant.GetAt(nullptr), CInvalidArgException*);
    EXPECT_THROW(list.SetAt(nullptr, Element(0)), CInvalidArgException*);
    EXPECT_THROW(list.RemoveAt(nullptr), CInvalidArgException*);
    EXPECT_EQ(Forwards(list), (Indices{0, 1, 2}));
}

TEST(PointerList, AFailedAllocationThrowsMemoryExceptionAndLeavesTheListEmpty)
{
    CPtrList list(INT64_MAX / 32);
    EXPECT_THROW(list.AddTail(Element(0)), CMemoryException*);
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.GetHeadPosition(), nullptr);
}

}  // namespace
