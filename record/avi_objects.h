/// @file
/// Owners of the objects that the platform's AVI interface hands out.
#pragma once

#include <windows.h>

#include <vfw.h>

#include <memory>

#include "record/stream_header.h"

namespace ostrel::record
{

struct AviRelease
{
    void operator()(IAVIFile* file) const { AVIFileRelease(file); }
    void operator()(IAVIStream* stream) const { AVIStreamRelease(stream); }
};

using AviFile = std::unique_ptr<IAVIFile, AviRelease>;
using AviStream = std::unique_ptr<IAVIStream, AviRelease>;

/// @return the file, created or emptied, for writing; null when that fails.
AviFile OpenAviFile(const wchar_t* name);

/// @return a new stream of the file; null when that fails.
AviStream CreateAviStream(IAVIFile& file, const StreamHeader& header);

}  // namespace ostrel::record
