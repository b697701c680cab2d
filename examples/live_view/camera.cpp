#include "camera.h"

#include <utility>

namespace
{
constexpr int kTimeOut = 3000;  // milliseconds, for the connection and for each wait for data

static_assert(sizeof(CHTTP::m_szHost) == CameraUrl::kLongestName + 1 &&
                  sizeof(CHTTP::m_szUser) == CameraUrl::kLongestName + 1 &&
                  sizeof(CHTTP::m_szPassword) == CameraUrl::kLongestName + 1 &&
                  sizeof(CHTTP::m_szUrl) == CameraUrl::kLongestPath + 1,
              "an address that was accepted fits into the HTTP client");
}  // namespace

Camera::Camera(const CameraUrl& url, Reader reader) : url_(url), reader_(std::move(reader))
{
    http_.m_S_Init(url.host.c_str(), url.user.c_str(), url.password.c_str(), url.port);
    // After m_S_Init(), which clears the callback.
    http_.m_nUserData1 = reinterpret_cast<__int64>(this);
    http_.m_nUserData2 = 0;
    http_.m_pfnFinished = &Camera::OnFinished;
}

int Camera::FetchNow(CMemManage& picture)
{
    return http_.m_F_n_HTTPGetDataDirect(url_.host.c_str(), url_.user.c_str(),
                                         url_.password.c_str(), url_.port, url_.path.c_str(),
                                         &picture, kTimeOut);
}

int Camera::StartFetch(HWND window, UINT message)
{
    if (!HasEnded())
    {
        return 0;
    }
    window_ = window;
    message_ = message;
    ++http_.m_nUserData2;
    const bool started = http_.m_F_n_HTTPGetData(url_.path.c_str(), kTimeOut) != 0;
    return started ? static_cast<int>(http_.m_nUserData2) : 0;
}

// Runs on the worker's thread.
int Camera::OnFinished(int code, __int64 self, __int64 number)
{
    Camera& camera = *reinterpret_cast<Camera*>(self);
    if (code > 0 && camera.http_.m_memData.m_F_n_GetMemSize() >= static_cast<unsigned>(code))
    {
        camera.reader_(camera.http_.m_memData.m_F_p_GetMemPoint(), code);
    }
    PostMessageW(camera.window_, camera.message_, static_cast<WPARAM>(number), 0);
    return 0;
}

int Camera::EndFetch()
{
    // The worker is at its very end when the message comes. Its exit code tells the bytes that
    // arrived, where the callback's code tells those that were announced.
    DWORD code = 0;
    const bool ended = WaitForSingleObject(http_.m_hThread, kTimeOut) == WAIT_OBJECT_0 &&
                       GetExitCodeThread(http_.m_hThread, &code);
    return ended ? static_cast<int>(code) : -3;
}

bool Camera::IsCutShort(CMemManage& picture, int length)
{
    // The HTTP client makes the block 5 bytes longer than what was announced, and takes 4 MiB for
    // announced when nothing was.
    constexpr unsigned __int64 kSpare = 5;
    constexpr unsigned __int64 kUnknown = 4194304;
    const unsigned __int64 size = picture.m_F_n_GetMemSize();
    return size != kUnknown + kSpare && length + kSpare < size;
}

std::string Camera::Describe(int code)
{
    switch (code)
    {
        case -1:
            return "-1 bad arguments";
        case -2:
            return "-2 not connected: no such host, nobody listens there, or no answer in time";
        case -3:
            return "-3 bad answer: neither a picture nor a question for credentials";
        case -4:
            return "-4 wrong credentials: the camera refused user or password";
        default:
            return std::to_string(code) + " bytes received";
    }
}
