// The colour conversions beside libyuv and libswscale: one process, one thread, one picture of
// 1920x1080. Every benchmark is named CONVERSION/IMPLEMENTATION; ratios.py compares.
#include <benchmark/benchmark.h>
#include <libyuv.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "media/colour_conversion.h"
#include "media/cpu_features.h"

extern "C"
{
#include <libavutil/pixfmt.h>
#include <libswscale/swscale.h>
}

namespace
{

using namespace ostrel::media;
using Bytes = std::vector<std::uint8_t>;

constexpr int kWidth = 1920;
constexpr int kHeight = 1080;
constexpr int kHalf = kWidth / 2;

struct Pictures
{
    Pictures()
        : y(kWidth * kHeight), u(y.size() / 4), v(y.size() / 4), packed(4 * y.size() + 4 * kWidth)
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

    Bytes y;
    Bytes u;
    Bytes v;
    Bytes packed;
};

Pictures g_pictures;

void Register(const std::string& name, const std::function<void(Pictures&)>& convert)
{
    benchmark::RegisterBenchmark(name.c_str(),
                                 [convert](benchmark::State& state)
                                 {
                                     for (auto _ : state)
                                     {
                                         convert(g_pictures);
                                         benchmark::ClobberMemory();
                                     }
                                     state.SetItemsProcessed(state.iterations() * kWidth * kHeight);
                                 });
}

// ---- Ours ---------------------------------------------------------------------------------------

void RegisterKernels(const std::string& instructionSet, const ConversionKernels& kernels)
{
    struct ToPacked
    {
        const char* name;
        ToPackedKernel kernel;
        int bytesPerPixel;
    };
    for (const ToPacked& conversion : {ToPacked{"Yv12ToYuy2", kernels.yv12ToYuy2, 1},
                                       ToPacked{"Yv12ToUyvy", kernels.yv12ToUyvy, 1},
                                       ToPacked{"Yv12ToRgb24", kernels.yv12ToRgb24, 3},
                                       ToPacked{"Yv12ToRgb32", kernels.yv12ToRgb32, 4}})
    {
        Register(conversion.name + ("/" + instructionSet),
                 [conversion](Pictures& p)
                 {
                     conversion.kernel(p.packed.data(), conversion.bytesPerPixel * kWidth,
                                       p.y.data(), p.u.data(), p.v.data(), kWidth, kHalf, kWidth,
                                       kHeight, false);
                 });
    }
    struct ToPlanar
    {
        const char* name;
        ToPlanarKernel kernel;
        int bytesPerPixel;
    };
    for (const ToPlanar& conversion : {ToPlanar{"Rgb24ToYv12", kernels.rgb24ToYv12, 3},
                                       ToPlanar{"Rgb32ToYv12", kernels.rgb32ToYv12, 4},
                                       ToPlanar{"Yuy2ToYv12", kernels.yuy2ToYv12, 2}})
    {
        Register(conversion.name + ("/" + instructionSet),
                 [conversion](Pictures& p)
                 {
                     conversion.kernel(p.packed.data(), conversion.bytesPerPixel * kWidth,
                                       p.y.data(), p.u.data(), p.v.data(), kWidth, kHalf, kWidth,
                                       kHeight, false);
                 });
    }
}

// ---- libyuv -------------------------------------------------------------------------------------

void RegisterLibyuv()
{
    using FromPlanar = int (*)(const std::uint8_t*, int, const std::uint8_t*, int,
                               const std::uint8_t*, int, std::uint8_t*, int, int, int);
    struct ToPacked
    {
        const char* name;
        FromPlanar convert;
        int bytesPerPixel;
    };
    for (const ToPacked& conversion : {ToPacked{"Yv12ToYuy2", libyuv::I420ToYUY2, 2},
                                       ToPacked{"Yv12ToUyvy", libyuv::I420ToUYVY, 2},
                                       ToPacked{"Yv12ToRgb24", libyuv::I420ToRGB24, 3},
                                       ToPacked{"Yv12ToRgb32", libyuv::I420ToARGB, 4}})
    {
        Register(conversion.name + std::string("/libyuv"),
                 [conversion](Pictures& p)
                 {
                     conversion.convert(p.y.data(), kWidth, p.u.data(), kHalf, p.v.data(), kHalf,
                                        p.packed.data(), conversion.bytesPerPixel * kWidth, kWidth,
                                        kHeight);
                 });
    }
    using FromPacked = int (*)(const std::uint8_t*, int, std::uint8_t*, int, std::uint8_t*, int,
                               std::uint8_t*, int, int, int);
    struct ToPlanar
    {
        const char* name;
        FromPacked convert;
        int bytesPerPixel;
    };
    for (const ToPlanar& conversion : {ToPlanar{"Rgb24ToYv12", libyuv::RAWToI420, 3},
                                       ToPlanar{"Rgb32ToYv12", libyuv::ABGRToI420, 4},
                                       ToPlanar{"Yuy2ToYv12", libyuv::YUY2ToI420, 2}})
    {
        Register(conversion.name + std::string("/libyuv"),
                 [conversion](Pictures& p)
                 {
                     conversion.convert(p.packed.data(), conversion.bytesPerPixel * kWidth,
                                        p.y.data(), kWidth, p.u.data(), kHalf, p.v.data(), kHalf,
                                        kWidth, kHeight);
                 });
    }
}

// ---- libswscale ---------------------------------------------------------------------------------

std::shared_ptr<SwsContext> MakeScaler(AVPixelFormat from, AVPixelFormat to)
{
    return {sws_getContext(kWidth, kHeight, from, kWidth, kHeight, to, SWS_POINT, nullptr, nullptr,
                           nullptr),
            sws_freeContext};
}

void RegisterLibswscale()
{
    struct Conversion
    {
        const char* name;
        AVPixelFormat format;
        int bytesPerPixel;
    };
    for (const Conversion& conversion : {Conversion{"Yv12ToYuy2", AV_PIX_FMT_YUYV422, 2},
                                         Conversion{"Yv12ToUyvy", AV_PIX_FMT_UYVY422, 2},
                                         Conversion{"Yv12ToRgb24", AV_PIX_FMT_BGR24, 3},
                                         Conversion{"Yv12ToRgb32", AV_PIX_FMT_BGRA, 4}})
    {
        const auto scaler = MakeScaler(AV_PIX_FMT_YUV420P, conversion.format);
        const int stride = conversion.bytesPerPixel * kWidth;
        Register(conversion.name + std::string("/libswscale"),
                 [scaler, stride](Pictures& p)
                 {
                     const std::uint8_t* const from[] = {p.y.data(), p.u.data(), p.v.data()};
                     const int fromStrides[] = {kWidth, kHalf, kHalf};
                     std::uint8_t* const to[] = {p.packed.data()};
                     const int toStrides[] = {stride};
                     sws_scale(scaler.get(), from, fromStrides, 0, kHeight, to, toStrides);
                 });
    }
    for (const Conversion& conversion : {Conversion{"Rgb24ToYv12", AV_PIX_FMT_RGB24, 3},
                                         Conversion{"Rgb32ToYv12", AV_PIX_FMT_RGBA, 4},
                                         Conversion{"Yuy2ToYv12", AV_PIX_FMT_YUYV422, 2}})
    {
        const auto scaler = MakeScaler(conversion.format, AV_PIX_FMT_YUV420P);
        const int stride = conversion.bytesPerPixel * kWidth;
        Register(conversion.name + std::string("/libswscale"),
                 [scaler, stride](Pictures& p)
                 {
                     const std::uint8_t* const from[] = {p.packed.data()};
                     const int fromStrides[] = {stride};
                     std::uint8_t* const to[] = {p.y.data(), p.u.data(), p.v.data()};
                     const int toStrides[] = {kWidth, kHalf, kHalf};
                     sws_scale(scaler.get(), from, fromStrides, 0, kHeight, to, toStrides);
                 });
    }
}

}  // namespace

int main(int argc, char** argv)
{
    RegisterKernels("ostrel", BestKernels());
    RegisterLibyuv();
    RegisterLibswscale();
    RegisterKernels("ostrel-scalar", kScalarKernels);
    RegisterKernels("ostrel-sse2", kSse2Kernels);
    if (CpuHasAvx2())
    {
        RegisterKernels("ostrel-avx2", kAvx2Kernels);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
    {
        return 1;
    }
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
