// SSIDs, guest networks and the per-SSID access-control lists.
#include "wifi/WifiFixture.h"

namespace {

const FAL_PARAMS_T k24 = {{"@interfaceId", "0"}};

FAL_PARAMS_T ssidOf(const char* interfaceId, const char* index)
{
    return {{"@interfaceId", interfaceId}, {"@ssidId", index}};
}

FAL_PARAMS_T ruleOf(const char* index, const char* rule)
{
    return {{"@interfaceId", "0"}, {"@ssidId", index}, {"@ruleId", rule}};
}

}  // namespace

TEST_F(WifiTest, SsidListAllSummarisesEachSsid)
{
    WifiRsp rsp = call("WifiSsidListAll", k24);
    expectAnswer(rsp, FAL_OK, kFine);
    EXPECT_EQ(text(rsp->data), canon(R"([
      {"index": 0, "type": "primary", "active": true, "name": "Home", "securityType": "WPA2/WPA-PSK",
       "password": "p0", "macAddress": "ab:ed:ef:01:10:02"},
      {"index": 1, "type": "guest", "active": true, "name": "Guest1", "securityType": "WEP",
       "password": "w1", "macAddress": "ab:ed:ef:01:10:02"},
      {"index": 3, "type": "guest", "active": true, "name": "Guest3", "securityType": "OPEN",
       "password": "", "macAddress": "ab:ed:ef:01:10:02"}])"));

    // An SSID without a security type keeps its place empty.
    seed(API_TYPE_WIFI, R"({"ssid": {"24g": [{"index": 0, "name": "A"},
                                              {"index": 1, "name": "B", "security": {"type": "WPA-PSK",
                                               "personal": {"password": "pb"}}}]}})");
    WifiRsp gap = call("WifiSsidListAll", k24);
    EXPECT_EQ(text(gap->data), canon(R"([null, {"index": 1, "type": null, "active": false, "name": "B",
      "securityType": "WPA-PSK", "password": "pb", "macAddress": "ab:ed:ef:01:10:02"}])"));
    EXPECT_TRUE(logged(LOG_TYPE_INFO, "WifiSsidListAll: [0] security.type=null\n"));

    expectAnswer(call("WifiSsidListAll", {{"@interfaceId", "1"}}), FAL_NOT_FOUND, "failed to get ssid");
    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiSsidListAll", k24), FAL_DB_ERROR, "failed to get database wifi");
}

TEST_F(WifiTest, SsidGetShowsTheListSwitchAndAFixedMac)
{
    WifiRsp rsp = call("WifiSsidGet", ssidOf("0", "0"));
    expectAnswer(rsp, FAL_OK, kFine);
    EXPECT_EQ(text(rsp->data), canon(R"({"index": 0, "type": "primary", "active": true, "name": "Home",
      "security": {"type": "WPA2/WPA-PSK", "personal": {"password": "p0"}, "wep": {"password": "w0"}},
      "accessControl": true, "macAddress": "11:22:33:44:55:66"})"));
    EXPECT_EQ(wifiAt("ssid.24g.[0].accessControl.active"), "true");

    expectAnswer(call("WifiSsidGet", ssidOf("0", "2")), FAL_NOT_FOUND, "No record found");
    expectAnswer(call("WifiSsidGet", ssidOf("7", "0")), FAL_NOT_FOUND, "No record found");
    expectAnswer(call("WifiSsidGet", k24), FAL_BAD_REQUEST, "Wrong URI");
}

TEST_F(WifiTest, SsidUpdateReplacesTheSevenSettings)
{
    const char* body = R"({"active": false, "name": "Renamed", "security": {"type": "WEP"}, "webUIAccess": true,
                           "hiddenSSID": true, "APIsolate": false, "internetOnly": true, "index": 9,
                           "type": "x", "accessControl": 1})";
    expectAnswer(call("WifiSsidUpdate", ssidOf("0", "3"), body), FAL_OK, "");
    EXPECT_EQ(wifiAt("ssid.24g.[2]"), canon(R"({"index": 3, "type": "guest", "active": false, "name": "Renamed",
      "security": {"type": "WEP"}, "accessControl": {"active": false, "maxRules": 64, "allow": false, "rules": []},
      "webUIAccess": true, "hiddenSSID": true, "APIsolate": false, "internetOnly": true})"));
    // Switching off through an update disconnects nobody.
    EXPECT_EQ(connectedFlags(), "ttttt");

    expectAnswer(call("WifiSsidUpdate", ssidOf("0", "4"), body), FAL_NOT_FOUND, "failed to get ssid");
    expectAnswer(call("WifiSsidUpdate", ssidOf("3", "0"), body), FAL_NOT_FOUND, "failed to get ssid array");
    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiSsidUpdate", ssidOf("0", "0"), body), FAL_DB_ERROR, "failed to save database");
    EXPECT_EQ(wifiAt("ssid.24g.[0].name"), "\"Home\"");
}

TEST_F(WifiTest, SsidCreateTakesTheLowestFreeGuestNumber)
{
    WifiRsp rsp = call("WifiSsidCreate", k24,
                       R"({"name": "New", "active": true, "type": "primary", "accessControl": {"rules": [1]}})");
    expectAnswer(rsp, FAL_CREATED, "New Created");
    EXPECT_EQ(text(rsp->data), canon(R"({"id": 2})"));
    EXPECT_EQ(wifiAt("ssid.24g.[3]"), canon(R"({"name": "New", "active": true, "type": "guest",
      "accessControl": {"active": false, "maxRules": 64, "allow": false, "rules": []}, "index": 2})"));

    // 4 to 7 next; then the radio is full, and that is said before a missing body.
    for (int expected = 4; expected <= 7; ++expected) {
        WifiRsp more = call("WifiSsidCreate", k24, R"({"name": "More"})");
        EXPECT_EQ(text(more->data), "{\"id\":" + std::to_string(expected) + "}");
    }
    expectAnswer(call("WifiSsidCreate", k24, R"({"name": "Too many"})"), FAL_FAILED, "unable to add more ssid");
    expectAnswer(call("WifiSsidCreate", k24), FAL_FAILED, "unable to add more ssid");
    expectAnswer(call("WifiSsidCreate", {{"@interfaceId", "1"}}), FAL_BAD_REQUEST, "null request content");

    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    WifiRsp unsaved = call("WifiSsidCreate", {{"@interfaceId", "1"}}, R"({"name": "G"})");
    expectAnswer(unsaved, FAL_DB_ERROR, "failed to save database");
    EXPECT_EQ(text(unsaved->data), canon(R"({"id": 1})"));
    expectAnswer(call("WifiSsidCreate", {{"@interfaceId", "2"}}, R"({})"), FAL_NOT_FOUND, "failed to get ssid array");
}

TEST_F(WifiTest, GuestDeleteKeepsThePrimary)
{
    for (const char* index : {"0", "abc", ""})
        expectAnswer(call("WifiSsidGuestDelete", ssidOf("0", index)), FAL_BAD_REQUEST, "wrong ssidId");
    std::string before = wifiAt("ssid");
    expectAnswer(call("WifiSsidGuestDelete", ssidOf("0", "5")), FAL_DELETED, "Record Deleted");
    EXPECT_EQ(wifiAt("ssid"), before);
    expectAnswer(call("WifiSsidGuestDelete", ssidOf("0", "1")), FAL_DELETED, "Record Deleted");
    EXPECT_EQ(wifiAt("ssid.24g.[1].index"), "3");
    EXPECT_EQ(wifiAt("ssid.24g.[2]"), "absent");
    expectAnswer(call("WifiSsidGuestDelete", ssidOf("3", "1")), FAL_NOT_FOUND, "cannot get ssid array");

    expectAnswer(call("WifiSsidGuestDeleteAll", k24), FAL_OK, "");
    EXPECT_EQ(wifiAt("ssid.24g.[0].name"), "\"Home\"");
    EXPECT_EQ(wifiAt("ssid.24g.[1]"), "absent");
    expectAnswer(call("WifiSsidGuestDeleteAll", {{"@interfaceId", "3"}}), FAL_NOT_FOUND, "failed to get ssid array");
    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiSsidGuestDeleteAll", k24), FAL_DB_ERROR, "failed to save database");

    // The band key comes from "interfaces": a radio it does not name keeps its guests.
    seed(API_TYPE_WIFI, R"({"interfaces": ["lan"], "ssid": {"24g": [{"index": 0}, {"index": 1}]}})");
    expectAnswer(call("WifiSsidGuestDeleteAll", k24), FAL_OK, "");
    EXPECT_EQ(wifiAt("ssid.24g"), canon(R"([{"index": 0}, {"index": 1}])"));
}

TEST_F(WifiTest, SsidActiveOffDisconnectsItsDevices)
{
    expectAnswer(call("WifiSsidActive", ssidOf("0", "1"), R"({"active": false})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("ssid.24g.[1].active"), "false");
    EXPECT_EQ(connectedFlags(), "tfttt");
    expectAnswer(call("WifiSsidActive", ssidOf("0", "1"), R"({"active": true})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("ssid.24g.[1].active"), "true");
    EXPECT_EQ(connectedFlags(), "tfttt");

    expectAnswer(call("WifiSsidActive", ssidOf("0", "6"), R"({"active": false})"), FAL_OK, "");
    EXPECT_EQ(connectedFlags(), "tfttt");
    expectAnswer(call("WifiSsidActive", ssidOf("4", "0"), R"({"active": false})"), FAL_NOT_FOUND,
                 "failed to get ssid array");
    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiSsidActive", ssidOf("0", "0"), R"({"active": false})"), FAL_DB_ERROR,
                 "failed to get database wifi");
    EXPECT_EQ(connectedFlags(), "tfttt");
}

TEST_F(WifiTest, AccessControlRulesGetFreshIds)
{
    WifiRsp created = call("WifiSsidAccesscontrolCreate", ssidOf("0", "0"), R"({"mac": "d", "id": 0})");
    expectAnswer(created, FAL_OK, "");
    EXPECT_EQ(text(created->data), canon(R"({"id": 6})"));
    EXPECT_EQ(wifiAt("ssid.24g.[0].accessControl.rules.[3]"), canon(R"({"mac": "d", "id": 6})"));

    WifiRsp first = call("WifiSsidAccesscontrolCreate", ssidOf("0", "1"), R"({"mac": "e"})");
    EXPECT_EQ(text(first->data), canon(R"({"id": 0})"));

    // A full list, or an SSID that does not exist, adds nothing and still answers id 0.
    seed(API_TYPE_WIFI, R"({"ssid": {"24g": [{"index": 0, "accessControl": {"maxRules": 1, "rules": [{"id": 4}]}}]}})");
    WifiRsp full = call("WifiSsidAccesscontrolCreate", ssidOf("0", "0"), R"({"mac": "f"})");
    expectAnswer(full, FAL_OK, "");
    EXPECT_EQ(text(full->data), canon(R"({"id": 0})"));
    EXPECT_EQ(wifiAt("ssid.24g.[0].accessControl.rules"), canon(R"([{"id": 4}])"));
    WifiRsp nowhere = call("WifiSsidAccesscontrolCreate", ssidOf("0", "5"), R"({"mac": "f"})");
    EXPECT_EQ(text(nowhere->data), canon(R"({"id": 0})"));

    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    WifiRsp unsaved = call("WifiSsidAccesscontrolCreate", ssidOf("0", "0"), R"({"mac": "f"})");
    expectAnswer(unsaved, FAL_DB_ERROR, "failed to save database");
    EXPECT_EQ(unsaved->data, nullptr);
}

TEST_F(WifiTest, AccessControlChangesAddressRulesById)
{
    FAL_PARAMS_T home = ssidOf("0", "0");
    expectAnswer(call("WifiSsidAccesscontrolPatch", ruleOf("0", "1"), R"({"mac": "B", "note": 1})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("ssid.24g.[0].accessControl.rules"),
              canon(R"([{"id": 0, "mac": "a"}, {"mac": "B", "note": 1, "id": 1}, {"id": 5, "mac": "c"}])"));

    std::string before = wifiAt("ssid");
    expectAnswer(call("WifiSsidAccesscontrolPatch", ruleOf("0", "9"), R"({"mac": "X"})"), FAL_OK, "");
    expectAnswer(call("WifiSsidAccesscontrolDeleteOne", ruleOf("0", "9")), FAL_DELETED, "Record Deleted");
    EXPECT_EQ(wifiAt("ssid"), before);
    expectAnswer(call("WifiSsidAccesscontrolDeleteOne", ruleOf("0", "0")), FAL_DELETED, "Record Deleted");
    EXPECT_EQ(wifiAt("ssid.24g.[0].accessControl.rules.[0].id"), "1");
    expectAnswer(call("WifiSsidAccesscontrolDeleteOne", home), FAL_BAD_REQUEST, "Wrong URI");

    expectAnswer(call("WifiSsidAccesscontrolDeleteAll", home), FAL_DELETED, "Record Deleted");
    EXPECT_EQ(wifiAt("ssid.24g.[0].accessControl"),
              canon(R"({"active": true, "maxRules": 64, "allow": false, "rules": []})"));

    expectAnswer(call("WifiSsidAccesscontrolActive", home, R"({"active": false})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("ssid.24g.[0].accessControl.active"), "false");

    expectAnswer(call("WifiSsidAccesscontrolUpdate", home, R"({"active": true, "maxRules": 10, "allow": true,
                                                                "rules": [{"id": 3}]})"),
                 FAL_OK, "");
    EXPECT_EQ(wifiAt("ssid.24g.[0].accessControl"),
              canon(R"({"active": true, "maxRules": 64, "allow": true, "rules": [{"id": 3}]})"));
}

TEST_F(WifiTest, AccessControlGetAndCommonFailures)
{
    WifiRsp rsp = call("WifiSsidAccesscontrolGet", ssidOf("0", "0"));
    expectAnswer(rsp, FAL_OK, kFine);
    EXPECT_EQ(text(rsp->data), wifiAt("ssid.24g.[0].accessControl"));
    WifiRsp missing = call("WifiSsidAccesscontrolGet", ssidOf("0", "2"));
    expectAnswer(missing, FAL_NOT_FOUND, "No requested ssid");
    EXPECT_EQ(missing->data, nullptr);
    expectAnswer(call("WifiSsidAccesscontrolGet", ssidOf("2", "0")), FAL_NOT_FOUND, "failed to get ssid array");
    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiSsidAccesscontrolGet", ssidOf("0", "0")), FAL_DB_ERROR, "failed to load database");

    struct Case {
        const char* op;
        FAL_PARAMS_T params;
        const char* body;
    } cases[] = {
        {"WifiSsidAccesscontrolUpdate", ssidOf("0", "0"), "{}"},
        {"WifiSsidAccesscontrolPatch", ruleOf("0", "0"), "{}"},
        {"WifiSsidAccesscontrolCreate", ssidOf("0", "0"), "{}"},
        {"WifiSsidAccesscontrolDeleteOne", ruleOf("0", "0"), nullptr},
        {"WifiSsidAccesscontrolDeleteAll", ssidOf("0", "0"), nullptr},
        {"WifiSsidAccesscontrolActive", ssidOf("0", "0"), "{}"},
    };
    std::string before = wifiAt("");
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
        expectAnswer(call(c.op, c.params, c.body), FAL_DB_ERROR, "failed to get database wifi");
        LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
        expectAnswer(call(c.op, c.params, c.body), FAL_DB_ERROR, "failed to save database");
        FAL_PARAMS_T otherRadio = c.params;
        otherRadio.front().second = "3";
        expectAnswer(call(c.op, otherRadio, c.body), FAL_NOT_FOUND, "failed to get ssid array");
    }
    EXPECT_EQ(wifiAt(""), before);
}
