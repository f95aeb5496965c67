// Steps shared by the network operations.
#pragma once

#include <memory>
#include <vector>

#include "fal/FalMsgIds.h"
#include "frame/FalHandler.h"
#include "frame/FalPolicy.h"
#include "frame/FalTree.h"
#include "frame/FalTypes.h"
#include "host/Logger.h"
#include "host/TreeMapObject.h"

constexpr LOG_GROUP_T NET_LOG = LOG_GROUP_NETWORK;

extern const char* const NET_LOAD_FAILED;  // "Cannot load network database"
extern const char* const NET_NO_MEMORY;    // "Cannot create response due to some memory issue\n"
// Log lines of a failed lock.
extern const char* const NET_KEY_LOAD_FAILED;    // "Cannot load db object for key %s\n"
extern const char* const NET_LOCAL_LOAD_FAILED;  // "Cannot load local database due to some unexpected error\n"
extern const char* const NET_NO_OBJECT;          // "No object found in repo for key %s\n"


// True, after logging "NULL request has been received", when there is no request.
bool networkNullRequest(const _FAL_REQ_T* req);
// True, after logging "Wrong request has been received", when there is no request or no body (a
// JSON null body counts as none).
bool networkWrongRequest(const _FAL_REQ_T* req);

// The response of network operation `requestId` (under `apiType`, the network's unless given);
// logs `failLog` and yields null when it cannot be made.
_FAL_RSP_T* networkResponse(unsigned requestId, bool withData, const char* failLog = NET_NO_MEMORY,
                            unsigned apiType = API_TYPE_NETWORK);

// A copy of the object under `key`, status 8 "Cannot load network database" when it cannot be
// locked; null, after logging, for a null request. Traced as `fn` unless it is null.
_FAL_RSP_T* networkObjectGet(const _FAL_REQ_T* req, const char* fn, const char* key);


// Reads "@interfaceId" (a non-numeric value reads as 0). When it is absent, answers 10 "Wrong URI"
// and yields false.
bool networkInterfaceId(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, int& id);

// The change cycle of the network object `key`, traced as `fn` unless it is null. A request
// without a body gets no response ("Wrong request has been received"); the answer starts at 4.
// With `byInterface`, a missing "@interfaceId" answers 10 "Wrong URI". A failed lock logs
// `failLog` (its %s, if any, is the key) and answers 8 "Cannot load network database". Then
// `change(rsp, object, body, interfaceId)` runs; when it yields true the object is saved, and
// a save answers 0.
template <class Change>
_FAL_RSP_T* networkChange(_FAL_REQ_T* req, const char* fn, const char* key, const char* failLog, bool byInterface,
                          Change change);

// The first interface of the array whose integer "id" is `id`, or null.
FalTree networkFindInterface(TreeMapObject* interfaces, int id);

// For each name that `src` holds under srcPrefix + name, stores a copy at dstPrefix + name of
// `dst`; names it lacks keep their stored values.
void networkCopyPresent(TreeMapObject* dst, const char* dstPrefix, TreeMapObject* src, const char* srcPrefix,
                    const std::vector<const char*>& names);

// Stores the text at each path of `src` at the same path of `dst` (null when `src` lacks it).
void networkCopyTexts(TreeMapObject* dst, TreeMapObject* src, const std::vector<const char*>& paths);

template <class Change>
_FAL_RSP_T* networkChange(_FAL_REQ_T* req, const char* fn, const char* key, const char* failLog, bool byInterface,
                          Change change)
{
    FalTrace trace(NET_LOG, fn, fn ? FAL_TRACE_NAME_FIRST : FAL_TRACE_NONE);
    if (networkWrongRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(req->msgId, false);
    if (!rsp)
        return nullptr;
    rsp->status = FAL_FAILED;
    int interfaceId = 0;
    if (byInterface && !networkInterfaceId(rsp, req, interfaceId))
        return rsp;
    FalLock object(API_TYPE_NETWORK, key, req->requester, rsp, NET_LOAD_FAILED);
    if (!object) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, failLog, key);
        return rsp;
    }
    if (change(rsp, object.get(), req->body, interfaceId) && object.save())
        rsp->status = FAL_OK;
    return rsp;
}
