// The colour conversions beside libyuv and libswscale: one process, one thread, pictures of several
// sizes. Every benchmark is named CONVERSION/SIZE/IMPLEMENTATION; ratios.py compares.
#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "media/colour_conversion.h"
#include "media/cpu_features.h"

extern "C"
{
#include <libavutil/cpu.h>
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

namespace
{

using namespace ostrel::media;
using Bytes = std::vector<std::uint8_t>;

struct Size
{
    int width;
    int height;

    int Area() const { return width * height; }
    int Half() const { return width / 2; }
    std::string Name() const { return std::to_string(width) + "x" + std::to_string(height); }
};

constexpr Size kUsual = {1920, 1080};
constexpr Size kLargest = {3840, 2160};
constexpr Size kSizes[] = {{704, 576}, kUsual, kLargest};
// The least there is to convert: what it costs is the call.
constexpr Size kSmallest = {16, 2};

struct Pictures
{
    Pictures()
        : y(Area()), u(y.size() / 4), v(y.size() / 4), packed(4 * (Area() + 4096)), copy(packed)
    {
        std::mt19937 random(1);
        for (Bytes* bytes : {&y, &u, &v, &packed})
        {
            for (std::uint8_t& byte : *bytes)
            {
                byte = static_cast<std::uint8_t>(random());
            }
        }
    }

    static std::size_t Area() { return static_cast<std::size_t>(kLargest.Area()); }

    Bytes y;
    Bytes u;
    Bytes v;
    Bytes packed;
    Bytes copy;
};

Pictures g_pictures;

using Convert = std::function<void(Pictures&, const Size&)>;

void Register(const std::string& conversion, const Size& size, const std::string& implementation,
              const Convert& convert, int libyuvFlags = -1)
{
    const std::string name = conversion + "/" + size.Name() + "/" + implementation;
    benchmark::RegisterBenchmark(name.c_str(),
                                 [=](benchmark::State& state)
                                 {
                                     libyuv::MaskCpuFlags(libyuvFlags);
                                     for (auto _ : state)
                                     {
                                         convert(g_pictures, size);
                                         benchmark::ClobberMemory();
                                     }
                                     state.SetItemsProcessed(state.iterations() * size.Area());
                                 });
}

// ---- The conversions, each by all who offer it --------------------------------------------------

// What comes nearest among the peers: BT.601, studio range, the same order of bytes.
using LibyuvToPacked = int (*)(const std::uint8_t*, int, const std::uint8_t*, int,
                               const std::uint8_t*, int, std::uint8_t*, int, int, int);
using LibyuvToPlanar = int (*)(const std::uint8_t*, int, std::uint8_t*, int, std::uint8_t*, int,
                               std::uint8_t*, int, int, int);

struct ToPacked
{
    const char* name;
    ToPackedKernel ConversionKernels::*kernel;
    int boundStride;  // what the exported member gives, in bytes per pixel of width
    LibyuvToPacked libyuv;
    AVPixelFormat format;
    int bytesPerPixel;
};

struct ToPlanar
{
    const char* name;
    ToPlanarKernel ConversionKernels::*kernel;
    LibyuvToPlanar libyuv;
    AVPixelFormat format;
    int bytesPerPixel;
};

const ToPacked kToPacked[] = {
    {"Yv12ToRgb24", &ConversionKernels::yv12ToRgb24, 3, libyuv::I420ToRGB24, AV_PIX_FMT_BGR24, 3},
    {"Yv12ToRgb32", &ConversionKernels::yv12ToRgb32, 4, libyuv::I420ToARGB, AV_PIX_FMT_BGRA, 4},
    {"Yuv420ToArgb8888", &ConversionKernels::yuv420ToArgb8888, 4, libyuv::I420ToARGB,
     AV_PIX_FMT_BGRA, 4},
    {"Yv12ToYuy2", &ConversionKernels::yv12ToYuy2, 1, libyuv::I420ToYUY2, AV_PIX_FMT_YUYV422, 2},
    {"Yv12ToUyvy", &ConversionKernels::yv12ToUyvy, 1, libyuv::I420ToUYVY, AV_PIX_FMT_UYVY422, 2},
};

const ToPlanar kToPlanar[] = {
    {"Rgb24ToYv12", &ConversionKernels::rgb24ToYv12, libyuv::RAWToI420, AV_PIX_FMT_RGB24, 3},
    {"Rgb32ToYv12", &ConversionKernels::rgb32ToYv12, libyuv::ABGRToI420, AV_PIX_FMT_RGBA, 4},
    {"Yuy2ToYv12", &ConversionKernels::yuy2ToYv12, libyuv::YUY2ToI420, AV_PIX_FMT_YUYV422, 2},
};

// ---- Ours ---------------------------------------------------------------------------------------

void RegisterKernels(const Size& size, const std::string& name, const ConversionKernels& kernels)
{
    for (const ToPacked& conversion : kToPacked)
    {
        Register(conversion.name, size, name,
                 [kernel = kernels.*conversion.kernel, stride = conversion.boundStride](
                     Pictures& p, const Size& s)
                 {
                     kernel(p.packed.data(), std::ptrdiff_t{stride} * s.width, p.y.data(),
                            p.u.data(), p.v.data(), s.width, s.Half(), s.width, s.height, false);
                 });
    }
    for (const ToPlanar& conversion : kToPlanar)
    {
        Register(conversion.name, size, name,
                 [kernel = kernels.*conversion.kernel, stride = conversion.bytesPerPixel](
                     Pictures& p, const Size& s)
                 {
                     kernel(p.packed.data(), std::ptrdiff_t{stride} * s.width, p.y.data(),
                            p.u.data(), p.v.data(), s.width, s.Half(), s.width, s.height, false);
                 });
    }
}

// ---- libyuv -------------------------------------------------------------------------------------

void RegisterLibyuv(const Size& size, const std::string& name, int flags)
{
    for (const ToPacked& conversion : kToPacked)
    {
        Register(
            conversion.name, size, name,
            [conversion](Pictures& p, const Size& s)
            {
                conversion.libyuv(p.y.data(), s.width, p.u.data(), s.Half(), p.v.data(), s.Half(),
                                  p.packed.data(), conversion.bytesPerPixel * s.width, s.width,
                                  s.height);
            },
            flags);
    }
    for (const ToPlanar& conversion : kToPlanar)
    {
        Register(
            conversion.name, size, name,
            [conversion](Pictures& p, const Size& s)
            {
                conversion.libyuv(p.packed.data(), conversion.bytesPerPixel * s.width, p.y.data(),
                                  s.width, p.u.data(), s.Half(), p.v.data(), s.Half(), s.width,
                                  s.height);
            },
            flags);
    }
}

// ---- libswscale ---------------------------------------------------------------------------------

std::shared_ptr<SwsContext> MakeScaler(const Size& size, AVPixelFormat from, AVPixelFormat to)
{
    return {sws_getContext(size.width, size.height, from, size.width, size.height, to, SWS_POINT,
                           nullptr, nullptr, nullptr),
            sws_freeContext};
}

// It chooses its functions by these flags when a scaler is made.
void RegisterLibswscale(const Size& size, const std::string& name, int flags)
{
    av_force_cpu_flags(flags);
    for (const ToPacked& conversion : kToPacked)
    {
        const auto scaler = MakeScaler(size, AV_PIX_FMT_YUV420P, conversion.format);
        const int stride = conversion.bytesPerPixel * size.width;
        Register(conversion.name, size, name,
                 [scaler, stride](Pictures& p, const Size& s)
                 {
                     const std::uint8_t* const from[] = {p.y.data(), p.u.data(), p.v.data()};
                     const int fromStrides[] = {s.width, s.Half(), s.Half()};
                     std::uint8_t* const to[] = {p.packed.data()};
                     const int toStrides[] = {stride};
                     sws_scale(scaler.get(), from, fromStrides, 0, s.height, to, toStrides);
                 });
    }
    for (const ToPlanar& conversion : kToPlanar)
    {
        const auto scaler = MakeScaler(size, conversion.format, AV_PIX_FMT_YUV420P);
        const int stride = conversion.bytesPerPixel * size.width;
        Register(conversion.name, size, name,
                 [scaler, stride](Pictures& p, const Size& s)
                 {
                     const std::uint8_t* const from[] = {p.packed.data()};
                     const int fromStrides[] = {stride};
                     std::uint8_t* const to[] = {p.y.data(), p.u.data(), p.v.data()};
                     const int toStrides[] = {s.width, s.Half(), s.Half()};
                     sws_scale(scaler.get(), from, fromStrides, 0, s.height, to, toStrides);
                 });
    }
    av_force_cpu_flags(-1);
}

// ---- A yardstick: so many bytes as a conversion puts out, filled and copied ---------------------

void RegisterYardstick(const std::string& conversion, const Size& size, std::size_t bytes)
{
    Register(conversion, size, "memset",
             [bytes](Pictures& p, const Size&) { std::memset(p.packed.data(), 1, bytes); });
    Register(conversion, size, "memcpy",
             [bytes](Pictures& p, const Size&)
             { std::memcpy(p.packed.data(), p.copy.data(), bytes); });
}

void RegisterYardsticks(const Size& size)
{
    const auto area = static_cast<std::size_t>(size.Area());
    for (const ToPacked& conversion : kToPacked)
    {
        RegisterYardstick(conversion.name, size,
                          area * static_cast<std::size_t>(conversion.boundStride));
    }
    for (const ToPlanar& conversion : kToPlanar)
    {
        RegisterYardstick(conversion.name, size, area + area / 2);
    }
}

void RegisterAll()
{
    for (const Size& size : kSizes)
    {
        RegisterKernels(size, "ostrel", BestKernels());
        RegisterLibyuv(size, "libyuv", -1);
        RegisterLibswscale(size, "libswscale", -1);
        RegisterYardsticks(size);
    }
    RegisterKernels(kSmallest, "ostrel", BestKernels());
    RegisterLibyuv(kSmallest, "libyuv", -1);

    RegisterKernels(kUsual, "ostrel-sse2", kSse2Kernels);
    RegisterLibyuv(kUsual, "libyuv-sse2", libyuv::kCpuHasX86 | libyuv::kCpuHasSSE2);
    RegisterLibswscale(kUsual, "libswscale-sse2",
                       AV_CPU_FLAG_MMX | AV_CPU_FLAG_MMXEXT | AV_CPU_FLAG_SSE | AV_CPU_FLAG_SSE2);
    RegisterKernels(kUsual, "ostrel-scalar", kScalarKernels);
    if (CpuHasAvx2())
    {
        RegisterKernels(kUsual, "ostrel-avx2", kAvx2Kernels);
    }
    if (CpuHasAvx512())
    {
        RegisterKernels(kUsual, "ostrel-avx512", kAvx512Kernels);
    }
}

}  // namespace

int main(int argc, char** argv)
{
    RegisterAll();
    // Machines are noisy: many short runs in a random order, of which the median counts. What the
    // caller says stands after these and has its way.
    char repetitions[] = "--benchmark_repetitions=9";
    char order[] = "--benchmark_enable_random_interleaving=true";
    char duration[] = "--benchmark_min_time=0.02";
    std::vector<char*> arguments = {argv[0], repetitions, order, duration};
    arguments.insert(arguments.end(), argv + 1, argv + argc);
    int count = static_cast<int>(arguments.size());
    benchmark::Initialize(&count, arguments.data());
    if (benchmark::ReportUnrecognizedArguments(count, arguments.data()))
    {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
