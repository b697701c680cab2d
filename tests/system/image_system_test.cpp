/// @file
/// Writes the image files that image_system_test.py asks for: image_system_test FOLDER, where
/// FOLDER/jobs.txt (UTF-8) holds a line for each: the file of the pixels, width, height, bits,
/// 1 for a planar picture, the image file.
#include <winsock2.h>

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

#include "CSFunc.h"

namespace fs = std::filesystem;

int main(int argc, char** argv)
{
    if (argc != 2)
    {
        return 2;
    }
    const fs::path folder = argv[1];
    std::ifstream jobs(folder / "jobs.txt");
    int count = 0;
    for (std::string line; std::getline(jobs, line);)
    {
        std::istringstream job(line);
        std::string source;
        std::string image;
        BITMAPINFOHEADER header = {};
        header.biSize = sizeof(header);
        header.biPlanes = 1;
        int isPlanar = 0;
        job >> source >> header.biWidth >> header.biHeight >> header.biBitCount >> isPlanar;
        std::getline(job >> std::ws, image);
        header.biCompression = isPlanar != 0 ? static_cast<DWORD>(0x32315659) : BI_RGB;
        std::ifstream file(folder / source, std::ios::binary);
        std::vector<char> pixels{std::istreambuf_iterator<char>(file), {}};
        if (!job || pixels.empty())
        {
            std::printf("not a job: %s\n", line.c_str());
            return 1;
        }
        const fs::path path = folder / fs::u8path(image);
        CSFunc::s_S_SaveImg(path.wstring().c_str(), header,
                            reinterpret_cast<unsigned char*>(pixels.data()));
        ++count;
    }
    std::printf("%d images\n", count);
    return count > 0 ? 0 : 1;
}
