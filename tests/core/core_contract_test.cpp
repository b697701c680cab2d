// What a client may rely on in the byte buffer, the debug output and the module object.
#include <winsock2.h>

#include <afxwin.h>
#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "CMemManage.h"
#include "CSFunc.h"
#include "support/import_patch.h"
#include "support/output_capture.h"

namespace
{

using ostrel::test::ImportPatch;
using ostrel::test::OutputCapture;
using U64 = unsigned __int64;

// ---- The heap as the DLL uses it ---------------------------------------------------------------

struct HeapCall
{
    char kind;
    void* block;
};

std::array<HeapCall, 64> g_heapCalls;
std::size_t g_nHeapCalls = 0;
std::size_t g_nHeapThread = 0;
bool g_bHeapIsFull = false;

void NoteHeapCall(char kind, void* block)
{
    if (GetCurrentThreadId() == g_nHeapThread && block != nullptr &&
        g_nHeapCalls < g_heapCalls.size())
    {
        g_heapCalls[g_nHeapCalls++] = {kind, block};
    }
}

void* WatchedMalloc(std::size_t size)
{
    void* const block = g_bHeapIsFull ? nullptr : std::malloc(size);
    NoteHeapCall('m', block);
    return block;
}

void WatchedFree(void* block)
{
    NoteHeapCall('f', block);
    std::free(block);
}

/// Writes down which blocks the DLL takes and gives back.
class HeapWatch
{
public:
    HeapWatch() : vm_malloc("malloc", &WatchedMalloc), vm_free("free", &WatchedFree)
    {
        g_nHeapThread = GetCurrentThreadId();
        g_nHeapCalls = 0;
        g_bHeapIsFull = false;
    }
    ~HeapWatch() { g_bHeapIsFull = false; }

    std::vector<HeapCall> Calls() const
    {
        std::vector<HeapCall> calls;
        calls.reserve(g_nHeapCalls);
        for (std::size_t i = 0; i < g_nHeapCalls; ++i)
        {
            calls.push_back(g_heapCalls[i]);
        }
        return calls;
    }

    std::string Kinds() const
    {
        std::string kinds;
        for (const HeapCall& call : Calls())
        {
            kinds += call.kind;
        }
        return kinds;
    }

    void Exhaust() { g_bHeapIsFull = true; }

private:
    ImportPatch<void*(std::size_t)> vm_malloc;
    ImportPatch<void(void*)> vm_free;
};

void Fill(CMemManage& buffer, unsigned char value)
{
    std::memset(buffer.m_pMem, value, static_cast<std::size_t>(buffer.m_nMemSize));
}

std::string TextOf(CMemManage& buffer)
{
    return {buffer.m_F_p_GetStrCHAR(), static_cast<std::size_t>(buffer.m_F_n_GetMemSize())};
}

const unsigned char* BytesOf(const char* text)
{
    return reinterpret_cast<const unsigned char*>(text);
}

/// A buffer whose block lies between other bytes of the test's, which must stay as they are.
class GuardedBuffer
{
public:
    static constexpr std::size_t kSize = 10;

    GuardedBuffer()
    {
        vm_bytes.fill('#');
        buffer.m_pMem = vm_bytes.data() + kMargin;
        buffer.m_nMemSize = kSize;
        std::memset(buffer.m_pMem, '.', kSize);
    }
    ~GuardedBuffer()
    {
        buffer.m_pMem = nullptr;
        buffer.m_nMemSize = 0;
    }

    bool IsSurroundingIntact() const
    {
        const std::string all(reinterpret_cast<const char*>(vm_bytes.data()), vm_bytes.size());
        const std::string margin(kMargin, '#');
        return all.substr(0, kMargin) == margin && all.substr(kMargin + kSize) == margin;
    }

    CMemManage buffer;

private:
    static constexpr std::size_t kMargin = 32;
    std::array<unsigned char, kMargin + kSize + kMargin> vm_bytes;
};

// ---- Construction and destruction --------------------------------------------------------------

TEST(ByteBufferContract, HasNoBaseOrVirtualMemberAndItsTwoFieldsInOrder)
{
    EXPECT_FALSE(std::is_polymorphic_v<CMemManage>);
    CMemManage buffer;
    EXPECT_EQ(static_cast<void*>(&buffer.m_pMem), static_cast<void*>(&buffer));
    EXPECT_LT(static_cast<void*>(&buffer.m_pMem), static_cast<void*>(&buffer.m_nMemSize));
}

TEST(ByteBufferContract, WithoutASizeNothingIsAllocated)
{
    HeapWatch watch;
    {
        CMemManage plain;
        CMemManage zero(0);
        EXPECT_EQ(plain.m_pMem, nullptr);
        EXPECT_EQ(plain.m_nMemSize, 0u);
        EXPECT_EQ(zero.m_pMem, nullptr);
        EXPECT_EQ(zero.m_nMemSize, 0u);
    }
    EXPECT_EQ(watch.Kinds(), "");
}

TEST(ByteBufferContract, ASizeOfOneIsAllocatedAndFreedByTheDestructor)
{
    HeapWatch watch;
    {
        CMemManage buffer(1);
        ASSERT_NE(buffer.m_F_p_GetMemPoint(), nullptr);
        EXPECT_EQ(buffer.m_F_n_GetMemSize(), 1u);
    }
    ASSERT_EQ(watch.Kinds(), "mf");
    EXPECT_EQ(watch.Calls()[0].block, watch.Calls()[1].block);
}

TEST(ByteBufferContract, AFailedAllocationConstructsAnEmptyBuffer)
{
    HeapWatch watch;
    watch.Exhaust();
    CMemManage buffer(100);
    EXPECT_EQ(buffer.m_pMem, nullptr);
    EXPECT_EQ(buffer.m_nMemSize, 0u);
}

TEST(ByteBufferContract, ASizeNoHeapCanGiveConstructsAnEmptyBuffer)
{
    CMemManage buffer(~U64{0} / 2);
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
}

TEST(ByteBufferContract, DelMemEmptiesAndIsHarmlessWhenRepeatedAndBeforeTheDestructor)
{
    HeapWatch watch;
    {
        CMemManage buffer(20);
        buffer.m_S_DelMem();
        EXPECT_EQ(buffer.m_pMem, nullptr);
        EXPECT_EQ(buffer.m_nMemSize, 0u);
        buffer.m_S_DelMem();
    }
    EXPECT_EQ(watch.Kinds(), "mf");
}

// ---- Allocation --------------------------------------------------------------------------------

TEST(ByteBufferContract, TheHeldSizeKeepsBlockAndBytes)
{
    CMemManage buffer(64);
    Fill(buffer, 0xA5);
    unsigned char* const block = buffer.m_pMem;
    HeapWatch watch;
    EXPECT_EQ(buffer.m_F_p_MemAlloc(64), block);
    EXPECT_EQ(TextOf(buffer), std::string(64, '\xA5'));
    EXPECT_EQ(watch.Kinds(), "");
}

TEST(ByteBufferContract, AnyOtherSizeFreesFirstAndAllocatesAfresh)
{
    for (const U64 size : {U64{63}, U64{65}, U64{1}, U64{4096}})
    {
        CMemManage buffer(64);
        unsigned char* const old = buffer.m_pMem;
        HeapWatch watch;
        unsigned char* const block = buffer.m_F_p_MemAlloc(size);
        EXPECT_EQ(block, buffer.m_pMem);
        EXPECT_EQ(buffer.m_nMemSize, size);
        ASSERT_EQ(watch.Kinds(), "fm") << size;
        EXPECT_EQ(watch.Calls()[0].block, old);
        EXPECT_EQ(watch.Calls()[1].block, block);
    }
}

TEST(ByteBufferContract, AllocationFillsAnEmptyBuffer)
{
    CMemManage buffer;
    unsigned char* const block = buffer.m_F_p_MemAlloc(7);
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), block);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 7u);
}

TEST(ByteBufferContract, AllocatingZeroOnAnEmptyBufferGivesNullAndAsksNoHeap)
{
    HeapWatch watch;
    CMemManage buffer;
    EXPECT_EQ(buffer.m_F_p_MemAlloc(0), nullptr);
    EXPECT_EQ(watch.Kinds(), "");
}

TEST(ByteBufferContract, AllocatingZeroFreesTheBlockAndLosesNone)
{
    HeapWatch watch;
    {
        CMemManage buffer(64);
        unsigned char* const old = buffer.m_pMem;
        buffer.m_F_p_MemAlloc(0);
        EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
        ASSERT_GE(watch.Calls().size(), 2u);
        EXPECT_EQ(watch.Calls()[1].kind, 'f');
        EXPECT_EQ(watch.Calls()[1].block, old);
        buffer.m_F_p_MemAlloc(0);
        EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
        buffer.m_F_p_MemAlloc(8);
        EXPECT_EQ(buffer.m_F_n_GetMemSize(), 8u);
    }
    std::ptrdiff_t held = 0;
    for (const HeapCall& call : watch.Calls())
    {
        held += call.kind == 'm' ? 1 : -1;
    }
    EXPECT_EQ(held, 0);
}

TEST(ByteBufferContract, AFailedAllocationGivesNullAndLeavesTheBufferEmpty)
{
    CMemManage buffer(64);
    unsigned char* const old = buffer.m_pMem;
    HeapWatch watch;
    watch.Exhaust();
    EXPECT_EQ(buffer.m_F_p_MemAlloc(65), nullptr);
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
    ASSERT_EQ(watch.Kinds(), "f");
    EXPECT_EQ(watch.Calls()[0].block, old);
}

TEST(ByteBufferContract, AfterAFailedAllocationTheSameSizeIsTriedAgain)
{
    CMemManage buffer;
    EXPECT_EQ(buffer.m_F_p_MemAlloc(~U64{0}), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 0u);
    EXPECT_NE(buffer.m_F_p_MemAlloc(16), nullptr);
    EXPECT_EQ(buffer.m_F_n_GetMemSize(), 16u);
}

TEST(ByteBufferContract, ZeroMemClearsEveryByteAndNothingElse)
{
    GuardedBuffer guarded;
    guarded.buffer.m_S_ZeroMem();
    EXPECT_EQ(TextOf(guarded.buffer), std::string(GuardedBuffer::kSize, '\0'));
    EXPECT_TRUE(guarded.IsSurroundingIntact());
}

TEST(ByteBufferContract, ZeroMemOnAnEmptyBufferDoesNothing)
{
    CMemManage buffer;
    buffer.m_S_ZeroMem();
    EXPECT_EQ(buffer.m_pMem, nullptr);
    EXPECT_EQ(buffer.m_nMemSize, 0u);
}

TEST(ByteBufferContract, TheThreeAccessorsNameTheBlock)
{
    CMemManage buffer(8);
    EXPECT_EQ(buffer.m_F_p_GetMemPoint(), buffer.m_pMem);
    EXPECT_EQ(static_cast<void*>(buffer.m_F_p_GetStrCHAR()), buffer.m_pMem);
    EXPECT_EQ(static_cast<void*>(buffer.m_F_p_GetStrWCHAR()), buffer.m_pMem);
    CMemManage empty;
    EXPECT_EQ(empty.m_F_p_GetMemPoint(), nullptr);
    EXPECT_EQ(empty.m_F_p_GetStrCHAR(), nullptr);
    EXPECT_EQ(empty.m_F_p_GetStrWCHAR(), nullptr);
}

// ---- Assignment --------------------------------------------------------------------------------

TEST(ByteBufferContract, AssignmentSharesTheBlockAndAllocatesOrFreesNothing)
{
    CMemManage one(16);
    CMemManage two(32);
    unsigned char* const lost = two.m_pMem;
    {
        HeapWatch watch;
        CMemManage& result = (two = one);
        EXPECT_EQ(&result, &two);
        EXPECT_EQ(two.m_pMem, one.m_pMem);
        EXPECT_EQ(two.m_nMemSize, 16u);
        EXPECT_EQ(one.m_nMemSize, 16u);
        EXPECT_EQ(watch.Kinds(), "");
    }
    std::free(lost);
    // Now one of the two must let go.
    two = CMemManage();
    EXPECT_EQ(two.m_pMem, nullptr);
    EXPECT_EQ(two.m_nMemSize, 0u);
    EXPECT_NE(one.m_pMem, nullptr);
}

TEST(ByteBufferContract, CopyConstructionSharesTheBlock)
{
    CMemManage one(16);
    CMemManage two(one);
    EXPECT_EQ(two.m_pMem, one.m_pMem);
    EXPECT_EQ(two.m_nMemSize, 16u);
    two = CMemManage();
}

// ---- Copies ------------------------------------------------------------------------------------

TEST(ByteBufferContract, ThePlainCopyTakesDestinationFirstAndLeavesTheObjectAlone)
{
    char target[6] = "-----";
    CMemManage empty;
    empty.m_S_MemCopy(target + 1, "abc", 3);
    EXPECT_STREQ(target, "-abc-");
    EXPECT_EQ(empty.m_pMem, nullptr);

    CMemManage buffer(4);
    Fill(buffer, 'x');
    buffer.m_S_MemCopy(target, "0123", 4);
    EXPECT_STREQ(target, "0123-");
    EXPECT_EQ(TextOf(buffer), "xxxx");
}

TEST(ByteBufferContract, RawCopyPutsTheBytesAtTheOffset)
{
    GuardedBuffer guarded;
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("abcdef"), 3, 2), 3);
    EXPECT_EQ(TextOf(guarded.buffer), "..abc.....");
    EXPECT_TRUE(guarded.IsSurroundingIntact());
}

TEST(ByteBufferContract, RawCopyMayFillTheRoomAfterTheOffsetButNotOneByteMore)
{
    GuardedBuffer guarded;
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("abcdefgh"), 7, 4), -1);
    EXPECT_EQ(TextOf(guarded.buffer), "..........");
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("abcdefgh"), 6, 4), 6);
    EXPECT_EQ(TextOf(guarded.buffer), "....abcdef");
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("0123456789x"), 11, 0), -1);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("0123456789x"), 10, 0), 10);
    EXPECT_EQ(TextOf(guarded.buffer), "0123456789");
    EXPECT_TRUE(guarded.IsSurroundingIntact());
}

TEST(ByteBufferContract, RawCopyAtTheVeryEndTakesNothingAndOnlyNothing)
{
    GuardedBuffer guarded;
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("a"), 0, GuardedBuffer::kSize), 0);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("a"), 1, GuardedBuffer::kSize), -1);
    EXPECT_TRUE(guarded.IsSurroundingIntact());
}

TEST(ByteBufferContract, RawCopyIntoAnEmptyBuffer)
{
    CMemManage empty;
    EXPECT_EQ(empty.m_F_n_MemCopy(BytesOf("a"), 1, 0), -1);
    EXPECT_EQ(empty.m_F_n_MemCopy(nullptr, 0, 0), 0);
}

TEST(ByteBufferContract, RawCopyWithAnOffsetPastTheEndPassesAndTouchesNothingOutside)
{
    GuardedBuffer guarded;
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("abcdef"), 6, GuardedBuffer::kSize + 1), 6);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("abcdef"), 6, GuardedBuffer::kSize + 20), 6);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("abcdef"), 6, U64{0} - 20), 6);
    EXPECT_TRUE(guarded.IsSurroundingIntact());

    CMemManage empty;
    EXPECT_EQ(empty.m_F_n_MemCopy(BytesOf("abcdef"), 6, 1), 6);
    EXPECT_EQ(empty.m_F_n_MemCopy(BytesOf("abcdef"), 6, 4096), 6);
    EXPECT_EQ(empty.m_pMem, nullptr);
}

TEST(ByteBufferContract, RawCopyComparesTheLengthWithTheWrappedDifference)
{
    // 10 - (2^64 - 4) is 14 in unsigned 64-bit arithmetic.
    GuardedBuffer guarded;
    const unsigned char* const source = BytesOf("abcdefghijklmnopqrst");
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 14, U64{0} - 4), 14);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 15, U64{0} - 4), -1);
    EXPECT_TRUE(guarded.IsSurroundingIntact());
}

TEST(ByteBufferContract, TheResultIsTheLengthTruncatedTo32Bits)
{
    GuardedBuffer guarded;
    const U64 pastEnd = GuardedBuffer::kSize + 1;
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("a"), 0x100000005, pastEnd), 5);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(BytesOf("a"), 0x80000000, pastEnd), INT_MIN);
    EXPECT_TRUE(guarded.IsSurroundingIntact());
}

TEST(ByteBufferContract, BufferCopyTakesSourceOffsetLengthDestinationOffset)
{
    GuardedBuffer guarded;
    CMemManage source(8);
    std::memcpy(source.m_pMem, "01234567", 8);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 1, 2, 5), 2);
    EXPECT_EQ(TextOf(guarded.buffer), ".....12...");
    EXPECT_EQ(TextOf(source), "01234567");
    EXPECT_TRUE(guarded.IsSurroundingIntact());
}

TEST(ByteBufferContract, BufferCopyRefusesARangePastTheSourcesEndThoughThereIsRoom)
{
    GuardedBuffer guarded;
    CMemManage source(4);
    std::memcpy(source.m_pMem, "0123", 4);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 0, 5, 0), -1);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 2, 3, 0), -1);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 5, 0, 0), -1);
    EXPECT_EQ(TextOf(guarded.buffer), "..........");
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 2, 2, 0), 2);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 4, 0, 0), 0);
    EXPECT_EQ(TextOf(guarded.buffer), "23........");
}

TEST(ByteBufferContract, BufferCopyRefusesWhatDoesNotFitTheDestination)
{
    GuardedBuffer guarded;
    CMemManage source(20);
    Fill(source, 'x');
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 0, 11, 0), -1);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 0, 4, 7), -1);
    EXPECT_EQ(TextOf(guarded.buffer), "..........");
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 0, 3, 7), 3);
    EXPECT_EQ(TextOf(guarded.buffer), ".......xxx");
    EXPECT_TRUE(guarded.IsSurroundingIntact());
}

TEST(ByteBufferContract, BufferCopyPassesAWrappedSourceRangeAndReadsNothingOutside)
{
    GuardedBuffer guarded;
    CMemManage source(4);
    // The offset and the length add up to 2 in unsigned 64-bit arithmetic.
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, U64{0} - 4, 6, 0), 6);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, U64{0} - 0x100000000, 0x100000000, 0), -1);
    EXPECT_TRUE(guarded.IsSurroundingIntact());
}

TEST(ByteBufferContract, BufferCopyPassesADestinationOffsetPastTheEndAndTouchesNothingOutside)
{
    GuardedBuffer guarded;
    CMemManage source(4);
    Fill(source, 'x');
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 0, 4, GuardedBuffer::kSize + 1), 4);
    EXPECT_EQ(guarded.buffer.m_F_n_MemCopy(source, 1, 3, U64{0} - 16), 3);
    EXPECT_TRUE(guarded.IsSurroundingIntact());
    EXPECT_EQ(TextOf(source), "xxxx");
}

TEST(ByteBufferContract, BufferCopyBetweenEmptyBuffersOfNothingGivesZero)
{
    CMemManage one;
    CMemManage two;
    EXPECT_EQ(one.m_F_n_MemCopy(two, 0, 0, 0), 0);
    EXPECT_EQ(one.m_F_n_MemCopy(two, 0, 1, 0), -1);
}

// ---- Debug output ------------------------------------------------------------------------------

TEST(DebugOutputContract, AMessageIsOutputAsFormattedWithALineEndAndNothingElse)
{
    OutputCapture capture;
    CSFunc::s_S_Debug("camera %d of %s: 0x%08x %5.2f%%", 7, "hall", 0xBEEFu, 1.5);
    EXPECT_EQ(capture.Texts(), std::vector<std::string>{"camera 7 of hall: 0x0000beef  1.50%\n"});
}

TEST(DebugOutputContract, EveryCallIsOneText)
{
    OutputCapture capture;
    CSFunc::s_S_Debug("one");
    CSFunc::s_S_Debug("");
    CSFunc::s_S_Debug("two\n");
    EXPECT_EQ(capture.Texts(), (std::vector<std::string>{"one\n", "\n", "two\n\n"}));
}

TEST(DebugOutputContract, AnArgumentIsNotFormattedASecondTime)
{
    OutputCapture capture;
    CSFunc::s_S_Debug("%s", "100%s %n %d");
    EXPECT_EQ(capture.Texts(), std::vector<std::string>{"100%s %n %d\n"});
}

TEST(DebugOutputContract, TheLongestMessageKeepsItsLineEnd)
{
    OutputCapture capture;
    const std::string message(1022, 'm');
    CSFunc::s_S_Debug("%s", message.c_str());
    EXPECT_EQ(capture.Texts(), std::vector<std::string>{message + "\n"});
}

TEST(DebugOutputContract, AnOverlongMessageStaysWithinTheBuffer)
{
    for (const std::size_t length : {1023u, 1024u, 1025u, 100000u})
    {
        OutputCapture capture;
        const std::string message(length, 'm');
        CSFunc::s_S_Debug("%s", message.c_str());
        ASSERT_EQ(capture.Texts().size(), 1u) << length;
        EXPECT_LE(capture.Texts()[0].size(), 1023u) << length;
        EXPECT_EQ(capture.Texts()[0].substr(0, 1022), message.substr(0, 1022)) << length;
    }
}

TEST(DebugOutputContract, ThreadsDoNotMixTheirMessages)
{
    OutputCapture capture;
    constexpr std::size_t kThreads = 4;
    constexpr std::size_t kMessages = 100;
    std::vector<std::thread> threads;
    for (std::size_t i = 0; i < kThreads; ++i)
    {
        threads.emplace_back(
            [i]
            {
                const std::string text(500, static_cast<char>('a' + i));
                for (std::size_t message = 0; message < kMessages; ++message)
                {
                    CSFunc::s_S_Debug("%s", text.c_str());
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    const std::vector<std::string> texts = capture.Texts();
    EXPECT_EQ(texts.size(), kThreads * kMessages);
    for (const std::string& text : texts)
    {
        ASSERT_EQ(text, std::string(500, text[0]) + "\n");
    }
}

TEST(StaticToolsContract, TheClassHasNoFieldsAndATrivialDestructor)
{
    EXPECT_TRUE(std::is_empty_v<CSFunc>);
    EXPECT_TRUE(std::is_trivially_destructible_v<CSFunc>);
}

// ---- The module object -------------------------------------------------------------------------

TEST(ModuleObjectContract, TheModuleHasOneApplicationObjectWhoseInitInstanceSucceeds)
{
    CWinApp* const app = AfxGetApp();
    ASSERT_NE(app, nullptr);
    EXPECT_NE(std::string(typeid(*app).name()).find("CLib_OstrelApp"), std::string::npos);
    EXPECT_TRUE(app->InitInstance());
    EXPECT_EQ(app->m_hInstance, GetModuleHandleW(L"Lib_Ostrel.dll"));
}

}  // namespace
