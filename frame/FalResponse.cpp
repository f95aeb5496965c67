#include "frame/FalResponse.h"

#include <new>

#include "host/TreeMapObject.h"

const char* const FAL_MSG_PROCESSED_FINE = "FAL processed fine!";

_FAL_RSP_T* makeFalResponse(unsigned apiType, unsigned msgId, int kind)
{
    _FAL_RSP_T* rsp = new (std::nothrow) _FAL_RSP_T;
    if (!rsp)
        return nullptr;
    rsp->apiType = apiType;
    rsp->msgId = msgId;
    rsp->status = FAL_OK;
    rsp->message = FAL_MSG_PROCESSED_FINE;
    switch (kind) {
    case FAL_RSP_OBJECT:
        rsp->data = new TreeMapObject(false);
        break;
    case FAL_RSP_ARRAY:
        rsp->data = new TreeMapObject(true);
        break;
    case FAL_RSP_RESPONSE:
        rsp->data = new TreeMapObject(apiType, msgId);
        break;
    default:
        rsp->data = nullptr;
        break;
    }
    return rsp;
}

_FAL_RSP_T* newFalResponse(unsigned apiType, unsigned msgId, bool withData)
{
    return makeFalResponse(apiType, msgId, withData ? FAL_RSP_RESPONSE : FAL_RSP_NONE);
}

void freeFalResponse(_FAL_RSP_T* rsp)
{
    if (!rsp)
        return;
    delete rsp->data;
    delete rsp;
}
