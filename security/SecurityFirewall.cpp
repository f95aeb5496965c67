// Firewall settings, alerts, the firewall log, intelSecurity and the managed operations.
#include "fal/FalMsgIds.h"
#include "frame/BeHelpers.h"
#include "frame/FalPolicy.h"
#include "frame/FalResponse.h"
#include "security/FalSecurityLdb.h"
#include "security/SecurityHelpers.h"

namespace {

// Puts the stored IPv4 rules, when there are any, into the new "ipv4" object: once stored, they
// outlive every update.
void keepStoredRules(TreeMapObject* firewall, TreeMapObject* ipv4)
{
    FalTree rules(firewall->get("ipv4.rules"));
    if (rules)
        ipv4->set("rules", rules.get());
}

// Whether the body's "ipv4" (when given) is an object that can carry the stored rules.
bool ipv4Acceptable(TreeMapObject* body)
{
    FalTree ipv4(body->get("ipv4"));
    return !ipv4 || ipv4->isObject();
}

}  // namespace

_FAL_RSP_T* FalSecurityLdb::SecurityFirewallGet(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityFirewallGet, false);
    if (!rsp)
        return nullptr;
    std::unique_ptr<char[]> filter(BE_PairVal2(req->params, "!filter"));
    FalLock firewall(API_TYPE_SECURITY, "firewall", req->requester);
    if (!firewall) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database firewall");
    } else if (!(rsp->data = firewall->clone(nullptr))) {
        falAnswer(rsp, FAL_FAILED, "fail to get data entry");
    } else {
        // Without a filter both families are shown.
        if (sameText(filter.get(), "ipv4"))
            rsp->data->del("ipv6");
        else if (sameText(filter.get(), "ipv6"))
            rsp->data->del("ipv4");
        else if (filter)
            falAnswer(rsp, FAL_DB_ERROR, "Wrong 'filter' query variable");
        rsp->data->del("ipv4.rules");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityFirewallUpdate(_FAL_REQ_T* req)
{
    static const char* const name = "SecurityFirewallUpdate";
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityFirewallUpdate, false);
    if (!rsp)
        return nullptr;
    if (!securityHasObjectBody(req) || !ipv4Acceptable(req->body)) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
        return rsp;
    }
    FalLock firewall(API_TYPE_SECURITY, "firewall", req->requester);
    if (!firewall) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to load database");
    } else {
        Logger::print(LOG_TYPE_PROGRESS, SEC_LOG, "%s: get database %s: %p\n", name, "firewall",
                      static_cast<void*>(firewall.get()));
        FalTree ipv4(req->body->clone("ipv4"));
        FalTree ipv6(req->body->clone("ipv6"));
        if (ipv4) {
            Logger::print(LOG_TYPE_PROGRESS, SEC_LOG, "%s: set ipv4 information %p\n", name,
                          static_cast<void*>(ipv4.get()));
            keepStoredRules(firewall.get(), ipv4.get());
            firewall->set("ipv4", ipv4.get());
        }
        if (ipv6) {
            Logger::print(LOG_TYPE_PROGRESS, SEC_LOG, "%s: set ipv6 information ipv6\n", name);
            firewall->set("ipv6", ipv6.get());
        }
        if ((ipv4 || ipv6) && !firewall.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityFirewallIpv4Update(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = nullptr;
    if (!securityOpenWithBody(rsp, req))
        return rsp;
    FalLock firewall(API_TYPE_SECURITY, "firewall", req->requester);
    if (!firewall) {
        falAnswer(rsp, FAL_DB_ERROR, "fail to load database");
    } else {
        FalTree ipv4(req->body->clone(nullptr));
        keepStoredRules(firewall.get(), ipv4.get());
        firewall->set("ipv4", ipv4.get());
        if (!firewall.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityFirewallAlertUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityFirewallAlertUpdate, false);
    if (!rsp)
        return nullptr;
    if (securityLacksBody(req, rsp))
        return rsp;
    FalLock alert(API_TYPE_SECURITY, "firewallAlert", req->requester);
    if (!alert) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to load database");
    } else {
        FalTree active(req->body->get("active"));
        FalTree option(req->body->get("option"));
        alert->set("active", active.get());
        alert->set("option", option.get());
        alert->set("alert.email", req->body->get<const char*>("alert.email"));
        alert->set("alert.smtp", req->body->get<const char*>("alert.smtp"));
        // An omitted account or password keeps the stored one.
        for (const char* path : {"alert.username", "alert.password"}) {
            FalTree value(req->body->get(path));
            if (value)
                alert->set(path, value.get());
        }
        if (!alert.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityFirewallLogGet(_FAL_REQ_T*)
{
    // The firewall log lives beside the network document, which must be lockable.
    FalTrace trace(SEC_LOG, "SecurityFirewallLogGet");
    return falProbe(API_TYPE_SECURITY, falResponseId(API_TYPE_SECURITY, FalMsg::SecurityFirewallLogGet),
                    API_TYPE_NETWORK);
}

_FAL_RSP_T* FalSecurityLdb::SecurityFirewallLogClear(_FAL_REQ_T*)
{
    // The firewall log lives beside the network document, which must be lockable.
    FalTrace trace(SEC_LOG, "SecurityFirewallLogClear");
    return falProbe(API_TYPE_SECURITY, falResponseId(API_TYPE_SECURITY, FalMsg::SecurityFirewallLogClear),
                    API_TYPE_NETWORK);
}

// Managed sites, services and devices answer once the security document can be locked.
#define SEC_MANAGED(name)                                                                          \
    _FAL_RSP_T* FalSecurityLdb::name(_FAL_REQ_T*)                                                  \
    {                                                                                              \
        return falProbe(API_TYPE_SECURITY, falResponseId(API_TYPE_SECURITY, FalMsg::name),         \
                        API_TYPE_SECURITY);                                                        \
    }

SEC_MANAGED(SecurityManagedSitesGet)
SEC_MANAGED(SecurityManagedSitesSet)
SEC_MANAGED(SecurityManagedSitesCreate)
SEC_MANAGED(SecurityManagedSitesUpdate)
SEC_MANAGED(SecurityManagedSitesDelete)
SEC_MANAGED(SecurityManagedSitesTrustComputerAdd)
SEC_MANAGED(SecurityManagedSitesTrustComputerDelete)
SEC_MANAGED(SecurityManagedServicesGet)
SEC_MANAGED(SecurityManagedServicesSet)
SEC_MANAGED(SecurityManagedServicesCreate)
SEC_MANAGED(SecurityManagedServicesUpdate)
SEC_MANAGED(SecurityManagedServicesDelete)
SEC_MANAGED(SecurityManagedServicesTrustComputerAdd)
SEC_MANAGED(SecurityManagedServicesTrustComputerDelete)
SEC_MANAGED(SecurityManagedDevicesGet)
SEC_MANAGED(SecurityManagedDevicesSet)
SEC_MANAGED(SecurityManagedDevicesCreate)
SEC_MANAGED(SecurityManagedDevicesUpdate)
SEC_MANAGED(SecurityManagedDevicesDelete)

#undef SEC_MANAGED
