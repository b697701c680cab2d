/// @file
/// The GET exchange: connect, request, answer, body, close. It runs on the caller's thread or on a
/// worker, and the two differ in what GetPolicy holds and in nothing else.
#pragma once

#include "CMemManage.h"
#include "net/http_request.h"
#include "net/http_transfer.h"
#include "net/transport.h"

namespace ostrel::net
{

constexpr int kBadAnswer = -3;
constexpr int kRefused = -4;

/// What is to be fetched. No text is null.
struct GetRequest
{
    Server server;
    const char* path;
    int timeOut;
};

/// What the exchange came to.
struct GetOutcome
{
    int code;      ///< bytes stored, or a negative code
    int reported;  ///< what a callback is told: the announced length, or the negative code
};

/// The result of an answer that cannot be used, by whether it says " 401 ".
struct BadAnswerCodes
{
    int refused;
    int otherwise;
};

/// The differences between an exchange on the caller's thread and one on a worker.
struct GetPolicy
{
    int workSize;
    WhenSendBlocks whenSendBlocks;
    BadAnswerCodes noLineEnd;
    BadAnswerCodes noBodyStart;
};

constexpr GetPolicy kDirectGet = {5000, WhenSendBlocks::Sleep, {kBadAnswer, kBadAnswer}, {0, 0}};
constexpr GetPolicy kWorkerGet = {
    1000, WhenSendBlocks::Wait, {kRefused, kBadAnswer}, {kRefused, kBadAnswer}};

/// Runs the exchange under kDirectGet. The connection is closed afterwards, whatever came of it;
/// @p body is left alone unless the answer is a 200.
GetOutcome GetDirectly(const GetRequest& request, Transport& transport, CMemManage& body);

/// Runs the exchange under kWorkerGet.
GetOutcome GetOnWorker(const GetRequest& request, Transport& transport, CMemManage& body);

}  // namespace ostrel::net
