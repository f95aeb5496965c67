// Steps shared by the network operations.
#pragma once

#include <memory>
#include <vector>

#include "frame/FalHandler.h"
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


// True, after logging "NULL request has been received", when there is no request.
bool networkNullRequest(const _FAL_REQ_T* req);
// True, after logging "Wrong request has been received", when there is no request or no body (a
// JSON null body counts as none).
bool networkWrongRequest(const _FAL_REQ_T* req);

// A new network response (apiType 2 unless given); logs `failLog` and yields null when it cannot
// be made.
_FAL_RSP_T* networkResponse(unsigned msgId, bool withData, const char* failLog = NET_NO_MEMORY,
                        unsigned apiType = API_TYPE_NETWORK);

// The response of a change that needs a body: null, after "Wrong request has been received",
// without one; otherwise request id + 1, starting at FAL_FAILED.
_FAL_RSP_T* networkChangeResponse(const _FAL_REQ_T* req);

// A copy of the object under `key`, status 8 "Cannot load network database" when it cannot be
// locked; null, after logging, for a null request.
_FAL_RSP_T* networkObjectGet(const _FAL_REQ_T* req, const char* key);


// Reads "@interfaceId" (a non-numeric value reads as 0). When it is absent, answers 10 "Wrong URI"
// and yields false.
bool networkInterfaceId(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, int& id);

// Locks `key` of the network document for the requester. When it cannot be loaded: logs `failLog`
// (its %s, if any, is the key) and answers 8 "Cannot load network database".
FalLock networkLockOrFail(_FAL_RSP_T* rsp, const char* key, const char* requester, const char* failLog);

// The first interface of the array whose integer "id" is `id`, or null.
FalTree networkFindInterface(TreeMapObject* interfaces, int id);

// For each name that `src` holds under srcPrefix + name, stores a copy at dstPrefix + name of
// `dst`; names it lacks keep their stored values.
void networkCopyPresent(TreeMapObject* dst, const char* dstPrefix, TreeMapObject* src, const char* srcPrefix,
                    const std::vector<const char*>& names);

// Stores the text at each path of `src` at the same path of `dst` (null when `src` lacks it).
void networkCopyTexts(TreeMapObject* dst, TreeMapObject* src, const std::vector<const char*>& paths);

