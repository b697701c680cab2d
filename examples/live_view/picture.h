// A decoded picture, ready for the renderer.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

struct Picture
{
    int width = 0;  // pixels
    int height = 0;
    // What is held: the width rounded up to a multiple of 16 and the height to an even number,
    // which is what the library's conversions work on. The pixels beyond repeat the edge.
    int heldWidth = 0;
    int heldHeight = 0;
    std::vector<unsigned char> planes;  // YV12: Y, then V, then U

    struct Loading
    {
        std::string trouble;  // what is wrong with the bytes, or empty
        double size = 0;      // milliseconds that each stage took
        double decode = 0;
        double convert = 0;

        double Milliseconds() const { return size + decode + convert; }
    };

    // Makes this the picture that a camera sent; undefined when there is trouble.
    Loading Load(unsigned char* jpeg, int length);

private:
    bool Decode(const unsigned char* jpeg, int length);
    void Convert();

    std::vector<unsigned char> pixels_;  // R, G, B; heldWidth x heldHeight
};
