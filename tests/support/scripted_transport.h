/// @file
/// A peer that behaves as written down, in a time of its own: a wait passes it, nothing else does.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <deque>
#include <functional>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "net/transport.h"

namespace ostrel::test
{

/// What the peer does next.
struct PeerStep
{
    enum class Kind
    {
        Bytes,    ///< these bytes arrive
        Silence,  ///< nothing arrives for `time` milliseconds
        Block,    ///< a wait says that there is something, but the receive would block
        End,      ///< the peer has closed
        Failure   ///< the receive fails
    };
    Kind kind;
    std::string bytes;
    int time;
};

inline PeerStep Bytes(std::string bytes)
{
    return {PeerStep::Kind::Bytes, std::move(bytes), 0};
}
inline PeerStep Silence(int time)
{
    return {PeerStep::Kind::Silence, {}, time};
}
inline PeerStep Block()
{
    return {PeerStep::Kind::Block, {}, 0};
}
inline PeerStep End()
{
    return {PeerStep::Kind::End, {}, 0};
}
inline PeerStep Failure()
{
    return {PeerStep::Kind::Failure, {}, 0};
}

/// A wait without limit for something that never comes.
class BlocksForEver : public std::runtime_error
{
public:
    BlocksForEver() : std::runtime_error("this wait never ends") {}
};

/// After its last step the peer is silent for ever.
class ScriptedTransport final : public net::Transport
{
public:
    static constexpr int kSendBlocks = -10035;
    /// What a wait without limit is logged as.
    static constexpr int kForEver = 2147483647;

    explicit ScriptedTransport(std::deque<PeerStep> steps) : steps(std::move(steps)) {}

    bool Connect(const char* host, int port, int timeOut) override
    {
        Log("connect " + std::string(host) + ":" + std::to_string(port), timeOut);
        return connects;
    }

    bool WaitWritable(net::WaitLimit limit) override
    {
        const int timeOut = LogWait("writable", limit);
        if (timeOut < 0)
        {
            return false;
        }
        if (writable.empty())
        {
            return true;
        }
        const bool answer = writable.front();
        writable.pop_front();
        if (!answer)
        {
            PassUnanswered(limit);
        }
        return answer;
    }

    bool WaitReadable(net::WaitLimit limit) override
    {
        int timeOut = LogWait("readable", limit);
        if (timeOut < 0)
        {
            return false;
        }
        SkipEmpty();
        while (!steps.empty() && steps.front().kind == PeerStep::Kind::Silence)
        {
            if (!limit.IsForEver() && steps.front().time > timeOut)
            {
                steps.front().time -= timeOut;
                Pass(timeOut);
                return false;
            }
            timeOut -= steps.front().time;
            Pass(steps.front().time);
            steps.pop_front();
            SkipEmpty();
        }
        if (steps.empty())
        {
            PassUnanswered(limit.IsForEver() ? limit : timeOut);
        }
        return !steps.empty();
    }

    net::TransferResult Send(const char* bytes, int count) override
    {
        Log("send", count);
        Pass(transferTime);
        int accepted = count;
        if (!sends.empty())
        {
            accepted = std::min(count, sends.front());
            sends.pop_front();
        }
        if (accepted == kSendBlocks)
        {
            return {-1, true};
        }
        if (accepted > 0)
        {
            sent.append(bytes, static_cast<std::size_t>(accepted));
        }
        return {accepted, false};
    }

    net::TransferResult Receive(char* bytes, int capacity) override
    {
        Log("receive", capacity);
        Pass(transferTime);
        SkipEmpty();
        if (steps.empty() || steps.front().kind == PeerStep::Kind::Silence)
        {
            return {-1, true};
        }
        PeerStep& step = steps.front();
        switch (step.kind)
        {
            case PeerStep::Kind::Bytes:
            {
                const std::size_t count =
                    std::min(step.bytes.size(), static_cast<std::size_t>(capacity));
                std::memcpy(bytes, step.bytes.data(), count);
                step.bytes.erase(0, count);
                return {static_cast<int>(count), false};
            }
            case PeerStep::Kind::Block:
                steps.pop_front();
                return {-1, true};
            case PeerStep::Kind::Failure:
                return {-1, false};
            default:
                return {0, false};
        }
    }

    void Pause(int time) override
    {
        Log("pause", time);
        Pass(time);
        if (onPause)
        {
            onPause();
        }
    }

    std::uint32_t Now() const override { return now; }

    void Close() override
    {
        Log("close", 0);
        ++closes;
    }

    /// The numbers that were given with a call of this name.
    std::vector<int> NumbersOf(const std::string& call) const
    {
        std::vector<int> numbers;
        for (const auto& [name, number] : calls)
        {
            if (name == call)
            {
                numbers.push_back(number);
            }
        }
        return numbers;
    }

    bool connects = true;
    std::deque<bool> writable;   ///< the answers of the waits for room; then always yes
    std::deque<int> sends;       ///< how much each send takes, or kSendBlocks; then all
    std::deque<PeerStep> steps;  ///< what is still to come
    std::string sent;
    int closes = 0;
    std::uint32_t now = 0;          ///< the clock
    int transferTime = 0;           ///< what each send and receive takes of it
    std::function<void()> onPause;  ///< runs after every pause
    bool isLogging = true;
    std::vector<std::pair<std::string, int>> calls;

private:
    void Pass(int time) { now += static_cast<std::uint32_t>(time); }

    void PassUnanswered(net::WaitLimit limit)
    {
        if (limit.IsForEver())
        {
            throw BlocksForEver();
        }
        Pass(limit.Milliseconds());
    }

    int LogWait(std::string name, net::WaitLimit limit)
    {
        Log(std::move(name), limit.IsForEver() ? kForEver : limit.Milliseconds());
        return limit.Milliseconds();
    }

    void SkipEmpty()
    {
        while (!steps.empty() && steps.front().kind == PeerStep::Kind::Bytes &&
               steps.front().bytes.empty())
        {
            steps.pop_front();
        }
    }

    void Log(std::string name, int number)
    {
        if (isLogging)
        {
            calls.emplace_back(std::move(name), number);
        }
    }
};

}  // namespace ostrel::test
