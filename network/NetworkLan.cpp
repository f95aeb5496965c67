// LAN settings: read, IPv4 change (with the move of the LAN addresses that the service family
// keeps), IPv6 change and the restore probe.
#include <string>
#include <vector>

#include "frame/BeHelpers.h"
#include "network/FalNetworkLdb.h"
#include "network/NetworkHelpers.h"

namespace {

// The IPv4 settings a LAN change copies, in this order.
const std::initializer_list<const char*> kLanIpv4Paths = {"ipv4.ipAddress",    "ipv4.subnet",
                                                          "ipv4.dhcp.active",  "ipv4.dhcp.startIP",
                                                          "ipv4.dhcp.endIP",   "ipv4.dhcp.leaseTime"};

// Whether a new LAN address gives the three leading parts the move needs.
bool usableNetwork(const char* address, const std::vector<std::string>& parts)
{
    unsigned dots = 0;
    for (const char* c = address; c && *c; ++c)
        dots += *c == '.';
    return dots >= 3 && parts.size() >= 3;
}

// Moves the dotted quad at `member` of `obj` into the network of `lan`: its first three parts
// become those of the new LAN address, its last part stays. Anything but a dotted quad is left.
void moveAddress(TreeMapObject* obj, const char* member, const std::vector<std::string>& lan)
{
    const char* stored = obj->get<const char*>(member);
    if (!stored)
        return;
    std::vector<std::string> old = BE_StrSplit(stored, '.');
    if (old.size() < 4)
        return;
    obj->set(member, lan[0] + "." + lan[1] + "." + lan[2] + "." + old[3]);
}

// Moves the "ipAddress" of every rule of the service object `key`.
void moveRuleAddresses(TreeMapObject* service, const char* key, const std::vector<std::string>& lan)
{
    FalTree object(service->get(key));
    if (!object)
        return;
    FalTree rules(object->get("rules"));
    if (!rules) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "No rules for ip filtering %s\n", key);
        return;
    }
    for (unsigned i = 0; i < rules->len(); ++i) {
        FalTree rule(rules->at(i));
        moveAddress(rule.get(), "ipAddress", lan);
    }
}

// Moves the LAN addresses of the service document (IP-filtering rules, the DMZ destination and the
// reserved addresses) into the new LAN network; the LAN answer does not depend on it.
void moveServiceAddresses(const std::vector<std::string>& lan, const char* requester)
{
    FalLock service(API_TYPE_SERVICE, "", requester);
    if (!service) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, NET_KEY_LOAD_FAILED, "ipFiltering");
    } else {
        moveRuleAddresses(service.get(), "ipFiltering", lan);
        FalTree dmz(service->get("dmz"));
        if (dmz)
            moveAddress(dmz.get(), "destination", lan);
        // The same choice of key as the gateway's device view.
        FalTree upper(service->get("reservedIP"));
        moveRuleAddresses(service.get(), upper ? "reservedIP" : "reservedIp", lan);
        service.save();
    }
}

// The IPv6 change of the LAN: without a mode its settings are cleared, otherwise the body's mode,
// address, DHCPv6 and prefix delegation are stored.
bool changeIpv6(_FAL_RSP_T*, TreeMapObject* lan, TreeMapObject* body, int)
{
    FalTree mode(body->get("mode"));
    if (!mode) {
        // No mode: the LAN IPv6 settings are cleared.
        TreeMapObject empty;
        lan->set("ipv6", &empty);
    } else {
        FalTree ipv6(lan->get("ipv6"));
        if (ipv6 && ipv6->isObject()) {
            FalTree address(body->get("ipAddress"));
            FalTree dhcpv6(body->get("dhcpv6"));
            ipv6->set("mode", mode.get());
            ipv6->set("ipAddress", address.get());
            ipv6->set("dhcpv6", dhcpv6.get());
            ipv6->set("pd.active", body->get<bool>("pd.active"));
            networkCopyPresent(ipv6.get(), "pd.", body, "pd.", {"prefix", "prefixLength"});
        }
    }
    return true;
}

}  // namespace

_FAL_RSP_T* FalNetworkLdb::NetworkLanGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "lan");
}

_FAL_RSP_T* FalNetworkLdb::NetworkLanUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, __func__);
    bool moveAddresses = false;
    std::vector<std::string> newNetwork;
    auto change = [&](_FAL_RSP_T*, TreeMapObject* lan, TreeMapObject* body, int) {
        FalTree ipv4(body->get("ipv4"));
        if (ipv4) {
            copyPresent(lan, body, kLanIpv4Paths);
            const char* address = ipv4->get<const char*>("ipAddress");
            if (address)
                newNetwork = BE_StrSplit(address, '.');
            moveAddresses = usableNetwork(address, newNetwork);
        }
        FalTree ipv6(body->get("ipv6"));
        if (ipv6)
            lan->set("ipv6", ipv6.get());
        return true;
    };
    _FAL_RSP_T* rsp = networkChange(req, nullptr, "lan", NET_KEY_LOAD_FAILED, false, change);
    // Once the LAN is released; a save failure does not hold the move back.
    if (moveAddresses)
        moveServiceAddresses(newNetwork, req->requester);
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkLanIpv6Update(_FAL_REQ_T* req)
{
    return networkChange(req, __func__, "lan", NET_LOCAL_LOAD_FAILED, false, changeIpv6);
}

_FAL_RSP_T* FalNetworkLdb::NetworkLanIpv6RestoreDefault(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, __func__);
    return req ? falProbe(API_TYPE_NETWORK, falResponseId(API_TYPE_NETWORK, FalMsg::NetworkLanIpv6RestoreDefault),
                          API_TYPE_NETWORK)
               : nullptr;
}
