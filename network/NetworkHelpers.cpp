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
const char* const NET_NO_OBJECT = "No object found in repo for key %s\n";

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

_FAL_RSP_T* networkResponse(unsigned requestId, bool withData, const char* failLog, unsigned apiType)
{
    return newFalResponseLogged(NET_LOG, apiType, falResponseId(API_TYPE_NETWORK, requestId), withData, failLog);
}

_FAL_RSP_T* networkObjectGet(const _FAL_REQ_T* req, const char* fn, const char* key)
{
    FalTrace trace(NET_LOG, fn, fn ? FAL_TRACE_NAME_FIRST : FAL_TRACE_NONE);
    if (networkNullRequest(req))
        return nullptr;
    return falDbObjectResponse(FAL_FORM_NETWORK, API_TYPE_NETWORK, req->msgId, key, req->requester);
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

