// What comes from one camera: its pictures, fetched and decoded in the background.
#pragma once

#include <string>
#include <vector>

#include "camera.h"
#include "overlay.h"
#include "picture.h"
#include "statistics.h"

class Feed
{
public:
    // The name is UTF-8.
    Feed(std::string name, const CameraUrl& url);
    Feed(const Feed&) = delete;
    Feed& operator=(const Feed&) = delete;

    const std::string& Name() const { return name_; }

    // Fetches a picture and waits for it. Throws std::runtime_error when there is none.
    void FetchNow();

    // Starts to fetch the next picture. When it has come and been decoded, `message` is posted to
    // `window`, with the number that is returned here as its wParam; 0: nothing was started. A
    // camera that cannot be reached ends a fetch without a message, so look at HasEnded() now and
    // then.
    int StartFetch(HWND window, UINT message);
    bool HasEnded() const { return camera_.HasEnded(); }

    // Ends the fetch. True when there is a new picture; otherwise Trouble() tells why there is
    // none.
    bool EndFetch();

    // The last good picture, decoded and as it was received, and how many there were before it.
    Picture& Shown() { return shown_; }
    const std::vector<unsigned char>& Jpeg() const { return jpeg_; }
    int Number() const { return number_; }

    // What is wrong with what came last, or empty.
    const std::string& Trouble() const { return trouble_; }
    void SetTrouble(const std::string& trouble);

    Statistics statistics;

private:
    void Load(unsigned char* jpeg, int length);
    bool Take(CMemManage& jpeg, int length);

    const std::string name_;
    Overlay overlay_;
    // The worker decodes into the one picture while the other is shown.
    Picture shown_;
    Picture coming_;
    Picture::Loading loading_;  // how it went with the coming one
    std::vector<unsigned char> jpeg_;
    int number_ = -1;
    std::string trouble_;
    Stopwatch fetchTime_;
    Camera camera_;  // last: its end waits for the worker, which uses the others
};
