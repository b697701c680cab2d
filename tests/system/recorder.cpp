/// @file
/// A recorder that is driven by lines, so that a script can watch and disturb it between any two
/// steps. Each line is answered with one line.
///
///     open PATH|CODE|WIDTH|HEIGHT|RATE   answers "opened NAME" or "refused NAME"
///     sound CHANNELS RATE BITS           adds the audio stream; answers "sound" or "silent"
///     start TIME                         sets the start time
///     frame KEY PATH                     writes a frame, the file's content; KEY 1 or 0
///     drop                               leaves the place of a frame
///     frames COUNT SIZE                  writes frames of any content, the first a key frame
///     audio OFFSET LENGTH PATH           writes so many bytes of the file
///     text TEXT                          (UTF-8)
///     state    answers "state" and: open or closed, next frame, next text, bytes written, handles
///              of the process, lines that it wrote to the debugger output
///     due      answers "due" and the times of video, audio and text
///     close
#include <winsock2.h>

#include <windows.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <map>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "CAviConvert.h"
#include "net/process_resources.h"
#include "record/recording_formats.h"
#include "support/output_capture.h"

namespace
{

using namespace ostrel::test;

std::wstring Wide(const std::string& utf8)
{
    return std::filesystem::u8path(utf8).wstring();
}

std::string Narrow(const CStringW& text)
{
    return std::filesystem::path(text.GetString()).u8string();
}

// What follows one blank.
std::string Rest(std::istringstream& line)
{
    std::string rest;
    line.get();
    std::getline(line, rest);
    return rest;
}

class Recorder
{
public:
    std::string Do(const std::string& text)
    {
        std::istringstream line(text);
        std::string command;
        line >> command;
        static const std::map<std::string, std::string (Recorder::*)(std::istringstream&)>
            commands = {{"open", &Recorder::Open},   {"sound", &Recorder::Sound},
                        {"start", &Recorder::Start}, {"frame", &Recorder::Frame},
                        {"drop", &Recorder::Drop},   {"frames", &Recorder::Frames},
                        {"audio", &Recorder::Audio}, {"text", &Recorder::Text},
                        {"state", &Recorder::State}, {"due", &Recorder::Due},
                        {"close", &Recorder::Close}};
        const auto found = commands.find(command);
        return found == commands.end() ? "unknown" : (this->*found->second)(line);
    }

private:
    std::string Open(std::istringstream& line)
    {
        std::vector<std::string> fields;
        for (std::string field; std::getline(line >> std::ws, field, '|');)
        {
            fields.push_back(field);
        }
        if (fields.size() != 5 || fields[1].size() != 4)
        {
            return "unknown";
        }
        BITMAPINFO format =
            VideoFormat(fields[1].c_str(), std::stoi(fields[2]), std::stoi(fields[3]));
        const bool isOpen =
            m_recording.m_F_n_CreateAviFile(Wide(fields[0]).c_str(), &format, std::stoi(fields[4]));
        return (isOpen ? "opened " : "refused ") + Narrow(m_recording.m_F_s_GetFileName());
    }

    std::string Sound(std::istringstream& line)
    {
        int channels = 0;
        int rate = 0;
        int bits = 0;
        line >> channels >> rate >> bits;
        WAVEFORMATEX format = PcmFormat(channels, rate, bits);
        m_recording.m_S_SetAudioInfo(&format);
        return m_recording.vm_pAudioStream != nullptr ? "sound" : "silent";
    }

    std::string Start(std::istringstream& line)
    {
        __int64 time = 0;
        line >> time;
        m_recording.m_S_SetStartTime(time);
        return "done";
    }

    std::string Frame(std::istringstream& line)
    {
        int isKey = 0;
        line >> isKey;
        std::string frame = FileContent(Rest(line));
        m_recording.m_S_WriteVideo(Data(frame), static_cast<int>(frame.size()), isKey != 0);
        return "done";
    }

    std::string Drop(std::istringstream&)
    {
        m_recording.m_S_WriteVideo(nullptr, 0, false);
        return "done";
    }

    std::string Frames(std::istringstream& line)
    {
        int count = 0;
        std::size_t size = 0;
        line >> count >> size;
        std::string frame(size, 'f');
        for (int i = 0; i < count; ++i)
        {
            m_recording.m_S_WriteVideo(Data(frame), static_cast<int>(size), i == 0);
        }
        return "done";
    }

    std::string Audio(std::istringstream& line)
    {
        std::size_t offset = 0;
        std::size_t length = 0;
        line >> offset >> length;
        const std::string path = Rest(line);
        if (path != m_soundPath)
        {
            m_soundPath = path;
            m_sound = FileContent(path);
        }
        std::string audio = m_sound.substr(offset, length);
        m_recording.m_S_WriteAudio(Data(audio), static_cast<int>(audio.size()));
        return "done";
    }

    std::string Text(std::istringstream& line)
    {
        m_recording.m_S_WriteText(Wide(Rest(line)).c_str());
        return "done";
    }

    std::string State(std::istringstream&)
    {
        std::ostringstream answer;
        answer << "state " << (m_recording.m_F_b_Create() ? "open " : "closed ")
               << m_recording.vm_nVideoIndex << ' ' << m_recording.vm_nTextIndex << ' '
               << m_recording.m_F_n_GetWriteSzie() << ' ' << CountHandles() << ' '
               << m_output.Texts().size();
        return answer.str();
    }

    std::string Due(std::istringstream&)
    {
        std::ostringstream answer;
        answer << "due " << m_recording.m_F_n_GetNextVideoTime() << ' '
               << m_recording.m_F_n_GetNextAudioTime() << ' '
               << m_recording.m_F_n_GetNextTextTime();
        return answer.str();
    }

    std::string Close(std::istringstream&)
    {
        m_recording.m_S_CloseAviFile();
        return "done";
    }

    static unsigned char* Data(std::string& bytes)
    {
        return reinterpret_cast<unsigned char*>(&bytes[0]);
    }

    static std::string FileContent(const std::string& path)
    {
        std::ifstream file(std::filesystem::u8path(path), std::ios::binary);
        return {std::istreambuf_iterator<char>(file), {}};
    }

    OutputCapture m_output;
    CAviConvert m_recording;
    std::string m_soundPath;
    std::string m_sound;
};

}  // namespace

int main()
{
    Recorder recorder;
    for (std::string line; std::getline(std::cin, line);)
    {
        std::cout << recorder.Do(line) << std::endl;
    }
    return 0;
}
