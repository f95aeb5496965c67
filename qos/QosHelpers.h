// Steps shared by the QoS operations.
#pragma once

#include "frame/FalTypes.h"
#include "host/TreeMapObject.h"

// Whether the request carries a body (a JSON null body counts as none).
inline bool qosHasBody(_FAL_REQ_T* req)
{
    return req->body && !req->body->isNull();
}

// Sets the status and message of a response.
inline void qosAnswer(_FAL_RSP_T* rsp, FAL_STATUS_T status, const char* message)
{
    rsp->status = status;
    rsp->message = message;
}
