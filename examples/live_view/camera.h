// The camera as this client uses it: the library's HTTP client with an address.
#pragma once

#include <CHTTP.h>

#include <functional>
#include <string>

#include "camera_url.h"

class Camera
{
public:
    // Called with each picture that is fetched in the background, on the worker's thread, before
    // the fetch has ended. Fewer bytes than `length` may have arrived; all of them can be read.
    using Reader = std::function<void(unsigned char* picture, int length)>;

    Camera(const CameraUrl& url, Reader reader);

    // Fetches one picture and waits for it. Returns its length in bytes, or one of the HTTP
    // client's negative codes.
    int FetchNow(CMemManage& picture);

    // Starts a fetch in the background. When it ends, `message` is posted to `window`, with the
    // fetch's number as its wParam: the number returned here, or 0 when nothing could be started.
    // A camera that cannot be reached ends a fetch without a message, so look at HasEnded() now and
    // then.
    int StartFetch(HWND window, UINT message);
    bool HasEnded() const { return http_.m_nState == 0; }

    // Ends the fetch: returns as FetchNow() does. The picture stays in Picture() until the next
    // fetch is started.
    int EndFetch();
    CMemManage& Picture() { return http_.m_memData; }

    // Whether fewer bytes arrived than the camera announced. That is no error to the HTTP client.
    static bool IsCutShort(CMemManage& picture, int length);

    // What a code means, for people.
    static std::string Describe(int code);

private:
    static int OnFinished(int code, __int64 self, __int64 number);

    CameraUrl url_;
    Reader reader_;
    CHTTP http_;
    HWND window_ = nullptr;
    UINT message_ = 0;
};
