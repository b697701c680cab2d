#include "camera_book.h"

#include <CSFunc.h>
#include <CXmlObj.h>

#include <filesystem>
#include <stdexcept>

#include "secret.h"

namespace
{
constexpr wchar_t kEmpty[] = L"<?xml version=\"1.0\" encoding=\"UTF-8\"?><live_view/>";
constexpr wchar_t kWindow[] = L"Window";
constexpr wchar_t kCameras[] = L"Cameras";

CStringW Wide(const std::string& text)
{
    return CSFunc::s_F_s_Utf8ToUnicode(text.c_str());
}

std::string Narrow(const CStringW& text)
{
    return CSFunc::s_F_s_UnicodeToUtf8(text).GetString();
}

[[noreturn]] void Fail(const std::wstring& file, const std::string& why)
{
    throw std::runtime_error(std::filesystem::path(file).u8string() + ": " + why);
}

// Elements of names of their own, so that a key can name each.
CStringW KeyOf(std::size_t index)
{
    CStringW key;
    key.Format(L"%s/Camera%d", kCameras, static_cast<int>(index) + 1);
    return key;
}

void Write(CXmlObj& document, const CStringW& key, const KnownCamera& camera)
{
    document.m_F_b_SetValue(key, L"name", Wide(camera.name));
    document.m_F_b_SetValue(key, L"host", Wide(camera.url.host));
    document.m_F_b_SetValue(key, L"port", camera.url.port);
    document.m_F_b_SetValue(key, L"path", Wide(camera.url.path));
    document.m_F_b_SetValue(key, L"user", Wide(camera.url.user));
    document.m_F_b_SetValue(key, L"password", CStringW(Encipher(camera.url.password).c_str()));
}

// One of the elements that were selected, whatever its name.
class CameraElement
{
public:
    CameraElement(CXmlObj& document, int index) : document_(document), index_(index) {}

    CStringW Wide(const wchar_t* name) const
    {
        CStringW value;
        CStringW tagName;
        document_.m_F_n_GetSelectedChildItemAttr(index_, name, value, tagName);
        return value;
    }
    std::string Text(const wchar_t* name) const { return Narrow(Wide(name)); }

private:
    CXmlObj& document_;
    int index_;
};

// The user's own hand writes a password as it is, under a name of its own; the program keeps it
// enciphered from then on.
std::optional<std::string> ReadPassword(const CameraElement& element)
{
    const std::string plain = element.Text(L"newPassword");
    const CStringW enciphered = element.Wide(L"password");
    return !plain.empty() || enciphered.IsEmpty() ? plain : Decipher(enciphered.GetString());
}

KnownCamera Read(const CameraElement& element, const std::wstring& file)
{
    KnownCamera camera;
    camera.name = element.Text(L"name");
    camera.url.host = element.Text(L"host");
    camera.url.path = element.Text(L"path");
    camera.url.user = element.Text(L"user");
    const CStringW port = element.Wide(L"port");
    if (!port.IsEmpty())
    {
        camera.url.port = _wtoi(port);
    }
    const std::optional<std::string> password = ReadPassword(element);
    if (!password)
    {
        Fail(file, "the password of \"" + camera.name + "\" cannot be read");
    }
    camera.url.password = *password;
    try
    {
        camera.url.Check();
    }
    catch (const std::invalid_argument& error)
    {
        Fail(file, "\"" + camera.name + "\": " + error.what());
    }
    return camera;
}

bool IsCameraBook(CXmlObj& document)
{
    long count = 0;
    document.m_S_SelectNodesByKey(L"/live_view")->get_length(&count);
    return count == 1;
}

std::optional<RECT> ReadWindow(CXmlObj& document)
{
    const auto side = [&document](const wchar_t* name)
    { return static_cast<LONG>(document.m_F_n_GetValueInt(kWindow, name, 0)); };
    const RECT window = {side(L"left"), side(L"top"), side(L"right"), side(L"bottom")};
    return IsRectEmpty(&window) ? std::nullopt : std::optional<RECT>(window);
}
}  // namespace

std::wstring CameraBook::DefaultFile()
{
    wchar_t folder[MAX_PATH] = L"";
    const DWORD length = GetEnvironmentVariableW(L"APPDATA", folder, MAX_PATH);
    return length == 0 || length >= MAX_PATH ? L"cameras.xml"
                                             : std::wstring(folder) + L"\\live_view\\cameras.xml";
}

std::optional<CameraBook> CameraBook::Load(const std::wstring& file)
{
    if (!CSFunc::s_F_b_GetFileInfo(CStringW(file.c_str()), nullptr))
    {
        return std::nullopt;
    }
    CXmlObj document;
    if (!document.m_F_b_LoadXMLFile(file.c_str()) || !IsCameraBook(document))
    {
        Fail(file, "this is no list of cameras");
    }
    CameraBook book;
    const int count = document.m_F_n_SelectChildNodes(kCameras);
    for (int i = 0; i < count; ++i)
    {
        book.cameras.push_back(Read(CameraElement(document, i), file));
    }
    book.window = ReadWindow(document);
    return book;
}

void CameraBook::Save(const std::wstring& file) const
{
    // The library takes backslashes for the separators.
    std::filesystem::path path = std::filesystem::absolute(file);
    path.make_preferred();
    CSFunc::s_F_n_CreateDirectorys(path.parent_path().c_str());
    CXmlObj document;
    try
    {
        document.m_F_b_LoadXML(kEmpty);
        for (std::size_t i = 0; i < cameras.size(); ++i)
        {
            Write(document, KeyOf(i), cameras[i]);
        }
        if (window)
        {
            document.m_F_b_SetValue(kWindow, L"left", window->left);
            document.m_F_b_SetValue(kWindow, L"top", window->top);
            document.m_F_b_SetValue(kWindow, L"right", window->right);
            document.m_F_b_SetValue(kWindow, L"bottom", window->bottom);
        }
        if (!document.m_F_b_Save(path.c_str()))
        {
            Fail(file, "there is no XML on this machine");
        }
    }
    catch (const _com_error&)
    {
        Fail(file, "cannot be written");
    }
}
