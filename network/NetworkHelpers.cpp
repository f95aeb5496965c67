#include "network/NetworkHelpers.h"

#include <cstdlib>
#include <cstring>
#include <string>

#include "frame/BeHelpers.h"
#include "frame/FalGeneric.h"
#include "frame/FalResponse.h"

const char* const NET_LOAD_FAILED = "Cannot load network database";
const char* const NET_NO_MEMORY = "Cannot create response due to some memory issue\n";
const char* const NET_KEY_LOAD_FAILED = "Cannot load db object for key %s\n";
const char* const NET_LOCAL_LOAD_FAILED = "Cannot load local database due to some unexpected error\n";

bool networkNullRequest(const _FAL_REQ_T* req)
{
    if (req)
        return false;
    Logger::print(LOG_TYPE_ERROR, NET_LOG, "NULL request has been received\n");
    return true;
}

bool networkWrongRequest(const _FAL_REQ_T* req)
{
    if (req && req->body && !req->body->isNull())
        return false;
    Logger::print(LOG_TYPE_ERROR, NET_LOG, "Wrong request has been received\n");
    return true;
}

_FAL_RSP_T* networkResponse(unsigned msgId, bool withData, const char* failLog, unsigned apiType)
{
    return newFalResponseLogged(NET_LOG, apiType, msgId, withData, failLog);
}

_FAL_RSP_T* networkChangeResponse(const _FAL_REQ_T* req)
{
    if (networkWrongRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(req->msgId + 1, false);
    if (rsp)
        rsp->status = FAL_FAILED;
    return rsp;
}

// The family's object read.
static _FAL_RSP_T* getDbObjectResponse(unsigned apiType, unsigned msgId, const char* key, const char* requester)
{
    return falDbObjectResponse(FAL_FORM_NETWORK, apiType, msgId, key, requester);
}

_FAL_RSP_T* networkObjectGet(const _FAL_REQ_T* req, const char* key)
{
    if (networkNullRequest(req))
        return nullptr;
    return getDbObjectResponse(API_TYPE_NETWORK, req->msgId, key, req->requester);
}


bool networkInterfaceId(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, int& id)
{
    std::unique_ptr<char[]> text(BE_PairVal2(req->params, "@interfaceId"));
    if (!text) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong URI");
        return false;
    }
    id = atoi(text.get());
    return true;
}


FalLock networkLockOrFail(_FAL_RSP_T* rsp, const char* key, const char* requester, const char* failLog)
{
    FalLock object(API_TYPE_NETWORK, key, requester);
    if (!object) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, failLog, key);
        falAnswer(rsp, FAL_DB_ERROR, NET_LOAD_FAILED);
    }
    return object;
}

FalTree networkFindInterface(TreeMapObject* interfaces, int id)
{
    int i = findItem(interfaces, "id", id);
    return i < 0 ? nullptr : FalTree(interfaces->at(static_cast<unsigned>(i)));
}

void networkCopyPresent(TreeMapObject* dst, const char* dstPrefix, TreeMapObject* src, const char* srcPrefix,
                    const std::vector<const char*>& names)
{
    for (const char* name : names) {
        FalTree value(src->get((std::string(srcPrefix) + name).c_str()));
        if (value)
            dst->set((std::string(dstPrefix) + name).c_str(), value.get());
    }
}

void networkCopyTexts(TreeMapObject* dst, TreeMapObject* src, const std::vector<const char*>& paths)
{
    for (const char* path : paths)
        dst->set(path, src->get<const char*>(path));
}

