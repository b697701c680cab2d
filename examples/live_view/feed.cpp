#include "feed.h"

#include <CSFunc.h>

#include <new>
#include <stdexcept>
#include <utility>

Feed::Feed(std::string name, const CameraUrl& url)
    : name_(std::move(name)),
      camera_(url, [this](unsigned char* jpeg, int length) { Load(jpeg, length); })
{
}

void Feed::FetchNow()
{
    CMemManage jpeg;
    Stopwatch watch;
    const int length = camera_.FetchNow(jpeg);
    if (length < 0)
    {
        SetTrouble(Camera::Describe(length));
        throw std::runtime_error(trouble_);
    }
    statistics.Add(Stage::Fetch, watch.Elapsed());
    Load(jpeg.m_F_p_GetMemPoint(), length);
    if (!Take(jpeg, length))
    {
        throw std::runtime_error(trouble_);
    }
}

int Feed::StartFetch(HWND window, UINT message)
{
    // A picture without a byte is not handed on.
    loading_ = {};
    loading_.trouble = "empty picture";
    fetchTime_.Lap();
    const int number = camera_.StartFetch(window, message);
    if (number == 0)
    {
        SetTrouble("fetch not started");
    }
    return number;
}

bool Feed::EndFetch()
{
    const double elapsed = fetchTime_.Elapsed();
    const int length = camera_.EndFetch();
    if (length < 0)
    {
        SetTrouble(Camera::Describe(length));
        return false;
    }
    // Decoding is a part of what the worker was busy with.
    statistics.Add(Stage::Fetch, elapsed - loading_.Milliseconds());
    return Take(camera_.Picture(), length);
}

void Feed::SetTrouble(const std::string& trouble)
{
    trouble_ = trouble;
    statistics.AddFailure(trouble);
}

// On the worker's thread, but for the first picture.
void Feed::Load(unsigned char* jpeg, int length)
{
    try
    {
        loading_ = coming_.Load(jpeg, length);
        if (loading_.trouble.empty())
        {
            overlay_.Write(name_, coming_);
        }
    }
    catch (const std::bad_alloc&)
    {
        loading_.trouble = "picture too large for the memory";
    }
}

bool Feed::Take(CMemManage& jpeg, int length)
{
    statistics.bytes += length;
    statistics.Add(Stage::Size, loading_.size);
    statistics.Add(Stage::Decode, loading_.decode);
    statistics.Add(Stage::Convert, loading_.convert);
    const std::string trouble =
        Camera::IsCutShort(jpeg, length) ? "picture cut short" : loading_.trouble;
    if (!trouble.empty())
    {
        SetTrouble(trouble);
        return false;
    }
    trouble_.clear();
    std::swap(shown_, coming_);
    const unsigned char* const bytes = jpeg.m_F_p_GetMemPoint();
    jpeg_.assign(bytes, bytes + length);
    ++number_;
    return true;
}
