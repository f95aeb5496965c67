// fald's HTTP server: the REST API over the family objects, sessions and permissions, the route
// listing and OpenAPI description, and the static files of the root's www/ directory.
#pragma once

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "fal.h"
#include "tools/fald/FaldRoutes.h"
#include "tools/fald/FaldSessions.h"
#include "tools/fald/FaldSim.h"

namespace httplib {
class Server;
struct Request;
struct Response;
}  // namespace httplib

struct FaldOptions {
    std::string host = "127.0.0.1";
    int port = 8080;  // 0: any free port
    bool auth = true;
    std::string wwwDir = "www";  // served at "/"; relative to the working directory (the root)
    int workers = 64;            // request threads; each keeps one client connection
    bool sim = false;            // the simulator controls under /api/v1/sim
    unsigned latencyMs = 0;      // delay before every answer
    std::string corsOrigin;      // the one origin allowed cross-origin access ("": none)
};

// The largest request body fald accepts.
constexpr size_t kFaldMaxBody = 64 * 1024;
// The session cookie.
extern const char* const kFaldCookie;  // "fald_session"

class FaldServer {
public:
    explicit FaldServer(FaldOptions options);
    ~FaldServer();  // stops
    FaldServer(const FaldServer&) = delete;
    FaldServer& operator=(const FaldServer&) = delete;

    // Binds the address and serves on a thread of its own. false with a message when the address
    // cannot be bound.
    bool start(std::string& error);
    // The bound port (the chosen one when the options asked for 0).
    int port() const { return port_; }
    // Stops gracefully: no new connections or requests are taken, requests in flight finish
    // (with their saves) and are answered, then the threads end. Idempotent.
    void stop();

    // Requests being handled right now.
    unsigned inFlight() const { return inFlight_.load(); }
    FaldSessions& sessions() { return sessions_; }
    const FaldRouter& router() const { return router_; }

private:
    void handle(const httplib::Request& req, httplib::Response& res);
    void api(const httplib::Request& req, httplib::Response& res, const std::string& path);
    void serveStatic(const httplib::Request& req, httplib::Response& res);

    FaldOptions options_;
    FaldRouter router_;
    FaldSessions sessions_;
    FaldCors cors_;
    std::vector<std::unique_ptr<IFal>> objects_;  // by API type
    std::string listing_;                         // GET /api/v1
    std::string openApi_;                         // GET /api/v1/openapi.json
    std::unique_ptr<httplib::Server> http_;
    std::thread thread_;
    int port_ = -1;
    std::atomic<unsigned> inFlight_{0};
};
