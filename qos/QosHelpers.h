// Steps shared by the QoS operations.
#pragma once

#include "frame/FalHandler.h"
#include "frame/FalTypes.h"
#include "host/TreeMapObject.h"

// Whether the request carries a body (a JSON null body counts as none).
inline bool qosHasBody(_FAL_REQ_T* req)
{
    return req->body && !req->body->isNull();
}

