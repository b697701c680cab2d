#include <afxcoll.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using Texts = std::vector<std::wstring>;

std::wstring Text(const CString& string)
{
    return string.GetString();
}

Texts Forwards(const CStringList& list)
{
    Texts texts;
    for (POSITION position = list.GetHeadPosition(); position != nullptr;)
    {
        texts.push_back(Text(list.GetNext(position)));
    }
    return texts;
}

Texts Backwards(const CStringList& list)
{
    Texts texts;
    for (POSITION position = list.GetTailPosition(); position != nullptr;)
    {
        texts.push_back(Text(list.GetPrev(position)));
    }
    return texts;
}

void AddTails(CStringList& list, const Texts& texts)
{
    for (const std::wstring& text : texts)
    {
        list.AddTail(text.c_str());
    }
}

template <class Call>
void ExpectInvalidArgument(Call call)
{
    try
    {
        call();
        ADD_FAILURE() << "nothing was thrown";
    }
    catch (CInvalidArgException* exception)
    {
        exception->Delete();
    }
}

TEST(StringList, IsEmptyAtFirst)
{
    CStringList list;
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(list.GetSize(), 0);
    EXPECT_EQ(list.GetHeadPosition(), nullptr);
    EXPECT_EQ(list.GetTailPosition(), nullptr);
}

TEST(StringList, AddsAtHeadAndTail)
{
    CStringList list(3);
    list.AddTail(L"b");
    list.AddTail(CString(L"c"));
    list.AddHead(L"a");
    list.AddHead(CString());
    EXPECT_EQ(Forwards(list), (Texts{L"", L"a", L"b", L"c"}));
    EXPECT_EQ(Backwards(list), (Texts{L"c", L"b", L"a", L""}));
    EXPECT_EQ(list.GetCount(), 4);
    EXPECT_EQ(list.GetSize(), 4);
    EXPECT_FALSE(list.IsEmpty());
}

TEST(StringList, AddingReturnsThePositionOfTheNewElement)
{
    CStringList list;
    const POSITION tail = list.AddTail(L"b");
    const POSITION head = list.AddHead(L"a");
    EXPECT_EQ(head, list.GetHeadPosition());
    EXPECT_EQ(tail, list.GetTailPosition());
}

TEST(StringList, HoldsCopies)
{
    CStringList list;
    CString text(L"one");
    list.AddTail(text);
    text = L"two";
    EXPECT_EQ(Text(list.GetHead()), L"one");
}

TEST(StringList, AddsTheElementsOfAnotherList)
{
    CStringList list;
    AddTails(list, {L"c"});
    CStringList other;
    AddTails(other, {L"a", L"b"});
    list.AddHead(&other);
    list.AddTail(&other);
    EXPECT_EQ(Forwards(list), (Texts{L"a", L"b", L"c", L"a", L"b"}));
    EXPECT_EQ(Forwards(other), (Texts{L"a", L"b"}));
}

TEST(StringList, AddsItsOwnElements)
{
    CStringList tails;
    AddTails(tails, {L"a", L"b"});
    tails.AddTail(&tails);
    EXPECT_EQ(Forwards(tails), (Texts{L"a", L"b", L"a", L"b"}));

    CStringList heads;
    AddTails(heads, {L"a", L"b"});
    heads.AddHead(&heads);
    EXPECT_EQ(Forwards(heads), (Texts{L"a", L"b", L"a", L"b"}));
}

TEST(StringList, ElementsCanBeChangedInPlace)
{
    CStringList list;
    AddTails(list, {L"a", L"b", L"c"});
    list.GetHead() = L"A";
    list.GetTail() += L"C";
    POSITION position = list.FindIndex(1);
    list.GetNext(position) = L"B";
    EXPECT_EQ(Forwards(list), (Texts{L"A", L"B", L"cC"}));
    list.GetPrev(position) = L"C";
    list.GetAt(position).Append(L"B");
    EXPECT_EQ(Forwards(list), (Texts{L"A", L"BB", L"C"}));
}

TEST(StringList, AConstantListCanBeRead)
{
    CStringList list;
    AddTails(list, {L"a", L"b"});
    const CStringList& constant = list;
    EXPECT_EQ(Text(constant.GetHead()), L"a");
    EXPECT_EQ(Text(constant.GetTail()), L"b");
    EXPECT_EQ(Text(constant.GetAt(constant.FindIndex(1))), L"b");
}

TEST(StringList, SetsElements)
{
    CStringList list;
    AddTails(list, {L"a", L"b"});
    list.SetAt(list.GetHeadPosition(), L"x");
    list.SetAt(list.GetTailPosition(), CString(L"y"));
    EXPECT_EQ(Forwards(list), (Texts{L"x", L"y"}));
}

TEST(StringList, RemovingAtAnEndReturnsTheElement)
{
    CStringList list;
    AddTails(list, {L"a", L"b", L"c"});
    EXPECT_EQ(Text(list.RemoveHead()), L"a");
    EXPECT_EQ(Text(list.RemoveTail()), L"c");
    EXPECT_EQ(Forwards(list), (Texts{L"b"}));
}

TEST(StringList, RemovesFromTheMiddle)
{
    CStringList list;
    AddTails(list, {L"a", L"b", L"c"});
    list.RemoveAt(list.FindIndex(1));
    EXPECT_EQ(Forwards(list), (Texts{L"a", L"c"}));
    EXPECT_EQ(Backwards(list), (Texts{L"c", L"a"}));
}

TEST(StringList, CanBeFilledAgainAfterRemoveAll)
{
    CStringList list;
    AddTails(list, {L"a", L"b", L"c"});
    list.RemoveAll();
    EXPECT_TRUE(list.IsEmpty());
    EXPECT_EQ(list.GetHeadPosition(), nullptr);
    AddTails(list, {L"d"});
    EXPECT_EQ(Forwards(list), (Texts{L"d"}));
}

TEST(StringList, InsertsBeforeAndAfterAPosition)
{
    CStringList list;
    const POSITION middle = list.AddTail(L"m");
    const POSITION before = list.InsertBefore(middle, L"b");
    const POSITION after = list.InsertAfter(middle, CString(L"n"));
    list.InsertBefore(middle, CString(L"l"));
    list.InsertAfter(after, L"o");
    EXPECT_EQ(before, list.GetHeadPosition());
    EXPECT_EQ(Text(list.GetAt(after)), L"n");
    EXPECT_EQ(Forwards(list), (Texts{L"b", L"l", L"m", L"n", L"o"}));
}

TEST(StringList, ANullPositionInsertsAtTheEnds)
{
    CStringList list;
    AddTails(list, {L"m"});
    list.InsertBefore(nullptr, L"a");
    list.InsertAfter(nullptr, L"z");
    EXPECT_EQ(Forwards(list), (Texts{L"a", L"m", L"z"}));
}

TEST(StringList, FindsAnEqualTextFromTheHead)
{
    CStringList list;
    AddTails(list, {L"a", L"B", L"b", L"a"});
    EXPECT_EQ(list.Find(L"a"), list.GetHeadPosition());
    EXPECT_EQ(list.Find(CString(L"b")), list.FindIndex(2));
    EXPECT_EQ(list.Find(L"c"), nullptr);
    EXPECT_EQ(list.Find(L""), nullptr);
    EXPECT_EQ(CStringList().Find(L"a"), nullptr);
}

TEST(StringList, FindsAfterAPosition)
{
    CStringList list;
    AddTails(list, {L"a", L"b", L"a"});
    EXPECT_EQ(list.Find(L"a", list.GetHeadPosition()), list.GetTailPosition());
    EXPECT_EQ(list.Find(L"a", list.GetTailPosition()), nullptr);
}

TEST(StringList, FindsByIndex)
{
    CStringList list;
    AddTails(list, {L"a", L"b"});
    EXPECT_EQ(list.FindIndex(0), list.GetHeadPosition());
    EXPECT_EQ(list.FindIndex(1), list.GetTailPosition());
    EXPECT_EQ(list.FindIndex(2), nullptr);
    EXPECT_EQ(list.FindIndex(-1), nullptr);
}

TEST(StringList, AMissingElementThrowsAnInvalidArgument)
{
    CStringList list;
    ExpectInvalidArgument([&] { list.GetHead(); });
    ExpectInvalidArgument([&] { list.GetTail(); });
    ExpectInvalidArgument([&] { list.RemoveHead(); });
    ExpectInvalidArgument([&] { list.RemoveTail(); });
    ExpectInvalidArgument([&] { list.GetAt(nullptr); });
    ExpectInvalidArgument([&] { list.SetAt(nullptr, L"a"); });
    ExpectInvalidArgument([&] { list.RemoveAt(nullptr); });
    POSITION position = nullptr;
    ExpectInvalidArgument([&] { list.GetNext(position); });
    ExpectInvalidArgument([&] { list.GetPrev(position); });
}

TEST(StringList, ManyElementsComeAndGo)
{
    CStringList list(4);
    for (int i = 0; i < 1000; ++i)
    {
        CString text;
        text.Format(L"element number %d, longer than a short string", i);
        list.AddTail(text);
        if (i % 3 == 2)
        {
            list.RemoveHead();
        }
    }
    EXPECT_EQ(list.GetCount(), 667);
    EXPECT_EQ(Text(list.GetHead()), L"element number 333, longer than a short string");
    EXPECT_EQ(Text(list.GetTail()), L"element number 999, longer than a short string");
}

}  // namespace
