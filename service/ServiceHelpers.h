// Steps shared by the service operations.
#pragma once

#include <ctime>
#include <initializer_list>
#include <memory>
#include <string>

#include "fal/FalMsgIds.h"
#include "frame/FalHandler.h"
#include "frame/FalPolicy.h"
#include "frame/FalTree.h"
#include "frame/FalTypes.h"
#include "host/LocalDbCtrl.h"
#include "host/Logger.h"
#include "host/TreeMapObject.h"

constexpr LOG_GROUP_T SVC_LOG = LOG_GROUP_SERVICE;

// Logged when a response cannot be made.
extern const char* const SVC_NO_RESPONSE;        // "Cannot create response due to some memory issue!\n"
extern const char* const SVC_NO_RESPONSE_PLAIN;  // the same without "!"
// Logged when a lock fails.
extern const char* const SVC_NO_OBJECT;          // "No object found in txt Repo!\n"
extern const char* const SVC_NO_OBJECT_PLAIN;    // "No object found in txt repo\n"
// Logged when a request needed for the operation is missing.
extern const char* const SVC_NULL_REQUEST;       // "Received NULL request or no request body ...\n"


// The response of service operation `requestId` to the request: null for a null request; when it
// cannot be made, logs `failLog` at type 3 and yields null.
_FAL_RSP_T* serviceResponse(const _FAL_REQ_T* req, unsigned requestId, bool withData,
                            const char* failLog = SVC_NO_RESPONSE, unsigned apiType = API_TYPE_SERVICE);

// Removes the response's data.
void serviceDropData(_FAL_RSP_T* rsp);
// Answers 10 "Bad request" and yields true when the request has no body.
bool serviceLacksBody(_FAL_RSP_T* rsp, const _FAL_REQ_T* req);
// Answers 10 "Bad request" and yields true unless `entries` is an array of objects.
bool serviceRefusesEntries(_FAL_RSP_T* rsp, TreeMapObject* entries);
// Answers 10 with `message` and yields true when the request or (with `needBody`) its body is
// missing.
bool serviceRefusesRequest(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, const char* message, bool needBody = true);

// The answer to a service object that could not be locked: logs `failLog` (type 3, when given),
// answers the status and message, and yields `rsp`.
_FAL_RSP_T* serviceLockFailed(_FAL_RSP_T* rsp, FAL_STATUS_T status, const char* message = nullptr,
                              const char* failLog = SVC_NO_OBJECT);

// The cycle of a service operation on the object `key`: the entry and exit traces of `fn` in the
// style `trace` (none for a null `fn`), the response to the request (null for a null request; when
// it cannot be made, `noResponseLog` is logged), with
// `needsBody` 10 "Bad request" for a request without a body, then the lock, whose failure answers
// `failStatus` (with `failMessage` when given) after logging `failLog`. Once locked,
// `work(rsp, lock)` answers; the lock is released when the cycle ends.
struct SvcCycle {
    const char* fn;
    unsigned requestId;
    const char* key;
    bool needsBody;
    FAL_STATUS_T failStatus;
    const char* failMessage = nullptr;
    bool withData = false;
    const char* failLog = SVC_NO_OBJECT;
    FAL_TRACE_T trace = FAL_TRACE_WORD_FIRST;
    const char* noResponseLog = SVC_NO_RESPONSE;
    unsigned apiType = API_TYPE_SERVICE;  // of the response
};
template <class Work>
_FAL_RSP_T* serviceCycle(const _FAL_REQ_T* req, const SvcCycle& how, Work work)
{
    FalTrace trace(SVC_LOG, how.fn, how.fn ? how.trace : FAL_TRACE_NONE);
    _FAL_RSP_T* rsp = serviceResponse(req, how.requestId, how.withData, how.noResponseLog, how.apiType);
    if (!rsp || (how.needsBody && serviceLacksBody(rsp, req)))
        return rsp;
    FalLock lock(API_TYPE_SERVICE, how.key, req->requester);
    if (!lock)
        return serviceLockFailed(rsp, how.failStatus, how.failMessage, how.failLog);
    work(rsp, lock);
    return rsp;
}

// The array member of an object, or null when it is missing or not an array.
FalTree serviceArray(TreeMapObject* obj, const char* member);

// A new object holding "id".
TreeMapObject* serviceIdObject(int id);

// Rule id of the request: every "@ruleId" through atoi, the last one counting (none: 0).
int serviceRuleIdLastWins(const _FAL_REQ_T* req);
// Rule id of the request: the first "@ruleId" (BE_PairVal2, BE_StrTo<int>); false when it is
// missing or empty (id then 0).
bool serviceRuleIdFirstWins(const _FAL_REQ_T* req, int& id);
// Rule id of the request: the value of its first parameter, whatever its name (none: 0).
int serviceRuleIdPositional(const _FAL_REQ_T* req);

// Largest "id" among the entries + 1 (0 for an empty list). With integerIdsOnly, entries whose
// "id" is not an integer are skipped; otherwise they count as id 0.
int serviceLargestIdPlusOne(TreeMapObject* list, bool integerIdsOnly = false);

// Index of the first entry whose "id" is `id`, or -1. Null entries are skipped; when `nullLog`
// is given, each is logged at type 1 with `fn` and its index.
int serviceFindRule(TreeMapObject* list, int id, const char* fn = nullptr, const char* nullLog = nullptr);

// Whether the handle is missing or holds JSON null.
inline bool serviceIsNull(TreeMapObject* entry)
{
    return !entry || entry->isNull();
}

// The read of a whole service object: status 0 and a copy of it as data (`how` without a body).
_FAL_RSP_T* serviceReadObject(const _FAL_REQ_T* req, const SvcCycle& how);


// The create of the lists with a limit: appends a copy of the body with an id from
// handleFindNewArrayItemId while `rules` holds fewer entries than the object's "maxRules", and
// saves. Yields true with status 1 and "id" in the data; otherwise answers 4 and drops the data
// (a full list is logged, a failed save logged with `saveFailLog` when given).
bool serviceAppendWithinLimit(_FAL_RSP_T* rsp, FalLock& lock, TreeMapObject* rules, TreeMapObject* body,
                          const char* saveFailLog);

// Whole-list operations shared by the rule lists. Each locks the list object `key`; a failed lock
// answers `failStatus` (with `failMessage` when given).

// Replaces the list member with a new empty array and saves: 0, or 4 when the save failed.
_FAL_RSP_T* serviceEmptyList(const _FAL_REQ_T* req, const char* fn, const char* key, const char* member,
                             unsigned requestId,
                         FAL_STATUS_T failStatus, const char* failMessage);
// Sets the object's "active" to the body's and saves: 0, or 4 when the save failed; a failed lock
// answers 4. A request without a body gets no response with `nullWithoutBody`, else 10.
_FAL_RSP_T* serviceSetActive(const _FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId,
                             bool nullWithoutBody);
// Removes the first entry whose "id" is the positional rule id and saves, found or not: 3, or 4
// when the save failed; a failed lock answers 4, a missing list 8.
_FAL_RSP_T* serviceDeleteOnePositional(const _FAL_REQ_T* req, const char* fn, const char* key, const char* member,
                                   unsigned requestId);

// The messages of a DeleteOne that takes the first "@ruleId" (missing: 0) and starts as
// 3 "Record Deleted".
struct SvcDeleteOneTexts {
    const char* lockFailed;    // 8
    const char* noRules;       // 8
    const char* nullEntryLog;  // type 1, with the operation's name and the index
    const char* notFound;      // 9
    FAL_TRACE_T trace;
    const char* noResponseLog;
};
// Removes the first entry of "rules" with the rule id and saves (a failed save answers 8
// "failed to save database").
_FAL_RSP_T* serviceDeleteOneFirstWins(const _FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId,
                                  const SvcDeleteOneTexts& texts);

// The address pass over the gateway's connected devices: when `active`, every device whose
// "ipAddress" equals `address` is marked disconnected. The gateway document is saved (a failure
// is logged with `saveFailLog`) and released.
void serviceDisconnectAddress(const char* address, bool active, const char* requester, const char* saveFailLog);

// Name of the log snapshot written at `when`: "www/files/log/syslog." + DDMMYY (UTC) + ".log".
std::string serviceLogFileName(time_t when);
