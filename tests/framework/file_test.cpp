#include <afxwin.h>
#include <gtest/gtest.h>
#include <winioctl.h>

#include <string>
#include <type_traits>

#include "support/import_patch.h"
#include "support/temporary_folder.h"

namespace
{

using ostrel::test::ContentsOf;
using ostrel::test::ImportPatch;
using ostrel::test::MakeFile;
using ostrel::test::TemporaryFolder;

class File : public testing::Test
{
protected:
    CString Path(const wchar_t* name = L"file.bin") const
    {
        return CString(vm_folder.Path(name).c_str());
    }
    void Make(const std::string& contents) { MakeFile(vm_folder.Path(L"file.bin"), contents); }
    std::string Contents() const { return ContentsOf(vm_folder.Path(L"file.bin")); }
    bool Exists() const { return GetFileAttributesW(Path()) != INVALID_FILE_ATTRIBUTES; }

    TemporaryFolder vm_folder;
};

std::string ReadAll(CFile& file)
{
    char bytes[100] = "";
    return std::string(bytes, file.Read(bytes, sizeof(bytes)));
}

// The cause of the exception that the function throws, and -1 for none.
template <typename Function>
int CauseOf(Function function)
{
    try
    {
        function();
    }
    catch (CFileException* e)
    {
        const int cause = e->m_cause;
        e->Delete();
        return cause;
    }
    return -1;
}

TEST_F(File, TheFlagsHaveTheirDocumentedValues)
{
    EXPECT_EQ(CFile::modeRead, 0u);
    EXPECT_EQ(CFile::modeWrite, 1u);
    EXPECT_EQ(CFile::modeReadWrite, 2u);
    EXPECT_EQ(CFile::shareCompat, 0u);
    EXPECT_EQ(CFile::shareExclusive, 0x10u);
    EXPECT_EQ(CFile::shareDenyWrite, 0x20u);
    EXPECT_EQ(CFile::shareDenyRead, 0x30u);
    EXPECT_EQ(CFile::shareDenyNone, 0x40u);
    EXPECT_EQ(CFile::modeNoInherit, 0x80u);
    EXPECT_EQ(CFile::modeCreate, 0x1000u);
    EXPECT_EQ(CFile::modeNoTruncate, 0x2000u);
    EXPECT_EQ(CFile::typeText, 0x4000u);
    EXPECT_EQ(CFile::typeBinary, 0x8000u);
    EXPECT_EQ(CFile::begin, 0u);
    EXPECT_EQ(CFile::current, 1u);
    EXPECT_EQ(CFile::end, 2u);
}

TEST_F(File, IsClosedAtFirst)
{
    CFile file;
    EXPECT_EQ(file.m_hFile, CFile::hFileNull);
    EXPECT_EQ(CFile::hFileNull, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(file.GetFilePath().IsEmpty());
    EXPECT_TRUE(file.GetFileName().IsEmpty());
    EXPECT_FALSE(std::is_copy_constructible_v<CFile>);
}

TEST_F(File, OpensAnExistingFileToBeRead)
{
    Make("content");
    CFile file;
    EXPECT_TRUE(file.Open(Path(), CFile::modeRead));
    EXPECT_NE(file.m_hFile, CFile::hFileNull);
    EXPECT_EQ(static_cast<HANDLE>(file), file.m_hFile);
    EXPECT_EQ(ReadAll(file), "content");
    EXPECT_EQ(CauseOf([&] { file.Write("x", 1); }), CFileException::accessDenied);
}

TEST_F(File, OpenedToBeWrittenItCannotBeRead)
{
    Make("content");
    CFile file;
    EXPECT_TRUE(file.Open(Path(), CFile::modeWrite));
    file.Write("CON", 3);
    char byte;
    EXPECT_EQ(CauseOf([&] { file.Read(&byte, 1); }), CFileException::accessDenied);
    file.Close();
    EXPECT_EQ(Contents(), "CONtent");
}

TEST_F(File, CreatesAndEmptiesUnlessToldToKeepTheContents)
{
    CFile file;
    EXPECT_TRUE(file.Open(Path(), CFile::modeCreate | CFile::modeReadWrite));
    file.Write("abc", 3);
    file.Close();
    EXPECT_TRUE(
        file.Open(Path(), CFile::modeCreate | CFile::modeNoTruncate | CFile::modeReadWrite));
    EXPECT_EQ(ReadAll(file), "abc");
    file.Close();
    EXPECT_TRUE(file.Open(Path(), CFile::modeCreate | CFile::modeWrite));
    file.Close();
    EXPECT_EQ(Contents(), "");
}

TEST_F(File, WithoutLeaveToCreateTheFileMustExist)
{
    CFile file;
    EXPECT_FALSE(file.Open(Path(), CFile::modeReadWrite));
    EXPECT_FALSE(file.Open(Path(), CFile::modeNoTruncate | CFile::modeReadWrite));
    EXPECT_FALSE(Exists());
    EXPECT_EQ(file.m_hFile, CFile::hFileNull);
}

TEST_F(File, AFailureToOpenIsToldToTheExceptionThatIsGiven)
{
    CFile file;
    CFileException error;
    EXPECT_FALSE(file.Open(Path(), CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
    EXPECT_EQ(error.m_lOsError, ERROR_FILE_NOT_FOUND);
    EXPECT_STREQ(error.m_strFileName, Path());
    EXPECT_FALSE(file.Open(Path(L"missing\\file"), CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::badPath);
}

TEST_F(File, AnEmptyOrNullNameIsNotOpened)
{
    CFile file;
    EXPECT_FALSE(file.Open(L"", CFile::modeRead));
    EXPECT_FALSE(file.Open(nullptr, CFile::modeCreate | CFile::modeWrite));
}

TEST_F(File, TheConstructorThrowsWhenItCannotOpen)
{
    EXPECT_EQ(CauseOf([&] { CFile file(Path(), CFile::modeRead); }), CFileException::fileNotFound);
    CFile file(Path(), CFile::modeCreate | CFile::modeWrite);
    EXPECT_NE(file.m_hFile, CFile::hFileNull);
}

TEST_F(File, SharesAsTold)
{
    Make("content");
    struct Expectation
    {
        UINT share;
        bool mayRead;
        bool mayWrite;
    };
    const Expectation expectations[] = {{CFile::shareCompat, false, false},
                                        {CFile::shareExclusive, false, false},
                                        {CFile::shareDenyWrite, true, false},
                                        {CFile::shareDenyRead, false, true},
                                        {CFile::shareDenyNone, true, true}};
    for (const Expectation& expected : expectations)
    {
        CFile file(Path(), CFile::modeReadWrite | expected.share);
        CFile other;
        CFileException error;
        EXPECT_EQ(other.Open(Path(), CFile::modeRead | CFile::shareDenyNone, &error) != 0,
                  expected.mayRead)
            << expected.share;
        EXPECT_EQ(other.Open(Path(), CFile::modeWrite | CFile::shareDenyNone, &error) != 0,
                  expected.mayWrite)
            << expected.share;
        if (!expected.mayWrite)
        {
            EXPECT_EQ(error.m_cause, CFileException::sharingViolation);
        }
    }
}

TEST_F(File, ChildProcessesInheritTheHandleUnlessToldOtherwise)
{
    CFile inherited(Path(), CFile::modeCreate | CFile::modeWrite);
    CFile own(Path(L"other"), CFile::modeCreate | CFile::modeWrite | CFile::modeNoInherit);
    DWORD flags = 0;
    GetHandleInformation(inherited.m_hFile, &flags);
    EXPECT_NE(flags & HANDLE_FLAG_INHERIT, 0u);
    GetHandleInformation(own.m_hFile, &flags);
    EXPECT_EQ(flags & HANDLE_FLAG_INHERIT, 0u);
}

TEST_F(File, TellsItsFullPathAndItsName)
{
    wchar_t before[MAX_PATH] = L"";
    GetCurrentDirectoryW(MAX_PATH, before);
    SetCurrentDirectoryW(vm_folder.Path(L"").c_str());
    CFile file;
    EXPECT_TRUE(file.Open(L"file.bin", CFile::modeCreate | CFile::modeWrite));
    SetCurrentDirectoryW(before);
    EXPECT_STREQ(file.GetFilePath(), Path());
    EXPECT_STREQ(file.GetFileName(), L"file.bin");
    file.SetFilePath(L"x:\\folder\\other.txt");
    EXPECT_STREQ(file.GetFilePath(), L"x:\\folder\\other.txt");
    EXPECT_STREQ(file.GetFileName(), L"other.txt");
    file.Close();
    EXPECT_TRUE(file.GetFilePath().IsEmpty());
}

TEST_F(File, SeeksAndTellsPositionAndLength)
{
    Make("0123456789");
    CFile file(Path(), CFile::modeReadWrite);
    EXPECT_EQ(file.GetPosition(), 0u);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(file.Seek(4, CFile::begin), 4u);
    EXPECT_EQ(file.Seek(3, CFile::current), 7u);
    EXPECT_EQ(file.GetPosition(), 7u);
    EXPECT_EQ(file.Seek(-1, CFile::end), 9u);
    EXPECT_EQ(ReadAll(file), "9");
    EXPECT_EQ(file.SeekToEnd(), 10u);
    file.SeekToBegin();
    EXPECT_EQ(file.GetPosition(), 0u);
    EXPECT_EQ(CauseOf([&] { file.Seek(-1, CFile::begin); }), CFileException::badSeek);
    EXPECT_EQ(CauseOf([&] { file.Seek(0, 99); }), CFileException::genericException);
}

TEST_F(File, PositionsAndLengthsHaveSixtyFourBits)
{
    constexpr ULONGLONG kFar = 0x123456789;
    CFile file(Path(), CFile::modeCreate | CFile::modeReadWrite);
    DWORD returned = 0;
    DeviceIoControl(file.m_hFile, FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &returned, nullptr);
    file.SetLength(kFar);
    EXPECT_EQ(file.GetLength(), kFar);
    EXPECT_EQ(file.SeekToEnd(), kFar);
    EXPECT_EQ(file.GetPosition(), kFar);
}

TEST_F(File, SetLengthCutsAndExtendsAndMovesToTheEnd)
{
    Make("0123456789");
    CFile file(Path(), CFile::modeReadWrite | CFile::shareDenyNone);
    file.SetLength(4);
    EXPECT_EQ(file.GetPosition(), 4u);
    EXPECT_EQ(Contents(), "0123");
    file.SetLength(6);
    EXPECT_EQ(Contents(), std::string("0123\0\0", 6));
}

TEST_F(File, ReadsLessAtTheEnd)
{
    Make("abc");
    CFile file(Path(), CFile::modeRead);
    char bytes[10] = "";
    EXPECT_EQ(file.Read(bytes, 0), 0u);
    EXPECT_EQ(file.Read(bytes, 10), 3u);
    EXPECT_EQ(file.Read(bytes, 10), 0u);
}

TEST_F(File, AShortWriteIsAFullDisk)
{
    CFile file(Path(), CFile::modeCreate | CFile::modeWrite);
    const ImportPatch<BOOL WINAPI(HANDLE, LPCVOID, DWORD, DWORD*, OVERLAPPED*)> patch(
        "WriteFile",
        +[](HANDLE, LPCVOID, DWORD count, DWORD* written, OVERLAPPED*) -> BOOL
        {
            *written = count - 1;
            return TRUE;
        });
    EXPECT_EQ(CauseOf([&] { file.Write("abc", 3); }), CFileException::diskFull);
    EXPECT_EQ(CauseOf([&] { file.Write("abc", 0); }), -1);
}

TEST_F(File, ClosingMakesItsHandleNullAndMayBeRepeated)
{
    CFile file(Path(), CFile::modeCreate | CFile::modeWrite);
    file.Flush();
    file.Close();
    EXPECT_EQ(file.m_hFile, CFile::hFileNull);
    file.Close();
    file.Abort();
    file.Flush();
    EXPECT_NE(DeleteFileW(Path()), FALSE) << "it is still open";
}

TEST_F(File, AClosedFileCannotBeUsed)
{
    CFile file;
    char byte = 0;
    EXPECT_EQ(CauseOf([&] { file.Read(&byte, 1); }), CFileException::invalidFile);
    EXPECT_EQ(CauseOf([&] { file.Write(&byte, 1); }), CFileException::invalidFile);
    EXPECT_EQ(CauseOf([&] { file.Seek(0, CFile::begin); }), CFileException::invalidFile);
    EXPECT_EQ(CauseOf([&] { file.GetLength(); }), CFileException::invalidFile);
    EXPECT_EQ(CauseOf([&] { file.GetPosition(); }), CFileException::invalidFile);
    EXPECT_EQ(CauseOf([&] { file.SetLength(0); }), CFileException::invalidFile);
}

TEST_F(File, AbortCloses)
{
    CFile file(Path(), CFile::modeCreate | CFile::modeWrite);
    file.Abort();
    EXPECT_EQ(file.m_hFile, CFile::hFileNull);
    EXPECT_NE(DeleteFileW(Path()), FALSE) << "it is still open";
}

TEST_F(File, TheDestructorClosesWhatWasOpenedHere)
{
    {
        CFile file(Path(), CFile::modeCreate | CFile::modeWrite);
    }
    EXPECT_NE(DeleteFileW(Path()), FALSE) << "it is still open";
}

TEST_F(File, TheDestructorLeavesAHandleThatWasGivenAndCloseClosesIt)
{
    const HANDLE handle = CreateFileW(Path(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    {
        CFile file(handle);
        EXPECT_EQ(file.m_hFile, handle);
        file.Write("abc", 3);
    }
    DWORD flags = 0;
    EXPECT_NE(GetHandleInformation(handle, &flags), FALSE);
    CFile file(handle);
    file.Close();
    EXPECT_EQ(GetHandleInformation(handle, &flags), FALSE);
    EXPECT_EQ(Contents(), "abc");
}

TEST_F(File, OpeningAnotherClosesTheFirst)
{
    CFile file(Path(), CFile::modeCreate | CFile::modeWrite);
    EXPECT_TRUE(file.Open(Path(L"other"), CFile::modeCreate | CFile::modeWrite));
    EXPECT_NE(DeleteFileW(Path()), FALSE) << "it is still open";
}

TEST_F(File, ACodeOfThePlatformStandsForACause)
{
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_SUCCESS), CFileException::none);
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_FILE_NOT_FOUND),
              CFileException::fileNotFound);
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_PATH_NOT_FOUND), CFileException::badPath);
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_TOO_MANY_OPEN_FILES),
              CFileException::tooManyOpenFiles);
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_ACCESS_DENIED),
              CFileException::accessDenied);
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_INVALID_HANDLE),
              CFileException::invalidFile);
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_SHARING_VIOLATION),
              CFileException::sharingViolation);
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_LOCK_VIOLATION),
              CFileException::lockViolation);
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_DISK_FULL), CFileException::diskFull);
    EXPECT_EQ(CFileException::OsErrorToException(ERROR_HANDLE_EOF), CFileException::endOfFile);
    EXPECT_EQ(CFileException::OsErrorToException(12345678), CFileException::genericException);
}

TEST_F(File, AFileExceptionHasThePlatformsTextAboutItsCode)
{
    CFileException error(CFileException::fileNotFound, ERROR_FILE_NOT_FOUND, L"name");
    TCHAR message[200] = L"";
    EXPECT_TRUE(error.GetErrorMessage(message, 200));
    EXPECT_NE(message[0], L'\0');
    EXPECT_STREQ(error.m_strFileName, L"name");
    CFileException none;
    EXPECT_EQ(none.m_cause, CFileException::none);
    EXPECT_EQ(none.m_lOsError, -1);
    EXPECT_FALSE(none.GetErrorMessage(message, 200));
    EXPECT_STREQ(message, L"");
}

TEST_F(File, AFileExceptionIsThrownWithWhatItIsGiven)
{
    try
    {
        CFileException::ThrowOsError(ERROR_WRITE_PROTECT, L"name");
    }
    catch (CException* e)
    {
        const auto* const error = dynamic_cast<CFileException*>(e);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->m_cause, CFileException::accessDenied);
        EXPECT_EQ(error->m_lOsError, ERROR_WRITE_PROTECT);
        EXPECT_STREQ(error->m_strFileName, L"name");
        e->Delete();
    }
    EXPECT_EQ(CauseOf([] { AfxThrowFileException(CFileException::endOfFile); }),
              CFileException::endOfFile);
}

}  // namespace
