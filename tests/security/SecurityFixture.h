// Shared fixture of the security tests: a seeded security document and gateway devices.
#pragma once

#include "support/FamilyFixture.h"

namespace security_test {

inline const char* kSecurity = R"({
  "firewall": {"ipv4": {"level": "high", "rules": [{"id": 0, "name": "web"}, {"id": 1, "name": "dns"}]},
               "ipv6": {"level": "low"}},
  "firewallAlert": {"active": false, "option": "daily",
                    "alert": {"email": "a@x", "smtp": "smtp.x", "username": "u", "password": "secret"}},
  "intelSecurity": {"active": false},
  "parentalControl": {"general": {"active": false, "auth": {"saved": false, "setPin": false}}, "pinCode": "1234"},
  "parentalControlRules": {"rules": [{"index": 1, "name": "r1"}, {"index": 2, "name": "r2"},
                                     {"index": 3, "name": "r3"}]},
  "parentalControlFilters": {"list": [{"id": 0, "sublist": [{"id": 0, "address": "a.com"}, {"id": 4, "address": "b.com"}]},
                                      {"id": 1, "sublist": []},
                                      {"id": 1, "name": "later", "sublist": []}]},
  "vpn": {"mode": "server", "active": false, "connected": false,
          "client": {"active": false, "protocol": "pptp", "server": "vpn.x", "username": "v", "password": "p",
                     "option": "auto", "startIP": "192.168.1.200", "endIP": "192.168.1.210"},
          "ipsec": [{"id": 0, "name": "t0",
                     "local": {"addressType": "subnet", "address": {"first": "192.168.1.0", "second": "255.255.255.0"},
                               "identifierType": "auto", "identifier": "home"},
                     "remote": {"addressType": "subnet", "address": {"first": "10.0.0.0", "second": "255.0.0.0"},
                                "identifierType": "ip", "identifier": "203.0.113.1"}}]}
})";

inline const char* kGateway = R"({"connectedDevices": [
  {"id": 0, "macAddress": "AA:00", "advanced": {"parentalContrl": false}},
  {"id": 1, "macAddress": "BB:11", "advanced": {"parentalContrl": false}},
  {"id": 2, "macAddress": "CC:22"}]})";

}  // namespace security_test

class SecurityTest : public FamilyTest<FalSecurityLdb, API_TYPE_SECURITY> {
protected:
    void SetUp() override
    {
        FamilyTest::SetUp();
        seed(API_TYPE_SECURITY, security_test::kSecurity);
        seed(API_TYPE_GATEWAY, security_test::kGateway);
    }

    // The stored member `path` of the gateway document (canonical JSON; "null" when absent).
    std::string gateway(const char* path)
    {
        TreeMapObject* doc = LocalDbCtrl::copyDocument(API_TYPE_GATEWAY);
        TreeMapObject* node = doc ? doc->get(path) : nullptr;
        std::string text = json(node);
        delete node;
        delete doc;
        return text;
    }

    // The integer `member` of every item of the stored array at `path`, comma-separated.
    std::string ids(const char* path, const char* member)
    {
        TreeMapObject* doc = LocalDbCtrl::copyDocument(API_TYPE_SECURITY);
        TreeMapObject* array = doc ? doc->get(path) : nullptr;
        std::string text;
        for (unsigned i = 0; array && i < array->len(); ++i) {
            TreeMapObject* item = array->at(i);
            const char* value = item->get<const char*>(member);
            text += (i ? "," : "") + std::string(value ? value : "?");
            delete item;
        }
        delete array;
        delete doc;
        return text;
    }
};
