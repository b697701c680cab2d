// live_view: shows cameras' snapshots as live pictures, with Lib_Ostrel.
#include <CHTTP.h>

#include <algorithm>
#include <cstdio>
#include <memory>
#include <optional>
#include <stdexcept>

#include "camera_book.h"
#include "capture.h"
#include "command_line.h"
#include "embedded_camera.h"
#include "gdiplus_session.h"
#include "live_view.h"
#include "processor_time.h"

namespace
{
enum ExitCode
{
    kShown = 0,
    kNothingShown = 1,
    kBadCommandLine = 2
};

// What the file names; the camera of the command line comes first.
CameraBook OpenBook(const std::wstring& file, const Options& options)
{
    CameraBook book = CameraBook::Load(file).value_or(CameraBook{});
    if (!options.url.empty())
    {
        const CameraUrl url = ParseCameraUrl(options.url);
        const auto isSame = [&url](const KnownCamera& known)
        { return known.url.WithoutPassword() == url.WithoutPassword(); };
        book.cameras.erase(std::remove_if(book.cameras.begin(), book.cameras.end(), isSame),
                           book.cameras.end());
        book.cameras.insert(book.cameras.begin(), KnownCamera{url.host, url});
    }
    return book;
}

using EmbeddedCameras = std::vector<std::unique_ptr<EmbeddedCamera>>;

// The cameras for the grid: those of the book, or, where there are none to show, embedded ones.
std::vector<KnownCamera> ChooseCameras(const CameraBook& book, const Options& options,
                                       EmbeddedCameras& embedded)
{
    const std::size_t places = static_cast<std::size_t>(options.gridRows) * options.gridColumns;
    std::vector<KnownCamera> cameras = book.cameras;
    cameras.resize(options.embedded ? 0 : std::min(cameras.size(), places));
    if (cameras.empty())
    {
        while (cameras.size() < places)
        {
            embedded.push_back(std::make_unique<EmbeddedCamera>());
            cameras.push_back({"Camera " + std::to_string(embedded.size()),
                               ParseCameraUrl(embedded.back()->Url())});
        }
    }
    return cameras;
}

// The first pictures are fetched directly: before there is a window, nothing else is to be done,
// and it tells at once which cameras can be reached and let this user in.
void FetchFirst(Feeds& feeds)
{
    std::string trouble;
    for (const auto& feed : feeds)
    {
        try
        {
            feed->FetchNow();
        }
        catch (const std::runtime_error& error)
        {
            std::fprintf(stderr, "live_view: %s: %s\n", feed->Name().c_str(), error.what());
            trouble = error.what();
        }
    }
    const bool hasAny = std::any_of(feeds.begin(), feeds.end(),
                                    [](const auto& feed) { return feed->Number() >= 0; });
    if (!hasAny)
    {
        throw std::runtime_error(trouble);
    }
}

std::string Watch(Feeds& feeds, const std::optional<CameraUrl>& events, const Options& options,
                  CameraBook& book)
{
    FetchFirst(feeds);
    LiveView view(feeds, options, book.window);
    if (events)
    {
        view.FollowEvents(*events);
    }
    view.Run();
    book.window = view.Place();
    return view.Report();
}

std::string Summary(const Feeds& feeds, const std::vector<KnownCamera>& cameras)
{
    std::string summary;
    for (std::size_t i = 0; i < feeds.size(); ++i)
    {
        summary += "camera: " + feeds[i]->Name() + ", " + cameras[i].url.WithoutPassword() + '\n' +
                   feeds[i]->statistics.Report();
    }
    return summary;
}

int Run(const Options& options)
{
    const GdiplusSession gdiplus;
    const CHTTP winsock;  // its constructor starts Winsock, which the embedded cameras need, too
    const std::wstring file =
        options.camerasFile.empty() ? CameraBook::DefaultFile() : options.camerasFile;
    CameraBook book = OpenBook(file, options);
    EmbeddedCameras embedded;
    const std::vector<KnownCamera> cameras = ChooseCameras(book, options, embedded);

    std::optional<CameraUrl> events;
    if (options.stream)
    {
        if (!options.streamPath && embedded.empty())
        {
            throw std::invalid_argument("--stream-path tells where this camera's events are");
        }
        events =
            cameras.front().url.WithPath(options.streamPath.value_or(EmbeddedCamera::kEventsPath));
    }

    Feeds feeds;
    for (const KnownCamera& camera : cameras)
    {
        feeds.push_back(std::make_unique<Feed>(camera.name, camera.url));
        std::printf("%s: %s\n", camera.name.c_str(), camera.url.WithoutPassword().c_str());
    }
    std::fflush(stdout);
    feeds.front()->statistics.hasStream = options.stream;

    ExitCode result = kShown;
    std::string rest;
    const ProcessorTime processor;
    try
    {
        rest = Watch(feeds, events, options, book);
        book.Save(file);
    }
    catch (const std::exception& error)
    {
        std::fprintf(stderr, "live_view: %s\n", error.what());
        result = kNothingShown;
    }
    if (!options.summaryFile.empty())
    {
        const std::string summary =
            Summary(feeds, cameras) + rest + processor.Report(static_cast<int>(feeds.size()));
        SaveFile(options.summaryFile, summary.data(), summary.size());
    }
    const bool hasShown = std::any_of(feeds.begin(), feeds.end(),
                                      [](const auto& feed) { return feed->statistics.frames > 0; });
    return hasShown ? result : kNothingShown;
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
