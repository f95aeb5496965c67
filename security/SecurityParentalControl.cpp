// Parental control: the general switch and PIN, the rules, the filter categories and the
// per-device flag on the gateway's connected devices.
#include "fal/FalMsgIds.h"
#include "frame/FalPolicy.h"
#include "frame/FalResponse.h"
#include "security/FalSecurityLdb.h"
#include "security/SecurityHelpers.h"

namespace {

// Reads the ids a rule or filter operation addresses; false, with the answer set, when one is
// missing ("Bad request") or negative ("wrong index"). Without `entryParam` only the first is read.
bool readIds(_FAL_REQ_T* req, _FAL_RSP_T* rsp, const char* categoryParam, int& category, const char* entryParam,
             int& entry)
{
    if (!securityIntParam(req, categoryParam, category) || (entryParam && !securityIntParam(req, entryParam, entry))) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Bad param request\n");
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
        return false;
    }
    if (category < 0 || (entryParam && entry < 0)) {
        falAnswer(rsp, FAL_DB_ERROR, "wrong index");
        return false;
    }
    return true;
}

// The "sublist" of the filter category `category` (the last one with that id) of the locked
// "parentalControlFilters"; null, with the answer set, when a step of the way is missing.
FalTree filterSublist(TreeMapObject* filters, int category, _FAL_RSP_T* rsp)
{
    FalTree list(filters->get("list"));
    if (!list) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get dbfilters");
        return nullptr;
    }
    int at = findLastItem(list.get(), "id", category);
    FalTree found(at >= 0 ? list->at(static_cast<unsigned>(at)) : nullptr);
    if (!found) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to find the filter");
        return nullptr;
    }
    FalTree sublist(found->get("sublist"));
    if (!sublist)
        falAnswer(rsp, FAL_DB_ERROR, "failed to get service list");
    return sublist;
}

// Appends the item at the end of the array; false when the array does not take it.
bool append(TreeMapObject* array, TreeMapObject* item)
{
    return array->setArrayItem(array->len(), item) > 0;
}

}  // namespace

int FalSecurityLdb::UpdateGatewayParentalControl(bool active, const char* macAddress, const char* requester)
{
    static const char* const name = "UpdateGatewayParentalControl";
    FalLock devices(API_TYPE_GATEWAY, "connectedDevices", requester);
    int status = FAL_OK;
    if (!devices) {
        Logger::print(LOG_TYPE_INFO, SEC_LOG, "%s: fail to lock gateway database\n", name);
        status = FAL_DB_ERROR;
    } else {
        unsigned changed = 0;
        for (unsigned i = 0; i < devices->len(); ++i) {
            FalTree device(devices->at(i));
            if (!device) {
                Logger::print(LOG_TYPE_INFO, SEC_LOG, "%s: [%d] null dbdev\n", name, static_cast<int>(i));
                continue;
            }
            const char* mac = device->get<const char*>("macAddress");
            if (macAddress && !sameText(mac, macAddress))
                continue;
            Logger::print(LOG_TYPE_PROGRESS, SEC_LOG, "%s: updated advanced.parentalContrl mac=%s active=%s\n", name,
                          mac ? mac : "(null)", active ? "true" : "false");
            device->set("advanced.parentalContrl", active);
            ++changed;
        }
        if (changed && !devices.save()) {
            Logger::print(LOG_TYPE_INFO, SEC_LOG, "%s: fail to save gateway database\n", name);
            status = FAL_DB_ERROR;
        }
    }
    return status;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolGet(_FAL_REQ_T* req)
{
    static const char* const name = "SecurityParentalcontrolGet";
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolGet, false);
    if (!rsp)
        return nullptr;
    FalLock control(API_TYPE_SECURITY, "parentalControl", req->requester);
    FalTree general(control ? control->get("general") : nullptr);
    if (!control) {
        Logger::print(LOG_TYPE_PROGRESS, SEC_LOG, "%s: failed to load database\n", name);
        falAnswer(rsp, FAL_DB_ERROR, "failed to load database");
    } else if (!general) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database2");
    } else {
        Logger::print(LOG_TYPE_PROGRESS, SEC_LOG, "%s: clone database object\n", name);
        if (!(rsp->data = general->clone(nullptr)))
            falAnswer(rsp, FAL_DB_ERROR, "failed to clone database");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolSet(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolSet, false);
    if (!rsp)
        return nullptr;
    if (securityLacksBody(req, rsp))
        return rsp;
    bool active = req->body->get<bool>("active");
    FalLock control(API_TYPE_SECURITY, "parentalControl", req->requester);
    FalTree general(control ? control->get("general") : nullptr);
    if (!control) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to load database");
    } else if (!general) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database2");
    } else {
        general->set("active", active);
        general->set("auth.saved", req->body->get<bool>("auth.saved"));
        if (!control.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
        else  // the security object stays locked while the devices follow the switch
            rsp->status = static_cast<uint32_t>(UpdateGatewayParentalControl(active, nullptr, req->requester));
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolUpdate(_FAL_REQ_T* req)
{
    static const char* const name = "SecurityParentalcontrolUpdate";
    _FAL_RSP_T* rsp = falNewResponse(API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolUpdate, false);
    if (!securityHasObjectBody(req)) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Bad request\n");
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
        return rsp;
    }
    FalTree rule(req->body->clone(nullptr));
    int index = 0;
    if (!rule) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Memory allocation error occurred\n");
        falAnswer(rsp, FAL_FAILED, "Memory allocation error occurred");
        return rsp;
    }
    if (!readIds(req, rsp, "@ruleId", index, nullptr, index))
        return rsp;
    FalLock control(API_TYPE_SECURITY, "parentalControlRules", req->requester);
    FalTree rules(control ? control->get("rules") : nullptr);
    int at = findItem(rules.get(), "index", index);
    if (!control) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to load database");
    } else if (!rules) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to load dbrules");
    } else if (at < 0) {
        falAnswer(rsp, FAL_DB_ERROR, "wrong index");
    } else {
        // The rule becomes the body as sent and moves to the end of the list.
        rules->delArrayItem(static_cast<unsigned>(at));
        rule->set("index", index);
        if (!append(rules.get(), rule.get())) {
            Logger::print(LOG_TYPE_INFO, SEC_LOG, "%s: [%d] Failed to set array item\n", name,
                          static_cast<int>(rules->len()));
            falAnswer(rsp, FAL_DB_ERROR, "failed to set array item");
        } else if (!control.save()) {
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
        } else {
            falAnswer(rsp, FAL_OK, "Rule Updated");
        }
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolAuthUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolAuthUpdate, false);
    if (!rsp)
        return nullptr;
    if (securityLacksBody(req, rsp))
        return rsp;
    FalLock control(API_TYPE_SECURITY, "parentalControl", req->requester);
    FalTree general(control ? control->get("general") : nullptr);
    FalTree auth(general ? general->get("auth") : nullptr);
    if (!control) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else if (!general) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database2");
    } else if (!auth) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get auth");
    } else {
        const char* old = req->body->get<const char*>("old");
        // A wrong old PIN changes nothing and is not reported.
        if (!old || sameText(old, control->get<const char*>("pinCode"))) {
            control->set("pinCode", req->body->get<const char*>("new"));
            if (!auth->get<bool>("setPin"))
                auth->set("setPin", true);
            control.save();
        }
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolAskPermission(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolAskPermission, false);
    if (!rsp)
        return nullptr;
    if (securityLacksBody(req, rsp))
        return rsp;
    FalLock control(API_TYPE_SECURITY, "parentalControl", req->requester);
    if (!control)
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    else if (sameText(req->body->get<const char*>("auth.type"), "pin") &&
             sameText(req->body->get<const char*>("auth.value"), control->get<const char*>("pinCode")))
        falAnswer(rsp, FAL_OK, "Access Granted");
    else
        falAnswer(rsp, FAL_FAILED, "incorrect PIN");
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolCreate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolCreate, true);
    if (!rsp)
        return nullptr;
    falAnswer(rsp, FAL_CREATED, "New Created");
    int index = 1;
    if (securityLacksBody(req, rsp)) {
        finishIdReply(rsp, "id", index);
        return rsp;
    }
    FalLock control(API_TYPE_SECURITY, "parentalControlRules", req->requester);
    FalTree rules(control ? control->get("rules") : nullptr);
    if (!control) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else if (!rules) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get dbrules");
    } else {
        index = nextItemId(rules.get(), "index", 1);
        FalTree rule(req->body->clone(nullptr));
        rule->set("index", index);
        if (!append(rules.get(), rule.get()))
            falAnswer(rsp, FAL_DB_ERROR, "failed to append new rule");
        else if (!control.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
    }
    rules.reset();
    finishIdReply(rsp, "id", index);
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolFilterCreate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolFilterCreate, true);
    if (!rsp)
        return nullptr;
    falAnswer(rsp, FAL_CREATED, "New Created");
    int category = 0;
    int id = 0;
    if (!readIds(req, rsp, "@filterId", category, nullptr, id) || securityLacksBody(req, rsp)) {
        finishIdReply(rsp, "id", id);
        return rsp;
    }
    FalLock filters(API_TYPE_SECURITY, "parentalControlFilters", req->requester);
    FalTree sublist;
    if (!filters) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else if ((sublist = filterSublist(filters.get(), category, rsp))) {
        id = nextItemId(sublist.get(), "id", 0);
        FalTree entry(req->body->clone(nullptr));
        entry->set("id", id);
        entry->set("address", req->body->get<const char*>("value"));
        entry->del("type");
        entry->del("value");
        if (!append(sublist.get(), entry.get()))
            falAnswer(rsp, FAL_DB_ERROR, "failed to append new rule");
        else if (!filters.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
    }
    sublist.reset();
    finishIdReply(rsp, "id", id);
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolDelete(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolDelete, false);
    if (!rsp)
        return nullptr;
    int index = 0;
    if (!securityIntParam(req, "@ruleId", index)) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong parameter request");
        return rsp;
    }
    falAnswer(rsp, FAL_DB_ERROR, "wrong index");
    FalLock control(API_TYPE_SECURITY, "parentalControlRules", req->requester);
    FalTree rules(control ? control->get("rules") : nullptr);
    if (!control) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else {
        // Every rule with that index goes.
        int removed = securityRemoveItems(rules.get(), "index", index, "SecurityParentalcontrolDelete");
        if (removed < 0)
            falAnswer(rsp, FAL_DB_ERROR, "failed to delete array item");
        else if (removed > 0 && !control.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
        else if (removed > 0)
            falAnswer(rsp, FAL_DELETED, "Record Deleted");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolFilterDelete(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolFilterDelete, true);
    if (!rsp)
        return nullptr;
    int category = 0;
    int id = 0;
    if (!readIds(req, rsp, "@categoryId", category, "@filterId", id))
        return rsp;
    falAnswer(rsp, FAL_DB_ERROR, "wrong index");
    FalLock filters(API_TYPE_SECURITY, "parentalControlFilters", req->requester);
    FalTree sublist;
    if (!filters) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else if ((sublist = filterSublist(filters.get(), category, rsp))) {
        int removed = securityRemoveItems(sublist.get(), "id", id, "SecurityParentalcontrolFilterDelete");
        if (removed < 0)
            falAnswer(rsp, FAL_DB_ERROR, "failed to delete sublist item");
        // Saved whatever was found.
        if (!filters.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
        else if (removed > 0)
            falAnswer(rsp, FAL_DELETED, "Record Deleted");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityParentalcontrolDeleteAll(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityParentalcontrolDeleteAll, false);
    if (!rsp)
        return nullptr;
    falAnswer(rsp, FAL_OK, "Records Deleted");
    FalLock control(API_TYPE_SECURITY, "parentalControlRules", req->requester);
    if (!control) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else {
        FalTree rules(control->get("rules"));
        if (rules)
            rules->clearArrayItems();
        if (!control.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
    }
    return rsp;
}
