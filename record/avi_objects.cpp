#include "record/avi_objects.h"

namespace ostrel::record
{

AviFile OpenAviFile(const wchar_t* name)
{
    IAVIFile* file = nullptr;
    return AviFile(SUCCEEDED(AVIFileOpenW(&file, name, OF_WRITE | OF_CREATE, nullptr)) ? file
                                                                                       : nullptr);
}

AviStream CreateAviStream(IAVIFile& file, const StreamHeader& header)
{
    AVISTREAMINFOW info = {};
    info.fccType = header.type;
    info.fccHandler = header.handler;
    info.dwScale = header.scale;
    info.dwRate = header.rate;
    info.dwQuality = header.quality;
    info.dwSampleSize = header.sampleSize;
    info.rcFrame = {0, 0, header.width, header.height};
    IAVIStream* stream = nullptr;
    return AviStream(SUCCEEDED(AVIFileCreateStreamW(&file, &stream, &info)) ? stream : nullptr);
}

}  // namespace ostrel::record
