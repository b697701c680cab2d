#include "CFileRW.h"

#include <gtest/gtest.h>
#include <winioctl.h>

#include <string>
#include <type_traits>

#include "core/second_process.h"
#include "support/import_patch.h"
#include "support/scripted_camera.h"
#include "support/temporary_folder.h"

namespace
{

using ostrel::test::ContentsOf;
using ostrel::test::ImportPatch;
using ostrel::test::MakeFile;
using ostrel::test::NextHandleValue;
using ostrel::test::RunSecondProcess;
using ostrel::test::TemporaryFolder;

constexpr unsigned int kNotOpen = 0xFFFFFFFF;

class FileRW : public testing::Test
{
protected:
    CStringW Name(const wchar_t* name = L"file.bin") const
    {
        return CStringW(vm_folder.Path(name).c_str());
    }
    void Make(const std::string& contents) { MakeFile(vm_folder.Path(L"file.bin"), contents); }
    std::string Contents() const { return ContentsOf(vm_folder.Path(L"file.bin")); }
    bool Exists() const { return GetFileAttributesW(Name()) != INVALID_FILE_ATTRIBUTES; }
    static std::string ReadAll(CFileRW& file)
    {
        char bytes[100] = "";
        const unsigned int count = file.m_F_n_Read(bytes, sizeof(bytes));
        return count == kNotOpen ? "not open" : std::string(bytes, count);
    }

    TemporaryFolder vm_folder;
};

// ---- Modes --------------------------------------------------------------------------------------

TEST_F(FileRW, TheModesHaveTheirValues)
{
    EXPECT_EQ(static_cast<int>(emDef_Read), 0);
    EXPECT_EQ(static_cast<int>(emDef_ReadWrite), 1);
    EXPECT_EQ(static_cast<int>(emDef_Create), 2);
    EXPECT_EQ(static_cast<int>(emDef_OpenAlways), 3);
}

TEST_F(FileRW, IsTheFrameworksFileAndHasAFlagOfItsOwn)
{
    EXPECT_TRUE((std::is_base_of_v<CFile, CFileRW>));
    EXPECT_TRUE(std::has_virtual_destructor_v<CFileRW>);
    EXPECT_TRUE((std::is_same_v<decltype(CFileRW::vm_bCanWrite), bool>));
}

TEST_F(FileRW, ReadOpensWhatExistsAndNothingElse)
{
    CFileRW file;
    EXPECT_EQ(file.m_F_n_Open(Name(), emDef_Read), 0);
    EXPECT_FALSE(Exists());
    Make("content");
    EXPECT_NE(file.m_F_n_Open(Name(), emDef_Read), 0);
    EXPECT_FALSE(file.vm_bCanWrite);
    EXPECT_EQ(ReadAll(file), "content");
}

TEST_F(FileRW, ReadWriteOpensWhatExistsAndNothingElse)
{
    CFileRW file;
    EXPECT_EQ(file.m_F_n_Open(Name(), emDef_ReadWrite), 0);
    EXPECT_FALSE(Exists());
    Make("content");
    EXPECT_NE(file.m_F_n_Open(Name(), emDef_ReadWrite), 0);
    EXPECT_TRUE(file.vm_bCanWrite);
    EXPECT_EQ(ReadAll(file), "content");
    file.m_S_Write("!", 1);
    EXPECT_EQ(Contents(), "content!");
}

TEST_F(FileRW, CreateMakesAFileAndEmptiesAnExistingOne)
{
    CFileRW file;
    EXPECT_NE(file.m_F_n_Open(Name(), emDef_Create), 0);
    EXPECT_TRUE(file.vm_bCanWrite);
    file.m_S_Write("abc", 3);
    file.m_F_n_Seek(0, CFile::begin);
    EXPECT_EQ(ReadAll(file), "abc");
    EXPECT_NE(file.m_F_n_Open(Name(), emDef_Create), 0);
    EXPECT_EQ(Contents(), "");
}

TEST_F(FileRW, OpenAlwaysMakesAFileAndKeepsAnExistingOnesContents)
{
    CFileRW file;
    EXPECT_NE(file.m_F_n_Open(Name(), emDef_OpenAlways), 0);
    EXPECT_TRUE(file.vm_bCanWrite);
    file.m_S_Write("abc", 3);
    EXPECT_NE(file.m_F_n_Open(Name(), emDef_OpenAlways), 0);
    EXPECT_EQ(ReadAll(file), "abc");
    file.m_S_Write("d", 1);
    EXPECT_EQ(Contents(), "abcd");
}

TEST_F(FileRW, AnyOtherModeIsRead)
{
    Make("content");
    for (int mode : {4, -1, 0x1002})
    {
        CFileRW file;
        EXPECT_NE(file.m_F_n_Open(Name(), static_cast<emDef_OpenType>(mode)), 0);
        EXPECT_FALSE(file.vm_bCanWrite);
        file.m_S_Write("x", 1);
    }
    EXPECT_EQ(Contents(), "content");
}

DWORD askedAccess;
DWORD askedSharing;
DWORD askedCreation;

HANDLE WINAPI NoteOpen(LPCWSTR, DWORD access, DWORD sharing, SECURITY_ATTRIBUTES*, DWORD creation,
                       DWORD, HANDLE)
{
    askedAccess = access;
    askedSharing = sharing;
    askedCreation = creation;
    SetLastError(ERROR_ACCESS_DENIED);
    return INVALID_HANDLE_VALUE;
}

TEST_F(FileRW, EveryModeDeniesWritingToOthersAndAsksForNoMoreThanItNeeds)
{
    struct Expectation
    {
        emDef_OpenType mode;
        DWORD access;
        DWORD creation;
    };
    const Expectation expectations[] = {
        {emDef_Read, GENERIC_READ, OPEN_EXISTING},
        {emDef_ReadWrite, GENERIC_READ | GENERIC_WRITE, OPEN_EXISTING},
        {emDef_Create, GENERIC_READ | GENERIC_WRITE, CREATE_ALWAYS},
        {emDef_OpenAlways, GENERIC_READ | GENERIC_WRITE, OPEN_ALWAYS},
    };
    const ImportPatch<HANDLE WINAPI(LPCWSTR, DWORD, DWORD, SECURITY_ATTRIBUTES*, DWORD, DWORD,
                                    HANDLE)>
        patch("CreateFileW", &NoteOpen);
    for (const Expectation& expected : expectations)
    {
        CFileRW file;
        EXPECT_EQ(file.m_F_n_Open(Name(), expected.mode), 0);
        EXPECT_EQ(askedAccess, expected.access) << expected.mode;
        EXPECT_EQ(askedSharing, static_cast<DWORD>(FILE_SHARE_READ)) << expected.mode;
        EXPECT_EQ(askedCreation, expected.creation) << expected.mode;
    }
}

// ---- Opening and closing ------------------------------------------------------------------------

TEST_F(FileRW, OpensNothingByDefault)
{
    CFileRW file;
    EXPECT_EQ(file.m_F_b_IsOpen(), 0);
    EXPECT_FALSE(file.vm_bCanWrite);
    CFileRW files[3];
    EXPECT_EQ(files[2].m_F_b_IsOpen(), 0);
}

TEST_F(FileRW, TheConstructorOpensAPath)
{
    Make("content");
    CFileRW read{CStringA(Name())};
    EXPECT_EQ(read.m_F_b_IsOpen(), 1);
    EXPECT_FALSE(read.vm_bCanWrite);
    read.m_S_Close();
    const CFileRW create(CStringA(Name()), emDef_Create);
    EXPECT_TRUE(create.vm_bCanWrite);
    EXPECT_EQ(Contents(), "");
}

TEST_F(FileRW, TheConstructorOpensNothingForAnEmptyPathOrAMissingFile)
{
    CFileRW empty("", emDef_Create);
    EXPECT_EQ(empty.m_F_b_IsOpen(), 0);
    CFileRW missing{CStringA(Name())};
    EXPECT_EQ(missing.m_F_b_IsOpen(), 0);
}

TEST_F(FileRW, OpensByANarrowAndByAWideName)
{
    // A character of the ANSI code page; the wide name names the same file.
    CFileRW file;
    EXPECT_NE(file.m_F_n_Open(CStringA(vm_folder.Path(L"f").c_str()) + "\xFC.bin", emDef_Create),
              0);
    EXPECT_EQ(file.m_F_b_IsOpen(), 1);
    file.m_S_Write("umlaut", 6);
    EXPECT_NE(file.m_F_n_Open(Name(L"f\u00FC.bin"), emDef_Read), 0);
    EXPECT_EQ(ReadAll(file), "umlaut");
}

TEST_F(FileRW, OpensByAWideNameOutsideTheAnsiCodePage)
{
    const wchar_t* const name = L"\u8BB0\u5F55 \u0437\u0430\u043F\u0438\u0441\u044C.bin";
    CFileRW file;
    ASSERT_NE(file.m_F_n_Open(Name(name), emDef_Create), 0);
    file.m_S_Write("wide", 4);
    EXPECT_STREQ(file.GetFileName(), name);
    file.m_S_Close();
    EXPECT_EQ(ContentsOf(vm_folder.Path(name)), "wide");
}

TEST_F(FileRW, AnOpenFileIsClosedBeforeAnotherIsOpened)
{
    CFileRW file;
    file.m_F_n_Open(Name(), emDef_Create);
    file.m_S_Write("first", 5);
    EXPECT_NE(file.m_F_n_Open(Name(L"other.bin"), emDef_Create), 0);
    file.m_S_Write("second", 6);
    EXPECT_EQ(Contents(), "first");
    EXPECT_EQ(ContentsOf(vm_folder.Path(L"other.bin")), "second");
    EXPECT_NE(DeleteFileW(Name()), FALSE) << "it is still open";
}

TEST_F(FileRW, AnOpenFileIsClosedAlsoWhenTheOtherCannotBeOpened)
{
    CFileRW file;
    file.m_F_n_Open(Name(), emDef_Create);
    EXPECT_EQ(file.m_F_n_Open(Name(L"missing.bin"), emDef_Read), 0);
    EXPECT_EQ(file.m_F_b_IsOpen(), 0);
    EXPECT_NE(DeleteFileW(Name()), FALSE) << "it is still open";
}

TEST_F(FileRW, FailuresToOpenAreToldByTheResultAlone)
{
    CFileRW file;
    for (const emDef_OpenType mode : {emDef_Read, emDef_ReadWrite, emDef_Create, emDef_OpenAlways})
    {
        EXPECT_EQ(file.m_F_n_Open(CStringW(), mode), 0);
        EXPECT_EQ(file.m_F_n_Open(CStringA(), mode), 0);
        EXPECT_EQ(file.m_F_n_Open(Name(L"no folder\\file.bin"), mode), 0);
        EXPECT_EQ(file.m_F_n_Open(Name(L"wild*card?.bin"), mode), 0);
        EXPECT_EQ(file.m_F_n_Open(CStringW(vm_folder.Path(L".").c_str()), mode), 0);
        EXPECT_EQ(file.m_F_n_Open(CStringW(L'x', 40000), mode), 0);
        EXPECT_EQ(file.m_F_b_IsOpen(), 0);
    }
}

TEST_F(FileRW, AWriterInThisProcessKeepsAnotherOut)
{
    CFileRW writer;
    ASSERT_NE(writer.m_F_n_Open(Name(), emDef_Create), 0);
    CFileRW other;
    EXPECT_EQ(other.m_F_n_Open(Name(), emDef_OpenAlways), 0);
    EXPECT_EQ(other.m_F_n_Open(Name(), emDef_Create), 0);
    writer.m_S_Close();
    EXPECT_NE(other.m_F_n_Open(Name(), emDef_OpenAlways), 0);
}

TEST_F(FileRW, SeveralMayReadOneFile)
{
    Make("content");
    CFileRW first;
    CFileRW second;
    EXPECT_NE(first.m_F_n_Open(Name(), emDef_Read), 0);
    EXPECT_NE(second.m_F_n_Open(Name(), emDef_Read), 0);
    EXPECT_EQ(ReadAll(first), "content");
    EXPECT_EQ(ReadAll(second), "content");
}

TEST_F(FileRW, ASecondProcessMayReadButNotWriteWhileTheFileIsOpen)
{
    const std::wstring quoted = L" \"" + vm_folder.Path(L"file.bin") + L"\"";
    for (const emDef_OpenType mode : {emDef_Create, emDef_ReadWrite, emDef_OpenAlways, emDef_Read})
    {
        CFileRW file;
        ASSERT_NE(file.m_F_n_Open(Name(), mode), 0);
        EXPECT_EQ(RunSecondProcess(L"open-to-read" + quoted), 0u) << mode;
        EXPECT_EQ(RunSecondProcess(L"open-to-write" + quoted),
                  static_cast<unsigned int>(ERROR_SHARING_VIOLATION))
            << mode;
    }
    EXPECT_EQ(RunSecondProcess(L"open-to-write" + quoted), 0u);
}

TEST_F(FileRW, ClosingTwiceIsHarmless)
{
    CFileRW file;
    file.m_S_Close();
    file.m_F_n_Open(Name(), emDef_Create);
    file.m_S_Close();
    EXPECT_EQ(file.m_F_b_IsOpen(), 0);
    file.m_S_Close();
    EXPECT_EQ(file.m_F_b_IsOpen(), 0);
}

TEST_F(FileRW, TheDestructorCloses)
{
    {
        CFileRW file;
        file.m_F_n_Open(Name(), emDef_Create);
    }
    EXPECT_NE(DeleteFileW(Name()), FALSE) << "it is still open";
}

TEST_F(FileRW, HandlesAreNotLostOverManyFiles)
{
    Make("content");
    CFileRW file;
    const std::size_t before = NextHandleValue();
    for (int i = 0; i < 300; ++i)
    {
        ASSERT_NE(file.m_F_n_Open(Name(), emDef_Read), 0);
        ASSERT_EQ(file.m_F_n_Open(Name(L"missing"), emDef_Read), 0);
        ASSERT_NE(file.m_F_n_Open(Name(), emDef_OpenAlways), 0);
        file.m_S_Close();
        CFileRW closedByDestructor(CStringA(Name()), emDef_ReadWrite);
        ASSERT_EQ(closedByDestructor.m_F_b_IsOpen(), 1);
    }
    EXPECT_LT(NextHandleValue(), before + 400);
}

TEST_F(FileRW, MayBeOpenedAsTheFrameworksFileWithFlagsOfTheCallers)
{
    CFileRW file;
    EXPECT_NE(file.Open(Name(), 0x9022), 0);
    EXPECT_EQ(file.m_F_b_IsOpen(), 1);
    file.Write("\xFF\xFE", 2);
    EXPECT_EQ(Contents(), "\xFF\xFE");
    EXPECT_EQ(RunSecondProcess(L"open-to-write \"" + vm_folder.Path(L"file.bin") + L"\""),
              static_cast<unsigned int>(ERROR_SHARING_VIOLATION));
    file.m_S_Close();
    EXPECT_EQ(file.m_F_b_IsOpen(), 0);
}

// ---- Reading, writing, seeking ------------------------------------------------------------------

TEST_F(FileRW, AClosedFileReadsAndSeeksTheFailureValueAndWritesNothing)
{
    CFileRW file;
    char byte = 'x';
    EXPECT_EQ(file.m_F_n_Read(&byte, 1), 0xFFFFFFFF);
    EXPECT_EQ(file.m_F_n_Read(nullptr, 0), 0xFFFFFFFF);
    EXPECT_EQ(file.m_F_n_Seek(0, CFile::begin), 0xFFFFFFFFull);
    EXPECT_EQ(file.m_F_n_Seek(-1, 99), 0xFFFFFFFFull);
    file.m_S_Write(&byte, 1);
    file.m_S_Write(nullptr, 10);
    EXPECT_EQ(byte, 'x');
    file.m_F_n_Open(Name(), emDef_Create);
    file.m_S_Close();
    EXPECT_EQ(file.m_F_n_Read(&byte, 1), 0xFFFFFFFF);
    EXPECT_EQ(file.m_F_n_Seek(0, CFile::begin), 0xFFFFFFFFull);
    file.m_S_Write(&byte, 1);
    EXPECT_EQ(Contents(), "");
}

TEST_F(FileRW, AFileOpenToBeReadIsNotWrittenToAndNothingIsRaised)
{
    Make("content");
    CFileRW file;
    file.m_F_n_Open(Name(), emDef_Read);
    file.m_S_Write("xyz", 3);
    EXPECT_EQ(Contents(), "content");
    EXPECT_EQ(file.m_F_n_Seek(0, CFile::current), 0u);
}

TEST_F(FileRW, AFileOpenToBeReadAfterItWasWrittenIsNotWrittenTo)
{
    CFileRW file;
    file.m_F_n_Open(Name(), emDef_Create);
    file.m_S_Write("abc", 3);
    file.m_F_n_Open(Name(), emDef_Read);
    file.m_S_Write("xyz", 3);
    EXPECT_EQ(Contents(), "abc");
}

TEST_F(FileRW, ReadsLessAtTheEndOfTheFileAndNothingBehindIt)
{
    Make("content");
    CFileRW file;
    file.m_F_n_Open(Name(), emDef_Read);
    char bytes[20] = "";
    EXPECT_EQ(file.m_F_n_Read(bytes, 4), 4u);
    EXPECT_EQ(std::string(bytes, 4), "cont");
    EXPECT_EQ(file.m_F_n_Read(bytes, 20), 3u);
    EXPECT_EQ(std::string(bytes, 3), "ent");
    EXPECT_EQ(file.m_F_n_Read(bytes, 20), 0u);
    EXPECT_EQ(file.m_F_n_Read(bytes, 0), 0u);
}

TEST_F(FileRW, KeepsEveryByteAsItIs)
{
    std::string bytes;
    for (int i = 0; i < 256; ++i)
    {
        bytes += static_cast<char>(i);
    }
    bytes += "\r\n\n\x1A";
    CFileRW file;
    file.m_F_n_Open(Name(), emDef_Create);
    file.m_S_Write(bytes.data(), static_cast<unsigned int>(bytes.size()));
    file.m_S_Write(bytes.data(), 0);
    EXPECT_EQ(Contents(), bytes);
}

TEST_F(FileRW, SeeksFromBeginCurrentAndEnd)
{
    Make("0123456789");
    CFileRW file;
    file.m_F_n_Open(Name(), emDef_Read);
    EXPECT_EQ(file.m_F_n_Seek(4, CFile::begin), 4u);
    EXPECT_EQ(file.m_F_n_Seek(2, CFile::current), 6u);
    EXPECT_EQ(ReadAll(file), "6789");
    EXPECT_EQ(file.m_F_n_Seek(-3, CFile::end), 7u);
    EXPECT_EQ(ReadAll(file), "789");
    EXPECT_EQ(file.m_F_n_Seek(-2, CFile::current), 8u);
    EXPECT_EQ(file.m_F_n_Seek(100, CFile::end), 110u);
    EXPECT_EQ(ReadAll(file), "");
}

TEST_F(FileRW, SeeksAndReadsBeyondFourGibibytes)
{
    constexpr __int64 kFar = 5368709120;
    CFileRW file;
    ASSERT_NE(file.m_F_n_Open(Name(), emDef_Create), 0);
    // So that the platform does not fill the gap.
    DWORD returned = 0;
    DeviceIoControl(file.m_hFile, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
    file.m_S_Write("begin", 5);
    EXPECT_EQ(file.m_F_n_Seek(kFar, CFile::begin), static_cast<unsigned __int64>(kFar));
    file.m_S_Write("far", 3);
    EXPECT_EQ(file.m_F_n_Seek(0, CFile::current), static_cast<unsigned __int64>(kFar + 3));
    EXPECT_EQ(file.GetLength(), static_cast<unsigned __int64>(kFar + 3));
    EXPECT_EQ(file.m_F_n_Seek(-(kFar + 2), CFile::end), 1u);
    EXPECT_EQ(file.m_F_n_Seek(kFar, CFile::current), static_cast<unsigned __int64>(kFar + 1));
    EXPECT_EQ(ReadAll(file), "ar");
    // A position that is the failure value's number is one.
    EXPECT_EQ(file.m_F_n_Seek(0xFFFFFFFF, CFile::begin), 0xFFFFFFFFull);
    char byte = 'x';
    EXPECT_EQ(file.m_F_n_Read(&byte, 1), 1u);
    EXPECT_EQ(byte, '\0');
}

TEST_F(FileRW, WhatThePlatformRefusesIsTheFrameworksFileException)
{
    CFileRW file;
    file.m_F_n_Open(Name(), emDef_Create);
    EXPECT_THROW(file.m_F_n_Seek(-1, CFile::begin), CFileException*);
    EXPECT_THROW(file.m_F_n_Seek(0, 3), CFileException*);
    EXPECT_EQ(file.m_F_b_IsOpen(), 1);
}

BOOL WINAPI WriteHalf(HANDLE, LPCVOID, DWORD count, DWORD* written, OVERLAPPED*)
{
    *written = count / 2;
    return TRUE;
}

BOOL WINAPI RefuseWrite(HANDLE, LPCVOID, DWORD, DWORD* written, OVERLAPPED*)
{
    *written = 0;
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

TEST_F(FileRW, AFailedOrShortWriteIsTheFrameworksFileException)
{
    CFileRW file;
    file.m_F_n_Open(Name(), emDef_Create);
    for (const auto write : {&WriteHalf, &RefuseWrite})
    {
        const ImportPatch<BOOL WINAPI(HANDLE, LPCVOID, DWORD, DWORD*, OVERLAPPED*)> patch(
            "WriteFile", write);
        try
        {
            file.m_S_Write("abcd", 4);
            ADD_FAILURE() << "nothing was thrown";
        }
        catch (CFileException* e)
        {
            EXPECT_EQ(e->m_cause, CFileException::diskFull);
            e->Delete();
        }
    }
}

}  // namespace
