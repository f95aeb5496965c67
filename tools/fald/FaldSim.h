// The gateway simulator's controls and CORS, independent of the HTTP engine: each takes the parts
// of a request it needs and gives back the whole answer (HTTP status, extra headers, body).
//
//   GET  /api/v1/sim/snapshot  every document of the root, as one object by family name
//   PUT  /api/v1/sim/snapshot  loads such an object: every family it names, all at once
//   POST /api/v1/sim/reset     back to the factory defaults, with no fault pending
//   POST /api/v1/sim/faults    {"family": F, "failLock": N, "failSave": N}: the next N locks or
//                              saves of F's document fail
//
// They answer only under `fald --sim`, and only to an admin session when sessions are on.
#pragma once

#include <json-c/json.h>

#include <memory>
#include <string>
#include <utility>
#include <vector>

// Owns one json-c reference.
struct FaldJsonRef {
    void operator()(json_object* o) const { json_object_put(o); }
};
using FaldJson = std::unique_ptr<json_object, FaldJsonRef>;

struct FaldHttpAnswer {
    int status = 200;
    std::vector<std::pair<std::string, std::string>> headers;
    std::string body;  // JSON
};

// The simulator's path prefix, relative to /api/v1.
extern const char* const kFaldSimPrefix;  // "/sim"

// Whether an API path (relative to /api/v1) is one of the simulator's.
bool faldIsSimPath(const std::string& apiPath);

// Answers a simulator request. `admin`: the caller may use the controls (an admin session, or
// sessions are off).
FaldHttpAnswer faldSimHandle(const std::string& method, const std::string& apiPath, const std::string& body, bool admin);

// The factory-default documents as a snapshot ({"gateway": {...}, ...}). New reference.
json_object* faldFactorySnapshot();

// Cross-origin access for one origin (a UI served by a development server).
class FaldCors {
public:
    explicit FaldCors(std::string origin = "") : origin_(std::move(origin)) {}
    bool enabled() const { return !origin_.empty(); }

    // The headers every answer to a request from `requestOrigin` carries: none unless it is the
    // allowed origin (credentials are allowed for that origin only).
    std::vector<std::pair<std::string, std::string>> headers(const std::string& requestOrigin) const;

    // Whether the request is a preflight (OPTIONS with Origin and Access-Control-Request-Method);
    // if so `out` is its answer: 204 with the allowed methods and headers for the allowed origin,
    // 403 for any other.
    bool preflight(const std::string& method, const std::string& requestOrigin, const std::string& requestMethod,
                   FaldHttpAnswer& out) const;

private:
    std::string origin_;
};
