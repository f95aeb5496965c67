#include "frame/FalPolicy.h"

#include <cstdio>
#include <cstdlib>
#include <vector>

#include "frame/FalGeneric.h"
#include "frame/FalHandler.h"
#include "frame/FalOpTable.h"
#include "frame/FalResponse.h"

namespace {

// Row makers for the table below.
constexpr FalPolicy genericGet(const char* op, const char* key)
{
    return {op, 0, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_GET, key};
}
constexpr FalPolicy genericUpdate(const char* op, const char* key)
{
    return {op, 0, "", FAL_BODY_OPTIONAL, FAL_OK, nullptr, FAL_GENERIC_UPDATE, key};
}
// A null request gets this answer; with FAL_BODY_REQUIRED, so does a request without a body.
constexpr FalPolicy refusal(const char* op, FAL_BODY_T body, FAL_STATUS_T status, const char* text)
{
    return {op, 0, "", body, status, text, FAL_GENERIC_NONE, nullptr};
}
constexpr FalPolicy answersWith(const char* op, unsigned responseId)
{
    return {op, responseId, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_NONE, nullptr};
}

// The operations that differ from the defaults (response id = request id + 1, no parameters, no
// body, a null response to a null request, no generic member).
const FalPolicy kRows[] = {
    // Gateway
    genericGet("GatewayAbout", "about"),
    genericGet("GatewayLedGet", "led"),
    genericGet("GatewayDatetimeGet", "dateTime"),
    // Security
    genericGet("SecurityFirewallIpv4Get", "firewall.ipv4"),
    genericGet("SecurityFirewallIpv6Get", "firewall.ipv6"),
    genericUpdate("SecurityFirewallIpv6Update", "firewall.ipv6"),
    genericGet("SecurityFirewallAlertGet", "firewallAlert"),
    genericGet("SecurityIntelSecurityGet", "intelSecurity"),
    genericUpdate("SecurityIntelSecurityUpdate", "intelSecurity"),
    genericGet("SecurityParentalcontrolRuleGet", "parentalControlRules"),
    genericGet("SecurityParentalcontrolFilterGet", "parentalControlFilters"),
    genericGet("SecurityVpnClientGet", "vpn.client"),
    refusal("SecurityVpnIpsecUpdate", FAL_BODY_REQUIRED, FAL_BAD_REQUEST, "Received wrong request"),
    refusal("SecurityVpnIpsecDelete", FAL_BODY_REQUIRED, FAL_BAD_REQUEST, "Received wrong request"),
    // Service
    refusal("ServicePortfilteringPatch", FAL_BODY_NONE, FAL_BAD_REQUEST, "Received invalid request"),
    answersWith("ServiceLogSave", 111),
    refusal("ServiceReservedipCreate", FAL_BODY_NONE, FAL_BAD_REQUEST, "Invalid request"),
    refusal("ServicePortIpFilteringPatch", FAL_BODY_NONE, FAL_BAD_REQUEST, "Null request received"),
    refusal("ServicePortIpFilteringCreate", FAL_BODY_NONE, FAL_BAD_REQUEST, "Null request received"),
    refusal("ServicePortIpFilteringDeleteOne", FAL_BODY_NONE, FAL_BAD_REQUEST, "Null request received"),
    refusal("ServicePortIpFilteringDeleteAll", FAL_BODY_NONE, FAL_BAD_REQUEST, "Null request received"),
    // Qos
    genericGet("QosConfigurationList", "qos"),
    genericGet("QosServiceList", "services"),
    genericGet("QosServiceInuse", "servicesInuse"),
    genericGet("QosIptvGet", "iptv"),
};

// Every family's operations in slot order, each with its row or the defaults.
std::vector<std::vector<FalPolicy>> buildPolicies()
{
    std::vector<std::vector<FalPolicy>> all;
    for (unsigned apiType = 0; const FalInterfaceInfo* family = falInterfaceByApiType(apiType); ++apiType) {
        all.emplace_back();
        for (const FalOpInfo& op : family->ops)
            all.back().push_back({op.name, op.requestId + 1, "", FAL_BODY_NONE, FAL_OK, nullptr, FAL_GENERIC_NONE, nullptr});
    }
    for (const FalPolicy& row : kRows) {
        const FalOpInfo* op = nullptr;
        unsigned apiType = 0;
        for (; !op && apiType < all.size(); ++apiType)
            op = falInterfaceByApiType(apiType)->findOp(row.op);
        if (!op) {
            fprintf(stderr, "policy table: %s is not an operation\n", row.op);
            abort();
        }
        FalPolicy& policy = all[apiType - 1][op->slot];
        policy = row;
        if (!row.responseId)
            policy.responseId = op->requestId + 1;
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
