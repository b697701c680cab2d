#include "net/base64.h"

namespace ostrel::net
{

void EncodeCredentials(std::string_view user, std::string_view password, char* out)
{
    static constexpr char kAlphabet[] =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    const std::size_t length = user.size() + 1 + password.size();

    // The three pieces are never joined, so that nothing has to be allocated.
    const auto byteAt = [&](std::size_t index) -> unsigned
    {
        if (index < user.size())
        {
            return static_cast<unsigned char>(user[index]);
        }
        if (index == user.size())
        {
            return ':';
        }
        return index < length ? static_cast<unsigned char>(password[index - user.size() - 1]) : 0U;
    };

    for (std::size_t start = 0; start < length; start += 3)
    {
        const unsigned group = byteAt(start) << 16 | byteAt(start + 1) << 8 | byteAt(start + 2);
        *out++ = kAlphabet[group >> 18];
        *out++ = kAlphabet[group >> 12 & 63];
        *out++ = start + 1 < length ? kAlphabet[group >> 6 & 63] : '=';
        *out++ = start + 2 < length ? kAlphabet[group & 63] : '=';
    }
    *out = '\0';
}

void EncodeCredentialsBounded(std::string_view user, std::string_view password, char* out,
                              std::size_t capacity)
{
    if (Base64Length(user.size() + 1 + password.size()) >= capacity)
    {
        *out = '\0';
        return;
    }
    EncodeCredentials(user, password, out);
}

}  // namespace ostrel::net
