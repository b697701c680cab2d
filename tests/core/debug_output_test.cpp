#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "CSFunc.h"
#include "support/output_capture.h"

namespace
{

using ostrel::test::OutputCapture;
using Texts = std::vector<std::string>;

TEST(DebugOutput, MessageIsFormattedAndEndedByOneLineEnd)
{
    const OutputCapture capture;
    CSFunc::s_S_Debug("%s = 0x%08x, %d", "name", 0xABCu, -5);
    EXPECT_EQ(capture.Texts(), (Texts{"name = 0x00000abc, -5\n"}));
}

TEST(DebugOutput, NothingIsPutBeforeTheMessage)
{
    const OutputCapture capture;
    CSFunc::s_S_Debug("x");
    EXPECT_EQ(capture.Texts(), (Texts{"x\n"}));
}

TEST(DebugOutput, EmptyMessageIsALineEnd)
{
    const OutputCapture capture;
    const char* const nothing = "";
    CSFunc::s_S_Debug("%s", nothing);
    EXPECT_EQ(capture.Texts(), (Texts{"\n"}));
}

TEST(DebugOutput, EachCallIsOneLine)
{
    const OutputCapture capture;
    CSFunc::s_S_Debug("first");
    CSFunc::s_S_Debug("second");
    EXPECT_EQ(capture.Texts(), (Texts{"first\n", "second\n"}));
}

TEST(DebugOutput, LongestSupportedMessageKeepsItsLineEnd)
{
    const OutputCapture capture;
    const std::string longest(1022, 'm');
    CSFunc::s_S_Debug("%s", longest.c_str());
    EXPECT_EQ(capture.Texts(), (Texts{longest + "\n"}));
}

TEST(DebugOutput, LongerMessageIsCutThere)
{
    const OutputCapture capture;
    const std::string tooLong(5000, 'm');
    CSFunc::s_S_Debug("%s", tooLong.c_str());
    EXPECT_EQ(capture.Texts(), (Texts{std::string(1022, 'm') + "\n"}));
}

TEST(DebugOutput, NullFormatDoesNothing)
{
    const OutputCapture capture;
    CSFunc::s_S_Debug(nullptr);
    EXPECT_EQ(capture.Texts(), Texts());
}

TEST(DebugOutput, ThreadsDoNotMixTheirMessages)
{
    constexpr int kThreads = 4;
    constexpr int kMessages = 200;
    const OutputCapture capture;
    std::vector<std::thread> threads;
    for (int number = 0; number < kThreads; ++number)
    {
        threads.emplace_back(
            [number]
            {
                const std::string message(500, static_cast<char>('a' + number));
                for (int count = 0; count < kMessages; ++count)
                {
                    CSFunc::s_S_Debug("%s", message.c_str());
                }
            });
    }
    for (std::thread& thread : threads)
    {
        thread.join();
    }
    const Texts texts = capture.Texts();
    ASSERT_EQ(texts.size(), static_cast<size_t>(kThreads * kMessages));
    for (const std::string& text : texts)
    {
        EXPECT_EQ(text, std::string(500, text[0]) + "\n");
    }
}

}  // namespace
