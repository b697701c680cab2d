// Snapshots per second by CHTTP::m_F_n_HTTPGetDataDirect beside WinHTTP, the platform's own client,
// from one server in one run: WinHTTP with a connection of its own for each snapshot, as the
// library has it, and WinHTTP with one connection kept for all. Takes the server's port and files
// from the environment that tests/system/with_nginx.py makes, and prints a table.
#include <winsock2.h>

#include <windows.h>

#include <winhttp.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "CHTTP.h"

namespace
{

using Clock = std::chrono::steady_clock;

constexpr int kRounds = 15;
constexpr double kRoundSeconds = 0.2;

int Port()
{
    const char* port = std::getenv("OSTREL_HTTP_PORT");
    return port != nullptr ? std::atoi(port) : 0;
}

class LibraryClient
{
public:
    bool Fetch(const std::string& path, int size)
    {
        return m_http.m_F_n_HTTPGetDataDirect("127.0.0.1", "camera", "s3cret word", Port(),
                                              path.c_str(), &m_body, 3000) == size;
    }

private:
    CHTTP m_http;
    CMemManage m_body;
};

enum class Connections
{
    kOneEach,
    kOneKept
};

// As a client that cares for speed would use WinHTTP: one session and one connection handle,
// credentials sent at once, the body read into a block that is kept.
class PlatformClient
{
public:
    explicit PlatformClient(Connections connections)
        : m_connections(connections),
          m_session(WinHttpOpen(L"bench", WINHTTP_ACCESS_TYPE_NO_PROXY, nullptr, nullptr, 0)),
          m_connection(
              WinHttpConnect(m_session, L"127.0.0.1", static_cast<INTERNET_PORT>(Port()), 0))
    {
        char credentials[64];
        CHTTP::Base64Encode("camera", "s3cret word", credentials);
        m_header = L"Authorization: Basic ";
        m_header.append(credentials, credentials + std::string(credentials).size());
    }
    ~PlatformClient()
    {
        WinHttpCloseHandle(m_connection);
        WinHttpCloseHandle(m_session);
    }
    PlatformClient(const PlatformClient&) = delete;
    PlatformClient& operator=(const PlatformClient&) = delete;

    bool Fetch(const std::string& path, int size)
    {
        const std::wstring widePath = L"/" + std::wstring(path.begin(), path.end());
        const HINTERNET request = WinHttpOpenRequest(m_connection, L"GET", widePath.c_str(),
                                                     nullptr, nullptr, nullptr, 0);
        if (m_connections == Connections::kOneEach)
        {
            DWORD feature = WINHTTP_DISABLE_KEEP_ALIVE;
            WinHttpSetOption(request, WINHTTP_OPTION_DISABLE_FEATURE, &feature, sizeof(feature));
        }
        const bool isAnswered =
            WinHttpSendRequest(request, m_header.c_str(), ~0U, nullptr, 0, 0, 0) &&
            WinHttpReceiveResponse(request, nullptr);
        m_body.resize(static_cast<size_t>(size) + 1);
        int stored = 0;
        DWORD read = 0;
        while (isAnswered &&
               WinHttpReadData(request, m_body.data() + stored,
                               static_cast<DWORD>(size + 1 - stored), &read) &&
               read > 0)
        {
            stored += static_cast<int>(read);
        }
        WinHttpCloseHandle(request);
        return stored == size;
    }

private:
    Connections m_connections;
    HINTERNET m_session;
    HINTERNET m_connection;
    std::wstring m_header;
    std::vector<char> m_body;
};

// Fetches per second in one round; 0 if a fetch failed.
template <typename Client>
double Measure(Client& client, const std::string& path, int size)
{
    const Clock::time_point start = Clock::now();
    int fetches = 0;
    double seconds = 0;
    do
    {
        if (!client.Fetch(path, size))
        {
            std::fprintf(stderr, "a fetch of %s failed\n", path.c_str());
            return 0;
        }
        ++fetches;
        seconds = std::chrono::duration<double>(Clock::now() - start).count();
    } while (seconds < kRoundSeconds);
    return fetches / seconds;
}

double Median(std::vector<double> values)
{
    std::nth_element(values.begin(), values.begin() + kRounds / 2, values.end());
    return values[kRounds / 2];
}

}  // namespace

int main()
{
    LibraryClient library;
    PlatformClient oneEach(Connections::kOneEach);
    PlatformClient oneKept(Connections::kOneKept);
    bool isGood = true;
    std::printf("%-9s %10s | %21s | %21s\n", "", "library", "WinHTTP, one each",
                "WinHTTP, one kept");
    std::printf("%-9s %10s | %10s %10s | %10s %10s\n", "snapshot", "1/s", "1/s", "ratio", "1/s",
                "ratio");
    for (const int kilobytes : {20, 200, 2000})
    {
        const std::string path = "pictures/" + std::to_string(kilobytes) + "k.bin";
        const int size = kilobytes * 1000;
        std::vector<double> rates[3];
        for (int round = 0; round < kRounds; ++round)
        {
            rates[0].push_back(Measure(library, path, size));
            rates[1].push_back(Measure(oneEach, path, size));
            rates[2].push_back(Measure(oneKept, path, size));
        }
        const double own = Median(rates[0]);
        const double each = Median(rates[1]);
        const double kept = Median(rates[2]);
        isGood = isGood && own > 0 && each > 0 && kept > 0;
        std::printf("%6d KB %10.0f | %10.0f %10.2f | %10.0f %10.2f\n", kilobytes, own, each,
                    own / each, kept, own / kept);
    }
    return isGood ? 0 : 1;
}
