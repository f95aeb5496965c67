// Band lookups, radios, radio switching and network types.
#include "wifi/WifiFixture.h"

TEST_F(WifiTest, BandLookupsFollowTheInterfaceId)
{
    TreeMapObject* both = TreeMapObject::parse(R"({"24g": 1, "50g": 2})");
    TreeMapObject* only5 = TreeMapObject::parse(R"({"50g": 2})");
    struct Case {
        TreeMapObject* obj;
        int id;
        const char* expected;
    } cases[] = {{both, 0, "1"}, {both, 1, "2"}, {only5, 0, "2"}, {both, 2, "null"}, {both, -1, "null"},
                 {nullptr, 0, "null"}};
    for (const auto& c : cases) {
        TreeMapObject* band = FalWifiLdb::GetTreeMapObjectByInterface(c.obj, c.id);
        EXPECT_EQ(text(band), c.expected) << c.id;
        delete band;
    }

    TreeMapObject value(false);
    EXPECT_EQ(FalWifiLdb::SetTreeMapObjectByInterface(only5, 0, &value), 0);
    EXPECT_EQ(text(only5), canon(R"({"50g": {}})"));
    EXPECT_EQ(FalWifiLdb::SetTreeMapObjectByInterface(both, 3, &value), 2);
    EXPECT_EQ(FalWifiLdb::SetTreeMapObjectByInterface(both, 0, nullptr), 2);

    TreeMapObject* twoRadios = TreeMapObject::parse(R"({"interfaces": ["2.4g", "5g"]})");
    TreeMapObject* firstIs5 = TreeMapObject::parse(R"({"interfaces": ["5g"]})");
    TreeMapObject* odd = TreeMapObject::parse(R"({"interfaces": ["lan", "x", "y"]})");
    EXPECT_STREQ(FalWifiLdb::GetInterfaceNameById(twoRadios, 0), "24g");
    EXPECT_STREQ(FalWifiLdb::GetInterfaceNameById(twoRadios, 1), "50g");
    EXPECT_STREQ(FalWifiLdb::GetInterfaceNameById(firstIs5, 0), "50g");
    EXPECT_EQ(FalWifiLdb::GetInterfaceNameById(firstIs5, 1), nullptr);
    EXPECT_EQ(FalWifiLdb::GetInterfaceNameById(odd, 0), nullptr);
    EXPECT_EQ(FalWifiLdb::GetInterfaceNameById(odd, 1), nullptr);
    EXPECT_EQ(FalWifiLdb::GetInterfaceNameById(twoRadios, 2), nullptr);
    for (TreeMapObject* t : {both, only5, twoRadios, firstIs5, odd})
        delete t;
}

TEST_F(WifiTest, InterfaceGetWrapsTheList)
{
    WifiRsp rsp = call("WifiInterfaceGet");
    expectAnswer(rsp, FAL_OK, "");
    EXPECT_EQ(text(rsp->data), canon(R"({"interfaces": ["2.4g", "5g"]})"));

    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    WifiRsp failed = call("WifiInterfaceGet");
    expectAnswer(failed, FAL_DB_ERROR, "failed to get database wifi");
    EXPECT_EQ(text(failed->data), "{}");
}

TEST_F(WifiTest, RadioGetSelectsASection)
{
    struct Case {
        FAL_PARAMS_T params;
        std::string expected;
    } cases[] = {
        {{{"@interfaceId", "1"}}, wifiAt("radio.50g")},
        {{{"@interfaceId", "0"}, {"@section", "channelList"}}, canon(R"({"channelList": [1, 6, 11]})")},
        {{{"@interfaceId", "0"}, {"@section", "active"}}, canon(R"({"active": true})")},
        {{{"@interfaceId", "0"}, {"@section", "other"}}, wifiAt("radio.24g")},
        // Positional values read as numbers: an empty one is interface 0, an empty section none.
        {{{"@interfaceId", ""}, {"@section", ""}}, wifiAt("radio.24g")},
    };
    for (const auto& c : cases) {
        WifiRsp rsp = call("WifiRadioGet", c.params);
        expectAnswer(rsp, FAL_OK, "");
        EXPECT_EQ(text(rsp->data), c.expected);
    }
    expectAnswer(call("WifiRadioGet", {{"@interfaceId", "2"}}), FAL_NOT_FOUND, "failed to get radio object");
    expectAnswer(call("WifiRadioGet"), FAL_BAD_REQUEST, "Wrong URI");

    // A device whose first radio is 5 GHz keeps it under "50g"; a section it lacks reads empty.
    seed(API_TYPE_WIFI, R"({"radio": {"50g": {"basic": {"channel": 40}}}})");
    WifiRsp fallback = call("WifiRadioGet", {{"@interfaceId", "0"}, {"@section", "advanced"}});
    expectAnswer(fallback, FAL_OK, "");
    EXPECT_EQ(text(fallback->data), "{}");
}

TEST_F(WifiTest, RadioChangeAppliesKnownSettingsAndFollowsOutputPower)
{
    WifiRsp rsp = call("WifiRadioChange", {{"@interfaceId", "0"}},
                       R"({"basic": {"channel": 11, "outputPower": "medium", "extra": 1}, "unknown": 2})");
    expectAnswer(rsp, FAL_OK, "");
    EXPECT_EQ(text(rsp->data), wifiAt("actualUsed"));
    EXPECT_EQ(wifiAt("radio.24g.basic"), canon(R"({"channel": 11, "outputPower": "medium"})"));
    EXPECT_EQ(wifiAt("radio.24g.unknown"), "absent");
    EXPECT_EQ(gatewayAt("connectivity.wifi.[0].connectivity"), "2");
    EXPECT_EQ(gatewayAt("connectivity.wifi.[1].connectivity"), "3");

    // No output power: logged, the gateway is left alone.
    expectAnswer(call("WifiRadioChange", {{"@interfaceId", "1"}}, R"({"advanced": {"countryCode": "FR"}})"), FAL_OK,
                 "");
    EXPECT_EQ(wifiAt("radio.50g.advanced"), canon(R"({"beaconInterval": 100, "countryCode": "FR"})"));
    EXPECT_TRUE(logged(LOG_TYPE_INFO, "No outputPower parameter found\n"));
    EXPECT_EQ(gatewayAt("connectivity.wifi.[1].connectivity"), "3");
}

TEST_F(WifiTest, RadioChangeFailures)
{
    const char* body = R"({"basic": {"channel": 1, "outputPower": "low"}})";
    FAL_PARAMS_T first = {{"@interfaceId", "0"}};
    expectAnswer(call("WifiRadioChange", {{"@interfaceId", "4"}}, body), FAL_NOT_FOUND, "failed to get radio object");

    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    WifiRsp unsaved = call("WifiRadioChange", first, body);
    expectAnswer(unsaved, FAL_DB_ERROR, "failed to save database");
    EXPECT_NE(unsaved->data, nullptr);
    EXPECT_EQ(gatewayAt("connectivity.wifi.[0].connectivity"), "1");

    seed(API_TYPE_WIFI, R"({"radio": {"24g": {"basic": {"channel": 6}}}})");
    WifiRsp noActual = call("WifiRadioChange", first, body);
    expectAnswer(noActual, FAL_NOT_FOUND, "failed to get 'actualUsed'");
    EXPECT_EQ(noActual->data, nullptr);
    EXPECT_EQ(wifiAt("radio.24g.basic.channel"), "6");

    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiRadioChange", first, body), FAL_DB_ERROR, "failed to get database wifi");
    expectAnswer(call("WifiRadioChange", first), FAL_BAD_REQUEST, "null request content");
}

TEST_F(WifiTest, RadioOffSwitchesTheWholeRadioOff)
{
    expectAnswer(call("WifiRadioActive", {{"@interfaceId", "0"}}, R"({"active": false})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("radio.24g.active"), "false");
    for (const char* path : {"ssid.24g.[0].active", "ssid.24g.[1].active", "ssid.24g.[2].active",
                             "networkType.24g.[0].active", "networkType.24g.[1].active"})
        EXPECT_EQ(wifiAt(path), "false") << path;
    EXPECT_EQ(connectedFlags(), "ffftt");
    EXPECT_EQ(gatewayAt("connectivity.wifi.[0].connectivity"), "0");
    EXPECT_EQ(gatewayAt("connectivity.wifi.[1].connectivity"), "3");

    expectAnswer(call("WifiRadioActive", {{"@interfaceId", "1"}}, R"({"active": false})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("ssid.50g.[0].active"), "false");
    EXPECT_EQ(connectedFlags(), "fffft");
    EXPECT_EQ(gatewayAt("connectivity.wifi.[1].connectivity"), "0");
}

TEST_F(WifiTest, RadioOnSwitchesThePrimaryAndNetworkTypesOn)
{
    call("WifiRadioActive", {{"@interfaceId", "0"}}, R"({"active": false})");
    expectAnswer(call("WifiRadioActive", {{"@interfaceId", "0"}}, R"({"active": true})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("radio.24g.active"), "true");
    EXPECT_EQ(wifiAt("ssid.24g.[0].active"), "true");
    EXPECT_EQ(wifiAt("ssid.24g.[1].active"), "false");
    EXPECT_EQ(wifiAt("networkType.24g"), canon(R"([{"active": true}, {"active": true, "ssid": []}])"));
    EXPECT_EQ(gatewayAt("connectivity.wifi.[0].connectivity"), "1");
    EXPECT_EQ(connectedFlags(), "ffftt");  // devices stay disconnected

    call("WifiRadioChange", {{"@interfaceId", "1"}}, R"({"basic": {"outputPower": "medium"}})");
    expectAnswer(call("WifiRadioActive", {{"@interfaceId", "1"}}, R"({"active": true})"), FAL_OK, "");
    EXPECT_EQ(gatewayAt("connectivity.wifi.[1].connectivity"), "2");
}

TEST_F(WifiTest, RadioActiveStopsWithoutItsLists)
{
    // No SSID list when switching on, no network types either way: the factory answer, nothing saved.
    seed(API_TYPE_WIFI, R"({"radio": {"24g": {"active": false}}, "networkType": {"24g": [{}, {}]}})");
    expectAnswer(call("WifiRadioActive", {{"@interfaceId", "0"}}, R"({"active": true})"), FAL_OK, kFine);
    EXPECT_EQ(wifiAt("radio.24g.active"), "false");
    seed(API_TYPE_WIFI, R"({"radio": {"24g": {"active": true}}})");
    expectAnswer(call("WifiRadioActive", {{"@interfaceId", "0"}}, R"({"active": false})"), FAL_OK, kFine);
    EXPECT_EQ(wifiAt("radio.24g.active"), "true");

    expectAnswer(call("WifiRadioActive", {{"@interfaceId", "1"}}, R"({"active": false})"), FAL_DB_ERROR,
                 "failed to get database wifi");
    seed(API_TYPE_WIFI, kWifiDoc);
    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiRadioActive", {{"@interfaceId", "1"}}, R"({"active": false})"), FAL_DB_ERROR,
                 "failed to save database");
    EXPECT_EQ(wifiAt("radio.50g.active"), "true");
}

TEST_F(WifiTest, RadioRestoreDefaultCopiesTheFactorySettings)
{
    WifiRsp rsp = call("WifiRadioRestoreDefault", {{"@interfaceId", "1"}});
    expectAnswer(rsp, FAL_OK, "");
    std::string restored = canon(R"({"active": true, "basic": {"channel": 40, "outputPower": "medium"},
                                     "advanced": {"beaconInterval": 50}})");
    EXPECT_EQ(text(rsp->data), restored);
    EXPECT_EQ(wifiAt("radio.50g.basic"), wifiAt("radioDefault.50g.basic"));
    EXPECT_EQ(wifiAt("radio.50g.channelList"), "[36,40]");

    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiRadioRestoreDefault", {{"@interfaceId", "0"}}), FAL_DB_ERROR, "failed to save database");
    seed(API_TYPE_WIFI, R"({"radio": {"24g": {}}})");
    expectAnswer(call("WifiRadioRestoreDefault", {{"@interfaceId", "0"}}), FAL_DB_ERROR, "failed to get database wifi");
}

TEST_F(WifiTest, NetworkTypeGetListsTheGuestSsids)
{
    WifiRsp rsp = call("WifiNetworkTypeGet", {{"@interfaceId", "0"}});
    expectAnswer(rsp, FAL_OK, "OK");
    EXPECT_EQ(text(rsp->data), canon(R"([{"active": true}, {"active": true, "ssid": [1, 3]}])"));
    EXPECT_EQ(wifiAt("networkType.24g.[1].ssid"), "[]");

    WifiRsp single = call("WifiNetworkTypeGet", {{"@interfaceId", "1"}});
    EXPECT_EQ(text(single->data), canon(R"([{"active": true}, {"active": false, "ssid": []}])"));
    expectAnswer(call("WifiNetworkTypeGet", {{"@interfaceId", "2"}}), FAL_NOT_FOUND, "failed to get network type");
}

TEST_F(WifiTest, NetworkTypeChangeByName)
{
    FAL_PARAMS_T guest = {{"@interfaceId", "0"}, {"@type", "guest"}};
    expectAnswer(call("WifiNetworkTypeChange", guest, R"({"active": false})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("networkType.24g.[1].active"), "false");
    EXPECT_EQ(wifiAt("ssid.24g.[1].active"), "true");

    FAL_PARAMS_T primary = {{"@interfaceId", "0"}, {"@type", "primary"}};
    expectAnswer(call("WifiNetworkTypeChange", primary, R"({"active": false})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("networkType.24g.[0].active"), "false");
    EXPECT_EQ(wifiAt("ssid.24g.[0].active"), "false");

    std::string before = wifiAt("");
    expectAnswer(call("WifiNetworkTypeChange", {{"@interfaceId", "0"}, {"@type", "mesh"}}, R"({"active": true})"),
                 FAL_OK, "");
    EXPECT_EQ(wifiAt(""), before);

    LocalDbCtrl::failNextSaves(API_TYPE_WIFI, 1);
    expectAnswer(call("WifiNetworkTypeChange", primary, R"({"active": true})"), FAL_DB_ERROR,
                 "failed to save database");
    expectAnswer(call("WifiNetworkTypeChange", {{"@interfaceId", "5"}, {"@type", "guest"}}, R"({"active": true})"),
                 FAL_NOT_FOUND, "failed to get network type");
    expectAnswer(call("WifiNetworkTypeChange", {{"@interfaceId", "0"}}, R"({"active": true})"), FAL_BAD_REQUEST,
                 "Wrong URI");
}

TEST_F(WifiTest, GatewayFailuresDoNotStopTheWifiChange)
{
    // Switching 2.4 GHz off updates the gateway once per SSID, then its connectivity. The first
    // gateway lock fails and the next gateway save fails: those devices keep their flag, the rest
    // follow, and the wifi answer and document do not notice.
    LocalDbCtrl::failNextLocks(API_TYPE_GATEWAY, 1);
    LocalDbCtrl::failNextSaves(API_TYPE_GATEWAY, 1);
    expectAnswer(call("WifiRadioActive", {{"@interfaceId", "0"}}, R"({"active": false})"), FAL_OK, "");
    EXPECT_EQ(wifiAt("radio.24g.active"), "false");
    EXPECT_EQ(wifiAt("ssid.24g.[0].active"), "false");
    EXPECT_EQ(connectedFlags(), "ttftt");
    EXPECT_EQ(gatewayAt("connectivity.wifi.[0].connectivity"), "0");

    LocalDbCtrl::failNextLocks(API_TYPE_GATEWAY, 1);
    expectAnswer(call("WifiRadioChange", {{"@interfaceId", "1"}}, R"({"basic": {"outputPower": "high"}})"), FAL_OK,
                 "");
    EXPECT_EQ(wifiAt("radio.50g.basic.outputPower"), "\"high\"");
    EXPECT_EQ(gatewayAt("connectivity.wifi.[1].connectivity"), "3");
}

// A failed lock of the wifi document answers the operation's load message and changes nothing.
TEST_F(WifiTest, LockFailuresAnswerTheLoadMessage)
{
    FAL_PARAMS_T first = {{"@interfaceId", "0"}};
    FAL_PARAMS_T guest = {{"@interfaceId", "0"}, {"@ssidId", "1"}};
    struct Case {
        const char* op;
        FAL_PARAMS_T params;
        const char* body;
        FAL_STATUS_T status;
        const char* message;
    } cases[] = {
        {"WifiRadioGet", first, nullptr, FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiRadioActive", first, R"({"active": false})", FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiRadioRestoreDefault", first, nullptr, FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiNetworkTypeGet", first, nullptr, FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiNetworkTypeChange", {{"@interfaceId", "0"}, {"@type", "primary"}}, R"({"active": false})",
         FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiSsidGet", guest, nullptr, FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiSsidUpdate", guest, R"({"name": "X"})", FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiSsidCreate", first, R"({"name": "X"})", FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiSsidGuestDelete", guest, nullptr, FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiSsidGuestDeleteAll", first, nullptr, FAL_DB_ERROR, "failed to get database wifi"},
        {"WifiWdsGet", first, "{}", FAL_FAILED, kFine},
        {"WifiWdsUpdate", first, R"({"active": true})", FAL_DB_ERROR, "failed to load database"},
        {"WifiWdsDelete", {{"@interfaceId", "1"}, {"@ruleId", "2"}}, nullptr, FAL_DB_ERROR, "Failed to load database"},
        {"WifiWdsDeleteAll", first, nullptr, FAL_DB_ERROR, "failed to load database"},
    };
    std::string wifi = wifiAt("");
    std::string gateway = gatewayAt("");
    for (const auto& c : cases) {
        LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 1);
        expectAnswer(call(c.op, c.params, c.body), c.status, c.message);
    }
    EXPECT_EQ(wifiAt(""), wifi);
    EXPECT_EQ(gatewayAt(""), gateway);
}
