#include "CShareMem.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <type_traits>
#include <vector>

#include "core/second_process.h"
#include "support/import_patch.h"
#include "support/scripted_camera.h"

namespace
{

using ostrel::test::ImportPatch;
using ostrel::test::kSecondProcessFailed;
using ostrel::test::NextHandleValue;
using ostrel::test::RunSecondProcess;

constexpr int kPage = 4096;

unsigned char* BytesOf(const CShareMem& memory)
{
    return static_cast<unsigned char*>(memory.vm_pView);
}

bool AreAll(const unsigned char* bytes, int size, unsigned char value)
{
    return std::all_of(bytes, bytes + size, [&](unsigned char byte) { return byte == value; });
}

// Each test has a name of its own, in this process.
class ShareMem : public testing::Test
{
protected:
    ShareMem()
    {
        static int count = 0;
        vm_name = L"Local\\ostrel test " + std::to_wstring(GetCurrentProcessId()) + L" " +
                  std::to_wstring(++count);
    }
    CStringW Name() const { return CStringW(vm_name.c_str()); }
    std::wstring Quoted() const { return L" \"" + vm_name + L"\" "; }

    std::wstring vm_name;
};

TEST_F(ShareMem, HoldsNothingAtFirst)
{
    CShareMem memory;
    EXPECT_TRUE(memory.vm_sName.IsEmpty());
    EXPECT_EQ(memory.vm_pView, nullptr);
    EXPECT_EQ(memory.vm_nSize, 0);
    EXPECT_EQ(memory.vm_hMapping, nullptr);
    EXPECT_EQ(memory.m_F_n_IsOpen(), 0);
    EXPECT_EQ(memory.m_F_n_GetMemSize(), 0);
    EXPECT_EQ(memory.m_S_CloseSM(), 0);
    memory.m_S_ZeroMem();
}

TEST_F(ShareMem, HasNoVirtualMembers)
{
    EXPECT_FALSE(std::is_polymorphic_v<CShareMem>);
}

TEST_F(ShareMem, ANameThatDoesNotExistIsNotOpenedWithoutLeaveToCreate)
{
    CShareMem memory;
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, false), 0);
    EXPECT_EQ(memory.m_F_n_IsOpen(), 0);
    EXPECT_EQ(memory.vm_hMapping, nullptr);
    EXPECT_TRUE(memory.vm_sName.IsEmpty());
    EXPECT_EQ(memory.vm_nSize, 0);
}

TEST_F(ShareMem, ANewBlockIsZeroedAndCanBeWritten)
{
    CShareMem memory;
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name(), 10000, true), 1);
    EXPECT_NE(memory.m_F_n_IsOpen(), 0);
    EXPECT_EQ(memory.m_F_n_GetMemSize(), 10000);
    EXPECT_EQ(memory.vm_nSize, 10000);
    EXPECT_STREQ(memory.vm_sName, Name());
    EXPECT_NE(memory.vm_hMapping, nullptr);
    ASSERT_NE(memory.vm_pView, nullptr);
    EXPECT_TRUE(AreAll(BytesOf(memory), 10000, 0));
    std::memset(memory.vm_pView, 0xAB, 10000);
    EXPECT_TRUE(AreAll(BytesOf(memory), 10000, 0xAB));
}

TEST_F(ShareMem, ASecondObjectSeesTheFirstOnesBytesAndClearsNothing)
{
    CShareMem first;
    ASSERT_EQ(first.m_F_n_OpenShareMem(Name(), 100, true), 1);
    std::memset(first.vm_pView, 7, 100);
    for (bool mayCreate : {false, true})
    {
        CShareMem second;
        EXPECT_EQ(second.m_F_n_OpenShareMem(Name(), 100, mayCreate), 1);
        ASSERT_NE(second.vm_pView, nullptr);
        EXPECT_NE(second.vm_pView, first.vm_pView);
        EXPECT_TRUE(AreAll(BytesOf(second), 100, 7));
        BytesOf(second)[5] = 9;
        EXPECT_EQ(BytesOf(first)[5], 9);
        BytesOf(second)[5] = 7;
    }
    EXPECT_TRUE(AreAll(BytesOf(first), 100, 7));
}

TEST_F(ShareMem, TheBlockIsGoneWithItsLastUser)
{
    {
        CShareMem memory;
        ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, true), 1);
    }
    CShareMem memory;
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, false), 0);
}

TEST_F(ShareMem, ClosingReturnsOneAndThenZeroAndKeepsTheSize)
{
    CShareMem memory;
    ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, true), 1);
    EXPECT_EQ(memory.m_S_CloseSM(), 1);
    EXPECT_EQ(memory.m_F_n_IsOpen(), 0);
    EXPECT_TRUE(memory.vm_sName.IsEmpty());
    EXPECT_EQ(memory.vm_pView, nullptr);
    EXPECT_EQ(memory.vm_hMapping, nullptr);
    EXPECT_EQ(memory.m_F_n_GetMemSize(), 100);
    EXPECT_EQ(memory.m_S_CloseSM(), 0);
    memory.m_S_ZeroMem();
}

TEST_F(ShareMem, OpeningAnotherClosesTheFirst)
{
    CShareMem memory;
    ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, true), 1);
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name() + L" other", 50, true), 1);
    EXPECT_STREQ(memory.vm_sName, Name() + L" other");
    CShareMem probe;
    EXPECT_EQ(probe.m_F_n_OpenShareMem(Name(), 100, false), 0);
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name() + L" third", 50, false), 0);
    EXPECT_EQ(memory.m_F_n_IsOpen(), 0);
}

TEST_F(ShareMem, ZeroMemClearsTheBlock)
{
    CShareMem memory;
    ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 5000, true), 1);
    std::memset(memory.vm_pView, 1, 5001);
    memory.m_S_ZeroMem();
    EXPECT_TRUE(AreAll(BytesOf(memory), 5000, 0));
    EXPECT_EQ(BytesOf(memory)[5000], 1);
}

TEST_F(ShareMem, CopiesHoldTheSameHandleAndView)
{
    CShareMem memory;
    ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, true), 1);
    CShareMem copy(memory);
    CShareMem assigned;
    assigned = memory;
    for (CShareMem* each : {&copy, &assigned})
    {
        EXPECT_STREQ(each->vm_sName, memory.vm_sName);
        EXPECT_EQ(each->vm_pView, memory.vm_pView);
        EXPECT_EQ(each->vm_nSize, memory.vm_nSize);
        EXPECT_EQ(each->vm_hMapping, memory.vm_hMapping);
        EXPECT_NE(each->m_F_n_IsOpen(), 0);
        each->vm_pView = nullptr;
        each->vm_hMapping = nullptr;
    }
    EXPECT_EQ(memory.m_S_CloseSM(), 1);
}

TEST_F(ShareMem, IsOpenOnlyWithBothTheHandleAndTheView)
{
    CShareMem memory;
    ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, true), 1);
    void* const view = memory.vm_pView;
    memory.vm_pView = nullptr;
    EXPECT_EQ(memory.m_F_n_IsOpen(), 0);
    EXPECT_EQ(memory.m_S_CloseSM(), 0);
    EXPECT_NE(memory.vm_hMapping, nullptr);
    memory.vm_pView = view;
    EXPECT_EQ(memory.m_S_CloseSM(), 1);
}

// ---- Sizes --------------------------------------------------------------------------------------

TEST_F(ShareMem, AnExistingBlockIsOpenedUnderTheSizeThatIsAskedFor)
{
    CShareMem first;
    ASSERT_EQ(first.m_F_n_OpenShareMem(Name(), 100, true), 1);
    CShareMem second;
    EXPECT_EQ(second.m_F_n_OpenShareMem(Name(), 5000000, true), 1);
    EXPECT_EQ(second.m_F_n_GetMemSize(), 5000000);
    CShareMem third;
    EXPECT_EQ(third.m_F_n_OpenShareMem(Name(), 0, true), 1);
    EXPECT_EQ(third.m_F_n_GetMemSize(), 0);
    CShareMem fourth;
    EXPECT_EQ(fourth.m_F_n_OpenShareMem(Name(), -5, false), 1);
    EXPECT_EQ(fourth.m_F_n_GetMemSize(), -5);
}

TEST_F(ShareMem, ZeroMemOfASizeAboveTheRealOneStaysInsideTheView)
{
    CShareMem first;
    ASSERT_EQ(first.m_F_n_OpenShareMem(Name(), kPage, true), 1);
    std::memset(first.vm_pView, 7, kPage);
    CShareMem second;
    ASSERT_EQ(second.m_F_n_OpenShareMem(Name(), 0x7FFFFFFF, false), 1);
    second.m_S_ZeroMem();
    EXPECT_TRUE(AreAll(BytesOf(first), kPage, 0));
}

TEST_F(ShareMem, ZeroMemOfANegativeSizeTouchesNothing)
{
    CShareMem first;
    ASSERT_EQ(first.m_F_n_OpenShareMem(Name(), kPage, true), 1);
    std::memset(first.vm_pView, 7, kPage);
    CShareMem second;
    ASSERT_EQ(second.m_F_n_OpenShareMem(Name(), -kPage, false), 1);
    second.m_S_ZeroMem();
    EXPECT_TRUE(AreAll(BytesOf(first), kPage, 7));
}

TEST_F(ShareMem, ABlockOfNoSizeCannotBeCreated)
{
    CShareMem memory;
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name(), 0, true), 0);
    EXPECT_EQ(memory.m_F_n_IsOpen(), 0);
}

DWORD askedSizeHigh;
DWORD askedSizeLow;
DWORD askedProtection;
HANDLE askedFile;

HANDLE WINAPI RefuseMapping(HANDLE file, SECURITY_ATTRIBUTES*, DWORD protection, DWORD sizeHigh,
                            DWORD sizeLow, LPCWSTR)
{
    askedFile = file;
    askedProtection = protection;
    askedSizeHigh = sizeHigh;
    askedSizeLow = sizeLow;
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST_F(ShareMem, IsAskedForFromThePagingFileANegativeSizeAsUnsigned)
{
    const ImportPatch<HANDLE WINAPI(HANDLE, SECURITY_ATTRIBUTES*, DWORD, DWORD, DWORD, LPCWSTR)>
        patch("CreateFileMappingW", &RefuseMapping);
    CShareMem memory;
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, true), 0);
    EXPECT_EQ(askedFile, INVALID_HANDLE_VALUE);
    EXPECT_EQ(askedProtection, static_cast<DWORD>(PAGE_READWRITE));
    EXPECT_EQ(askedSizeHigh, 0u);
    EXPECT_EQ(askedSizeLow, 100u);
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name(), -4096, true), 0);
    EXPECT_EQ(askedSizeHigh, 0u);
    EXPECT_EQ(askedSizeLow, 0xFFFFF000u);
    EXPECT_EQ(memory.m_F_n_IsOpen(), 0);
}

// Whether the platform has room for nearly four gibibytes or not.
TEST_F(ShareMem, ABlockOfANegativeSizeIsNoHarm)
{
    CShareMem memory;
    const int result = memory.m_F_n_OpenShareMem(Name(), -4096, true);
    EXPECT_EQ(result, memory.m_F_n_IsOpen());
    memory.m_S_ZeroMem();
    EXPECT_EQ(memory.m_S_CloseSM(), result);
}

// ---- Races and failures -------------------------------------------------------------------------

HANDLE WINAPI FindNoMapping(DWORD, BOOL, LPCWSTR)
{
    SetLastError(ERROR_FILE_NOT_FOUND);
    return nullptr;
}

using OpenMapping = HANDLE WINAPI(DWORD, BOOL, LPCWSTR);

// Another process makes the block between the look for it and its creation.
TEST_F(ShareMem, AHandleThatThisCallMadeZeroesTheBlockThoughTheNameExistedByThen)
{
    CShareMem first;
    ASSERT_EQ(first.m_F_n_OpenShareMem(Name(), 2 * kPage, true), 1);
    std::memset(first.vm_pView, 7, 2 * kPage);
    const ImportPatch<OpenMapping> patch("OpenFileMappingW", &FindNoMapping);
    CShareMem second;
    EXPECT_EQ(second.m_F_n_OpenShareMem(Name(), kPage + 10, true), 1);
    EXPECT_TRUE(AreAll(BytesOf(first), kPage + 10, 0));
    EXPECT_TRUE(AreAll(BytesOf(first) + kPage + 10, kPage - 10, 7));
}

TEST_F(ShareMem, SuchABlockThatIsShorterIsZeroedAndNothingBehindIt)
{
    CShareMem first;
    ASSERT_EQ(first.m_F_n_OpenShareMem(Name(), kPage, true), 1);
    std::memset(first.vm_pView, 7, kPage);
    const ImportPatch<OpenMapping> patch("OpenFileMappingW", &FindNoMapping);
    CShareMem second;
    EXPECT_EQ(second.m_F_n_OpenShareMem(Name(), 100000000, true), 1);
    EXPECT_EQ(second.m_F_n_GetMemSize(), 100000000);
    EXPECT_TRUE(AreAll(BytesOf(first), kPage, 0));
}

void* WINAPI RefuseView(HANDLE, DWORD, DWORD, DWORD, SIZE_T)
{
    SetLastError(ERROR_NOT_ENOUGH_MEMORY);
    return nullptr;
}

TEST_F(ShareMem, AViewThatFailsLeavesTheMappingsHandleUnclosed)
{
    CShareMem memory;
    {
        const ImportPatch<void * WINAPI(HANDLE, DWORD, DWORD, DWORD, SIZE_T)> patch("MapViewOfFile",
                                                                                    &RefuseView);
        EXPECT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, true), 0);
    }
    EXPECT_EQ(memory.m_F_n_IsOpen(), 0);
    EXPECT_EQ(memory.vm_pView, nullptr);
    EXPECT_TRUE(memory.vm_sName.IsEmpty());
    ASSERT_NE(memory.vm_hMapping, nullptr);
    EXPECT_EQ(memory.m_S_CloseSM(), 0);
    DWORD flags = 0;
    EXPECT_NE(GetHandleInformation(memory.vm_hMapping, &flags), FALSE);
    // So the block is still there.
    const HANDLE left = memory.vm_hMapping;
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, false), 1);
    EXPECT_NE(memory.vm_hMapping, left);
    CloseHandle(left);
}

TEST_F(ShareMem, ANameOfAnotherKindOfObjectIsNotOpened)
{
    const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, Name());
    ASSERT_NE(event, nullptr);
    CShareMem memory;
    EXPECT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, true), 0);
    EXPECT_EQ(memory.vm_hMapping, nullptr);
    CloseHandle(event);
}

TEST_F(ShareMem, HandlesAreNotLostOverManyBlocks)
{
    CShareMem memory;
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 300; ++i)
    {
        ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 100, true), 1);
        ASSERT_EQ(memory.m_F_n_OpenShareMem(Name() + L" missing", 100, false), 0);
        CShareMem closedByDestructor;
        ASSERT_EQ(closedByDestructor.m_F_n_OpenShareMem(Name(), 100, true), 1);
    }
    EXPECT_LT(NextHandleValue(), before + 400);
}

// ---- Two processes ------------------------------------------------------------------------------

TEST_F(ShareMem, ASecondProcessReadsWhatThisOneWrites)
{
    CShareMem memory;
    ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 1000, true), 1);
    BytesOf(memory)[999] = 123;
    EXPECT_EQ(RunSecondProcess(L"read" + Quoted() + L"1000 999"), 123u);
}

TEST_F(ShareMem, ThisProcessReadsWhatASecondOneWrites)
{
    CShareMem memory;
    ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 1000, true), 1);
    EXPECT_EQ(RunSecondProcess(L"write" + Quoted() + L"1000 0 45"), 0u);
    EXPECT_EQ(BytesOf(memory)[0], 45);
}

TEST_F(ShareMem, ASecondProcessThatMayCreateItClearsNothing)
{
    CShareMem memory;
    ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 1000, true), 1);
    std::memset(memory.vm_pView, 7, 1000);
    EXPECT_EQ(RunSecondProcess(L"create" + Quoted() + L"1000"), 0u);
    EXPECT_TRUE(AreAll(BytesOf(memory), 1000, 7));
}

TEST_F(ShareMem, ASecondProcessFindsNoBlockThatIsClosed)
{
    CShareMem memory;
    ASSERT_EQ(memory.m_F_n_OpenShareMem(Name(), 1000, true), 1);
    memory.m_S_CloseSM();
    EXPECT_EQ(RunSecondProcess(L"read" + Quoted() + L"1000 0"), kSecondProcessFailed);
}

}  // namespace
