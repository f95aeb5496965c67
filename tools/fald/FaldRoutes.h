// The REST routes of fald: one table, kept as data, that gives every operation of every family
// exactly one method and path under /api/v1/<family>/..., and the router that resolves a request
// to one of them.
#pragma once

#include <json-c/json.h>

#include <string>
#include <vector>

#include "fal.h"

// One row of the route table.
//
// `path` is relative to /api/v1 and starts with the family's name; "{name}" segments are path
// variables that the operation receives as "@name" parameters, in path order and before any
// query parameter (so an operation that reads its first parameter by position gets the first path
// variable). `query` names the query parameters the operation reads, comma-separated; every
// query parameter of a request is passed on as "!name", in the order of the request.
struct FaldRoute {
    const char* method;  // "GET", "PUT", "PATCH", "POST" or "DELETE"
    const char* path;    // "/service/portForwarding/{ruleId}"
    const char* op;      // "ServicePortforwardingPatch"
    const char* query;   // "connected,interface" or ""
};

// The rows of one family.
struct FaldRouteRows {
    const FaldRoute* rows;
    size_t count;
};

// Every family's rows, in API type order.
const std::vector<FaldRouteRows>& faldRouteTable();

// A route bound to its family and operation.
struct FaldBoundRoute {
    const FaldRoute* route;
    const FalFamilyInfo* family;
    const FalOpInfo* op;
    bool implemented;                   // false: the interface's default, which answers nothing
    std::vector<std::string> segments;  // of the path, without the leading "/"
};

// A request path matched against the table.
struct FaldMatch {
    enum Kind { NOT_FOUND, WRONG_METHOD, FOUND } kind = NOT_FOUND;
    const FaldBoundRoute* route = nullptr;  // FOUND
    FAL_PARAMS_T params;                    // FOUND: the path variables as "@name" pairs
    std::string allow;                      // WRONG_METHOD: the methods the path has, "GET, PUT"
};

// The prefix of every API path.
extern const char* const kFaldApiPrefix;  // "/api/v1"

class FaldRouter {
public:
    // Binds every row of the table to its family and operation; aborts on a row that names no
    // operation (a broken table is a build defect, not a run-time condition).
    FaldRouter();

    const std::vector<FaldBoundRoute>& routes() const { return routes_; }

    // Resolves a method and a path relative to kFaldApiPrefix ("/gateway/devices/3"). Where
    // several routes fit, a literal segment beats a path variable at the first place they differ
    // ("/wifi/wps/connection" before "/wifi/{interfaceId}/...").
    FaldMatch match(const std::string& method, const std::string& path) const;

    // {"routes": [{"method", "path", "family", "operation", "implemented"}, ...]}. New reference.
    json_object* listing() const;
    // An OpenAPI 3 description of every route (and of the simulator's when `sim`), typed from the
    // schema data in tools/fald/openapi/. New reference.
    json_object* openApi(bool sim) const;

private:
    std::vector<FaldBoundRoute> routes_;
};

// The segments of a path ("/a/b" -> {"a", "b"}); empty segments are kept.
std::vector<std::string> faldSplitPath(const std::string& path);
// Whether a path segment is a variable ("{ruleId}"), and its name ("ruleId").
bool faldIsVariable(const std::string& segment);
std::string faldVariableName(const std::string& segment);
// The query parameters a route reads, in table order.
std::vector<std::string> faldQueryNames(const FaldRoute& route);
