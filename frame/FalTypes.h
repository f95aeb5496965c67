// Request and response records, status codes and API types.
#pragma once

#include <cstdint>
#include <list>
#include <string>
#include <utility>

class TreeMapObject;

enum API_TYPE_T {
    API_TYPE_GATEWAY = 0,
    API_TYPE_WIFI = 1,
    API_TYPE_NETWORK = 2,
    API_TYPE_SECURITY = 3,
    API_TYPE_SERVICE = 4,
    API_TYPE_MEDIASHARE = 5,
    API_TYPE_QOS = 6,
};

// Status codes: 0 to 3 are success, 4 and above failure.
enum FAL_STATUS_T {
    FAL_OK = 0,
    FAL_CREATED = 1,
    FAL_ACCEPTED = 2,
    FAL_DELETED = 3,
    FAL_FAILED = 4,
    FAL_DB_ERROR = 8,
    FAL_NOT_FOUND = 9,
    FAL_BAD_REQUEST = 10,
};

// URI variables ("@id") and query parameters ("!name") in the order the host received them.
typedef std::list<std::pair<std::string, std::string>> FAL_PARAMS_T;

// A request, built and owned by the host.
struct _FAL_REQ_T {
    uint32_t apiType = 0;
    uint32_t msgId = 0;  // request message id (even)
    FAL_PARAMS_T params;
    const char* requester = nullptr;  // lock owner for every database call
    TreeMapObject* body = nullptr;    // parsed body, or null
};

// A response, owned by the host once returned; the host deletes data and then the response.
struct _FAL_RSP_T {
    uint32_t apiType = 0;
    uint32_t msgId = 0;  // response message id (odd)
    uint32_t status = FAL_OK;
    const char* message = nullptr;  // static text, never freed
    TreeMapObject* data = nullptr;
};

// Deletes a response and its data (host side).
void freeFalResponse(_FAL_RSP_T* rsp);
