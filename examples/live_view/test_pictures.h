// The pictures that the embedded camera shows.
#pragma once

#include <string>
#include <vector>

// Encodes a loop of `count` JPEG pictures, 640x480 each: the eight colour bars, below them a marker
// that moves from left to right, and the number of the picture.
std::vector<std::string> MakeTestPictures(int count);
