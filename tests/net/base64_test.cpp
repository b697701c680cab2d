#include "net/base64.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace net = ostrel::net;

namespace
{

std::string Encoded(const std::string& user, const std::string& password)
{
    std::vector<char> out(net::Base64Length(user.size() + 1 + password.size()) + 1, '#');
    net::EncodeCredentials(user, password, out.data());
    EXPECT_EQ(out.back(), '\0');
    return out.data();
}

// A decoder of its own, so that the encoder is not measured by itself.
std::string Decoded(const std::string& text)
{
    const std::string alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string bytes;
    unsigned bits = 0;
    int held = 0;
    for (const char character : text)
    {
        if (character == '=')
        {
            break;
        }
        bits = bits << 6 | static_cast<unsigned>(alphabet.find(character));
        held += 6;
        if (held >= 8)
        {
            held -= 8;
            bytes += static_cast<char>(bits >> held & 0xFF);
        }
    }
    return bytes;
}

}  // namespace

TEST(CredentialsText, IsThatOfTheStandardsExample)
{
    EXPECT_EQ(Encoded("Aladdin", "open sesame"), "QWxhZGRpbjpvcGVuIHNlc2FtZQ==");
}

TEST(CredentialsText, EndsInTwoEqualSignsWhenOneByteIsLeftOver)
{
    EXPECT_EQ(Encoded("", ""), "Og==");
    EXPECT_EQ(Encoded("ab", "c"), "YWI6Yw==");
}

TEST(CredentialsText, EndsInOneEqualSignWhenTwoBytesAreLeftOver)
{
    EXPECT_EQ(Encoded("a", ""), "YTo=");
    EXPECT_EQ(Encoded("", "a"), "OmE=");
}

TEST(CredentialsText, EndsInNoEqualSignWhenTheGroupsComeOut)
{
    EXPECT_EQ(Encoded("a", "b"), "YTpi");
    EXPECT_EQ(Encoded("admin", "12345678"), "YWRtaW46MTIzNDU2Nzg=");
}

TEST(CredentialsText, UsesPlusAndSlashAsTheLastTwoCharacters)
{
    EXPECT_EQ(Encoded("~>", "~?"), "fj46fj8=");
    EXPECT_EQ(Encoded("?>?", "~~"), "Pz4/On5+");
}

TEST(CredentialsText, HasFourCharactersForEveryThreeBegunAndDecodesToTheCredentials)
{
    std::string password;
    for (int length = 0; length < 300; ++length)
    {
        const std::string text = Encoded("user", password);
        EXPECT_EQ(text.size(), (5 + password.size() + 2) / 3 * 4);
        EXPECT_EQ(Decoded(text), "user:" + password);
        password += static_cast<char>(0x20 + length % 0x5F);
    }
}

TEST(CredentialsText, EncodesBytesOutsideAsciiAsTheStandardDoes)
{
    EXPECT_EQ(Encoded("\xFF", "\xFE\xFD"), "/zr+/Q==");
}

TEST(BoundedCredentialsText, HoldsWhatFits)
{
    char out[5] = "####";
    net::EncodeCredentialsBounded("a", "b", out, sizeof(out));
    EXPECT_STREQ(out, "YTpi");
}

TEST(BoundedCredentialsText, IsEmptyWhenTextAndTerminatorDoNotFit)
{
    char out[4] = "###";
    net::EncodeCredentialsBounded("a", "b", out, sizeof(out));
    EXPECT_STREQ(out, "");
}
