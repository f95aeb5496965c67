// Fixture of the network tests: a small network document with two WAN interfaces and a service
// document holding the LAN addresses that a LAN change moves.
#pragma once

#include "support/FamilyFixture.h"

inline const char* kNetworkDoc = R"({
  "lan": {"ipv4": {"ipAddress": "192.168.1.1", "subnet": "255.255.255.0",
                   "dhcp": {"active": true, "startIP": "192.168.1.2", "endIP": "192.168.1.254", "leaseTime": 86400}},
          "ipv6": {"mode": "slaac", "ipAddress": "fe80::1", "dhcpv6": {"active": true},
                   "pd": {"active": true, "prefix": "2001:db8::", "prefixLength": 56}}},
  "wan": {"interfaces": [
    {"id": 0, "name": "WAN", "active": true, "linkType": "adsl", "switchMode": "router", "connectionType": "pppoe",
     "ipv4": {"active": true, "address": "203.0.113.45", "subnet": "255.255.255.0", "gateway": "203.0.113.1",
              "dnsServer1": "198.51.100.53", "dnsServer2": "198.51.100.54", "mode": "dynamic"},
     "ipv6": {"active": false, "address": "2001:db8::1", "prefixLength": 64, "gateway": "fe80::1",
              "dnsServer1": "2001:db8::53", "dnsServer2": "2001:db8::54", "mode": "dhcpv6"},
     "ppp": {"userName": "u", "oe": {"serviceName": "s"}}, "vpn": {"server": "v"}, "vlan": {"id": 7},
     "atm": {"vpi": 8, "vci": 35}, "connectivity": "connected"},
    {"id": 1, "name": "ETH", "active": false, "linkType": "ethernet", "switchMode": "bridge",
     "connectionType": "dhcp", "ipv4": {"active": true}, "connectivity": "disconnected"}]},
  "xDslStandard": [{"adsl": ["G.dmt"]}, {"vdsl": ["VDSL2"]}, {"adsl": ["ADSL2+", "ADSL2"]}],
  "xdsl": {"status": "up", "modulationType": "DMT", "adsl": {"annex": "B"}, "rate": 100},
  "dslMode": [{"type": "adsl", "active": true}, {"type": "vdsl2", "active": true}],
  "operation": {"mode": "router"},
  "macClone": {"active": false, "mac": ""},
  "qMode": {"operation": "disable", "qmode": "client", "connection": {"index": 0, "ssid": "old", "radio": "2.4g"}},
  "dualwan": {"active": false, "mode": 0, "primary": {"interface": 0, "name": "WAN"},
              "secondary": {"interface": 1, "name": "Mobile"}},
  "mobile": {"status": "disconnected"},
  "mobileConfiguration": {"apn": "internet", "profileID": 1},
  "lanPort": {"ports": [{"id": 1, "status": "up"}]},
  "docsis": {"status": "operational"},
  "channel": {"downstream": [{"id": 1}]},
  "procedure": {"steps": []},
  "initialFrequency": {"frequency": 602000000},
  "usChannel": {"channelId": 3},
  "mta": {"info": {"status": "ok"}, "line": [{"line": 1}], "procedure": [], "vqmList": [{"call": 1}],
          "configFile": {"name": "mta.bin"}, "enterpriseMib": {"mibs": []}, "loogDiag": {"status": "notRun"}}
})";

inline const char* kServiceDoc = R"({
  "ipFiltering": {"rules": [{"id": 0, "ipAddress": "192.168.1.200"}, {"id": 1, "ipAddress": "bogus"}]},
  "dmz": {"active": true, "destination": "192.168.1.5"},
  "reservedIp": {"rules": [{"id": 0, "ipAddress": "192.168.1.37"}]}
})";

class NetworkTest : public FamilyTest<FalNetworkLdb, API_TYPE_NETWORK> {
protected:
    void SetUp() override
    {
        FamilyTest::SetUp();
        seed(API_TYPE_NETWORK, kNetworkDoc);
        seed(API_TYPE_SERVICE, kServiceDoc);
    }

    // The stored member `path` of the service document.
    std::string service(const char* path) { return stored(path, API_TYPE_SERVICE); }

    // Calls an operation's slot with a null request.
    _FAL_RSP_T* callNull(const char* op)
    {
        const FalFamilyInfo* family = falFamilyByApiType(API_TYPE_NETWORK);
        return family->call(&family_, family->findOp(op)->slot, nullptr);
    }

    // How many log records hold exactly this text.
    unsigned traces(const std::string& text) const
    {
        unsigned n = 0;
        for (const auto& record : logs_)
            n += record.text == text;
        return n;
    }

    static constexpr const char* kLoadFailed = "Cannot load network database";
    const FAL_PARAMS_T first_ = {{"@interfaceId", "0"}};
    const FAL_PARAMS_T second_ = {{"@interfaceId", "1"}};
};
