// Text over a picture: the camera's name and the local time.
#pragma once

#include <string>
#include <vector>

#include "picture.h"

class Overlay
{
public:
    // Writes the name (UTF-8) and the local time of now into the picture's upper left corner.
    void Write(const std::string& name, Picture& picture);

private:
    void Render(const std::wstring& text);

    std::wstring text_;  // that was rendered last
    int width_ = 0;      // even, as is the height
    int height_ = 0;
    std::vector<unsigned char> luma_;
};
