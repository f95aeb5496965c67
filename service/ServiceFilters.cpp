// Filtering rule lists: MAC filtering, port filtering, IP filtering and port-and-address
// filtering. MAC rules disconnect their device, IP and port-and-address rules every device with
// their address.
#include "fal/FalMsgIds.h"
#include "frame/FalResponse.h"
#include "service/FalServiceLdb.h"
#include "service/ServiceHelpers.h"

namespace {

const char* const NO_RESPONSE_PORT = "Cannot create response due to memory error\n";
const char* const NO_RESPONSE_PORTIP = "Memory allocation error, cannot create response\n";
const char* const IP_DEPENDENCIES = "Failed to update dependencies database\n";
const char* const PORTIP_DEPENDENCIES = "Failed to update dependencies database for connected device\n";

// Touch and save: the body is not applied. With handOver, the object is the response's data.
_FAL_RSP_T* touchAndSave(_FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId, bool handOver,
                         FAL_STATUS_T failStatus, const char* failMessage)
{
    SvcCycle how{fn, requestId, key, false, failStatus, failMessage};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
        if (handOver)
            rsp->data = lock->clone(nullptr);
    });
}

// The start of the port-filtering Patch and Create once the body is there: the lock and a copy
// of the body. Null (the response answered) when either fails.
FalTree portFilteringRule(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, FalLock& lock)
{
    if (!lock) {
        serviceLockFailed(rsp, FAL_DB_ERROR, "Cannot read database");
        return nullptr;
    }
    FalTree rule(req->body->clone(nullptr));
    if (!rule)
        falAnswer(rsp, FAL_FAILED, "Memory error occurred");
    return rule;
}

}  // namespace

// ---- MAC filtering ----------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceMacfilteringList(_FAL_REQ_T* req)
{
    return serviceReadObject(req, {__func__, FalMsg::ServiceMacfilteringList, "macFiltering", false,
                                   FAL_DB_ERROR, "Failed to load database", false, SVC_NO_OBJECT,
                                   FAL_TRACE_NONE});
}

_FAL_RSP_T* FalServiceLdb::ServiceMacfilteringUpdate(_FAL_REQ_T* req)
{
    return touchAndSave(req, "ServiceMacfilteringUpdate", "macFiltering", FalMsg::ServiceMacfilteringUpdate, false,
                        FAL_DB_ERROR, nullptr);
}

_FAL_RSP_T* FalServiceLdb::ServiceMacfilteringPatch(_FAL_REQ_T* req)
{
    const char* fn = "ServiceMacfilteringPatch";
    if (!req || !req->body) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "%s", SVC_NULL_REQUEST);
        return nullptr;
    }
    FalTrace trace(SVC_LOG, fn, FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceMacfilteringPatch, false);
    if (!rsp)
        return nullptr;
    FalTree rule(req->body->clone(nullptr));
    if (!rule) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong request");
        return rsp;
    }
    FalLock lock(API_TYPE_SERVICE, "macFiltering", req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_DB_ERROR);
    int ruleId = serviceRuleIdLastWins(req);
    FalTree rules = serviceArray(lock.get(), "rules");
    if (!rules) {
        falAnswer(rsp, FAL_FAILED);
        return rsp;
    }
    int index = handleFindArrayItemById(rules.get(), "id", ruleId);
    if (index < 0) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Cannot find the request id\n");
        falAnswer(rsp, FAL_NOT_FOUND, "Cannot find the request id");
        return rsp;
    }
    if (req->body->get<bool>("active"))
        ServiceUpdateGatewayConnectedDeviceStatus(req->body->get<int>("deviceId"), false, req->requester);
    FalTree stored(rules->at(unsigned(index)));
    rule->set("id", stored->get<int>("id"));
    rules->setArrayItem(unsigned(index), rule.get());
    falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceMacfilteringCreate(_FAL_REQ_T* req)
{
    const char* fn = "ServiceMacfilteringCreate";
    FalTrace trace(SVC_LOG, fn, FAL_TRACE_WORD_FIRST);
    // A null request is answered like one without a body, with data.
    _FAL_RSP_T* rsp = newFalResponseLogged(SVC_LOG, API_TYPE_SERVICE, falResponseId(API_TYPE_SERVICE, FalMsg::ServiceMacfilteringCreate),
                                           true, SVC_NO_RESPONSE);
    if (!rsp)
        return nullptr;
    if (serviceRefusesRequest(rsp, req, "Received invalid request")) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "%s", SVC_NULL_REQUEST);
        return rsp;
    }
    FalLock lock(API_TYPE_SERVICE, "macFiltering", req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_DB_ERROR, "Cannot read database");
    FalTree rules = serviceArray(lock.get(), "rules");
    if (!rules) {
        falAnswer(rsp, FAL_FAILED);
        serviceDropData(rsp);
        return rsp;
    }
    if (!serviceAppendWithinLimit(rsp, lock, rules.get(), req->body, nullptr))
        return rsp;
    if (req->body->get<bool>("active"))
        ServiceUpdateGatewayConnectedDeviceStatus(req->body->get<int>("deviceId"), false, req->requester);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceMacfilteringDeleteOne(_FAL_REQ_T* req)
{
    FalTrace trace(SVC_LOG, "ServiceMacfilteringDeleteOne", FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceMacfilteringDeleteOne, false);
    if (!rsp)
        return nullptr;
    int ruleId = serviceRuleIdPositional(req);
    FalLock lock(API_TYPE_SERVICE, "macFiltering", req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_DB_ERROR, "Cannot read database");
    FalTree rules = serviceArray(lock.get(), "rules");
    if (!rules) {
        falAnswer(rsp, FAL_DB_ERROR);
        return rsp;
    }
    int index = serviceFindRule(rules.get(), ruleId);
    if (index < 0) {
        falAnswer(rsp, FAL_NOT_FOUND);
        return rsp;
    }
    rules->delArrayItem(unsigned(index));
    falAnswer(rsp, lock.save() ? FAL_DELETED : FAL_FAILED);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceMacfilteringDeleteAll(_FAL_REQ_T* req)
{
    return serviceEmptyList(req, "ServiceMacfilteringDeleteAll", "macFiltering", "rules",
                            FalMsg::ServiceMacfilteringDeleteAll, FAL_DB_ERROR, "Cannot read database");
}

// ---- Port filtering ---------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServicePortfilteringList(_FAL_REQ_T* req)
{
    return serviceReadObject(req, {__func__, FalMsg::ServicePortfilteringList, "portFiltering", false,
                                   FAL_DB_ERROR, "Cannot read database", false, SVC_NO_OBJECT_PLAIN,
                                   FAL_TRACE_NAME_FIRST, SVC_NO_RESPONSE_PLAIN});
}

_FAL_RSP_T* FalServiceLdb::ServicePortfilteringUpdate(_FAL_REQ_T* req)
{
    return touchAndSave(req, "ServicePortfilteringUpdate", "portFiltering", FalMsg::ServicePortfilteringUpdate, true,
                        FAL_DB_ERROR,
                        "Cannot read database");
}

_FAL_RSP_T* FalServiceLdb::ServicePortfilteringPatch(_FAL_REQ_T* req)
{
    if (!req || !req->body)
        return falRefusal(API_TYPE_SERVICE, FalMsg::ServicePortfilteringPatch);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServicePortfilteringPatch, false, NO_RESPONSE_PORT);
    if (!rsp)
        return nullptr;
    FalLock lock(API_TYPE_SERVICE, "portFiltering", req->requester);
    FalTree rule = portFilteringRule(rsp, req, lock);
    if (!rule)
        return rsp;
    int ruleId = serviceRuleIdPositional(req);
    FalTree rules = serviceArray(lock.get(), "rules");
    int index = rules ? serviceFindRule(rules.get(), ruleId) : -1;
    if (index < 0) {
        falAnswer(rsp, FAL_NOT_FOUND);
        return rsp;
    }
    rule->set("id", ruleId);
    rules->setArrayItem(unsigned(index), rule.get());
    falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServicePortfilteringCreate(_FAL_REQ_T* req)
{
    // A null request is answered like one without a body, with data.
    _FAL_RSP_T* rsp = newFalResponseLogged(SVC_LOG, API_TYPE_SERVICE, falResponseId(API_TYPE_SERVICE, FalMsg::ServicePortfilteringCreate),
                                           true, NO_RESPONSE_PORT);
    if (!rsp || serviceRefusesRequest(rsp, req, "Received invalid request"))
        return rsp;
    FalLock lock(API_TYPE_SERVICE, "portFiltering", req->requester);
    FalTree rule = portFilteringRule(rsp, req, lock);
    if (!rule)
        return rsp;
    FalTree rules = serviceArray(lock.get(), "rules");
    if (!rules) {
        falAnswer(rsp, FAL_FAILED);
        return rsp;
    }
    int id = serviceLargestIdPlusOne(rules.get());
    rule->set("id", id);
    rules->addArrayItem(rule.get());
    if (!lock.save()) {
        falAnswer(rsp, FAL_FAILED);
        return rsp;
    }
    falAnswer(rsp, FAL_CREATED, "New Created");
    rsp->data->set("id", id);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServicePortfilteringDeleteOne(_FAL_REQ_T* req)
{
    return serviceDeleteOneFirstWins(req, "ServicePortfilteringDeleteOne", "portFiltering",
                                     FalMsg::ServicePortfilteringDeleteOne,
                              {"Failed to load database", "cannot load rules", "%s: nul rule at %d\n",
                               "cannot found ruleId", FAL_TRACE_WORD_FIRST, NO_RESPONSE_PORT});
}

_FAL_RSP_T* FalServiceLdb::ServicePortfilteringDeleteAll(_FAL_REQ_T* req)
{
    return serviceEmptyList(req, "ServicePortfilteringDeleteAll", "portFiltering", "rules",
                            FalMsg::ServicePortfilteringDeleteAll, FAL_DB_ERROR,
                     "failed to load database");
}

// ---- IP filtering -----------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceIpfilteringList(_FAL_REQ_T* req)
{
    return serviceReadObject(req, {__func__, FalMsg::ServiceIpfilteringList, "ipFiltering", false,
                                   FAL_DB_ERROR, "failed to load database", false, SVC_NO_OBJECT,
                                   FAL_TRACE_NAME_FIRST, SVC_NO_RESPONSE_PLAIN});
}

_FAL_RSP_T* FalServiceLdb::ServiceIpfilteringUpdate(_FAL_REQ_T* req)
{
    return touchAndSave(req, "ServiceIpfilteringUpdate", "ipFiltering", FalMsg::ServiceIpfilteringUpdate, true,
                        FAL_FAILED, nullptr);
}

_FAL_RSP_T* FalServiceLdb::ServiceIpfilteringPatch(_FAL_REQ_T* req)
{
    // Every outcome keeps the message from creation.
    _FAL_RSP_T* rsp = newFalResponseLogged(SVC_LOG, API_TYPE_SERVICE, falResponseId(API_TYPE_SERVICE, FalMsg::ServiceIpfilteringPatch),
                                           false,
                                           "Cannot allocate memory for responding");
    if (!rsp)
        return nullptr;
    if (serviceRefusesRequest(rsp, req, nullptr)) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Invalid request\n");
        return rsp;
    }
    FalTree rule(req->body->clone(nullptr));
    int ruleId = serviceRuleIdPositional(req);
    FalLock lock(API_TYPE_SERVICE, "ipFiltering", req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_DB_ERROR, nullptr, "Database error\n");
    FalTree rules = serviceArray(lock.get(), "rules");
    if (!rules) {
        falAnswer(rsp, FAL_FAILED);
        return rsp;
    }
    int index = serviceFindRule(rules.get(), ruleId);
    if (index < 0) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "No record found for updating\n");
        falAnswer(rsp, FAL_NOT_FOUND);
        return rsp;
    }
    rule->set("id", ruleId);
    rules->setArrayItem(unsigned(index), rule.get());
    if (!lock.save()) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Failed to update database\n");
        falAnswer(rsp, FAL_FAILED);
        return rsp;
    }
    falAnswer(rsp, FAL_OK);
    serviceDisconnectAddress(req->body->get<const char*>("ipAddress"), rule->get<bool>("active"), req->requester,
                         IP_DEPENDENCIES);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceIpfilteringCreate(_FAL_REQ_T* req)
{
    FalTrace trace(SVC_LOG, "ServiceIpfilteringCreate", FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = newFalResponseLogged(SVC_LOG, API_TYPE_SERVICE, falResponseId(API_TYPE_SERVICE, FalMsg::ServiceIpfilteringCreate),
                                           true,
                                           SVC_NO_RESPONSE);
    if (!rsp || serviceRefusesRequest(rsp, req, "Received invalid response"))
        return rsp;
    FalTree rule(req->body->clone(nullptr));
    FalLock lock(API_TYPE_SERVICE, "ipFiltering", req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_DB_ERROR, "Cannot load database");
    FalTree rules = serviceArray(lock.get(), "rules");
    if (!rules) {
        // Nothing is added, but the devices with the rule's address are still updated.
        serviceDisconnectAddress(rule->get<const char*>("ipAddress"), rule->get<bool>("active"), req->requester,
                             IP_DEPENDENCIES);
        falAnswer(rsp, FAL_FAILED);
        serviceDropData(rsp);
        return rsp;
    }
    if (!serviceAppendWithinLimit(rsp, lock, rules.get(), rule.get(), "Failed to update database\n"))
        return rsp;
    serviceDisconnectAddress(rule->get<const char*>("ipAddress"), rule->get<bool>("active"), req->requester,
                         IP_DEPENDENCIES);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceIpfilteringDeleteOne(_FAL_REQ_T* req)
{
    return serviceDeleteOneFirstWins(req, "ServiceIpfilteringDeleteOne", "ipFiltering",
                                     FalMsg::ServiceIpfilteringDeleteOne,
                              {"failed to load database", "failed to get rules", "%s: rule is null at %d\n",
                               "cannot found ruleId", FAL_TRACE_NONE, SVC_NO_RESPONSE});
}

_FAL_RSP_T* FalServiceLdb::ServiceIpfilteringDeleteAll(_FAL_REQ_T* req)
{
    return serviceEmptyList(req, "ServiceIpfilteringDeleteAll", "ipFiltering", "rules",
                            FalMsg::ServiceIpfilteringDeleteAll, FAL_FAILED, nullptr);
}

// ---- Port-and-address filtering ---------------------------------------------------------------

namespace {

// Index of the first entry whose integer "id" is ruleId, or -1; logs every id it checks.
int findPortIpRule(TreeMapObject* rules, int ruleId)
{
    for (unsigned i = 0; i < rules->len(); ++i) {
        FalTree entry(rules->at(i));
        int id = 0;
        if (serviceIsNull(entry.get()) || !entry->get_ex<int>("id", id))
            continue;
        Logger::print(LOG_TYPE_PROGRESS, SVC_LOG, "Checking rule id = %d\n", id);
        if (id == ruleId)
            return int(i);
    }
    return -1;
}

// The first "@ruleId"; false (the response answered) when it is missing.
bool portIpRuleId(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, int& ruleId)
{
    if (!serviceRuleIdFirstWins(req, ruleId)) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Invalid ruleId received");
        return false;
    }
    Logger::print(LOG_TYPE_PROGRESS, SVC_LOG, "ruleId = %d\n", ruleId);
    return true;
}

// Locks "portIpFiltering" and takes its rules; false (the response answered) when either fails.
bool portIpRules(_FAL_RSP_T* rsp, FalLock& lock, FalTree& rules)
{
    if (!lock) {
        serviceLockFailed(rsp, FAL_DB_ERROR, "Failed to load database");
        return false;
    }
    rules = serviceArray(lock.get(), "rules");
    if (!rules)
        falAnswer(rsp, FAL_DB_ERROR, "Something wrong in database");
    return rules != nullptr;
}

// The index of rule `ruleId` in the locked rules, or -1 with the response answered (as
// portIpRules; no such rule: logged, `unmatched` with "No rule ID matched").
int portIpFind(_FAL_RSP_T* rsp, FalLock& lock, FalTree& rules, int ruleId, FAL_STATUS_T unmatched)
{
    if (!portIpRules(rsp, lock, rules))
        return -1;
    int index = findPortIpRule(rules.get(), ruleId);
    if (index < 0) {
        Logger::print(LOG_TYPE_INFO, SVC_LOG, "No rule ID matched\n");
        falAnswer(rsp, unmatched, "No rule ID matched");
    }
    return index;
}

}  // namespace

_FAL_RSP_T* FalServiceLdb::ServicePortIpFilteringList(_FAL_REQ_T* req)
{
    return serviceReadObject(req, {__func__, FalMsg::ServicePortIpFilteringList, "portIpFiltering",
                                   false, FAL_DB_ERROR, "Failed to load database", false, SVC_NO_OBJECT,
                                   FAL_TRACE_NONE, NO_RESPONSE_PORTIP});
}

_FAL_RSP_T* FalServiceLdb::ServicePortIpFilteringPatch(_FAL_REQ_T* req)
{
    if (!req || !req->body)
        return falRefusal(API_TYPE_SERVICE, FalMsg::ServicePortIpFilteringPatch);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServicePortIpFilteringPatch, false, NO_RESPONSE_PORTIP);
    if (!rsp)
        return nullptr;
    FalTree rule(req->body->clone(nullptr));
    const char* address = req->body->get<const char*>("ipAddress");
    int ruleId = 0;
    if (!portIpRuleId(rsp, req, ruleId))
        return rsp;
    FalLock lock(API_TYPE_SERVICE, "portIpFiltering", req->requester);
    FalTree rules;
    int index = portIpFind(rsp, lock, rules, ruleId, FAL_BAD_REQUEST);
    if (index < 0)
        return rsp;
    rule->set("id", ruleId);
    rules->setArrayItem(unsigned(index), rule.get());
    if (!lock.save()) {
        falAnswer(rsp, FAL_FAILED, "Database is failed to update");
        return rsp;
    }
    Logger::print(LOG_TYPE_TRACE, SVC_LOG, "Database is updated\n");
    falAnswer(rsp, FAL_OK, "Database is updated");
    serviceDisconnectAddress(address, rule->get<bool>("active"), req->requester, PORTIP_DEPENDENCIES);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServicePortIpFilteringCreate(_FAL_REQ_T* req)
{
    if (!req || !req->body)
        return falRefusal(API_TYPE_SERVICE, FalMsg::ServicePortIpFilteringCreate);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServicePortIpFilteringCreate, false, NO_RESPONSE_PORTIP);
    if (!rsp)
        return nullptr;
    FalTree rule(req->body->clone(nullptr));
    const char* address = req->body->get<const char*>("ipAddress");
    bool active = rule->get<bool>("active");
    FalLock lock(API_TYPE_SERVICE, "portIpFiltering", req->requester);
    FalTree rules;
    if (!portIpRules(rsp, lock, rules))
        return rsp;
    int id = serviceLargestIdPlusOne(rules.get(), true);
    rule->set("id", id);
    rules->addArrayItem(rule.get());
    if (lock.save()) {
        Logger::print(LOG_TYPE_TRACE, SVC_LOG, "Database is updated\n");
        falAnswer(rsp, FAL_CREATED, "New rule is created");
        rsp->data = serviceIdObject(id);
    } else {
        falAnswer(rsp, FAL_FAILED, "Database is not updated");
    }
    // The devices are updated whether or not the rule was saved.
    serviceDisconnectAddress(address, active, req->requester, PORTIP_DEPENDENCIES);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServicePortIpFilteringDeleteOne(_FAL_REQ_T* req)
{
    if (!req)
        return falRefusal(API_TYPE_SERVICE, FalMsg::ServicePortIpFilteringDeleteOne);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServicePortIpFilteringDeleteOne, false, NO_RESPONSE_PORTIP);
    if (!rsp)
        return nullptr;
    int ruleId = 0;
    if (!portIpRuleId(rsp, req, ruleId))
        return rsp;
    FalLock lock(API_TYPE_SERVICE, "portIpFiltering", req->requester);
    FalTree rules;
    int index = portIpFind(rsp, lock, rules, ruleId, FAL_DELETED);
    if (index < 0)
        return rsp;
    rules->delArrayItem(unsigned(index));
    if (!lock.save()) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Database is failed to update\n");
        falAnswer(rsp, FAL_FAILED, "Database is failed to update");
        return rsp;
    }
    Logger::print(LOG_TYPE_PROGRESS, SVC_LOG, "Record %d is deleted\n", ruleId);
    falAnswer(rsp, FAL_DELETED, "Database is updated");
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServicePortIpFilteringDeleteAll(_FAL_REQ_T* req)
{
    if (!req)
        return falRefusal(API_TYPE_SERVICE, FalMsg::ServicePortIpFilteringDeleteAll);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServicePortIpFilteringDeleteAll, false, NO_RESPONSE_PORTIP);
    if (!rsp)
        return nullptr;
    FalLock lock(API_TYPE_SERVICE, "portIpFiltering", req->requester);
    FalTree rules;
    if (!portIpRules(rsp, lock, rules))
        return rsp;
    rules->clearArrayItems();
    if (!lock.save()) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Database is failed to update\n");
        falAnswer(rsp, FAL_FAILED, "Database is failed to update");
        return rsp;
    }
    Logger::print(LOG_TYPE_PROGRESS, SVC_LOG, "Database for port IP filtering is cleared\n");
    falAnswer(rsp, FAL_OK, "Database for port IP filtering is cleared");
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServicePortIpfilteringActive(_FAL_REQ_T*)
{
    return falProbe(apiType, falResponseId(API_TYPE_SERVICE, FalMsg::ServicePortIpfilteringActive), API_TYPE_SERVICE);
}
