// fald's HTTP requests and replies as the request path sees them, apart from the HTTP engine that
// reads and writes them, and the checks a request passes before any operation sees it.
#pragma once

#include <json-c/json.h>

#include <string>
#include <utility>
#include <vector>

#include "host/Logger.h"

// Log group of fald's own records (the families use 0, 12, 14, 15 and 17).
constexpr LOG_GROUP_T kFaldLog = static_cast<LOG_GROUP_T>(1);

using FaldPairs = std::vector<std::pair<std::string, std::string>>;

// One parsed request.
struct FaldHttpRequest {
    std::string method;  // "GET", "POST", ...
    std::string path;    // percent-decoded, without the query: "/api/v1/gateway/devices"
    FaldPairs query;     // decoded name/value pairs in the order of the request
    FaldPairs headers;   // as received
    std::string body;
    std::string client;  // the peer's address, without the port: "127.0.0.1", "::1"

    // The first header of that name (case-insensitive); "" when absent.
    std::string header(const char* name) const;
};

// One reply.
struct FaldHttpReply {
    int status = 200;
    FaldPairs headers;
    std::string contentType = "application/json";
    std::string body;
    bool close = false;  // close the connection once it is sent
};

// What the engine hands its requests to.
class FaldHttpHandler {
public:
    virtual ~FaldHttpHandler() = default;
    // The reply to a request; may block (document locks, fsync) and runs on a worker thread then.
    virtual FaldHttpReply respond(const FaldHttpRequest& request) = 0;
    // Whether answering may block; false lets the engine answer on its event thread.
    virtual bool mayBlock(const FaldHttpRequest& request) const = 0;
    // Headers that every reply to the request carries, the engine's own refusals included.
    virtual FaldPairs replyHeaders(const FaldHttpRequest&) const { return {}; }
    // The largest body the request may have, given the engine's limit for all.
    virtual size_t bodyLimit(const FaldHttpRequest&, size_t limit) const { return limit; }
};

// {"error": text} with the status.
FaldHttpReply faldError(int status, const std::string& text);

// Parses a request body for an operation: strict JSON in valid UTF-8, a top-level object or array,
// every number finite and every integer within the signed 64-bit range. Returns a new reference;
// null with the reason in `error`.
json_object* faldParseBody(const std::string& body, std::string& error);

// Whether a Host header value ("localhost:8080", "[::1]:80") names one of `names` (compared
// without the port, case-insensitively; IPv6 names without brackets).
bool faldHostAllowed(const std::string& host, const std::vector<std::string>& names);

// Whether an address names the loopback interface ("127.0.0.1", "::1", "localhost", ...).
bool faldIsLoopback(const std::string& address);
