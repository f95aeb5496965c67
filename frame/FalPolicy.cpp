#include "frame/FalPolicy.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "frame/FalGeneric.h"
#include "frame/FalHandler.h"
#include "frame/FalOpTable.h"
#include "frame/FalResponse.h"

namespace {

// Rows for the operations that differ from the defaults (response id = request id + 1, no
// parameters, no body, a null response to a null request, no generic member), by family.
const FalPolicy kGateway[] = {
    {"GatewayAbout", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "about"},
    {"GatewayLedGet", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "led"},
    {"GatewayDatetimeGet", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "dateTime"},
};
const FalPolicy kWifi[] = {
    {nullptr, 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_NONE, nullptr},
};
const FalPolicy kNetwork[] = {
    {nullptr, 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_NONE, nullptr},
};
const FalPolicy kSecurity[] = {
    {"SecurityFirewallIpv4Get", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "firewall.ipv4"},
    {"SecurityFirewallIpv6Get", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "firewall.ipv6"},
    {"SecurityFirewallIpv6Update", 0, "", FAL_BODY_OPTIONAL, FAL_OK, nullptr, FAL_GENERIC_UPDATE, "firewall.ipv6"},
    {"SecurityFirewallAlertGet", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "firewallAlert"},
    {"SecurityIntelSecurityGet", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "intelSecurity"},
    {"SecurityIntelSecurityUpdate", 0, "", FAL_BODY_OPTIONAL, FAL_OK, nullptr, FAL_GENERIC_UPDATE, "intelSecurity"},
    {"SecurityParentalcontrolRuleGet", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "parentalControlRules"},
    {"SecurityParentalcontrolFilterGet", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "parentalControlFilters"},
    {"SecurityVpnClientGet", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "vpn.client"},
    {"SecurityVpnIpsecUpdate", 0, "", FAL_BODY_REQUIRED, FAL_BAD_REQUEST, "Received wrong request", FAL_GENERIC_NONE, nullptr},
    {"SecurityVpnIpsecDelete", 0, "", FAL_BODY_REQUIRED, FAL_BAD_REQUEST, "Received wrong request", FAL_GENERIC_NONE, nullptr},
};
const FalPolicy kService[] = {
    {"ServicePortfilteringPatch", 0, "", FAL_BODY_NONE, FAL_BAD_REQUEST, "Received invalid request", FAL_GENERIC_NONE, nullptr},
    {"ServiceLogSave", 111, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_NONE, nullptr},
    {"ServiceReservedipCreate", 0, "", FAL_BODY_NONE, FAL_BAD_REQUEST, "Invalid request", FAL_GENERIC_NONE, nullptr},
    {"ServicePortIpFilteringPatch", 0, "", FAL_BODY_NONE, FAL_BAD_REQUEST, "Null request received", FAL_GENERIC_NONE, nullptr},
    {"ServicePortIpFilteringCreate", 0, "", FAL_BODY_NONE, FAL_BAD_REQUEST, "Null request received", FAL_GENERIC_NONE, nullptr},
    {"ServicePortIpFilteringDeleteOne", 0, "", FAL_BODY_NONE, FAL_BAD_REQUEST, "Null request received", FAL_GENERIC_NONE, nullptr},
    {"ServicePortIpFilteringDeleteAll", 0, "", FAL_BODY_NONE, FAL_BAD_REQUEST, "Null request received", FAL_GENERIC_NONE, nullptr},
};
const FalPolicy kMediashare[] = {
    {nullptr, 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_NONE, nullptr},
};
const FalPolicy kQos[] = {
    {"QosConfigurationList", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "qos"},
    {"QosServiceList", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "services"},
    {"QosServiceInuse", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "servicesInuse"},
    {"QosIptvGet", 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, "iptv"},
};

struct Rows {
    const FalPolicy* begin;
    const FalPolicy* end;
};

template <size_t N>
Rows rows(const FalPolicy (&table)[N])
{
    return Rows{table, table + N};
}

// Every family's operations in slot order, each with its row or the defaults.
std::vector<std::vector<FalPolicy>> buildPolicies()
{
    const Rows byApiType[] = {rows(kGateway), rows(kWifi),      rows(kNetwork), rows(kSecurity),
                              rows(kService), rows(kMediashare), rows(kQos)};
    std::vector<std::vector<FalPolicy>> all;
    for (unsigned apiType = 0; apiType < sizeof byApiType / sizeof byApiType[0]; ++apiType) {
        const FalInterfaceInfo* family = falInterfaceByApiType(apiType);
        std::vector<FalPolicy> policies;
        for (const FalOpInfo& op : family->ops)
            policies.push_back({op.name, op.requestId + 1, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_NONE, nullptr});
        for (const FalPolicy* row = byApiType[apiType].begin; row != byApiType[apiType].end; ++row) {
            if (!row->op)
                continue;
            const FalOpInfo* op = family->findOp(row->op);
            if (!op) {
                fprintf(stderr, "policy table: %s is not an operation of the %s family\n", row->op, family->name);
                abort();
            }
            policies[op->slot] = *row;
            if (!row->responseId)
                policies[op->slot].responseId = op->requestId + 1;
        }
        all.push_back(std::move(policies));
    }
    return all;
}

}  // namespace

const FalPolicy* falPolicy(unsigned apiType, unsigned requestId)
{
    static const std::vector<std::vector<FalPolicy>> all = buildPolicies();
    const FalInterfaceInfo* family = falInterfaceByApiType(apiType);
    const FalOpInfo* op = family ? family->findRequest(requestId) : nullptr;
    return op ? &all[apiType][op->slot] : nullptr;
}

unsigned falResponseId(unsigned apiType, unsigned requestId)
{
    const FalPolicy* policy = falPolicy(apiType, requestId);
    return policy ? policy->responseId : requestId + 1;
}

_FAL_RSP_T* falNewResponse(unsigned apiType, unsigned requestId, bool withData)
{
    return newFalResponse(apiType, falResponseId(apiType, requestId), withData);
}

_FAL_RSP_T* falBegin(const _FAL_REQ_T* req, unsigned apiType, unsigned requestId, bool withData)
{
    return req ? falNewResponse(apiType, requestId, withData) : nullptr;
}

_FAL_RSP_T* falRefusal(unsigned apiType, unsigned requestId)
{
    const FalPolicy* policy = falPolicy(apiType, requestId);
    if (!policy || !policy->refusalText)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(apiType, policy->responseId, false);
    if (rsp)
        falAnswer(rsp, policy->refusalStatus, policy->refusalText);
    return rsp;
}

bool falLacksRequired(const FalPolicy& policy, const _FAL_REQ_T& req)
{
    if (policy.body == FAL_BODY_REQUIRED && !req.body)
        return true;
    // "@id !name": each name must be among the request's parameters.
    for (const char* p = policy.params; p && *p;) {
        while (*p == ' ')
            ++p;
        const char* end = p;
        while (*end && *end != ' ')
            ++end;
        if (end == p)
            break;
        bool found = false;
        for (const auto& param : req.params)
            if (param.first.size() == static_cast<size_t>(end - p) && param.first.compare(0, end - p, p) == 0)
                found = true;
        if (!found)
            return true;
        p = end;
    }
    return false;
}

_FAL_RSP_T* falGenericOperation(unsigned familyType, unsigned apiType, unsigned requestId, _FAL_REQ_T* req)
{
    // The log group each family's generic reads write under.
    static const LOG_GROUP_T groups[] = {LOG_GROUP_GATEWAY, LOG_GROUP_WIFI,       LOG_GROUP_NETWORK, LOG_GROUP_SECURITY,
                                         LOG_GROUP_SERVICE, LOG_GROUP_MEDIASHARE, LOG_GROUP_QOS};
    const FalPolicy* policy = falPolicy(familyType, requestId);
    if (!policy || familyType >= sizeof groups / sizeof groups[0])
        return nullptr;
    switch (policy->generic) {
    case FAL_GENERIC_GET:
        return falGeneralDbGet(apiType, groups[familyType], req, policy->genericKey);
    case FAL_GENERIC_UPDATE:
        return falGeneralDbUpdate(apiType, groups[familyType], req, policy->genericKey);
    default:
        return nullptr;
    }
}
