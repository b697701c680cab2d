#include <climits>
#include <string_view>

#include "CSFunc.h"
#include "sysutil/hex_text.h"

CStringW CSFunc::s_F_s_Utf8ToUnicode(CStringA sUtf8)
{
    // A byte never gives more than one character.
    const int room = sUtf8.GetLength() + 1;
    CStringW text;
    const int length = MultiByteToWideChar(CP_UTF8, 0, sUtf8, -1, text.GetBuffer(room - 1), room);
    text.ReleaseBuffer(length > 0 ? length - 1 : 0);
    return text;
}

CStringA CSFunc::s_F_s_UnicodeToUtf8(CStringW sText)
{
    const int room = WideCharToMultiByte(CP_UTF8, 0, sText, -1, nullptr, 0, nullptr, nullptr);
    if (room <= 0)
    {
        return CStringA();
    }
    CStringA utf8;
    const int length = WideCharToMultiByte(CP_UTF8, 0, sText, -1, utf8.GetBuffer(room - 1), room,
                                           nullptr, nullptr);
    utf8.ReleaseBuffer(length > 0 ? length - 1 : 0);
    return utf8;
}

CStringW CSFunc::s_F_s_ByteToHexStr(unsigned char* p, int n)
{
    CStringW text;
    if (p == nullptr || n <= 0)
    {
        return text;
    }
    if (n > INT_MAX / 2)
    {
        // More than a string can hold.
        AfxThrowMemoryException();
    }
    ostrel::sysutil::WriteHexText(p, static_cast<size_t>(n), text.GetBufferSetLength(2 * n));
    text.ReleaseBuffer(2 * n);
    return text;
}

void CSFunc::s_S_HexStrToByte(CStringW sHex, unsigned char* p, int nMax)
{
    if (p == nullptr || nMax <= 0)
    {
        return;
    }
    const CStringA text(sHex);
    ostrel::sysutil::ReadHexText({text.GetString(), static_cast<size_t>(text.GetLength())}, p,
                                 static_cast<size_t>(nMax));
}
