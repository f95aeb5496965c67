// Fixture of the wifi tests: a small two-radio wifi document and a gateway document with devices
// on its SSIDs.
#pragma once

#include <memory>
#include <string>

#include "support/FamilyFixture.h"

// A wifi reply together with the operation that gave it.
struct WifiRsp {
    std::unique_ptr<_FAL_RSP_T, RspDeleter> rsp;
    const char* op = nullptr;

    _FAL_RSP_T* operator->() const { return rsp.get(); }
    bool operator==(std::nullptr_t) const { return !rsp; }
    bool operator!=(std::nullptr_t) const { return rsp != nullptr; }
};

// Wifi document: 2.4 GHz with SSIDs 0, 1 and 3, 5 GHz with its primary SSID only.
inline const char* kWifiDoc = R"({
  "interfaces": ["2.4g", "5g"],
  "radio": {
    "24g": {"active": true, "basic": {"channel": 6, "outputPower": "high"},
            "advanced": {"beaconInterval": 100}, "channelList": [1, 6, 11]},
    "50g": {"active": true, "basic": {"channel": 36, "outputPower": "low"},
            "advanced": {"beaconInterval": 100}, "channelList": [36, 40]}},
  "radioDefault": {
    "24g": {"active": true, "basic": {"channel": 1, "outputPower": "high"},
            "advanced": {"beaconInterval": 50}, "channelList": [1]},
    "50g": {"active": true, "basic": {"channel": 40, "outputPower": "medium"},
            "advanced": {"beaconInterval": 50}, "channelList": [40]}},
  "actualUsed": {"24g": {"channel": 6}, "50g": {"channel": 36}},
  "networkType": {
    "24g": [{"active": true}, {"active": true, "ssid": []}],
    "50g": [{"active": true}, {"active": false, "ssid": []}]},
  "ssid": {
    "24g": [
      {"index": 0, "type": "primary", "active": true, "name": "Home",
       "security": {"type": "WPA2/WPA-PSK", "personal": {"password": "p0"}, "wep": {"password": "w0"}},
       "accessControl": {"active": true, "maxRules": 64, "allow": false,
                         "rules": [{"id": 0, "mac": "a"}, {"id": 1, "mac": "b"}, {"id": 5, "mac": "c"}]}},
      {"index": 1, "type": "guest", "active": true, "name": "Guest1",
       "security": {"type": "WEP", "personal": {"password": "p1"}, "wep": {"password": "w1"}},
       "accessControl": {"active": false, "maxRules": 64, "allow": false, "rules": []}},
      {"index": 3, "type": "guest", "active": true, "name": "Guest3",
       "security": {"type": "OPEN"},
       "accessControl": {"active": false, "maxRules": 64, "allow": false, "rules": []}}],
    "50g": [
      {"index": 0, "type": "primary", "active": true, "name": "Home5",
       "security": {"type": "WPA2-PSK", "personal": {"password": "p5"}},
       "accessControl": {"active": false, "maxRules": 64, "allow": false, "rules": []}}]},
  "wps": {"active": false, "pin": "12345670"},
  "wpsConnected": {"status": "success"},
  "wmm": {"24g": {"active": true, "option": "auto", "noAck": false, "powersave": true}},
  "wds": {"24g": {"active": false, "master": false, "rules": []},
          "50g": {"active": true, "master": true, "rules": [{"index": 2, "type": "slave", "mac": "m2", "ext": {}}]}},
  "wifiScan": {"retryAfter": 5, "maxRetry": 1},
  "scanApResult": {"24g": [{"ssid": "Neighbour"}]}
})";

// Gateway document: radio levels and one device per SSID name, plus a LAN device.
inline const char* kGatewayDoc = R"({
  "connectivity": {"lan": {"devices": 0}, "wifi": [{"connectivity": 1, "devices": 0},
                                                  {"connectivity": 3, "devices": 0}]},
  "connectedDevices": [
    {"id": 0, "interface": "2.4g", "path": "Home", "connected": true},
    {"id": 1, "interface": "2.4g", "path": "Guest1", "connected": true},
    {"id": 2, "interface": "2.4g", "path": "Guest3", "connected": true},
    {"id": 3, "interface": "5g", "path": "Home5", "connected": true},
    {"id": 4, "interface": "lan", "connected": true}]
})";

class WifiTest : public FamilyTest<FalWifiLdb, API_TYPE_WIFI> {
protected:
    void SetUp() override
    {
        FalDbTest::SetUp();
        seed(API_TYPE_WIFI, kWifiDoc);
        seed(API_TYPE_GATEWAY, kGatewayDoc);
    }

    // Runs a wifi operation by name.
    WifiRsp call(const char* op, const FAL_PARAMS_T& params = {}, const char* body = nullptr)
    {
        return WifiRsp{OpRsp(run(family_, requestId(op), params, body)), op};
    }

    // Canonical JSON of the member at path of a document as it stands, "absent" when missing.
    std::string stored(unsigned apiType, const char* path)
    {
        TreeMapObject* doc = LocalDbCtrl::copyDocument(apiType);
        TreeMapObject* node = doc ? doc->get(path) : nullptr;
        std::string text = node ? canon(json(node)) : "absent";
        delete node;
        delete doc;
        return text;
    }
    std::string wifiAt(const char* path) { return stored(API_TYPE_WIFI, path); }
    std::string gatewayAt(const char* path) { return stored(API_TYPE_GATEWAY, path); }

    // The "connected" flags of the gateway devices, in order.
    std::string connectedFlags()
    {
        std::string flags;
        for (int i = 0; i < 5; ++i)
            flags += gatewayAt(("connectedDevices.[" + std::to_string(i) + "].connected").c_str())[0];
        return flags;
    }

    // Checks status and message, and that the reply carries its operation's response id.
    void expectAnswer(const WifiRsp& rsp, unsigned status, const char* message)
    {
        ASSERT_NE(rsp, nullptr) << rsp.op;
        EXPECT_EQ(rsp->status, status) << rsp.op;
        EXPECT_STREQ(rsp->message, message) << rsp.op;
        EXPECT_EQ(rsp->msgId, requestId(rsp.op) + 1) << rsp.op;
        EXPECT_EQ(rsp->apiType, unsigned(API_TYPE_WIFI));
    }

    // Canonical JSON of a reply's data, "null" for none.
    static std::string text(TreeMapObject* tree) { return tree ? canon(json(tree)) : "null"; }

    bool logged(int type, const std::string& text)
    {
        for (const auto& log : logs_) {
            if (log.type == type && log.group == LOG_GROUP_WIFI && log.text == text)
                return true;
        }
        return false;
    }
};

