// Wake-on-LAN, static routes, reserved addresses and MAC pass-through. These lists take the rule
// id positionally (first parameter) and give new ids as the largest id + 1.
#include <unistd.h>

#include "service/FalServiceLdb.h"
#include "service/ServiceHelpers.h"

// ---- Wake-on-LAN ------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceWolList(_FAL_REQ_T* req)
{
    return serviceReadObject(req, {__func__, FalMsg::ServiceWolList, "wol", false, FAL_FAILED, nullptr, false,
                                   SVC_NO_OBJECT, FAL_TRACE_NAME_FIRST, SVC_NO_RESPONSE_PLAIN});
}

_FAL_RSP_T* FalServiceLdb::ServiceWolUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(SVC_LOG, "ServiceWolUpdate", FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceWolUpdate, true);
    if (!rsp || serviceLacksBody(rsp, req))
        return rsp;
    FalTree given(req->body->get("rules"));
    if (given && serviceRefusesEntries(rsp, given.get()))
        return rsp;
    FalLock lock(API_TYPE_SERVICE, "wol", req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_DB_ERROR);
    FalTree stored(lock->get("rules"));
    if (stored && !stored->isArray()) {
        falAnswer(rsp, FAL_DB_ERROR);
        return rsp;
    }
    lock->set("active", req->body->get<bool>("active"));
    FalTree created(new TreeMapObject(true));
    FalTree updated(new TreeMapObject(true));
    if (stored && given) {
        // Only the entries stored before the update count as found: given entries that share a
        // new id are all appended.
        unsigned storedCount = stored->len();
        for (unsigned i = 0; i < given->len(); ++i) {
            FalTree entry(given->at(i));
            int index = handleFindArrayItemById(stored.get(), "id", entry->get<int>("id"));
            if (index >= 0 && unsigned(index) < storedCount) {
                stored->setArrayItem(unsigned(index), entry.get());
                updated->addArrayItem(entry.get());
            } else {
                // A new entry keeps the id it was given.
                stored->addArrayItem(entry.get());
                created->addArrayItem(entry.get());
            }
        }
    } else if (!stored) {
        lock->set("rules", given.get());
        for (unsigned i = 0; given && i < given->len(); ++i) {
            FalTree entry(given->at(i));
            created->addArrayItem(entry.get());
        }
    }
    if (!lock.save()) {
        falAnswer(rsp, FAL_FAILED);
        serviceDropData(rsp);
        return rsp;
    }
    falAnswer(rsp, FAL_OK);
    rsp->data->set("created", created.get());
    rsp->data->set("updated", updated.get());
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceWolCreate(_FAL_REQ_T* req)
{
    SvcCycle how{__func__, FalMsg::ServiceWolCreate, "wol", true, FAL_FAILED, nullptr, true};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        FalTree rules = serviceArray(lock.get(), "rules");
        if (!rules) {
            Logger::print(LOG_TYPE_ERROR, SVC_LOG, "list of rules does not exist\n");
            falAnswer(rsp, FAL_FAILED);
            serviceDropData(rsp);
            return;
        }
        int id = serviceLargestIdPlusOne(rules.get());
        FalTree rule(req->body->clone(nullptr));
        rule->set("id", id);
        rules->addArrayItem(rule.get());
        if (!lock.save()) {
            falAnswer(rsp, FAL_FAILED);
            return;
        }
        falAnswer(rsp, FAL_CREATED);
        rsp->data->set("id", id);
    });
}

_FAL_RSP_T* FalServiceLdb::ServiceWolDeleteOne(_FAL_REQ_T* req)
{
    return serviceDeleteOnePositional(req, "ServiceWolDeleteOne", "wol", "rules", FalMsg::ServiceWolDeleteOne);
}

_FAL_RSP_T* FalServiceLdb::ServiceWolDeleteAll(_FAL_REQ_T* req)
{
    return serviceEmptyList(req, "ServiceWolDeleteAll", "wol", "rules", FalMsg::ServiceWolDeleteAll, FAL_FAILED,
                            nullptr);
}

_FAL_RSP_T* FalServiceLdb::ServiceWolWakeon(_FAL_REQ_T*)
{
    FalTrace trace(SVC_LOG, "ServiceWolWakeon", FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = newFalResponseLogged(SVC_LOG, API_TYPE_SERVICE, falResponseId(API_TYPE_SERVICE, FalMsg::ServiceWolWakeon), false,
                                           SVC_NO_RESPONSE);
    if (!rsp)
        return nullptr;
    sleep(3);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceWolActive(_FAL_REQ_T* req)
{
    return serviceSetActive(req, "ServiceWolActive", "wol", FalMsg::ServiceWolActive, false);
}

// ---- Static routes ----------------------------------------------------------------------------

namespace {

// A route entry: the id and, in this order, "active", "destinationIP", "subnet", "gateway".
// With `typed`, "active", "destinationIP" and "subnet" are always written from the body's typed
// reads; otherwise each member is copied only when the body has it.
FalTree routeEntry(int id, TreeMapObject* body, bool typed)
{
    FalTree entry(new TreeMapObject(false));
    entry->set("id", id);
    if (typed) {
        entry->set("active", body->get<bool>("active"));
        entry->set("destinationIP", body->get<const char*>("destinationIP"));
        entry->set("subnet", body->get<const char*>("subnet"));
        copyPresent(entry.get(), body, {"gateway"});
    } else {
        copyPresent(entry.get(), body, {"active", "destinationIP", "subnet", "gateway"});
    }
    return entry;
}

}  // namespace

_FAL_RSP_T* FalServiceLdb::ServiceStaticrouteList(_FAL_REQ_T* req)
{
    return serviceReadObject(req, {__func__, FalMsg::ServiceStaticrouteList, "staticRoute", false,
                                   FAL_FAILED});
}

_FAL_RSP_T* FalServiceLdb::ServiceStaticrouteUpdate(_FAL_REQ_T*)
{
    return nullptr;
}

_FAL_RSP_T* FalServiceLdb::ServiceStaticroutePatch(_FAL_REQ_T* req)
{
    SvcCycle how{__func__, FalMsg::ServiceStaticroutePatch, "staticRoute", true, FAL_DB_ERROR,
                 "No object found in txt Repo!"};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        int ruleId = serviceRuleIdPositional(req);
        FalTree list = serviceArray(lock.get(), "list");
        if (!list) {
            falAnswer(rsp, FAL_DB_ERROR);
            return;
        }
        int index = serviceFindRule(list.get(), ruleId);
        if (index < 0) {
            falAnswer(rsp, FAL_FAILED);
            return;
        }
        FalTree entry = routeEntry(ruleId, req->body, true);
        list->setArrayItem(unsigned(index), entry.get());
        falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    });
}

_FAL_RSP_T* FalServiceLdb::ServiceStaticrouteCreate(_FAL_REQ_T* req)
{
    SvcCycle how{__func__, FalMsg::ServiceStaticrouteCreate, "staticRoute", true, FAL_FAILED};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        FalTree list = serviceArray(lock.get(), "list");
        if (!list) {
            falAnswer(rsp, FAL_DB_ERROR);
            return;
        }
        int id = serviceLargestIdPlusOne(list.get());
        FalTree entry = routeEntry(id, req->body, false);
        list->addArrayItem(entry.get());
        rsp->data = serviceIdObject(id);
        falAnswer(rsp, lock.save() ? FAL_CREATED : FAL_FAILED);
    });
}

_FAL_RSP_T* FalServiceLdb::ServiceStaticrouteDeleteOne(_FAL_REQ_T* req)
{
    return serviceDeleteOnePositional(req, "ServiceStaticrouteDeleteOne", "staticRoute", "list",
                                      FalMsg::ServiceStaticrouteDeleteOne);
}

_FAL_RSP_T* FalServiceLdb::ServiceStaticrouteDeleteAll(_FAL_REQ_T* req)
{
    return serviceEmptyList(req, "ServiceStaticrouteDeleteAll", "staticRoute", "list",
                            FalMsg::ServiceStaticrouteDeleteAll, FAL_FAILED, nullptr);
}

_FAL_RSP_T* FalServiceLdb::ServiceStaticrouteActive(_FAL_REQ_T* req)
{
    return serviceSetActive(req, "ServiceStaticrouteActive", "staticRoute", FalMsg::ServiceStaticrouteActive, false);
}

// ---- Reserved addresses -----------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceReservedipList(_FAL_REQ_T* req)
{
    return serviceReadObject(req, {__func__, FalMsg::ServiceReservedipList, "reservedIp", false, FAL_FAILED});
}

_FAL_RSP_T* FalServiceLdb::ServiceReservedipUpdate(_FAL_REQ_T*)
{
    return nullptr;
}

_FAL_RSP_T* FalServiceLdb::ServiceReservedipPatch(_FAL_REQ_T* req)
{
    SvcCycle how{__func__, FalMsg::ServiceReservedipPatch, "reservedIp", true, FAL_FAILED};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        int ruleId = serviceRuleIdPositional(req);
        FalTree rules = serviceArray(lock.get(), "rules");
        int index = rules ? serviceFindRule(rules.get(), ruleId) : -1;
        if (index < 0) {
            falAnswer(rsp, FAL_FAILED);
            return;
        }
        // The request's own body becomes the entry.
        req->body->set("id", ruleId);
        rules->setArrayItem(unsigned(index), req->body);
        falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    });
}

_FAL_RSP_T* FalServiceLdb::ServiceReservedipCreate(_FAL_REQ_T* req)
{
    FalTrace trace(SVC_LOG, "ServiceReservedipCreate", FAL_TRACE_WORD_FIRST);
    if (!req || !req->body)
        return falRefusal(API_TYPE_SERVICE, FalMsg::ServiceReservedipCreate);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceReservedipCreate, false);
    if (!rsp)
        return nullptr;
    FalLock lock(API_TYPE_SERVICE, "reservedIp", req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_DB_ERROR);
    FalTree rules = serviceArray(lock.get(), "rules");
    if (!rules) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "Database error occurred\n");
        falAnswer(rsp, FAL_DB_ERROR, "Database error occurred");
        return rsp;
    }
    int id = serviceLargestIdPlusOne(rules.get());
    FalTree rule(req->body->get("rule"));
    if (!rule) {
        falAnswer(rsp, FAL_FAILED);
        return rsp;
    }
    FalTree entry(new TreeMapObject(false));
    entry->set("id", id);
    copyPresent(entry.get(), rule.get(), {"macAddress", "ipAddress", "deviceId"});
    rules->addArrayItem(entry.get());
    falAnswer(rsp, lock.save() ? FAL_CREATED : FAL_FAILED);
    rsp->data = serviceIdObject(id);
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceReservedipDeleteOne(_FAL_REQ_T* req)
{
    return serviceDeleteOnePositional(req, "ServiceReservedipDeleteOne", "reservedIp", "rules",
                                      FalMsg::ServiceReservedipDeleteOne);
}

_FAL_RSP_T* FalServiceLdb::ServiceReservedipDeleteAll(_FAL_REQ_T* req)
{
    return serviceEmptyList(req, "ServiceReservedipDeleteAll", "reservedIp", "rules",
                            FalMsg::ServiceReservedipDeleteAll, FAL_FAILED, nullptr);
}

_FAL_RSP_T* FalServiceLdb::ServiceReservedipActive(_FAL_REQ_T* req)
{
    return serviceSetActive(req, "ServiceReservedipActive", "reservedIp", FalMsg::ServiceReservedipActive, false);
}

// ---- MAC pass-through: every operation answers the stored object and changes nothing ----------

namespace {

_FAL_RSP_T* macPassthroughObject(_FAL_REQ_T* req, const char* fn, unsigned requestId)
{
    return serviceReadObject(req, {fn, requestId, "macPassthrough", false, FAL_DB_ERROR, "Failed to load database",
                                   false, SVC_NO_OBJECT, FAL_TRACE_NONE});
}

}  // namespace

_FAL_RSP_T* FalServiceLdb::ServiceMacpassthroughList(_FAL_REQ_T* req)
{
    return macPassthroughObject(req, "ServiceMacpassthroughList", FalMsg::ServiceMacpassthroughList);
}

_FAL_RSP_T* FalServiceLdb::ServiceMacpassthroughDeleteOne(_FAL_REQ_T* req)
{
    return macPassthroughObject(req, "ServiceMacpassthroughDeleteOne", FalMsg::ServiceMacpassthroughDeleteOne);
}

_FAL_RSP_T* FalServiceLdb::ServiceMacpassthroughDeleteAll(_FAL_REQ_T* req)
{
    return macPassthroughObject(req, "ServiceMacpassthroughDeleteAll", FalMsg::ServiceMacpassthroughDeleteAll);
}
