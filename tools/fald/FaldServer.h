// fald's HTTP server: the REST API over the family objects, sessions and permissions, the route
// listing and OpenAPI description, and the static files of the root's www/ directory.
//
// The request path (respond) is apart from the HTTP engine (FaldEngine, on libmicrohttpd): it
// takes one parsed request and gives one reply, so other front ends can plug in.
#pragma once

#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <vector>

#include "fal.h"
#include "tools/fald/FaldHttp.h"
#include "tools/fald/FaldRoutes.h"
#include "tools/fald/FaldSessions.h"
#include "tools/fald/FaldSim.h"

class FaldEngine;
struct FalCall;

// The limits of the HTTP layer; each is a command-line flag of fald.
struct FaldLimits {
    unsigned maxConnections = 256;       // all clients together
    unsigned maxPerClient = 32;          // from one address
    unsigned maxHeaders = 64;            // header fields of a request
    size_t maxHeaderBytes = 16 * 1024;   // request line and header section together
    size_t maxBody = 64 * 1024;          // request body
    std::chrono::milliseconds headerTimeout{10000};  // the whole header section, from the first byte
    std::chrono::milliseconds bodyTimeout{30000};    // the whole body, from the end of the headers
    unsigned idleTimeout = 5;            // seconds a kept-alive connection may stay silent
    unsigned backlog = 128;              // listen queue
    unsigned threads = 2;                // event threads
    unsigned workers = 8;                // threads that run the operations
};

struct FaldOptions {
    std::string host = "127.0.0.1";
    int port = 8080;  // 0: any free port
    bool auth = true;
    std::string wwwDir = "www";  // served at "/"; relative to the working directory (the root)
    FaldLimits limits;
    // Host header values accepted besides the loopback names when listening on loopback.
    std::vector<std::string> allowHosts;
    bool sim = false;            // the simulator controls under /api/v1/sim
    unsigned latencyMs = 0;      // delay before every answer
    std::string corsOrigin;      // the one origin allowed cross-origin access ("": none)
};

// The session cookie.
extern const char* const kFaldCookie;  // "fald_session"

class FaldServer : public FaldHttpHandler {
public:
    explicit FaldServer(FaldOptions options);
    ~FaldServer() override;  // stops
    FaldServer(const FaldServer&) = delete;
    FaldServer& operator=(const FaldServer&) = delete;

    // Binds the address and serves on threads of its own. false with a message when the address
    // cannot be bound ("... address already in use").
    bool start(std::string& error);
    // The bound port (the chosen one when the options asked for 0).
    int port() const { return port_; }
    // Stops gracefully: new requests are refused (503), requests in flight finish
    // (with their saves) and are answered, then every connection is closed. Idempotent.
    void stop();

    // Requests being handled right now.
    unsigned inFlight() const;
    FaldSessions& sessions() { return sessions_; }
    const FaldRouter& router() const { return router_; }
    const FaldOptions& options() const { return options_; }

    FaldHttpReply respond(const FaldHttpRequest& request) override;
    bool mayBlock(const FaldHttpRequest& request) const override;
    FaldPairs replyHeaders(const FaldHttpRequest& request) const override;
    size_t bodyLimit(const FaldHttpRequest& request, size_t limit) const override;

private:
    struct Caller;  // who asks: the session, and the refusal when they may not

    FaldHttpReply route(const FaldHttpRequest& req);
    FaldHttpReply api(const FaldHttpRequest& req, const std::string& path);
    Caller authorize(const FaldHttpRequest& req, const FaldBoundRoute& route, const std::string& loginUser);
    bool buildCall(const FaldHttpRequest& req, FaldMatch& match, const Caller& caller, FalCall& call,
                   FaldHttpReply& refusal);
    FaldHttpReply finish(const FaldHttpRequest& req, const FalCall& call, const Caller& caller, _FAL_RSP_T* rsp);
    FaldHttpReply serveStatic(const FaldHttpRequest& req);
    bool hostAllowed(const FaldHttpRequest& req) const;

    FaldOptions options_;
    FaldRouter router_;
    FaldSessions sessions_;
    FaldCors cors_;
    std::vector<std::unique_ptr<IFal>> objects_;  // by API type
    std::string listing_;                         // GET /api/v1
    std::string openApi_;                         // GET /api/v1/openapi.json
    std::vector<std::string> hostNames_;          // accepted Host names; empty: any
    std::unique_ptr<FaldEngine> engine_;
    int port_ = -1;
    std::atomic<unsigned> writes_{0};  // operations other than reads running now
};
