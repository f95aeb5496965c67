// Steps shared by the media-share operations.
#pragma once

#include <memory>

#include "frame/FalHandler.h"
#include "frame/FalTypes.h"
#include "host/Logger.h"

class TreeMapObject;


// True, after logging "A null request has been received", when there is no request.
bool mediashareNullRequest(_FAL_REQ_T* req);

// A new media-share response; logs `failLog` (type 3) and yields null when it cannot be made.
_FAL_RSP_T* mediashareResponse(unsigned msgId, bool withData, const char* failLog);

// The response of operation `requestId`, as mediashareResponse; null, after logging "A null
// request has been received", when there is no request.
_FAL_RSP_T* mediashareBegin(_FAL_REQ_T* req, unsigned requestId, bool withData, const char* failLog);

// The response of a request that answers its msgId + 1 without data; null, without a log line,
// when there is no request.
_FAL_RSP_T* mediashareQuietReply(_FAL_REQ_T* req);

// True, with the answer 10 and `message` (also logged when `logIt`), when the request has no body
// (a JSON null body counts as none).
bool mediashareLacksBody(_FAL_REQ_T* req, _FAL_RSP_T* rsp, const char* message, bool logIt);

// Logs `failLog` (type 3) and answers `status` with `message`.
void mediashareFail(_FAL_RSP_T* rsp, FAL_STATUS_T status, const char* failLog, const char* message);

// A copy of the object under `key` (status 8 with the creation message when it cannot be locked).
_FAL_RSP_T* mediashareObjectGet(_FAL_REQ_T* req, const char* key);

// Handle onto the array member `key` of `obj`, or null when it is missing or not an array.
TreeMapObject* mediashareArray(TreeMapObject* obj, const char* key);

// Whether the integer at `path` of `obj` is `id`.
bool mediashareHasId(TreeMapObject* obj, const char* path, int id);

// Whether two records carry the same integer "id" and the same "name" text.
bool mediashareSameDevice(TreeMapObject* a, TreeMapObject* b);

// A request parameter as BE_PairVal2 returns it (null when absent or empty), freed on scope exit.
std::unique_ptr<char[]> mediashareParam(_FAL_REQ_T* req, const char* name);
