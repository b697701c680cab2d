#include "secret.h"

#include <CSFunc.h>
#include <CWinAES.h>

#include <algorithm>
#include <random>
#include <stdexcept>
#include <vector>

namespace
{
constexpr int kIvBytes = 16;
constexpr int kBlockBytes = 16;
// What says that the right key was used; the cipher itself would not notice.
const std::string kMark = "live_view:";

constexpr unsigned char kPassPhrase[] = "live_view keeps its cameras' passwords";

bool IsHex(const std::wstring& digits)
{
    return std::all_of(digits.begin(), digits.end(),
                       [](wchar_t digit) { return iswxdigit(digit); });
}
}  // namespace

std::wstring Encipher(const std::string& text)
{
    std::vector<unsigned char> result(kIvBytes);
    std::random_device random;
    std::generate(result.begin(), result.end(),
                  [&random] { return static_cast<unsigned char>(random()); });
    const std::string plain = kMark + text;
    CWinAES cipher;
    if (!cipher.m_F_b_Init(kPassPhrase, sizeof kPassPhrase - 1, result.data()))
    {
        throw std::runtime_error("a password cannot be enciphered on this machine");
    }
    const int length = cipher.m_F_n_Encrypt(reinterpret_cast<const unsigned char*>(plain.data()),
                                            static_cast<unsigned>(plain.size()));
    const unsigned char* const enciphered = cipher.m_F_p_GetEncBuf();
    result.insert(result.end(), enciphered, enciphered + length);
    return CSFunc::s_F_s_ByteToHexStr(result.data(), static_cast<int>(result.size())).GetString();
}

std::optional<std::string> Decipher(const std::wstring& digits)
{
    std::vector<unsigned char> bytes(digits.size() / 2);
    if (digits.size() % 2 != 0 || bytes.size() < kIvBytes + kBlockBytes ||
        bytes.size() % kBlockBytes != 0 || !IsHex(digits))
    {
        return std::nullopt;
    }
    CSFunc::s_S_HexStrToByte(digits.c_str(), bytes.data(), static_cast<int>(bytes.size()));
    CWinAES cipher;
    if (!cipher.m_F_b_Init(kPassPhrase, sizeof kPassPhrase - 1, bytes.data()))
    {
        return std::nullopt;
    }
    const int length = cipher.m_F_n_Decrypt(bytes.data() + kIvBytes,
                                            static_cast<unsigned>(bytes.size() - kIvBytes));
    const auto* const text = reinterpret_cast<const char*>(cipher.m_F_p_GetDecBuf());
    if (text == nullptr || length < static_cast<int>(kMark.size()) ||
        kMark.compare(0, kMark.size(), text, kMark.size()) != 0)
    {
        return std::nullopt;
    }
    return std::string(text + kMark.size(), text + length);
}
