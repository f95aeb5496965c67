// The QoS switch and the traffic rules kept per priority class.
#include <cstring>
#include <memory>

#include "fal/FalMsgIds.h"
#include "frame/BeHelpers.h"
#include "frame/FalPolicy.h"
#include "frame/FalResponse.h"
#include "frame/FalTree.h"
#include "host/Logger.h"
#include "host/TreeMapObject.h"
#include "qos/FalQosLdb.h"
#include "qos/QosHelpers.h"

namespace {

// Whether the priority class `priorityClass` is of type `type`.
bool isOfType(TreeMapObject* priorityClass, const char* type)
{
    const char* own = priorityClass ? priorityClass->get<const char*>("type") : nullptr;
    return sameText(own, type);
}

// Position in `rules` of the first rule whose "index" is `index`, or -1.
int findRule(TreeMapObject* rules, int index)
{
    for (unsigned i = 0; rules && i < rules->len(); ++i) {
        TreeMapObject* rule = rules->at(i);
        int own = 0;
        bool match = rule && rule->get_ex<int>("index", own) && own == index;
        delete rule;
        if (match)
            return static_cast<int>(i);
    }
    return -1;
}

// For every priority class of type `type`, in order, calls visit(rules, position) with the first
// rule numbered `index`, until visit returns false. Classes without such a rule are passed over.
template <class Visit>
void visitAddressedRules(TreeMapObject* qos, const char* type, int index, Visit visit)
{
    TreeMapObject* priority = qos->get("priority");
    bool goOn = true;
    for (unsigned i = 0; priority && i < priority->len() && goOn; ++i) {
        TreeMapObject* priorityClass = priority->at(i);
        TreeMapObject* rules = isOfType(priorityClass, type) ? priorityClass->get("rules") : nullptr;
        int at = findRule(rules, index);
        if (at >= 0)
            goOn = visit(rules, static_cast<unsigned>(at));
        delete rules;
        delete priorityClass;
    }
    delete priority;
}

// The rule a change or delete addresses: the class type ("high" or "ultra") and the rule number.
// False, with the answer set, when the parameters are missing or wrong.
bool readRuleAddress(_FAL_REQ_T* req, _FAL_RSP_T* rsp, std::unique_ptr<char[]>& type, int& index)
{
    type.reset(BE_PairVal2(req->params, "@priorityType"));
    if (!type) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_QOS, "Bad param request\n");
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
        return false;
    }
    if (strcmp(type.get(), "high") != 0 && strcmp(type.get(), "ultra") != 0) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
        return false;
    }
    std::unique_ptr<char[]> indexText(BE_PairVal2(req->params, "@index"));
    if (!indexText) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_QOS, "Bad param request\n");
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
        return false;
    }
    index = BE_StrTo<int>(indexText.get());
    if (index < 0) {
        falAnswer(rsp, FAL_DB_ERROR, "wrong index");
        return false;
    }
    return true;
}

}  // namespace

_FAL_RSP_T* FalQosLdb::QosConfigurationUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::QosConfigurationUpdate, false);
    if (!rsp)
        return nullptr;
    if (!qosHasBody(req)) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
        return rsp;
    }
    bool active = req->body->get<bool>("active");
    FalLock qos(apiType, "qos", req->requester);
    if (!qos) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else if (qos->get<bool>("active") != active) {
        qos->set("active", active);
        qos.saveOrAnswer(rsp, "failed to save database");
    }
    return rsp;
}

_FAL_RSP_T* FalQosLdb::QosRulesCreate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::QosRulesCreate, true);
    if (!rsp)
        return nullptr;
    if (!qosHasBody(req)) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
        finishIdReply(rsp, "index", 0);
        return rsp;
    }
    const char* type = req->body->get<const char*>("type");
    int index = 1;
    FalLock qos(apiType, "qos", req->requester);
    TreeMapObject* priority = qos ? qos->get("priority") : nullptr;
    if (!qos) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else {
        falAnswer(rsp, FAL_DB_ERROR, "failed to create rule");
        // The first class of the type takes the rule when it has room for it.
        for (unsigned i = 0; priority && i < priority->len(); ++i) {
            TreeMapObject* priorityClass = priority->at(i);
            bool found = isOfType(priorityClass, type);
            TreeMapObject* rules = found ? priorityClass->get("rules") : nullptr;
            TreeMapObject* rule = nullptr;
            if (rules && static_cast<int>(rules->len()) < priorityClass->get<int>("maxRules")) {
                // The rule is read only once its class has room for it.
                rule = req->body->clone("rule");
                if (!rule) {
                    falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
                } else {
                    if (rules->len() > 0) {
                        TreeMapObject* last = rules->at(rules->len() - 1);
                        index = last->get<int>("index") + 1;
                        delete last;
                    }
                    rule->set("index", index);
                    rules->addArrayItem(rule);
                    falAnswer(rsp, FAL_CREATED, "New Created");
                    qos.saveOrAnswer(rsp, "failed to save database");
                }
            }
            delete rule;
            delete rules;
            delete priorityClass;
            if (found)
                break;
        }
    }
    delete priority;
    finishIdReply(rsp, "index", index);
    return rsp;
}

_FAL_RSP_T* FalQosLdb::QosRulesChange(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::QosRulesChange, true);
    if (!rsp)
        return nullptr;
    std::unique_ptr<char[]> type;
    int index = 0;
    if (!readRuleAddress(req, rsp, type, index)) {
        finishIdReply(rsp, "index", index);
        return rsp;
    }
    if (!qosHasBody(req)) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
        finishIdReply(rsp, "index", index);
        return rsp;
    }
    FalLock qos(apiType, "qos", req->requester);
    FalTree rule;
    if (!qos) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else {
        falAnswer(rsp, FAL_DB_ERROR, "failed to update rule");
        rule.reset(req->body->clone("rule"));
        visitAddressedRules(qos.get(), type.get(), index, [&](TreeMapObject* rules, unsigned at) {
            // A body without a rule changes nothing, and only a found rule reads it.
            if (!rule) {
                falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
                return false;
            }
            // The changed rule moves to the end of its class.
            rules->delArrayItem(at);
            if (rules->setArrayItem(rules->len(), rule.get()) < 0) {
                Logger::print(LOG_TYPE_ERROR, LOG_GROUP_QOS, "%s: [%d] Failed to set array item\n",
                              "QosRulesChange", static_cast<int>(at));
                falAnswer(rsp, FAL_DB_ERROR, "failed to set array item");
                return false;
            }
            if (!qos.saveOrAnswer(rsp, "failed to save database"))
                return false;
            falAnswer(rsp, FAL_OK, "Rule Updated");
            return true;
        });
    }
    finishIdReply(rsp, "index", index);
    return rsp;
}

_FAL_RSP_T* FalQosLdb::QosRulesDeleteOne(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::QosRulesDeleteOne, false);
    if (!rsp)
        return nullptr;
    std::unique_ptr<char[]> type;
    int index = 0;
    if (!readRuleAddress(req, rsp, type, index))
        return rsp;
    FalLock qos(apiType, "qos", req->requester);
    if (!qos) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
        return rsp;
    }
    falAnswer(rsp, FAL_DB_ERROR, "failed to delete rule");
    visitAddressedRules(qos.get(), type.get(), index, [&](TreeMapObject* rules, unsigned at) {
        rules->delArrayItem(at);
        if (!qos.saveOrAnswer(rsp, "failed to save database"))
            return false;
        falAnswer(rsp, FAL_DELETED, "Rule Deleted");
        return true;
    });
    return rsp;
}

_FAL_RSP_T* FalQosLdb::QosRulesDeleteAll(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::QosRulesDeleteAll, false);
    if (!rsp)
        return nullptr;
    FalLock qos(apiType, "qos", req->requester);
    if (!qos) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else {
        TreeMapObject* priority = qos->get("priority");
        for (unsigned i = 0; priority && i < priority->len(); ++i) {
            TreeMapObject* priorityClass = priority->at(i);
            TreeMapObject* rules = priorityClass ? priorityClass->get("rules") : nullptr;
            while (rules && rules->len() > 0)
                rules->delArrayItem(0);
            delete rules;
            delete priorityClass;
        }
        delete priority;
        if (qos.saveOrAnswer(rsp, "failed to save database"))
            falAnswer(rsp, FAL_DELETED, "Rule Deleted");
    }
    return rsp;
}
