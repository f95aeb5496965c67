// WAN interfaces: list, one interface, the change with its PPP, VPN and ATM rules and reboot
// advice, the IPv6 change, connect and disconnect, bridging, the internet check, link detection
// and the connection-type probe.
#include <string>
#include <vector>

#include "network/FalNetworkLdb.h"
#include "network/NetworkHelpers.h"

namespace {

// The members of an interface's "ipv4" and "ipv6" objects that the changes copy.
const std::vector<const char*> kWanIpv4Members = {"active",     "address",    "subnet", "gateway",
                                                  "dnsServer1", "dnsServer2", "mode"};
const std::vector<const char*> kWanIpv6Members = {"active",     "address",    "prefixLength", "gateway",
                                                  "dnsServer1", "dnsServer2", "mode"};

// Members a change answer never shows, though they are stored.
const char* const kHiddenInAnswer[] = {"ipv4.active", "ipv4.mode", "ipv6.active",
                                       "ipv6.mode",   "ipv6.dnsServer1", "ipv6.dnsServer2"};

bool isPpp(const std::string& type)
{
    return type == "pppoa" || type == "pppoe" || type == "pptp" || type == "l2tp";
}

bool isTunnel(const std::string& type)
{
    return type == "pptp" || type == "l2tp";
}

// Copies the members the body carries into the interface. Yields whether the switch mode leaves
// "bridge".
bool applyInterfaceMembers(TreeMapObject* iface, TreeMapObject* body)
{
    copyPresent(iface, body, {"name", "active", "linkType"});
    bool reboot = false;
    FalTree switchMode(body->get("switchMode"));
    if (switchMode) {
        reboot = sameText(iface->get<const char*>("switchMode"), "bridge");
        iface->set("switchMode", switchMode.get());
    }
    copyPresent(iface, body, {"connectionType"});
    FalTree ipv4(iface->get("ipv4"));
    if (ipv4 && ipv4->isObject())
        networkCopyPresent(ipv4.get(), "", body, "ipv4.", kWanIpv4Members);
    FalTree ipv6(iface->get("ipv6"));
    if (ipv6 && ipv6->isObject())
        networkCopyPresent(ipv6.get(), "", body, "ipv6.", kWanIpv6Members);
    return reboot;
}

// PPP, VPN, VLAN and ATM settings. The connection type is the body's, else the stored one; the
// ATM settings follow the body's link type only.
void applyLinkSettings(TreeMapObject* iface, TreeMapObject* body)
{
    TreeMapObject empty;
    const char* stored = iface->get<const char*>("connectionType");
    std::string connectionType = stored ? stored : "";

    FalTree ppp(body->get("ppp"));
    if (!isPpp(connectionType)) {
        iface->set("ppp", &empty);
    } else if (ppp) {
        FalTree copy(ppp->clone(nullptr));
        if (isTunnel(connectionType))
            copy->set("oe", &empty);
        iface->set("ppp", copy.get());
    }

    FalTree vpn(body->get("vpn"));
    if (!isTunnel(connectionType))
        iface->set("vpn", &empty);
    else if (vpn)
        iface->set("vpn", vpn.get());

    copyPresent(iface, body, {"vlan"});

    FalTree atm(body->get("atm"));
    if (!sameText(body->get<const char*>("linkType"), "adsl"))
        iface->set("atm", &empty);
    else if (atm)
        iface->set("atm", atm.get());
}

// The change answer: the interface's summary without its hidden members.
TreeMapObject* interfaceSummary(TreeMapObject* iface)
{
    TreeMapObject* summary = new TreeMapObject(false);
    for (const char* member : {"id", "name", "ipv4", "ipv6"}) {
        FalTree value(iface->get(member));
        summary->set(member, value.get());
    }
    FalTree active(iface->get("active"));
    summary->set("enabled", active.get());
    return summary;
}

// The reboot advice of a change answer.
void adviseReboot(TreeMapObject* data, bool reboot)
{
    data->set("reboot.active", reboot);
    if (reboot) {
        data->set("reboot.location", "/api/v1/gateway/reboot");
        TreeMapObject delays(true);
        data->set("reboot.retryAfter", &delays);
        const int seconds[] = {60, 40, 20, 10};
        for (unsigned i = 0; i < 4; ++i)
            data->set(("reboot.retryAfter.[" + std::to_string(i) + "]").c_str(), seconds[i]);
        data->set("reboot.maxRetry", 3);
    } else {
        TreeMapObject empty;
        for (const char* member : {"reboot.location", "reboot.retryAfter", "reboot.maxRetry"})
            data->set(member, &empty);
    }
}

// The WAN interface numbered `id`; when there is none, answers 9 "No interface information found".
FalTree wanInterface(_FAL_RSP_T* rsp, TreeMapObject* wan, int id)
{
    FalTree interfaces(wan->get("interfaces"));
    FalTree iface = networkFindInterface(interfaces.get(), id);
    if (!iface)
        falAnswer(rsp, FAL_NOT_FOUND, "No interface information found");
    return iface;
}

// A copy of the WAN interface numbered `id`, or null; when "wan" cannot be locked, after logging
// and answering 8 "Cannot load network database".
FalTree copyWanInterface(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, int id)
{
    FalLock wan(API_TYPE_NETWORK, "wan", req->requester, rsp, NET_LOAD_FAILED);
    if (!wan) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, NET_NO_OBJECT, "wan");
        return nullptr;
    }
    FalTree interfaces(wan->get("interfaces"));
    FalTree iface = networkFindInterface(interfaces.get(), id);
    return FalTree(iface ? iface->clone(nullptr) : nullptr);
}

// Sets "connectivity" of the first interface with the request's id.
_FAL_RSP_T* setConnectivity(_FAL_REQ_T* req, const char* fn, const char* connectivity)
{
    return networkChange(req, fn, "wan", NET_KEY_LOAD_FAILED, true,
                         [&](_FAL_RSP_T* rsp, TreeMapObject* wan, TreeMapObject*, int id) {
                             FalTree interfaces(wan->get("interfaces"));
                             if (!interfaces)
                                 Logger::print(LOG_TYPE_ERROR, NET_LOG, "No WAN interfaces found\n");
                             FalTree iface = wanInterface(rsp, wan, id);
                             if (iface)
                                 iface->set("connectivity", connectivity);
                             return iface != nullptr;
                         });
}

}  // namespace

_FAL_RSP_T* FalNetworkLdb::NetworkWanGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "wan");
}

_FAL_RSP_T* FalNetworkLdb::NetworkWanGetOne(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, __func__);
    if (networkNullRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(req->msgId, false);
    if (!rsp)
        return nullptr;
    rsp->status = FAL_FAILED;
    int id = 0;
    if (!networkInterfaceId(rsp, req, id))
        return rsp;

    FalTree iface = copyWanInterface(rsp, req, id);
    if (iface) {
        rsp->data = iface.release();
        rsp->status = FAL_OK;
    } else if (rsp->status != FAL_DB_ERROR) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "No Wan interface found for id %d\n", id);
    }
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkWanChange(_FAL_REQ_T* req)
{
    bool reboot = false;
    auto change = [&](_FAL_RSP_T* rsp, TreeMapObject* wan, TreeMapObject* body, int id) {
        FalTree iface = wanInterface(rsp, wan, id);
        if (!iface)
            return false;
        reboot = applyInterfaceMembers(iface.get(), body);
        applyLinkSettings(iface.get(), body);
        rsp->data = interfaceSummary(iface.get());
        return true;
    };
    _FAL_RSP_T* rsp = networkChange(req, __func__, "wan", NET_KEY_LOAD_FAILED, true, change);
    if (!rsp || !rsp->data)
        return rsp;
    for (const char* hidden : kHiddenInAnswer)
        rsp->data->del(hidden);
    if (sameText(req->body->get<const char*>("switchMode"), "bridge"))
        reboot = true;
    adviseReboot(rsp->data, reboot);
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkWanIpv6Change(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, __func__);
    if (networkWrongRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(req->msgId, false);
    if (!rsp)
        return nullptr;
    int id = 0;
    if (!networkInterfaceId(rsp, req, id))
        return rsp;
    rsp->status = FAL_FAILED;

    FalLock wan(API_TYPE_NETWORK, "wan", req->requester);
    if (!wan) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "%s", NET_LOCAL_LOAD_FAILED);
        return rsp;
    }
    FalTree interfaces(wan->get("interfaces"));
    if (!interfaces) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "list of wan interfaces does not exist\n");
        falAnswer(rsp, FAL_DB_ERROR, NET_LOAD_FAILED);
        return rsp;
    }
    FalTree iface = wanInterface(rsp, wan.get(), id);
    if (!iface)
        return rsp;
    // The IPv6 members are read from the top level of the body.
    FalTree ipv6(iface->get("ipv6"));
    if (ipv6 && ipv6->isObject())
        networkCopyPresent(ipv6.get(), "", req->body, "", kWanIpv6Members);
    if (wan.save())
        rsp->status = FAL_OK;
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkWanConnect(_FAL_REQ_T* req)
{
    return setConnectivity(req, __func__, "connected");
}

_FAL_RSP_T* FalNetworkLdb::NetworkWanDisconnect(_FAL_REQ_T* req)
{
    return setConnectivity(req, __func__, "disconnected");
}

_FAL_RSP_T* FalNetworkLdb::NetworkSwitchmodeBridge(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, __func__);
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(req->msgId, false);
    if (!rsp)
        return nullptr;
    rsp->status = FAL_FAILED;
    int id = 0;
    if (!networkInterfaceId(rsp, req, id))
        return rsp;

    FalLock interfaces(API_TYPE_NETWORK, "wan.interfaces", req->requester);
    if (!interfaces) {
        falAnswer(rsp, FAL_DB_ERROR, "Cannot load database");
        return rsp;
    }
    // Every interface with the id, not only the first.
    bool matched = false;
    for (unsigned i = 0; i < interfaces->len(); ++i) {
        FalTree iface(interfaces->at(i));
        int own = 0;
        if (iface && iface->get_ex<int>("id", own) && own == id) {
            iface->set("switchMode", "bridged");
            matched = true;
        }
    }
    if (!matched)
        falAnswer(rsp, FAL_NOT_FOUND, "No interface found");
    else if (interfaces.save())
        falAnswer(rsp, FAL_OK, "DB updated!");
    else
        falAnswer(rsp, FAL_DB_ERROR, "DB cannot be updated!");
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkCheckInternet(_FAL_REQ_T* req)
{
    // No entry trace; the exit trace is written only once the interfaces were looked at (a
    // request without an interface id leaves without it).
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(FalMsg::NetworkCheckInternet, true);
    if (!rsp)
        return nullptr;
    rsp->status = FAL_FAILED;
    int id = 0;
    if (!networkInterfaceId(rsp, req, id))
        return rsp;

    FalTrace trace(NET_LOG, __func__, FAL_TRACE_NAME_EXIT_ONLY);
    FalTree iface = copyWanInterface(rsp, req, id);
    if (iface) {
        rsp->data->set("ipv4", iface->get<bool>("ipv4.active"));
        rsp->data->set("ipv6", iface->get<bool>("ipv6.active"));
        rsp->status = FAL_OK;
    }
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkLinkAuto(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, __func__);
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(req->msgId, true);
    if (rsp && !rsp->data) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "%s", NET_NO_MEMORY);
        freeFalResponse(rsp);
        return nullptr;
    }
    if (!rsp)
        return nullptr;

    // The link type of the first interface.
    std::string linkType;
    bool known = false;
    {
        FalLock interfaces(API_TYPE_NETWORK, "wan.interfaces", req->requester);
        FalTree first(interfaces ? interfaces->at(0) : nullptr);
        if (!first) {
            falAnswer(rsp, FAL_DB_ERROR, "Cannot load db");
            delete rsp->data;
            rsp->data = nullptr;
        } else {
            const char* text = first->get<const char*>("linkType");
            rsp->data->set("linkType", text);
            known = text != nullptr;
            linkType = text ? text : "";
        }
    }

    // The standard in use: the last "xDslStandard" element that names the link type decides.
    if (known) {
        FalLock standards(API_TYPE_NETWORK, "xDslStandard", req->requester);
        unsigned n = standards ? standards->len() : 0;
        for (unsigned i = 0; i < n; ++i) {
            FalTree element(standards->at(i));
            FalTree standard(element ? element->get((linkType + ".[0]").c_str()) : nullptr);
            if (standard)
                rsp->data->set("standard", standard.get());
        }
    }
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkWanConnectionTypeDetect(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, __func__);
    return req ? falProbe(API_TYPE_NETWORK, falResponseId(API_TYPE_NETWORK, FalMsg::NetworkWanConnectionTypeDetect),
                          API_TYPE_NETWORK)
               : nullptr;
}
