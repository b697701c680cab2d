// live_view: shows a camera's snapshots as a live picture, with Lib_Ostrel.
#include <CHTTP.h>

#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>

#include "camera.h"
#include "capture.h"
#include "command_line.h"
#include "embedded_camera.h"
#include "gdiplus_session.h"
#include "live_view.h"
#include "statistics.h"

namespace
{
enum ExitCode
{
    kShown = 0,
    kNothingShown = 1,
    kBadCommandLine = 2
};

void WatchCamera(const CameraUrl& url, const std::optional<CameraUrl>& events,
                 const Options& options, Statistics& statistics)
{
    const std::string name = url.WithoutPassword();
    std::printf("Camera: %s\n", name.c_str());
    std::fflush(stdout);

    // The first picture is fetched directly: before there is a window, nothing else is to be done,
    // and it tells at once whether the camera can be reached and lets this user in.
    Camera camera(url);
    CMemManage first;
    Stopwatch watch;
    const int length = camera.FetchNow(first);
    if (length < 0)
    {
        statistics.AddFailure(Camera::Describe(length));
        throw std::runtime_error(Camera::Describe(length));
    }
    statistics.Add(Stage::Fetch, watch.Elapsed());

    LiveView view(camera, name, options, statistics);
    if (events)
    {
        view.FollowEvents(*events);
    }
    view.Run(first, length);
    if (!options.snapshotFile.empty() && statistics.frames > 0)
    {
        SaveFile(options.snapshotFile, view.LastJpeg().data(), view.LastJpeg().size());
    }
}

int Run(const Options& options)
{
    const GdiplusSession gdiplus;
    const CHTTP winsock;  // its constructor starts Winsock, which the embedded camera needs, too
    std::unique_ptr<EmbeddedCamera> embedded;
    if (options.url.empty())
    {
        embedded = std::make_unique<EmbeddedCamera>();
    }
    const CameraUrl url = ParseCameraUrl(embedded ? embedded->Url() : options.url);
    std::optional<CameraUrl> events;
    if (options.stream)
    {
        events = url.WithPath(options.streamPath.value_or(EmbeddedCamera::kEventsPath));
    }

    Statistics statistics;
    statistics.hasStream = options.stream;
    ExitCode result = kShown;
    try
    {
        WatchCamera(url, events, options, statistics);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "live_view: %s\n", error.what());
        result = kNothingShown;
    }
    if (!options.summaryFile.empty())
    {
        const std::string summary = "camera: " + url.WithoutPassword() + '\n' + statistics.Report();
        SaveFile(options.summaryFile, summary.data(), summary.size());
    }
    return statistics.frames > 0 ? result : kNothingShown;
}
}  // namespace

int wmain(int count, wchar_t** arguments)
{
    try
    {
        const Options options = ParseCommandLine(count, arguments);
        if (options.help)
        {
            std::printf("%s", kUsage);
            return kShown;
        }
        return Run(options);
    }
    catch (const std::invalid_argument& error)
    {
        std::fprintf(stderr, "live_view: %s\nTry live_view --help.\n", error.what());
        return kBadCommandLine;
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "live_view: %s\n", error.what());
        return kNothingShown;
    }
}
