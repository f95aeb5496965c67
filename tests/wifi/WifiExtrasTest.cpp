// WPS, WMM, WDS, scanning and the whole-wifi operations.
#include <cctype>
#include <fstream>
#include <sstream>

#include "wifi/WifiFixture.h"

namespace {

FAL_PARAMS_T wdsOf(const char* interfaceId)
{
    return {{"@interfaceId", interfaceId}};
}

const char* slave(const char* mac)
{
    static std::string body;
    body = std::string(R"({"type": "slave", "ext": {}, "mac": ")") + mac + "\"}";
    return body.c_str();
}

}  // namespace

TEST_F(WifiTest, WpsAnswers)
{
    WifiRsp got = call("WifiWpsGet");
    expectAnswer(got, FAL_OK, kFine);
    EXPECT_EQ(text(got->data), wifiAt("wps"));

    expectAnswer(call("WifiWpsUpdate", {}, R"({"active": true})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("wps.active"), "true");
    expectAnswer(call("WifiWpsActivateDevicepin", {}, R"({"pin": "00001111"})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("wps.pin"), "\"00001111\"");

    WifiRsp started = call("WifiWpsActivate");
    expectAnswer(started, FAL_ACCEPTED, kFine);
    EXPECT_EQ(text(started->data), canon(R"({"retryAfter[1]": 60, "retryAfter[2]": 40, "retryAfter[3]": 20,
      "retryAfter[4]": 10, "maxRetry": 4, "location": "/api/v1/wifi/wps/connection"})"));

    WifiRsp factory = call("WifiWpsRestoreDefault");
    expectAnswer(factory, FAL_OK, "");
    EXPECT_EQ(text(factory->data), canon(R"({"pin": "40592718"})"));
    expectAnswer(call("WifiWpsCancel"), FAL_OK, "");
    expectAnswer(call("WifiRestoreDefault"), FAL_OK, "");
    expectAnswer(call("WifiRestart"), FAL_OK, "");

    WifiRsp connection = call("WifiWpsGetConnection");
    expectAnswer(connection, FAL_OK, kFine);
    EXPECT_EQ(text(connection->data), canon(R"({"status": "success"})"));

    for (const char* op : {"WifiWpsGet", "WifiWpsGetConnection"}) {
        LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
        WifiRsp failed = call(op);
        EXPECT_EQ(failed->status, unsigned(FAL_DB_ERROR));
        EXPECT_STREQ(failed->message, "failed to get database wifi");
    }
    for (const char* op : {"WifiWpsUpdate", "WifiWpsActivateDevicepin"}) {
        LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
        expectAnswer(call(op, {}, "{}"), FAL_DB_ERROR, "failed to get database wifi");
        LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
        expectAnswer(call(op, {}, "{}"), FAL_DB_ERROR, "failed to save database");
        expectAnswer(call(op), FAL_BAD_REQUEST, "null request content");
    }
}

TEST_F(WifiTest, RouterPinIsEightDigits)
{
    WifiRsp rsp = call("WifiWpsActivateRouterpin");
    expectAnswer(rsp, FAL_OK, "");
    ASSERT_NE(rsp->data, nullptr);
    const char* pin = rsp->data->get<const char*>("pin");
    ASSERT_NE(pin, nullptr);
    ASSERT_EQ(strlen(pin), 8u);
    for (const char* c = pin; *c; ++c)
        EXPECT_TRUE(isdigit(static_cast<unsigned char>(*c))) << pin;
    EXPECT_EQ(wifiAt("wps.pin"), "\"12345670\"");
}

TEST_F(WifiTest, WmmPerRadio)
{
    FAL_PARAMS_T first = {{"@interfaceId", "0"}};
    WifiRsp got = call("WifiWmmGet", first);
    expectAnswer(got, FAL_OK, kFine);
    EXPECT_EQ(text(got->data), wifiAt("wmm.24g"));

    expectAnswer(call("WifiWmmUpdate", first, R"({"noAck": true, "option": "manual", "other": 1})"), FAL_OK, kFine);
    EXPECT_EQ(wifiAt("wmm.24g"), canon(R"({"active": true, "option": "manual", "noAck": true, "powersave": true})"));

    for (const char* op : {"WifiWmmGet", "WifiWmmUpdate"}) {
        expectAnswer(call(op, {{"@interfaceId", "1"}}, "{}"), FAL_NOT_FOUND, "failed to get wmm");
        LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
        expectAnswer(call(op, first, "{}"), FAL_DB_ERROR, "failed to get database wifi");
        expectAnswer(call(op, {}, "{}"), FAL_BAD_REQUEST, "Wrong URI");
    }
    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiWmmUpdate", first, "{}"), FAL_DB_ERROR, "failed to save database");
}

TEST_F(WifiTest, WdsSlavesMakeTheRadioMasterUpToFourPeers)
{
    WifiRsp first = call("WifiWdsCreate", wdsOf("0"), slave("m0"));
    expectAnswer(first, FAL_CREATED, kFine);
    EXPECT_EQ(text(first->data), canon(R"({"id": 0})"));
    EXPECT_EQ(wifiAt("wds.24g.master"), "true");
    EXPECT_EQ(wifiAt("wds.24g.rules.[0]"), canon(R"({"type": "slave", "ext": {}, "mac": "m0", "index": 0})"));

    for (const char* mac : {"m1", "m2", "m3"})
        expectAnswer(call("WifiWdsCreate", wdsOf("0"), slave(mac)), FAL_CREATED, kFine);
    EXPECT_EQ(wifiAt("wds.24g.rules.[3].index"), "3");

    WifiRsp fifth = call("WifiWdsCreate", wdsOf("0"), slave("m4"));
    expectAnswer(fifth, FAL_BAD_REQUEST, "incorrect structure");
    EXPECT_EQ(text(fifth->data), "{}");
    EXPECT_TRUE(logged(LOG_TYPE_ERROR, "Exceed limit of child type slave.\n"));
    expectAnswer(call("WifiWdsCreate", wdsOf("0"), R"({"type": "master"})"), FAL_BAD_REQUEST, "failed to get master");
    EXPECT_EQ(wifiAt("wds.24g.rules.[4]"), "absent");
}

TEST_F(WifiTest, WdsStructureRefusals)
{
    // 5 GHz: a master radio with one slave "m2" numbered 2.
    expectAnswer(call("WifiWdsCreate", wdsOf("1"), slave("m2")), FAL_BAD_REQUEST, "Mac address is duplicated");
    EXPECT_TRUE(logged(LOG_TYPE_ERROR, "Mac address is duplicated.\n"));
    expectAnswer(call("WifiWdsCreate", wdsOf("1"), R"({"type": "slave", "mac": "m9"})"), FAL_BAD_REQUEST,
                 "failed to get slave");
    EXPECT_TRUE(logged(LOG_TYPE_ERROR, "ext field should not be NULL.\n"));
    WifiRsp next = call("WifiWdsCreate", wdsOf("1"), slave("m9"));
    EXPECT_EQ(text(next->data), canon(R"({"id": 3})"));

    // A master peer on an empty table clears the flag; a slave then needs a master radio.
    expectAnswer(call("WifiWdsCreate", wdsOf("0"), R"({"type": "master", "mac": "x"})"), FAL_CREATED, kFine);
    EXPECT_EQ(wifiAt("wds.24g.master"), "false");
    expectAnswer(call("WifiWdsCreate", wdsOf("0"), slave("y")), FAL_BAD_REQUEST, "failed to get slave");
    expectAnswer(call("WifiWdsCreate", wdsOf("0"), R"({"type": "master"})"), FAL_BAD_REQUEST, "incorrect structure");
    EXPECT_TRUE(logged(LOG_TYPE_ERROR, "Exceed limit of child type master.\n"));
    // Another type passes every rule and leaves the flag alone.
    expectAnswer(call("WifiWdsCreate", wdsOf("0"), R"({"type": "bridge"})"), FAL_CREATED, kFine);
    EXPECT_EQ(wifiAt("wds.24g.master"), "false");
    EXPECT_EQ(wifiAt("wds.24g.rules.[1].index"), "1");
}

TEST_F(WifiTest, WdsCreateFailures)
{
    expectAnswer(call("WifiWdsCreate", {}, slave("a")), FAL_BAD_REQUEST, "Wrong URI");
    // No body, or a body that is no peer object, gets no answer at all and stores nothing.
    EXPECT_EQ(call("WifiWdsCreate", wdsOf("0")), nullptr);
    EXPECT_TRUE(logged(LOG_TYPE_ERROR, "Error received null request\n"));
    EXPECT_EQ(call("WifiWdsCreate", wdsOf("0"), "[1, 2]"), nullptr);
    EXPECT_EQ(call("WifiWdsCreate", wdsOf("0"), R"("slave")"), nullptr);
    EXPECT_EQ(call("WifiWdsUpdate", wdsOf("0"), "5"), nullptr);
    EXPECT_EQ(wifiAt("wds.24g"), canon(R"({"active": false, "master": false, "rules": []})"));
    expectAnswer(call("WifiWdsCreate", wdsOf("2"), slave("a")), FAL_FAILED, kFine);

    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiWdsCreate", wdsOf("0"), slave("a")), FAL_DB_ERROR, "failed to get wds");
    EXPECT_TRUE(logged(LOG_TYPE_ERROR, "Cannot load object wds in local database\n"));
    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiWdsCreate", wdsOf("0"), slave("a")), FAL_DB_ERROR, "failed to save database");
    EXPECT_EQ(wifiAt("wds.24g"), canon(R"({"active": false, "master": false, "rules": []})"));

    seed(API_TYPE_WIFI, R"({"wds": {"24g": {"master": true}}})");
    expectAnswer(call("WifiWdsCreate", wdsOf("0"), slave("a")), FAL_DB_ERROR, "failed to get rules");
    EXPECT_TRUE(logged(LOG_TYPE_TRACE, "WifiWdsCreate Enter\n"));
    EXPECT_TRUE(logged(LOG_TYPE_TRACE, "WifiWdsCreate Exit\n"));
}

TEST_F(WifiTest, WdsReadUpdateAndDelete)
{

    WifiRsp got = call("WifiWdsGet", wdsOf("1"), "{}");
    expectAnswer(got, FAL_OK, kFine);
    EXPECT_EQ(text(got->data), wifiAt("wds.50g"));
    EXPECT_EQ(call("WifiWdsGet", wdsOf("1")), nullptr);
    WifiRsp none = call("WifiWdsGet", wdsOf("3"), "{}");
    expectAnswer(none, FAL_FAILED, kFine);
    EXPECT_EQ(none->data, nullptr);
    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiWdsGet", wdsOf("1"), "{}"), FAL_FAILED, kFine);

    expectAnswer(call("WifiWdsUpdate", wdsOf("0"), R"({"active": true})"), FAL_OK, kFine);
    EXPECT_EQ(wifiAt("wds.24g.active"), "true");
    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiWdsUpdate", wdsOf("0"), R"({"active": false})"), FAL_FAILED, kFine);
    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiWdsUpdate", wdsOf("0"), R"({"active": false})"), FAL_DB_ERROR, "failed to load database");

    expectAnswer(call("WifiWdsDelete", wdsOf("1")), FAL_BAD_REQUEST, "Wrong URI");
    expectAnswer(call("WifiWdsDelete", {{"@interfaceId", "1"}, {"@ruleId", "7"}}), FAL_DELETED, kFine);
    EXPECT_EQ(wifiAt("wds.50g.rules.[0].index"), "2");
    expectAnswer(call("WifiWdsDelete", {{"@interfaceId", "1"}, {"@ruleId", "2"}}), FAL_DELETED, kFine);
    EXPECT_EQ(wifiAt("wds.50g"), canon(R"({"active": true, "master": true, "rules": []})"));
    expectAnswer(call("WifiWdsDelete", {{"@interfaceId", "3"}, {"@ruleId", "2"}}), FAL_FAILED, kFine);
    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiWdsDelete", {{"@interfaceId", "1"}, {"@ruleId", "2"}}), FAL_DB_ERROR,
                 "Failed to load database");

    call("WifiWdsCreate", wdsOf("0"), slave("a"));
    expectAnswer(call("WifiWdsDeleteAll", wdsOf("0")), FAL_OK, kFine);
    EXPECT_EQ(wifiAt("wds.24g"), canon(R"({"active": true, "master": true, "rules": []})"));
    expectAnswer(call("WifiWdsDeleteAll", wdsOf("4")), FAL_NOT_FOUND, "cannot find object");
    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiWdsDeleteAll", wdsOf("0")), FAL_DB_ERROR, "failed to save database");
    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiWdsDeleteAll", wdsOf("0")), FAL_DB_ERROR, "failed to load database");
}

TEST_F(WifiTest, ScanResultAlternatesHintsAndResults)
{
    struct Case {
        const char* id;
        const char* location;
    } cases[] = {{"0", "/api/v1/wifi/0/scanResult"}, {"1", "/api/v1/wifi/1/scanResult"}, {"2", "/api/v1/wifi//scanResult"}};
    for (const auto& c : cases) {
        WifiRsp rsp = call("WifiScan", {{"@interfaceId", c.id}});
        expectAnswer(rsp, FAL_ACCEPTED, "OK");
        EXPECT_EQ(text(rsp->data), canon(std::string(R"({"location": ")") + c.location +
                                         R"(", "retryAfter": 5, "maxRetry": 1})"));
    }

    FAL_PARAMS_T first = {{"@interfaceId", "0"}};
    WifiRsp hints = call("WifiScanResult", first);
    expectAnswer(hints, FAL_OK, kFine);
    EXPECT_EQ(text(hints->data), canon(R"({"location": "/api/v1/wifi/0/scanResult", "retryAfter": 2, "maxRetry": 1})"));
    WifiRsp results = call("WifiScanResult", first);
    expectAnswer(results, FAL_OK, kFine);
    EXPECT_EQ(text(results->data), canon(R"([{"ssid": "Neighbour"}])"));

    // The toggle flips on a failed lock too, and a radio without results answers no data.
    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiScanResult", first), FAL_DB_ERROR, "failed to get database wifi");
    WifiRsp empty = call("WifiScanResult", {{"@interfaceId", "1"}});
    expectAnswer(empty, FAL_OK, kFine);
    EXPECT_EQ(empty->data, nullptr);

    seed(API_TYPE_WIFI, R"({"wifiScan": {"retryAfter": 9, "maxRetry": 4}})");
    WifiRsp halved = call("WifiScanResult", first);
    EXPECT_EQ(text(halved->data), canon(R"({"location": "/api/v1/wifi/0/scanResult", "retryAfter": 4, "maxRetry": 3})"));

    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiScan", first), FAL_DB_ERROR, "failed to get database wifi");
    // A malformed poll flips the toggle as well: the next one answers hints again, not results.
    expectAnswer(call("WifiScanResult"), FAL_BAD_REQUEST, "Wrong URI");
    WifiRsp again = call("WifiScanResult", first);
    EXPECT_EQ(text(again->data), canon(R"({"location": "/api/v1/wifi/0/scanResult", "retryAfter": 4, "maxRetry": 3})"));
}

// Every operation answers with success on the factory-default documents.
TEST_F(WifiTest, FactoryDefaultsServeEveryOperation)
{
    auto load = [](const char* name) {
        std::ifstream in(std::string(FAL_SOURCE_DIR) + "/defaults/db/" + name);
        std::stringstream text;
        text << in.rdbuf();
        return text.str();
    };
    seed(API_TYPE_WIFI, load("wifi.json"));
    FAL_PARAMS_T first = {{"@interfaceId", "0"}};
    FAL_PARAMS_T primary = {{"@interfaceId", "0"}, {"@ssidId", "0"}};
    FAL_PARAMS_T rule = {{"@interfaceId", "0"}, {"@ssidId", "0"}, {"@ruleId", "0"}};
    FAL_PARAMS_T wdsRule = {{"@interfaceId", "1"}, {"@ruleId", "0"}};
    struct Case {
        const char* op;
        FAL_PARAMS_T params;
        const char* body;
    } cases[] = {
        {"WifiInterfaceGet", {}, nullptr},
        {"WifiRadioGet", first, nullptr},
        {"WifiRadioChange", first, R"({"basic": {"outputPower": "high"}})"},
        {"WifiRadioRestoreDefault", first, nullptr},
        {"WifiRadioActive", first, R"({"active": true})"},
        {"WifiNetworkTypeGet", first, nullptr},
        {"WifiNetworkTypeChange", {{"@interfaceId", "0"}, {"@type", "guest"}}, R"({"active": true})"},
        {"WifiSsidListAll", first, nullptr},
        {"WifiSsidGet", primary, nullptr},
        {"WifiSsidActive", primary, R"({"active": true})"},
        {"WifiSsidCreate", first, R"({"name": "Extra", "active": true, "security": {"type": "WPA2-PSK"}})"},
        {"WifiSsidGuestDelete", {{"@interfaceId", "0"}, {"@ssidId", "2"}}, nullptr},
        {"WifiSsidAccesscontrolGet", primary, nullptr},
        {"WifiSsidAccesscontrolCreate", primary, R"({"macAddress": "00:11:22:33:44:55"})"},
        {"WifiSsidAccesscontrolPatch", rule, R"({"macAddress": "00:11:22:33:44:66"})"},
        {"WifiSsidAccesscontrolDeleteOne", rule, nullptr},
        {"WifiSsidAccesscontrolActive", primary, R"({"active": true})"},
        {"WifiWpsGet", {}, nullptr},
        {"WifiWpsGetConnection", {}, nullptr},
        {"WifiWmmGet", {{"@interfaceId", "1"}}, nullptr},
        {"WifiWdsGet", {{"@interfaceId", "1"}}, "{}"},
        {"WifiWdsCreate", {{"@interfaceId", "1"}}, R"({"type": "slave", "mac": "00:1A:2B:3C:4D:5F", "ext": {}})"},
        {"WifiWdsDelete", wdsRule, nullptr},
        {"WifiWdsUpdate", {{"@interfaceId", "0"}}, R"({"active": true})"},
        {"WifiWmmUpdate", first, R"({"powersave": false})"},
        {"WifiSsidGuestDeleteAll", first, nullptr},
        {"WifiScan", first, nullptr},
        {"WifiScanResult", first, nullptr},
        {"WifiScanResult", first, nullptr},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        WifiRsp rsp = call(c.op, c.params, c.body);
        ASSERT_NE(rsp, nullptr);
        EXPECT_LE(rsp->status, unsigned(FAL_DELETED)) << rsp->message;
    }
    // The default SSIDs carry the names the gateway's default devices are attached to.
    seed(API_TYPE_WIFI, load("wifi.json"));
    EXPECT_EQ(wifiAt("ssid.24g.[0].name"), "\"HomeNet-2.4G\"");
    EXPECT_EQ(wifiAt("ssid.24g.[1].name"), "\"HomeNet-Guest\"");
    EXPECT_EQ(wifiAt("ssid.50g.[0].name"), "\"HomeNet-5G\"");
    EXPECT_EQ(wifiAt("ssid.24g.[1].type"), "\"guest\"");
}
