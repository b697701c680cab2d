// What an exported conversion costs beside the kernel that it runs: the same arithmetic called
// inside the program and through the DLL, in turns, in one run. The difference is the call and the
// lock.
#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <vector>

#include "CSFunc.h"
#include "media/colour_conversion.h"

namespace
{

using Clock = std::chrono::steady_clock;
using Conversion = void (*)(unsigned char*, const unsigned char*, const unsigned char*,
                            const unsigned char*, int, int);

constexpr int kRounds = 31;

struct Picture
{
    Picture(int width, int height)
        : width(width),
          height(height),
          y(static_cast<size_t>(width) * height, 100),
          u(y.size() / 4, 90),
          v(y.size() / 4, 160),
          rgb(y.size() * 3)
    {
    }

    int width;
    int height;
    std::vector<unsigned char> y, u, v, rgb;
};

// Nanoseconds per call in one round.
double Measure(Conversion convert, Picture& picture, int calls)
{
    const Clock::time_point start = Clock::now();
    for (int call = 0; call < calls; ++call)
    {
        convert(picture.rgb.data(), picture.y.data(), picture.u.data(), picture.v.data(),
                picture.width, picture.height);
    }
    return std::chrono::duration<double, std::nano>(Clock::now() - start).count() / calls;
}

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
    return values[kRounds / 2];
}

}  // namespace

int main()
{
    std::printf("%-10s %14s %14s %16s\n", "YV12->RGB24", "kernel (ns)", "exported (ns)",
                "difference (ns)");
    for (const auto& [width, height, calls] :
         {std::array<int, 3>{16, 2, 200000}, {704, 576, 400}, {1920, 1080, 50}})
    {
        Picture picture(width, height);
        std::vector<double> kernel;
        std::vector<double> exported;
        for (int round = 0; round < kRounds; ++round)
        {
            kernel.push_back(Measure(&ostrel::media::ConvertYv12ToRgb24, picture, calls));
            exported.push_back(Measure(&CSFunc::s_S_YV12_to_RGB24, picture, calls));
        }
        std::printf("%5dx%-5d %14.0f %14.0f %16.0f\n", width, height, Median(kernel),
                    Median(exported), Median(exported) - Median(kernel));
    }
    return 0;
}
