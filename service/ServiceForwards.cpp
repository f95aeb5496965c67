// Port forwarding and port triggering rule lists. Both take the rule id from the last "@ruleId",
// give new ids with handleFindNewArrayItemId and refuse a create on a full list.
#include "service/FalServiceLdb.h"
#include "service/ServiceHelpers.h"

namespace {

// Replaces the entry with the rule id by the body (keeping the entry's id). With `activeOnly`
// set, a body without "serviceType" changes only the entry's "active". Not found: 4; no rule
// array: 8. A request without body gets no response (logged with `nullLog` when given).
_FAL_RSP_T* patchLastWins(_FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId, bool activeOnly,
                          const char* nullLog)
{
    if (!req || !req->body) {
        if (nullLog)
            Logger::print(LOG_TYPE_ERROR, SVC_LOG, "%s", nullLog);
        return nullptr;
    }
    FalTrace trace(SVC_LOG, fn, FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, requestId, false);
    if (!rsp)
        return nullptr;
    FalLock lock(API_TYPE_SERVICE, key, req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_FAILED);
    int ruleId = serviceRuleIdLastWins(req);
    FalTree rules = serviceArray(lock.get(), "rules");
    if (!rules) {
        falAnswer(rsp, FAL_DB_ERROR);
        return rsp;
    }
    int index = handleFindArrayItemById(rules.get(), "id", ruleId);
    if (index < 0) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Cannot find the request id\n");
        falAnswer(rsp, FAL_FAILED);
        return rsp;
    }
    FalTree stored(rules->at(unsigned(index)));
    FalTree serviceType(req->body->get("serviceType"));
    if (activeOnly && !serviceType) {
        stored->set("active", req->body->get<bool>("active"));
    } else {
        FalTree rule(req->body->clone(nullptr));
        rule->set("id", stored->get<int>("id"));
        rules->setArrayItem(unsigned(index), rule.get());
    }
    falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    return rsp;
}

// Appends a copy of the body with a fresh id while the list holds fewer than "maxRules" entries:
// 1 with the id, or 4 without data (a failed lock too).
_FAL_RSP_T* createLimited(_FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId)
{
    if (!req || !req->body)
        return nullptr;
    FalTrace trace(SVC_LOG, fn, FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, requestId, true);
    if (!rsp)
        return nullptr;
    FalLock lock(API_TYPE_SERVICE, key, req->requester);
    if (!lock) {
        serviceLockFailed(rsp, FAL_FAILED);
        serviceDropData(rsp);
        return rsp;
    }
    FalTree rules = serviceArray(lock.get(), "rules");
    if (!rules) {
        falAnswer(rsp, FAL_DB_ERROR);
        serviceDropData(rsp);
        return rsp;
    }
    serviceAppendWithinLimit(rsp, lock, rules.get(), req->body, nullptr);
    return rsp;
}

}  // namespace

// ---- Port forwarding --------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServicePortforwardingList(_FAL_REQ_T* req)
{
    return serviceReadObject(req, {__func__, FalMsg::ServicePortforwardingList, "portForwarding",
                                   false, FAL_FAILED, nullptr, false, SVC_NO_OBJECT, FAL_TRACE_NAME_FIRST,
                                   SVC_NO_RESPONSE_PLAIN});
}

_FAL_RSP_T* FalServiceLdb::ServicePortforwardingUpdate(_FAL_REQ_T*)
{
    return nullptr;
}

_FAL_RSP_T* FalServiceLdb::ServicePortforwardingPatch(_FAL_REQ_T* req)
{
    return patchLastWins(req, "ServicePortforwardingPatch", "portForwarding", FalMsg::ServicePortforwardingPatch, true,
                         SVC_NULL_REQUEST);
}

_FAL_RSP_T* FalServiceLdb::ServicePortforwardingCreate(_FAL_REQ_T* req)
{
    return createLimited(req, "ServicePortforwardingCreate", "portForwarding", FalMsg::ServicePortforwardingCreate);
}

_FAL_RSP_T* FalServiceLdb::ServicePortforwardingDeleteOne(_FAL_REQ_T* req)
{
    return serviceDeleteOneFirstWins(req, "ServicePortforwardingDeleteOne", "portForwarding",
                                     FalMsg::ServicePortforwardingDeleteOne,
                                 {"failed to get database", "failed to get rules", "%s: rule is null at %d\n",
                                  "failed to find ruleId", FAL_TRACE_NONE, SVC_NO_RESPONSE});
}

_FAL_RSP_T* FalServiceLdb::ServicePortforwardingDeleteAll(_FAL_REQ_T* req)
{
    return serviceEmptyList(req, "ServicePortforwardingDeleteAll", "portForwarding", "rules",
                            FalMsg::ServicePortforwardingDeleteAll, FAL_FAILED, nullptr);
}

_FAL_RSP_T* FalServiceLdb::ServicePortforwardingActive(_FAL_REQ_T* req)
{
    return serviceSetActive(req, "ServicePortforwardingActive", "portForwarding", FalMsg::ServicePortforwardingActive,
                            true);
}

// ---- Port triggering --------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServicePorttriggeringList(_FAL_REQ_T* req)
{
    return serviceReadObject(req, {__func__, FalMsg::ServicePorttriggeringList, "portTriggering",
                                   false, FAL_FAILED, nullptr, false, SVC_NO_OBJECT, FAL_TRACE_NAME_FIRST,
                                   SVC_NO_RESPONSE_PLAIN});
}

_FAL_RSP_T* FalServiceLdb::ServicePorttriggeringUpdate(_FAL_REQ_T*)
{
    return nullptr;
}

_FAL_RSP_T* FalServiceLdb::ServicePorttriggeringPatch(_FAL_REQ_T* req)
{
    return patchLastWins(req, "ServicePorttriggeringPatch", "portTriggering", FalMsg::ServicePorttriggeringPatch,
                         false, nullptr);
}

_FAL_RSP_T* FalServiceLdb::ServicePorttriggeringCreate(_FAL_REQ_T* req)
{
    return createLimited(req, "ServicePorttriggeringCreate", "portTriggering", FalMsg::ServicePorttriggeringCreate);
}

_FAL_RSP_T* FalServiceLdb::ServicePorttriggeringDeleteOne(_FAL_REQ_T* req)
{
    return serviceDeleteOnePositional(req, "ServicePorttriggeringDeleteOne", "portTriggering", "rules",
                                      FalMsg::ServicePorttriggeringDeleteOne);
}

_FAL_RSP_T* FalServiceLdb::ServicePorttriggeringDeleteAll(_FAL_REQ_T* req)
{
    return serviceEmptyList(req, "ServicePorttriggeringDeleteAll", "portTriggering", "rules",
                            FalMsg::ServicePorttriggeringDeleteAll, FAL_FAILED, nullptr);
}

_FAL_RSP_T* FalServiceLdb::ServicePorttriggeringActive(_FAL_REQ_T* req)
{
    return serviceSetActive(req, "ServicePorttriggeringActive", "portTriggering", FalMsg::ServicePorttriggeringActive,
                            true);
}
