#include "sysutil/directory_chain.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace
{

using ostrel::sysutil::IsTakenForFileName;
using ostrel::sysutil::LevelAbove;
using ostrel::sysutil::LevelBelow;
using Levels = std::vector<std::wstring>;

Levels Upwards(const std::wstring& path)
{
    Levels levels;
    for (std::size_t level = path.size(); level != 0; level = LevelAbove(path, level))
    {
        levels.push_back(path.substr(0, level));
    }
    return levels;
}

Levels Downwards(const std::wstring& path)
{
    Levels levels;
    for (std::size_t level = 0; level < path.size();)
    {
        level = LevelBelow(path, level);
        levels.push_back(path.substr(0, level));
    }
    return levels;
}

TEST(DirectoryChain, EveryBackslashEndsALevel)
{
    EXPECT_EQ(Upwards(L"C:\\a\\bc\\d"), (Levels{L"C:\\a\\bc\\d", L"C:\\a\\bc", L"C:\\a", L"C:"}));
    EXPECT_EQ(Downwards(L"C:\\a\\bc\\d"), (Levels{L"C:", L"C:\\a", L"C:\\a\\bc", L"C:\\a\\bc\\d"}));
}

TEST(DirectoryChain, APathWithoutBackslashIsOneLevel)
{
    EXPECT_EQ(Upwards(L"abc"), (Levels{L"abc"}));
    EXPECT_EQ(Downwards(L"abc"), (Levels{L"abc"}));
    EXPECT_EQ(Upwards(L"a/b"), (Levels{L"a/b"}));
}

TEST(DirectoryChain, ABackslashAtTheStartEndsNoLevel)
{
    EXPECT_EQ(Upwards(L"\\a\\b"), (Levels{L"\\a\\b", L"\\a"}));
    EXPECT_EQ(Upwards(L"\\\\host\\share"), (Levels{L"\\\\host\\share", L"\\\\host", L"\\"}));
}

TEST(DirectoryChain, ABackslashAtTheEndEndsALevelOfItsOwn)
{
    EXPECT_EQ(Upwards(L"C:\\a\\"), (Levels{L"C:\\a\\", L"C:\\a", L"C:"}));
}

TEST(DirectoryChain, AnEmptyPathHasNoLevels)
{
    EXPECT_EQ(Upwards(L""), Levels{});
    EXPECT_EQ(Downwards(L""), Levels{});
}

TEST(DirectoryChain, UpwardsAndDownwardsAreTheSameLevelsForEveryShortPath)
{
    const std::wstring letters = L"\\.a";
    for (int number = 0; number < 3 * 3 * 3 * 3 * 3 * 3 * 3; ++number)
    {
        std::wstring path;
        for (int rest = number; rest > 0; rest /= 3)
        {
            path += letters[static_cast<std::size_t>(rest % 3)];
        }
        const Levels up = Upwards(path);
        EXPECT_EQ(Levels(up.rbegin(), up.rend()), Downwards(path));
    }
}

TEST(DirectoryChain, ADotBehindTheLastBackslashMakesAFileName)
{
    EXPECT_TRUE(IsTakenForFileName(L"C:\\a\\b.txt"));
    EXPECT_TRUE(IsTakenForFileName(L"b.txt"));
    EXPECT_TRUE(IsTakenForFileName(L"C:\\a\\.hidden"));
    EXPECT_TRUE(IsTakenForFileName(L"C:\\a\\end."));
    EXPECT_TRUE(IsTakenForFileName(L"."));
    EXPECT_TRUE(IsTakenForFileName(L"a\\.."));
}

TEST(DirectoryChain, OtherDotsMakeNone)
{
    EXPECT_FALSE(IsTakenForFileName(L"C:\\a.b\\c"));
    EXPECT_FALSE(IsTakenForFileName(L"C:\\a.b\\"));
    EXPECT_FALSE(IsTakenForFileName(L"C:\\a\\b"));
    EXPECT_FALSE(IsTakenForFileName(L"abc"));
    EXPECT_FALSE(IsTakenForFileName(L""));
}

}  // namespace
