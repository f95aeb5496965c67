// LAN IPv4 change with the move of the service family's LAN addresses, IPv6 change.
#include "network/NetworkFixture.h"

TEST_F(NetworkTest, LanUpdateMovesTheServiceAddressesIntoTheNewNetwork)
{
    OpRsp rsp = call("NetworkLanUpdate", {}, R"({"ipv4": {"ipAddress": "10.0.0.1", "subnet": "255.0.0.0"}})");
    expectAnswer(rsp, FAL_OK, kFine, replyTo("NetworkLanUpdate"));
    EXPECT_EQ(rsp->data, nullptr);
    EXPECT_EQ(stored("lan.ipv4"), canon(R"({"ipAddress": "10.0.0.1", "subnet": "255.0.0.0",
        "dhcp": {"active": true, "startIP": "192.168.1.2", "endIP": "192.168.1.254", "leaseTime": 86400}})"));
    EXPECT_EQ(service("ipFiltering.rules"),
              canon(R"([{"id": 0, "ipAddress": "10.0.0.200"}, {"id": 1, "ipAddress": "bogus"}])"));
    EXPECT_EQ(service("dmz.destination"), "\"10.0.0.5\"");
    EXPECT_EQ(service("reservedIp.rules.[0].ipAddress"), "\"10.0.0.37\"");

    // An address already in the network stays; the DHCP range is copied path by path.
    call("NetworkLanUpdate", {}, R"({"ipv4": {"ipAddress": "10.0.0.9", "dhcp": {"endIP": "10.0.0.99"}}})");
    EXPECT_EQ(stored("lan.ipv4.dhcp.endIP"), "\"10.0.0.99\"");
    EXPECT_EQ(stored("lan.ipv4.dhcp.startIP"), "\"192.168.1.2\"");
    EXPECT_EQ(service("reservedIp.rules.[0].ipAddress"), "\"10.0.0.37\"");
}

TEST_F(NetworkTest, LanUpdatePrefersReservedIPAndLogsListsWithoutRules)
{
    seed(API_TYPE_SERVICE, R"({"ipFiltering": {"active": true},
        "reservedIP": {"rules": [{"ipAddress": "192.168.1.50"}]},
        "reservedIp": {"rules": [{"ipAddress": "192.168.1.60"}]}})");
    expectAnswer(call("NetworkLanUpdate", {}, R"({"ipv4": {"ipAddress": "172.16.5.1"}})"), FAL_OK, kFine,
                 replyTo("NetworkLanUpdate"));
    EXPECT_EQ(service("reservedIP.rules.[0].ipAddress"), "\"172.16.5.50\"");
    EXPECT_EQ(service("reservedIp.rules.[0].ipAddress"), "\"192.168.1.60\"");
    EXPECT_EQ(service("dmz"), "null");
    EXPECT_TRUE(logged("No rules for ip filtering ipFiltering\n"));
}

TEST_F(NetworkTest, LanUpdateLeavesTheServiceDocumentWithoutAUsableAddress)
{
    const std::string service = onDisk(API_TYPE_SERVICE);
    struct Case {
        const char* body;
        const char* path;
        const char* value;
    } cases[] = {
        {R"({"ipv6": {"mode": "static"}})", "lan.ipv6", R"({"mode": "static"})"},
        {R"({"ipv4": {"subnet": "255.255.0.0"}})", "lan.ipv4.subnet", R"("255.255.0.0")"},
        {R"({"ipv4": {"ipAddress": "10.0.1"}})", "lan.ipv4.ipAddress", R"("10.0.1")"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.body);
        expectAnswer(call("NetworkLanUpdate", {}, c.body), FAL_OK, kFine, replyTo("NetworkLanUpdate"));
        EXPECT_EQ(stored(c.path), canon(c.value));
        EXPECT_EQ(onDisk(API_TYPE_SERVICE), service);
    }
}

TEST_F(NetworkTest, LanUpdateFailures)
{
    const char* body = R"({"ipv4": {"ipAddress": "10.0.0.1"}})";
    const unsigned id = replyTo("NetworkLanUpdate");
    const std::string lan = stored("lan");

    LocalDbCtrl::failNextLocks(API_TYPE_NETWORK, 1);
    expectAnswer(call("NetworkLanUpdate", {}, body), FAL_DB_ERROR, kLoadFailed, id);
    EXPECT_TRUE(logged("Cannot load db object for key lan\n"));
    EXPECT_EQ(service("dmz.destination"), "\"192.168.1.5\"");

    // The service side follows its own lock and save: the LAN answer is the LAN save's.
    LocalDbCtrl::failNextLocks(API_TYPE_SERVICE, 1);
    expectAnswer(call("NetworkLanUpdate", {}, body), FAL_OK, kFine, id);
    EXPECT_TRUE(logged("Cannot load db object for key ipFiltering\n"));
    EXPECT_EQ(service("dmz.destination"), "\"192.168.1.5\"");

    LocalDbCtrl::failNextSaves(API_TYPE_SERVICE, 1);
    expectAnswer(call("NetworkLanUpdate", {}, R"({"ipv4": {"ipAddress": "10.1.1.1"}})"), FAL_OK, kFine, id);
    EXPECT_EQ(stored("lan.ipv4.ipAddress"), "\"10.1.1.1\"");
    EXPECT_EQ(service("dmz.destination"), "\"192.168.1.5\"");

    // A failed LAN save answers 4 with the creation message; the move still runs.
    seed(API_TYPE_NETWORK, kNetworkDoc);
    LocalDbCtrl::failNextSaves(API_TYPE_NETWORK, 1);
    expectAnswer(call("NetworkLanUpdate", {}, body), FAL_FAILED, kFine, id);
    EXPECT_EQ(stored("lan"), lan);
    EXPECT_EQ(service("dmz.destination"), "\"10.0.0.5\"");

    EXPECT_EQ(call("NetworkLanUpdate"), nullptr);
    EXPECT_TRUE(logged("Wrong request has been received\n"));
}

TEST_F(NetworkTest, LanIpv6UpdateSetsTheMembersOrClearsTheSettings)
{
    const unsigned id = replyTo("NetworkLanIpv6Update");
    expectAnswer(call("NetworkLanIpv6Update", {}, R"({"mode": "static", "pd": {"prefix": "2001:db8:1::"}})"), FAL_OK,
                 kFine, id);
    EXPECT_EQ(stored("lan.ipv6"), canon(R"({"mode": "static", "ipAddress": null, "dhcpv6": null,
        "pd": {"active": false, "prefix": "2001:db8:1::", "prefixLength": 56}})"));

    expectAnswer(call("NetworkLanIpv6Update", {}, R"({"mode": "dhcp", "ipAddress": "fe80::9", "dhcpv6": {"a": 1},
        "pd": {"active": true, "prefixLength": 48}})"), FAL_OK, kFine, id);
    EXPECT_EQ(stored("lan.ipv6"), canon(R"({"mode": "dhcp", "ipAddress": "fe80::9", "dhcpv6": {"a": 1},
        "pd": {"active": true, "prefix": "2001:db8:1::", "prefixLength": 48}})"));

    // Without a top-level mode the settings are cleared, and later changes find nothing to set.
    expectAnswer(call("NetworkLanIpv6Update", {}, R"({"ipv6": {"mode": "static"}})"), FAL_OK, kFine, id);
    EXPECT_EQ(stored("lan.ipv6"), "null");
    expectAnswer(call("NetworkLanIpv6Update", {}, R"({"mode": "static"})"), FAL_OK, kFine, id);
    EXPECT_EQ(stored("lan.ipv6"), "null");
}

TEST_F(NetworkTest, LanIpv6UpdateFailures)
{
    expectRefusals(kNetworkDoc, {
        {"NetworkLanIpv6Update", {}, R"({"mode": "x"})", LOCK, FAL_DB_ERROR, kLoadFailed, replyTo("NetworkLanIpv6Update")},
        {"NetworkLanIpv6Update", {}, R"({"mode": "x"})", SAVE, FAL_FAILED, kFine, replyTo("NetworkLanIpv6Update")},
    });
    EXPECT_TRUE(logged("Cannot load local database due to some unexpected error\n"));
    EXPECT_EQ(call("NetworkLanIpv6Update", {}, "null"), nullptr);
}

TEST_F(NetworkTest, ProbesAnswerWithTheirFixedIdsAndChangeNothing)
{
    const std::string before = onDisk(API_TYPE_NETWORK);
    for (auto [op, id] : {std::pair<const char*, unsigned>{"NetworkLanIpv6RestoreDefault", 15},
                          {"NetworkWanConnectionTypeDetect", 93}}) {
        SCOPED_TRACE(op);
        expectAnswer(call(op), FAL_OK, kFine, id);
        LocalDbCtrl::failNextLocks(API_TYPE_NETWORK, 1);
        OpRsp failed = call(op);
        expectAnswer(failed, FAL_DB_ERROR, "failed to get database", id);
        EXPECT_EQ(failed->data, nullptr);
    }
    EXPECT_EQ(onDisk(API_TYPE_NETWORK), before);
}
