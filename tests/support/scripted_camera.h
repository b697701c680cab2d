/// @file
/// A camera on this machine that answers as written down: what it sends, with which pauses, and how
/// it ends.
#pragma once

#include <winsock2.h>

#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace ostrel::test
{

/// One thing that the camera does on a connection. Times are milliseconds.
struct CameraStep
{
    enum class Kind
    {
        Send,
        Wait,
        Close,
        Reset
    };
    Kind kind;
    std::string bytes;
    int time;
};

/// Sends the bytes at once.
CameraStep Send(std::string bytes);
/// Does nothing for this long.
CameraStep Wait(int time);
/// Ends its side in order; what still comes is received.
CameraStep Close();
/// Resets the connection.
CameraStep Reset();

using CameraScript = std::vector<CameraStep>;

/// Sends the bytes one at a time, with a pause after each.
CameraScript SendByteByByte(const std::string& bytes, int pause);

/// How a connection ended, as the camera saw it.
enum class CameraEnding
{
    None,        ///< not within a long time
    PeerClosed,  ///< in order, by the peer
    PeerReset,   ///< abortively, by the peer; after Close() it may not be told from PeerClosed
    OwnReset,    ///< by the script
    Failed       ///< by an error that is no reset
};

/// Listens on a free port of 127.0.0.1 while it lives. Every connection runs the script of the
/// moment on a thread of its own: first the camera awaits the request's empty line, then it takes
/// step by step, and then it is silent until the peer ends the connection. What it receives
/// meanwhile is kept. The calls that wait give up after 20 seconds.
class ScriptedCamera
{
public:
    /// @param acceptAfter milliseconds before the first connection is taken.
    explicit ScriptedCamera(CameraScript script, int acceptAfter = 0);
    ~ScriptedCamera();
    ScriptedCamera(const ScriptedCamera&) = delete;
    ScriptedCamera& operator=(const ScriptedCamera&) = delete;

    int Port() const { return vm_nPort; }

    /// For the connections from now on.
    void SetScript(CameraScript script);

    /// Waits until a connection's request is there, or the connection ended. Connections count from
    /// 0 in the order of their coming.
    /// @return all that was received so far.
    std::string Received(std::size_t connection = 0);

    /// Waits until so many bytes were received, or the connection ended.
    /// @return all that was received so far.
    std::string ReceivedBytes(std::size_t count, std::size_t connection = 0);

    /// Waits for the connection's end.
    CameraEnding Ending(std::size_t connection = 0);

    std::size_t CountOfConnections();

private:
    struct Connection
    {
        SOCKET socket = INVALID_SOCKET;
        CameraScript script;
        bool isShut = false;
        std::string received;
        CameraEnding ending = CameraEnding::None;
        std::thread thread;
    };

    void Accept(int acceptAfter);
    void Serve(Connection& connection);
    void SendAll(Connection& connection, const std::string& bytes);
    void ReceiveFor(Connection& connection, int time);
    void ReceiveOnce(Connection& connection, int time);
    static CameraEnding EndingOfStream(const Connection& connection);
    void End(Connection& connection, CameraEnding ending);
    bool IsOver(const Connection& connection);
    template <class Condition>
    std::string ReceivedWhen(std::size_t connection, Condition condition);

    SOCKET vm_listener = INVALID_SOCKET;
    int vm_nPort = 0;
    std::mutex vm_lock;
    std::condition_variable vm_changed;
    bool vm_bStop = false;
    CameraScript vm_script;
    std::vector<std::unique_ptr<Connection>> vm_connections;
    std::thread vm_thread;
};

/// The value that the next handle of this process gets. While nothing is lost it hardly grows.
std::size_t NextHandleValue();

}  // namespace ostrel::test
