// Uses something of every exported class, and catches what crosses the DLL's boundary.
#include <Lib_Ostrel.h>

#include <cstdio>
#include <cstring>

static bool Check(bool isTrue, const char* what)
{
    std::printf("%s: %s\n", isTrue ? "ok" : "FAILED", what);
    return isTrue;
}

int main()
{
    bool isGood = true;

    CMemManage buffer(16);
    isGood &= Check(buffer.m_F_n_GetMemSize() == 16, "a byte buffer holds its size");

    char text[64];
    CHTTP::Base64Encode("Aladdin", "open sesame", text);
    isGood &= Check(std::strcmp(text, "QWxhZGRpbjpvcGVuIHNlc2FtZQ==") == 0,
                    "credentials are encoded as RFC 2617 has them");

    CHTTP http;
    isGood &= Check(http.GetIPAddress("127.0.0.1") == 0x7F000001u, "an address is looked up");

    unsigned char y[16 * 2], u[8], v[8], rgb[16 * 2 * 3];
    std::memset(y, 235, sizeof(y));
    std::memset(u, 128, sizeof(u));
    std::memset(v, 128, sizeof(v));
    CSFunc::s_S_YV12_to_RGB24(rgb, y, u, v, 16, 2);
    isGood &= Check(rgb[0] == 253 && rgb[95] == 253, "a picture is converted");

    CRender render;
    CRect area(0, 0, 1000, 500);
    isGood &= Check(render.m_F_n_CalShowRect(CRect(0, 0, 400, 300), area) == 1 &&
                        area == CRect(167, 0, 832, 500),
                    "a picture is fitted");
    isGood &= Check(CRender::vs_nFccYV12 == 0x32315659u, "exported data is reached");

    CWinAES aes;
    CWinRSA rsa;
    isGood &= Check(aes.m_F_n_Decrypt(y, 32) == 32 && rsa.m_F_n_Encrypt(y, 32) == 32 &&
                        std::memcmp(rsa.m_F_p_GetEncBuf(), y, 32) == 0,
                    "ciphers without a key leave bytes as they are");

    CPtrList list;
    try
    {
        list.RemoveAt(nullptr);
        isGood &= Check(false, "a framework exception is caught");
    }
    catch (CException* exception)
    {
        exception->Delete();
        isGood &= Check(true, "a framework exception is caught");
    }
    return isGood ? 0 : 1;
}
