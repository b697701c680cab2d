#include "camera_url.h"

#include <algorithm>
#include <cctype>
#include <stdexcept>

namespace
{
[[noreturn]] void Refuse(const std::string& why)
{
    throw std::invalid_argument("bad URL: " + why);
}

bool IsVisible(unsigned char byte)
{
    return byte > ' ' && byte != 0x7F;
}

bool IsControl(unsigned char byte)
{
    return byte < ' ' || byte == 0x7F;
}

std::string PercentDecoded(const std::string& text)
{
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i)
    {
        if (text[i] != '%')
        {
            decoded += text[i];
            continue;
        }
        const std::string digits = text.substr(i + 1, 2);
        const bool isHex = digits.size() == 2 &&
                           std::isxdigit(static_cast<unsigned char>(digits[0])) &&
                           std::isxdigit(static_cast<unsigned char>(digits[1]));
        if (!isHex || digits == "00")
        {
            Refuse("\"%" + digits + "\" in user or password is no percent-encoded character");
        }
        decoded += static_cast<char>(std::stoi(digits, nullptr, 16));
        i += 2;
    }
    return decoded;
}

int ParsePort(const std::string& text)
{
    const bool isNumber =
        !text.empty() && text.size() <= 5 &&
        std::all_of(text.begin(), text.end(), [](unsigned char c) { return std::isdigit(c) != 0; });
    const int port = isNumber ? std::stoi(text) : 0;
    if (port < 1 || port > 65535)
    {
        Refuse("the port \"" + text + "\" is not a number from 1 to 65535");
    }
    return port;
}

void ParseCredentials(const std::string& text, CameraUrl& url)
{
    const std::size_t colon = text.find(':');
    url.user = PercentDecoded(text.substr(0, colon));
    if (colon != std::string::npos)
    {
        url.password = PercentDecoded(text.substr(colon + 1));
    }
}

void ParseHostAndPort(const std::string& text, CameraUrl& url)
{
    if (text.find('[') != std::string::npos)
    {
        Refuse("IPv6 addresses are not supported");
    }
    const std::size_t colon = text.find(':');
    url.host = text.substr(0, colon);
    if (colon != std::string::npos)
    {
        url.port = ParsePort(text.substr(colon + 1));
    }
}

void CheckLength(const char* what, const std::string& text, std::size_t longest)
{
    if (text.size() > longest)
    {
        Refuse(std::string("the ") + what + " is longer than " + std::to_string(longest) +
               " characters");
    }
}
}  // namespace

void CameraUrl::Check() const
{
    const std::string visible = host + path;
    if (!std::all_of(visible.begin(), visible.end(), IsVisible))
    {
        Refuse("host or path hold a blank or a control character");
    }
    if (std::any_of(user.begin(), user.end(), IsControl))
    {
        Refuse("the user name holds a control character");
    }
    if (user.find(':') != std::string::npos)
    {
        Refuse("a user name cannot hold a colon in Basic authentication");
    }
    if (host.empty())
    {
        Refuse("it names no host");
    }
    if (path.empty())
    {
        Refuse("the path is empty");
    }
    if (port < 1 || port > 65535)
    {
        Refuse("the port is not a number from 1 to 65535");
    }
    CheckLength("host name", host, kLongestName);
    CheckLength("user name", user, kLongestName);
    CheckLength("password", password, kLongestName);
    CheckLength("path", path, kLongestPath);
}

std::string CameraUrl::WithoutPassword() const
{
    return "http://" + (user.empty() ? "" : user + "@") + host + ":" + std::to_string(port) + "/" +
           path;
}

CameraUrl CameraUrl::WithPath(const std::string& otherPath) const
{
    CameraUrl other = *this;
    other.path = otherPath.substr(otherPath.compare(0, 1, "/") == 0 ? 1 : 0);
    other.Check();
    return other;
}

CameraUrl ParseCameraUrl(const std::string& text)
{
    if (!std::all_of(text.begin(), text.end(), IsVisible))
    {
        Refuse("it holds a blank or a control character");
    }
    const std::string scheme = "http://";
    std::string start = text.substr(0, scheme.size());
    std::transform(start.begin(), start.end(), start.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    if (start != scheme)
    {
        Refuse("it does not begin with http://");
    }

    const std::string rest = text.substr(scheme.size(), text.find('#') - scheme.size());
    const std::size_t slash = rest.find('/');
    if (slash == std::string::npos || slash + 1 == rest.size())
    {
        Refuse("it has no path; name the picture, as in http://camera/snapshot.jpg");
    }
    const std::string authority = rest.substr(0, slash);
    const std::size_t at = authority.rfind('@');

    CameraUrl url;
    url.path = rest.substr(slash + 1);
    if (at != std::string::npos)
    {
        ParseCredentials(authority.substr(0, at), url);
    }
    ParseHostAndPort(at == std::string::npos ? authority : authority.substr(at + 1), url);
    url.Check();
    return url;
}
