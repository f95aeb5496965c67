// WAN interfaces: reads, the change and its member rules, IPv6 change, connectivity, bridging,
// internet check and link detection.
#include "network/NetworkFixture.h"

TEST_F(NetworkTest, WanGetOneReadsOneInterface)
{
    const unsigned id = replyTo("NetworkWanGetOne");
    OpRsp one = call("NetworkWanGetOne", second_);
    expectAnswer(one, FAL_OK, kFine, id);
    EXPECT_EQ(text(one->data), stored("wan.interfaces.[1]"));
    // A non-numeric id reads as 0.
    OpRsp zero = call("NetworkWanGetOne", {{"@interfaceId", "eth"}});
    EXPECT_EQ(text(zero->data), stored("wan.interfaces.[0]"));

    OpRsp missing = call("NetworkWanGetOne", {{"@interfaceId", "7"}});
    expectAnswer(missing, FAL_FAILED, kFine, id);
    EXPECT_EQ(missing->data, nullptr);
    EXPECT_TRUE(logged("No Wan interface found for id 7\n"));
    expectAnswer(call("NetworkWanGetOne"), FAL_BAD_REQUEST, "Wrong URI", id);
    LocalDbCtrl::failNextLocks(API_TYPE_NETWORK, 1);
    expectAnswer(call("NetworkWanGetOne", first_), FAL_DB_ERROR, kLoadFailed, id);
    EXPECT_TRUE(logged("No object found in repo for key wan\n"));
}

TEST_F(NetworkTest, WanChangeMemberRules)
{
    struct Case {
        const char* name;
        const char* body;
        const char* path;      // of the changed interface 0
        const char* expected;  // stored there afterwards
    } cases[] = {
        {"non-PPP type empties ppp", R"({"connectionType": "dhcp", "ipv4": {"address": "1.2.3.4"}})", "ppp", "null"},
        {"non-PPP type empties vpn", R"({"connectionType": "static"})", "vpn", "null"},
        {"only the address changes", R"({"connectionType": "dhcp", "ipv4": {"address": "1.2.3.4", "x": 1}})", "ipv4",
         R"({"active": true, "address": "1.2.3.4", "subnet": "255.255.255.0", "gateway": "203.0.113.1",
             "dnsServer1": "198.51.100.53", "dnsServer2": "198.51.100.54", "mode": "dynamic"})"},
        {"pptp clears oe", R"({"connectionType": "pptp", "ppp": {"userName": "p", "oe": {"a": 1}}})", "ppp",
         R"({"userName": "p", "oe": null})"},
        {"l2tp takes the vpn", R"({"connectionType": "l2tp", "vpn": {"server": "w"}})", "vpn", R"({"server": "w"})"},
        {"l2tp without vpn keeps it", R"({"connectionType": "l2tp"})", "vpn", R"({"server": "v"})"},
        {"pppoe stores ppp whole", R"({"connectionType": "pppoe", "ppp": {"oe": {"a": 1}}})", "ppp", R"({"oe": {"a": 1}})"},
        {"pppoe empties vpn", R"({"connectionType": "pppoe"})", "vpn", "null"},
        {"stored pppoe decides", R"({"ppp": {"userName": "q"}})", "ppp", R"({"userName": "q"})"},
        {"stored pppoe keeps ppp", R"({"name": "W"})", "ppp", R"({"userName": "u", "oe": {"serviceName": "s"}})"},
        {"adsl takes atm", R"({"linkType": "adsl", "atm": {"vpi": 0}})", "atm", R"({"vpi": 0})"},
        {"adsl without atm keeps it", R"({"linkType": "adsl"})", "atm", R"({"vpi": 8, "vci": 35})"},
        {"other link empties atm", R"({"linkType": "vdsl", "atm": {"vpi": 0}})", "atm", "null"},
        {"no link type empties atm", R"({"name": "W"})", "atm", "null"},
        {"vlan as sent", R"({"vlan": 12})", "vlan", "12"},
        {"ipv6 members", R"({"ipv6": {"gateway": "fe80::2", "dnsServer2": null}})", "ipv6",
         R"({"active": false, "address": "2001:db8::1", "prefixLength": 64, "gateway": "fe80::2",
             "dnsServer1": "2001:db8::53", "dnsServer2": null, "mode": "dhcpv6"})"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        seed(API_TYPE_NETWORK, kNetworkDoc);
        OpRsp rsp = call("NetworkWanChange", first_, c.body);
        expectAnswer(rsp, FAL_OK, kFine, replyTo("NetworkWanChange"));
        EXPECT_EQ(stored((std::string("wan.interfaces.[0].") + c.path).c_str()), canon(c.expected));
    }
    // A stored non-PPP type without one in the body empties ppp.
    call("NetworkWanChange", second_, R"({"ppp": {"userName": "q"}})");
    EXPECT_EQ(stored("wan.interfaces.[1].ppp"), "null");
}

TEST_F(NetworkTest, WanChangeAnswersTheSummaryAndRebootAdvice)
{
    const char* reboot = R"({"active": true, "location": "/api/v1/gateway/reboot",
                             "retryAfter": [60, 40, 20, 10], "maxRetry": 3})";
    const char* noReboot = R"({"active": false, "location": null, "retryAfter": null, "maxRetry": null})";
    struct Case {
        const FAL_PARAMS_T& params;
        const char* body;
        const char* advice;
    } cases[] = {
        {first_, R"({"switchMode": "bridge"})", reboot},   // to bridge
        {second_, R"({"switchMode": "router"})", reboot},  // from bridge
        {first_, R"({"switchMode": "nat"})", noReboot},
        {second_, R"({"name": "E"})", noReboot},           // no switch mode in the body
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body);
        seed(API_TYPE_NETWORK, kNetworkDoc);
        OpRsp rsp = call("NetworkWanChange", c.params, c.body);
        expectAnswer(rsp, FAL_OK, kFine, replyTo("NetworkWanChange"));
        std::unique_ptr<TreeMapObject> advice(rsp->data ? rsp->data->get("reboot") : nullptr);
        EXPECT_EQ(text(advice.get()), canon(c.advice));
    }

    // The summary hides members that stay stored; a stored interface without a switch mode is not
    // a bridge.
    seed(API_TYPE_NETWORK, R"({"wan": {"interfaces": [{"id": 4, "active": false,
        "ipv4": {"active": true, "mode": "m", "address": "a"},
        "ipv6": {"active": true, "mode": "m", "dnsServer1": "d", "dnsServer2": "e", "gateway": "g"}}]}})");
    OpRsp rsp = call("NetworkWanChange", {{"@interfaceId", "4"}}, R"({"switchMode": "nat"})");
    TreeMapObject* summary = rsp->data->clone(nullptr);
    summary->del("reboot");
    EXPECT_EQ(text(summary), canon(R"({"id": 4, "name": null, "ipv4": {"address": "a"},
                                      "ipv6": {"gateway": "g"}, "enabled": false})"));
    delete summary;
    EXPECT_EQ(rsp->data->get<bool>("reboot.active"), false);
    EXPECT_EQ(stored("wan.interfaces.[0].ipv6.dnsServer1"), "\"d\"");
}

TEST_F(NetworkTest, WanChangeFailures)
{
    const unsigned id = replyTo("NetworkWanChange");
    const char* body = R"({"name": "X"})";
    expectRefusals(kNetworkDoc, {
        {"NetworkWanChange", {}, body, NONE, FAL_BAD_REQUEST, "Wrong URI", id},
        {"NetworkWanChange", {{"@interfaceId", "5"}}, body, NONE, FAL_NOT_FOUND, "No interface information found", id},
        {"NetworkWanChange", first_, body, LOCK, FAL_DB_ERROR, kLoadFailed, id},
        {"NetworkWanChange", first_, body, SAVE, FAL_FAILED, kFine, id},
    });
    EXPECT_TRUE(logged("Cannot load db object for key wan\n"));
    EXPECT_EQ(call("NetworkWanChange", first_), nullptr);
}

TEST_F(NetworkTest, WanIpv6ChangeReadsTheTopLevelOfTheBody)
{
    const unsigned id = replyTo("NetworkWanIpv6Change");
    expectAnswer(call("NetworkWanIpv6Change", first_, R"({"address": "2001:db8::9", "mode": "static", "x": 1})"),
                 FAL_OK, kFine, id);
    EXPECT_EQ(stored("wan.interfaces.[0].ipv6.address"), "\"2001:db8::9\"");
    EXPECT_EQ(stored("wan.interfaces.[0].ipv6.mode"), "\"static\"");
    EXPECT_EQ(stored("wan.interfaces.[0].ipv6.x"), "null");

    const std::string before = stored("wan");
    expectAnswer(call("NetworkWanIpv6Change", first_, R"({"ipv6": {"address": "::5"}})"), FAL_OK, kFine, id);
    expectAnswer(call("NetworkWanIpv6Change", second_, R"({"address": "::5"})"), FAL_OK, kFine, id);  // no ipv6
    EXPECT_EQ(stored("wan"), before);

    expectRefusals(kNetworkDoc, {
        {"NetworkWanIpv6Change", {}, "{}", NONE, FAL_BAD_REQUEST, "Wrong URI", id},
        {"NetworkWanIpv6Change", {{"@interfaceId", "3"}}, "{}", NONE, FAL_NOT_FOUND, "No interface information found", id},
        {"NetworkWanIpv6Change", first_, "{}", LOCK, FAL_FAILED, kFine, id},
        {"NetworkWanIpv6Change", first_, R"({"address": "::5"})", SAVE, FAL_FAILED, kFine, id},
    });
    EXPECT_TRUE(logged("Cannot load local database due to some unexpected error\n"));
    expectRefusals(R"({"wan": {}})", {
        {"NetworkWanIpv6Change", first_, "{}", NONE, FAL_DB_ERROR, kLoadFailed, id},
    });
    EXPECT_TRUE(logged("list of wan interfaces does not exist\n"));
}

TEST_F(NetworkTest, WanConnectAndDisconnectMarkTheFirstMatch)
{
    seed(API_TYPE_NETWORK, R"({"wan": {"interfaces": [{"id": 1, "connectivity": "connected"},
                                                      {"id": 1, "connectivity": "connected"}]}})");
    expectAnswer(call("NetworkWanDisconnect", second_, "{}"), FAL_OK, kFine, replyTo("NetworkWanDisconnect"));
    EXPECT_EQ(stored("wan.interfaces"), canon(R"([{"id": 1, "connectivity": "disconnected"},
                                                 {"id": 1, "connectivity": "connected"}])"));
    expectAnswer(call("NetworkWanConnect", second_, "{}"), FAL_OK, kFine, replyTo("NetworkWanConnect"));
    EXPECT_EQ(stored("wan.interfaces.[0].connectivity"), "\"connected\"");

    for (const char* op : {"NetworkWanConnect", "NetworkWanDisconnect"}) {
        const unsigned id = replyTo(op);
        expectRefusals(kNetworkDoc, {
            {op, {}, "{}", NONE, FAL_BAD_REQUEST, "Wrong URI", id},
            {op, {{"@interfaceId", "9"}}, "{}", NONE, FAL_NOT_FOUND, "No interface information found", id},
            {op, second_, "{}", LOCK, FAL_DB_ERROR, kLoadFailed, id},
            {op, first_, "{}", SAVE, FAL_FAILED, kFine, id},
        });
        expectRefusals("{\"wan\": {}}", {{op, first_, "{}", NONE, FAL_NOT_FOUND, "No interface information found", id}});
        EXPECT_EQ(call(op, first_), nullptr);
    }
    EXPECT_TRUE(logged("No WAN interfaces found\n"));
}

TEST_F(NetworkTest, SwitchmodeBridgeMarksEveryMatchAsBridged)
{
    const unsigned id = replyTo("NetworkSwitchmodeBridge");
    seed(API_TYPE_NETWORK, R"({"wan": {"interfaces": [{"id": 2, "switchMode": "router"}, {"id": 3},
                                                      {"id": 2, "switchMode": "nat"}]}})");
    expectAnswer(call("NetworkSwitchmodeBridge", {{"@interfaceId", "2"}}), FAL_OK, "DB updated!", id);
    EXPECT_EQ(stored("wan.interfaces"), canon(R"([{"id": 2, "switchMode": "bridged"}, {"id": 3},
                                                 {"id": 2, "switchMode": "bridged"}])"));
    // "bridged" is no "bridge" to a later change.
    OpRsp change = call("NetworkWanChange", {{"@interfaceId", "2"}}, R"({"switchMode": "nat"})");
    EXPECT_EQ(change->data->get<bool>("reboot.active"), false);

    expectRefusals(kNetworkDoc, {
        {"NetworkSwitchmodeBridge", {}, nullptr, NONE, FAL_BAD_REQUEST, "Wrong URI", id},
        {"NetworkSwitchmodeBridge", {{"@interfaceId", "8"}}, nullptr, NONE, FAL_NOT_FOUND, "No interface found", id},
        {"NetworkSwitchmodeBridge", first_, nullptr, LOCK, FAL_DB_ERROR, "Cannot load database", id},
        {"NetworkSwitchmodeBridge", first_, nullptr, SAVE, FAL_DB_ERROR, "DB cannot be updated!", id},
    });
}

TEST_F(NetworkTest, CheckInternetReportsTheActiveFlags)
{
    OpRsp rsp = call("NetworkCheckInternet", first_);
    expectAnswer(rsp, FAL_OK, kFine, 27);
    EXPECT_EQ(text(rsp->data), canon(R"({"ipv4": true, "ipv6": false})"));

    OpRsp missing = call("NetworkCheckInternet", {{"@interfaceId", "6"}});
    expectAnswer(missing, FAL_FAILED, kFine, 27);
    EXPECT_EQ(text(missing->data), "{}");
    LocalDbCtrl::failNextLocks(API_TYPE_NETWORK, 1);
    expectAnswer(call("NetworkCheckInternet", first_), FAL_DB_ERROR, kLoadFailed, 27);
    EXPECT_TRUE(logged("No object found in repo for key wan\n"));
    EXPECT_FALSE(logged("NetworkCheckInternet Enter\n"));
    EXPECT_EQ(traces("NetworkCheckInternet Exit\n"), 3u);

    // A request without an interface id leaves before the exit trace.
    expectAnswer(call("NetworkCheckInternet"), FAL_BAD_REQUEST, "Wrong URI", 27);
    EXPECT_EQ(traces("NetworkCheckInternet Exit\n"), 3u);
}

TEST_F(NetworkTest, LinkAutoReportsTheLinkTypeAndItsStandard)
{
    const unsigned id = replyTo("NetworkLinkAuto");
    OpRsp rsp = call("NetworkLinkAuto");
    expectAnswer(rsp, FAL_OK, kFine, id);
    // The last element naming the link type decides.
    EXPECT_EQ(text(rsp->data), canon(R"({"linkType": "adsl", "standard": "ADSL2+"})"));

    struct Case {
        const char* document;
        unsigned status;
        const char* message;
        const char* data;
    } cases[] = {
        {R"({"wan": {"interfaces": [{"linkType": "fiber"}]}, "xDslStandard": [{"adsl": ["x"]}, {"fiber": []}]})",
         FAL_OK, kFine, R"({"linkType": "fiber"})"},
        {R"({"wan": {"interfaces": [{"id": 0}]}, "xDslStandard": [{"adsl": ["x"]}]})", FAL_OK, kFine,
         R"({"linkType": null})"},
        {R"({"wan": {"interfaces": [{"linkType": "adsl"}]}})", FAL_OK, kFine, R"({"linkType": "adsl"})"},
        {R"({"wan": {"interfaces": []}, "xDslStandard": []})", FAL_DB_ERROR, "Cannot load db", "null"},
        {R"({"xDslStandard": []})", FAL_DB_ERROR, "Cannot load db", "null"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.document);
        seed(API_TYPE_NETWORK, c.document);
        OpRsp answer = call("NetworkLinkAuto");
        expectAnswer(answer, c.status, c.message, id);
        EXPECT_EQ(text(answer->data), canon(c.data));
    }
}
