// Firewall settings, alerts, the firewall log, intelSecurity and the managed operations.
#include "frame/BeHelpers.h"
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

// The traced probe of the firewall log: the network document must be lockable.
_FAL_RSP_T* firewallLogProbe(unsigned msgId, const char* name)
{
    FalTrace trace(SEC_LOG, name);
    return falProbe(API_TYPE_SECURITY, msgId, API_TYPE_NETWORK);
}

}  // namespace

_FAL_RSP_T* FalSecurityLdb::SecurityFirewallGet(_FAL_REQ_T* req)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(API_TYPE_SECURITY, 1, false);
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
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(API_TYPE_SECURITY, 3, false);
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
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(API_TYPE_SECURITY, req->msgId + 1, false);
    if (securityLacksBody(req, rsp))
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
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(API_TYPE_SECURITY, 15, false);
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
    return firewallLogProbe(17, "SecurityFirewallLogGet");
}

_FAL_RSP_T* FalSecurityLdb::SecurityFirewallLogClear(_FAL_REQ_T*)
{
    return firewallLogProbe(19, "SecurityFirewallLogClear");
}

// Managed sites, services and devices answer once the security document can be locked.
#define SEC_MANAGED(name, msgId) \
    _FAL_RSP_T* FalSecurityLdb::name(_FAL_REQ_T*) { return falProbe(API_TYPE_SECURITY, msgId, API_TYPE_SECURITY); }

SEC_MANAGED(SecurityManagedSitesGet, 75)
SEC_MANAGED(SecurityManagedSitesSet, 77)
SEC_MANAGED(SecurityManagedSitesCreate, 79)
SEC_MANAGED(SecurityManagedSitesUpdate, 81)
SEC_MANAGED(SecurityManagedSitesDelete, 83)
SEC_MANAGED(SecurityManagedSitesTrustComputerAdd, 85)
SEC_MANAGED(SecurityManagedSitesTrustComputerDelete, 87)
SEC_MANAGED(SecurityManagedServicesGet, 89)
SEC_MANAGED(SecurityManagedServicesSet, 91)
SEC_MANAGED(SecurityManagedServicesCreate, 93)
SEC_MANAGED(SecurityManagedServicesUpdate, 95)
SEC_MANAGED(SecurityManagedServicesDelete, 97)
SEC_MANAGED(SecurityManagedServicesTrustComputerAdd, 99)
SEC_MANAGED(SecurityManagedServicesTrustComputerDelete, 101)
SEC_MANAGED(SecurityManagedDevicesGet, 103)
SEC_MANAGED(SecurityManagedDevicesSet, 105)
SEC_MANAGED(SecurityManagedDevicesCreate, 107)
SEC_MANAGED(SecurityManagedDevicesUpdate, 109)
SEC_MANAGED(SecurityManagedDevicesDelete, 111)

#undef SEC_MANAGED
