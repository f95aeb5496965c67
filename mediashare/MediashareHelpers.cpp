#include "mediashare/MediashareHelpers.h"

#include <cstring>

#include "frame/BeHelpers.h"
#include "frame/FalGeneric.h"
#include "frame/FalPolicy.h"
#include "frame/FalResponse.h"
#include "host/TreeMapObject.h"

bool mediashareNullRequest(_FAL_REQ_T* req)
{
    if (req)
        return false;
    Logger::print(LOG_TYPE_ERROR, LOG_GROUP_MEDIASHARE, "A null request has been received\n");
    return true;
}

_FAL_RSP_T* mediashareResponse(unsigned msgId, bool withData, const char* failLog)
{
    return newFalResponseLogged(LOG_GROUP_MEDIASHARE, API_TYPE_MEDIASHARE, msgId, withData, failLog);
}

_FAL_RSP_T* mediashareBegin(_FAL_REQ_T* req, unsigned requestId, bool withData, const char* failLog)
{
    if (mediashareNullRequest(req))
        return nullptr;
    return mediashareResponse(falResponseId(API_TYPE_MEDIASHARE, requestId), withData, failLog);
}

_FAL_RSP_T* mediashareQuietReply(_FAL_REQ_T* req)
{
    if (!req)
        return nullptr;
    return mediashareResponse(req->msgId + 1, false, "Cannot allocate response due to memory error\n");
}

bool mediashareLacksBody(_FAL_REQ_T* req, _FAL_RSP_T* rsp, const char* message, bool logIt)
{
    if (req->body && !req->body->isNull())
        return false;
    if (logIt)
        mediashareFail(rsp, FAL_BAD_REQUEST, message, message);
    else
        falAnswer(rsp, FAL_BAD_REQUEST, message);
    return true;
}

void mediashareFail(_FAL_RSP_T* rsp, FAL_STATUS_T status, const char* failLog, const char* message)
{
    Logger::print(LOG_TYPE_ERROR, LOG_GROUP_MEDIASHARE, "%s\n", failLog);
    falAnswer(rsp, status, message);
}

// The family's object read.
static _FAL_RSP_T* getDbObjectResponse(unsigned apiType, unsigned msgId, const char* key, const char* requester)
{
    return falDbObjectResponse(FAL_FORM_MEDIASHARE, apiType, msgId, key, requester);
}

_FAL_RSP_T* mediashareObjectGet(_FAL_REQ_T* req, const char* key)
{
    if (mediashareNullRequest(req))
        return nullptr;
    return getDbObjectResponse(API_TYPE_MEDIASHARE, req->msgId, key, req->requester);
}

TreeMapObject* mediashareArray(TreeMapObject* obj, const char* key)
{
    TreeMapObject* array = obj ? obj->get(key) : nullptr;
    if (array && !array->isArray()) {
        delete array;
        return nullptr;
    }
    return array;
}

bool mediashareHasId(TreeMapObject* obj, const char* path, int id)
{
    int value = 0;
    return obj && obj->get_ex<int>(path, value) && value == id;
}

bool mediashareSameDevice(TreeMapObject* a, TreeMapObject* b)
{
    int id = 0;
    if (!a || !b || !a->get_ex<int>("id", id) || !mediashareHasId(b, "id", id))
        return false;
    const char* nameA = a->get<const char*>("name");
    const char* nameB = b->get<const char*>("name");
    return sameText(nameA, nameB);
}

std::unique_ptr<char[]> mediashareParam(_FAL_REQ_T* req, const char* name)
{
    return std::unique_ptr<char[]>(BE_PairVal2(req->params, name));
}
