#include "service/ServiceHelpers.h"

#include <cstdlib>
#include <cstring>

#include "frame/BeHelpers.h"
#include "frame/FalResponse.h"
#include "service/FalServiceLdb.h"

const char* const SVC_NO_RESPONSE = "Cannot create response due to some memory issue!\n";
const char* const SVC_NO_RESPONSE_PLAIN = "Cannot create response due to some memory issue\n";
const char* const SVC_NO_OBJECT = "No object found in txt Repo!\n";
const char* const SVC_NO_OBJECT_PLAIN = "No object found in txt repo\n";
const char* const SVC_NULL_REQUEST = "Received NULL request or no request body in case it is needed\n";

_FAL_RSP_T* serviceResponse(const _FAL_REQ_T* req, unsigned requestId, bool withData, const char* failLog,
                            unsigned apiType)
{
    if (!req)
        return nullptr;
    return newFalResponseLogged(SVC_LOG, apiType, falResponseId(API_TYPE_SERVICE, requestId), withData,
                                failLog);
}

void serviceDropData(_FAL_RSP_T* rsp)
{
    delete rsp->data;
    rsp->data = nullptr;
}

bool serviceLacksBody(_FAL_RSP_T* rsp, const _FAL_REQ_T* req)
{
    return serviceRefusesRequest(rsp, req, "Bad request");
}

bool serviceRefusesEntries(_FAL_RSP_T* rsp, TreeMapObject* entries)
{
    bool objects = entries->isArray();
    for (unsigned i = 0; objects && i < entries->len(); ++i) {
        FalTree entry(entries->at(i));
        objects = entry && entry->isObject();
    }
    if (!objects)
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
    return !objects;
}

bool serviceRefusesRequest(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, const char* message, bool needBody)
{
    if (req && (req->body || !needBody))
        return false;
    falAnswer(rsp, FAL_BAD_REQUEST, message);
    return true;
}

_FAL_RSP_T* serviceLockFailed(_FAL_RSP_T* rsp, FAL_STATUS_T status, const char* message, const char* failLog)
{
    if (failLog)
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "%s", failLog);
    falAnswer(rsp, status, message);
    return rsp;
}

FalTree serviceArray(TreeMapObject* obj, const char* member)
{
    FalTree list(obj ? obj->get(member) : nullptr);
    if (list && !list->isArray())
        list.reset();
    return list;
}

TreeMapObject* serviceIdObject(int id)
{
    TreeMapObject* obj = new TreeMapObject(false);
    obj->set("id", id);
    return obj;
}

int serviceRuleIdLastWins(const _FAL_REQ_T* req)
{
    int id = 0;
    for (const auto& param : req->params)
        if (param.first == "@ruleId")
            id = atoi(param.second.c_str());
    return id;
}

bool serviceRuleIdFirstWins(const _FAL_REQ_T* req, int& id)
{
    char* text = BE_PairVal2(req->params, "@ruleId");
    id = text ? BE_StrTo<int>(text) : 0;
    bool present = text != nullptr;
    delete[] text;
    return present;
}

int serviceRuleIdPositional(const _FAL_REQ_T* req)
{
    return req->params.empty() ? 0 : atoi(req->params.front().second.c_str());
}

int serviceLargestIdPlusOne(TreeMapObject* list, bool integerIdsOnly)
{
    int next = 0;
    for (unsigned i = 0; i < list->len(); ++i) {
        FalTree entry(list->at(i));
        if (serviceIsNull(entry.get()))
            continue;
        int id = 0;
        if (integerIdsOnly ? entry->get_ex<int>("id", id) : (id = entry->get<int>("id"), true)) {
            if (id + 1 > next)
                next = id + 1;
        }
    }
    return next;
}

int serviceFindRule(TreeMapObject* list, int id, const char* fn, const char* nullLog)
{
    for (unsigned i = 0; i < list->len(); ++i) {
        FalTree entry(list->at(i));
        if (serviceIsNull(entry.get())) {
            if (nullLog)
                Logger::print(LOG_TYPE_INFO, SVC_LOG, nullLog, fn, i);
            continue;
        }
        if (entry->get<int>("id") == id)
            return int(i);
    }
    return -1;
}

_FAL_RSP_T* serviceReadObject(const _FAL_REQ_T* req, const SvcCycle& how)
{
    return serviceCycle(req, how, [](_FAL_RSP_T* rsp, FalLock& lock) { rsp->data = lock->clone(nullptr); });
}


bool serviceAppendWithinLimit(_FAL_RSP_T* rsp, FalLock& lock, TreeMapObject* rules, TreeMapObject* body,
                          const char* saveFailLog)
{
    falAnswer(rsp, FAL_FAILED);
    if (lock->get<int>("maxRules") <= int(rules->len())) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "rules list is full\n");
        serviceDropData(rsp);
        return false;
    }
    int id = handleFindNewArrayItemId(rules, "id");
    FalTree rule(body->clone(nullptr));
    rule->set("id", id);
    rules->addArrayItem(rule.get());
    if (!lock.save()) {
        if (saveFailLog)
            Logger::print(LOG_TYPE_ERROR, SVC_LOG, "%s", saveFailLog);
        serviceDropData(rsp);
        return false;
    }
    falAnswer(rsp, FAL_CREATED);
    rsp->data->set("id", id);
    return true;
}

_FAL_RSP_T* serviceEmptyList(const _FAL_REQ_T* req, const char* fn, const char* key, const char* member,
                             unsigned requestId,
                         FAL_STATUS_T failStatus, const char* failMessage)
{
    SvcCycle how{fn, requestId, key, false, failStatus, failMessage};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        FalTree empty(new TreeMapObject(true));
        lock->set(member, empty.get());
        falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    });
}

_FAL_RSP_T* serviceSetActive(const _FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId,
                             bool nullWithoutBody)
{
    if (nullWithoutBody && (!req || !req->body))
        return nullptr;
    return serviceCycle(req, {fn, requestId, key, true, FAL_FAILED}, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        lock->set("active", req->body->get<bool>("active"));
        falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    });
}

_FAL_RSP_T* serviceDeleteOnePositional(const _FAL_REQ_T* req, const char* fn, const char* key, const char* member,
                                   unsigned requestId)
{
    return serviceCycle(req, {fn, requestId, key, false, FAL_FAILED}, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        FalTree list = serviceArray(lock.get(), member);
        if (!list) {
            falAnswer(rsp, FAL_DB_ERROR);
            return;
        }
        int index = serviceFindRule(list.get(), serviceRuleIdPositional(req));
        if (index >= 0)
            list->delArrayItem(unsigned(index));
        falAnswer(rsp, lock.save() ? FAL_DELETED : FAL_FAILED);
    });
}

_FAL_RSP_T* serviceDeleteOneFirstWins(const _FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId,
                                  const SvcDeleteOneTexts& texts)
{
    SvcCycle how{fn, requestId, key, false, FAL_DB_ERROR, texts.lockFailed};
    how.trace = texts.trace;
    how.noResponseLog = texts.noResponseLog;
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        falAnswer(rsp, FAL_DELETED, "Record Deleted");
        int ruleId = 0;
        serviceRuleIdFirstWins(req, ruleId);
        FalTree rules = serviceArray(lock.get(), "rules");
        if (!rules) {
            falAnswer(rsp, FAL_DB_ERROR, texts.noRules);
            return;
        }
        int index = serviceFindRule(rules.get(), ruleId, fn, texts.nullEntryLog);
        if (index < 0) {
            falAnswer(rsp, FAL_NOT_FOUND, texts.notFound);
            return;
        }
        rules->delArrayItem(unsigned(index));
        if (!lock.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
    });
}

void serviceDisconnectAddress(const char* address, bool active, const char* requester, const char* saveFailLog)
{
    FalLock devices(API_TYPE_GATEWAY, "connectedDevices", requester);
    for (unsigned i = 0; devices && i < devices->len(); ++i) {
        FalTree device(devices->at(i));
        if (serviceIsNull(device.get()))
            continue;
        const char* ip = device->get<const char*>("ipAddress");
        if (sameText(ip, address) && active)
            device->set("connected", false);
    }
    if (!devices.save())
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "%s", saveFailLog);
}
