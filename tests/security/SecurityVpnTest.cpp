// VPN mode, server, client and IPsec tunnels.
#include "security/SecurityFixture.h"

using security_test::kSecurity;

namespace {

// A tunnel body with both ends complete; tests blank or change single members.
const char* kTunnel = R"({"name": "t",
  "local": {"addressType": "subnet", "address": {"second": "255.255.0.0"}, "identifierType": "fqdn", "identifier": "me"},
  "remote": {"addressType": "subnet", "address": {"second": "255.255.255.0"}, "identifierType": "auto"}})";

}  // namespace

TEST_F(SecurityTest, VpnModeAndServer)
{
    OpRsp mode = call("SecurityVpnModeGet");
    expectAnswer(mode, FAL_OK, kFine, replyTo("SecurityVpnModeGet"));
    EXPECT_EQ(json(mode->data), canon(R"({"mode": "server"})"));

    OpRsp server = call("SecurityVpnServerGet");
    expectAnswer(server, FAL_OK, kFine, 47);
    EXPECT_EQ(json(server->data), canon(std::string(R"({"active": false, "connected": false, "client": )") +
                                        stored("vpn.client") + "}"));

    expectAnswer(call("SecurityVpnServerUpdate", {}, R"({"active": true, "client": {"endIP": "192.168.1.250"}})"),
                 FAL_OK, kFine, replyTo("SecurityVpnServerUpdate"));
    EXPECT_EQ(stored("vpn.active"), "true");
    EXPECT_EQ(stored("vpn.client.endIP"), "\"192.168.1.210\"");
    // The range lands one level down, as "vpn.client.client".
    EXPECT_EQ(stored("vpn.client.client"), canon(R"({"endIP": "192.168.1.250"})"));

    expectAnswer(call("SecurityVpnClientUpdate", {}, R"({"server": "vpn.y", "extra": 1})"), FAL_OK, kFine, replyTo("SecurityVpnClientUpdate"));
    EXPECT_EQ(stored("vpn.client.server"), "\"vpn.y\"");
    EXPECT_EQ(stored("vpn.client.extra"), "null");
    EXPECT_EQ(stored("vpn.client.protocol"), "\"pptp\"");
}

TEST_F(SecurityTest, VpnRefusalsChangeNothing)
{
    const char* server = R"({"active": true})";
    expectRefusals(kSecurity, {
        {"SecurityVpnModeGet", {}, nullptr, LOCK, FAL_DB_ERROR, "failed to load database", replyTo("SecurityVpnModeGet")},
        {"SecurityVpnServerGet", {}, nullptr, LOCK, FAL_DB_ERROR, "failed to get database", 47},
        {"SecurityVpnServerUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", replyTo("SecurityVpnServerUpdate")},
        {"SecurityVpnServerUpdate", {}, server, LOCK, FAL_DB_ERROR, "fail to load database", replyTo("SecurityVpnServerUpdate")},
        {"SecurityVpnServerUpdate", {}, server, SAVE, FAL_DB_ERROR, "fail to save database", replyTo("SecurityVpnServerUpdate")},
        {"SecurityVpnClientUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", replyTo("SecurityVpnClientUpdate")},
        {"SecurityVpnClientUpdate", {}, server, LOCK, FAL_DB_ERROR, "fail to load database", replyTo("SecurityVpnClientUpdate")},
        {"SecurityVpnClientUpdate", {}, server, SAVE, FAL_DB_ERROR, "fail to save database", replyTo("SecurityVpnClientUpdate")},
        {"SecurityVpnIpsecGet", {}, nullptr, LOCK, FAL_DB_ERROR, "database error", replyTo("SecurityVpnIpsecGet")},
        {"SecurityVpnIpsecGetOne", {}, nullptr, NONE, FAL_BAD_REQUEST, "Wrong parameter", replyTo("SecurityVpnIpsecGetOne")},
        {"SecurityVpnIpsecGetOne", {{"@id", "3"}}, nullptr, NONE, FAL_BAD_REQUEST, "No record found", replyTo("SecurityVpnIpsecGetOne")},
        {"SecurityVpnIpsecGetOne", {{"@id", "0"}}, nullptr, LOCK, FAL_DB_ERROR, "database error", replyTo("SecurityVpnIpsecGetOne")},
        {"SecurityVpnIpsecCreate", {}, nullptr, NONE, FAL_BAD_REQUEST, "A null message request received", 73},
        {"SecurityVpnIpsecCreate", {}, kTunnel, LOCK, FAL_DB_ERROR, "Database error", 73},
        {"SecurityVpnIpsecCreate", {}, kTunnel, SAVE, FAL_FAILED, kFine, 73},
        {"SecurityVpnIpsecDelete", {{"@id", "0"}}, nullptr, NONE, FAL_BAD_REQUEST, "Received wrong request", replyTo("SecurityVpnIpsecDelete")},
        {"SecurityVpnIpsecDelete", {}, "{}", NONE, FAL_BAD_REQUEST, "Received wrong @id request", replyTo("SecurityVpnIpsecDelete")},
        {"SecurityVpnIpsecDelete", {{"@id", "3"}}, "{}", NONE, FAL_BAD_REQUEST, "Requested id is wrong", replyTo("SecurityVpnIpsecDelete")},
        {"SecurityVpnIpsecDelete", {{"@id", "0"}}, "{}", LOCK, FAL_DB_ERROR, "Database error", replyTo("SecurityVpnIpsecDelete")},
        {"SecurityVpnIpsecDelete", {{"@id", "0"}}, "{}", SAVE, FAL_OK, kFine, replyTo("SecurityVpnIpsecDelete")},
        {"SecurityVpnIpsecDeleteAll", {}, nullptr, LOCK, FAL_OK, kFine, replyTo("SecurityVpnIpsecDeleteAll")},
        {"SecurityVpnIpsecDeleteAll", {}, nullptr, SAVE, FAL_OK, kFine, replyTo("SecurityVpnIpsecDeleteAll")},
    });
    // The server switch is not kept when "vpn.client" is missing.
    expectRefusals(R"({"vpn": {"active": false}})", {
        {"SecurityVpnServerUpdate", {}, server, NONE, FAL_DB_ERROR, "fail to load database", replyTo("SecurityVpnServerUpdate")},
    });
    // A failed save still tells the id the tunnel would have had.
    seed(API_TYPE_SECURITY, kSecurity);
    LocalDbCtrl::failNextSaves(API_TYPE_SECURITY, 1);
    EXPECT_EQ(json(call("SecurityVpnIpsecCreate", {}, kTunnel)->data), canon(R"({"id": 1})"));
}

TEST_F(SecurityTest, TunnelIdsAndReads)
{
    seed(API_TYPE_SECURITY, R"({"vpn": {"ipsec": []}})");
    for (int expected = 0; expected <= 2; ++expected) {
        OpRsp rsp = call("SecurityVpnIpsecCreate", {}, kTunnel);
        expectAnswer(rsp, FAL_CREATED, "New Created", 73);
        EXPECT_EQ(json(rsp->data), canon("{\"id\": " + std::to_string(expected) + "}"));
    }
    expectAnswer(call("SecurityVpnIpsecDelete", {{"@id", "1"}}, "{}"), FAL_DELETED, kFine, replyTo("SecurityVpnIpsecDelete"));
    OpRsp next = call("SecurityVpnIpsecCreate", {}, R"({"name": "n", "id": 0})");
    EXPECT_EQ(json(next->data), canon(R"({"id": 3})"));
    EXPECT_EQ(ids("vpn.ipsec", "id"), "0,2,3");

    OpRsp one = call("SecurityVpnIpsecGetOne", {{"@id", "3"}});
    expectAnswer(one, FAL_OK, kFine, replyTo("SecurityVpnIpsecGetOne"));
    EXPECT_EQ(json(one->data), canon(R"({"name": "n"})"));
    OpRsp all = call("SecurityVpnIpsecGet");
    expectAnswer(all, FAL_OK, kFine, replyTo("SecurityVpnIpsecGet"));
    EXPECT_EQ(json(all->data), stored("vpn.ipsec"));

    expectAnswer(call("SecurityVpnIpsecDeleteAll"), FAL_OK, "Table is deleted", replyTo("SecurityVpnIpsecDeleteAll"));
    EXPECT_EQ(stored("vpn.ipsec"), "[]");
    expectAnswer(call("SecurityVpnIpsecConnect"), FAL_OK, kFine, 69);
    expectAnswer(call("SecurityVpnIpsecDisconnect"), FAL_OK, kFine, 71);
}

TEST_F(SecurityTest, TunnelUpdateKeepsWhatSingleAndAutoLeaveOut)
{
    const char* body = R"({"name": "new",
      "local": {"addressType": "single", "address": {"first": "1.2.3.4", "second": ""}, "identifierType": "auto"},
      "remote": {"addressType": "subnet", "address": {"second": "255.255.0.0"}, "identifierType": "ip",
                 "identifier": "198.51.100.1"}})";
    expectAnswer(call("SecurityVpnIpsecUpdate", {{"@id", "0"}}, body), FAL_OK, kFine, replyTo("SecurityVpnIpsecUpdate"));
    EXPECT_EQ(stored("vpn.ipsec.[0]"), canon(R"({"name": "new",
      "local": {"addressType": "single", "address": {"first": "1.2.3.4", "second": "255.255.255.0"},
                "identifierType": "auto", "identifier": "home"},
      "remote": {"addressType": "subnet", "address": {"second": "255.255.0.0"}, "identifierType": "ip",
                 "identifier": "198.51.100.1"}, "id": 0})"));
}

TEST_F(SecurityTest, TunnelUpdateValidation)
{
    struct Case {
        const char* body;
        const char* message;
    } cases[] = {
        {R"({"local": {}})", "Received wrong local update"},
        {R"({"local": {"addressType": "range", "identifierType": "auto"}})", "Received wrong local update"},
        {R"({"local": {"addressType": "single"}})", "Received wrong local indentifier"},
        {R"({"local": {"addressType": "single", "identifierType": "fqdn", "identifier": ""}})",
         "Received wrong local indentifier"},
        {R"({"local": {"addressType": "single", "identifierType": "auto"}, "remote": {"addressType": "subnet"}})",
         "Received wrong remote update"},
        {R"({"local": {"addressType": "single", "identifierType": "auto"}, "remote": {"addressType": "single"}})",
         "Received wrong remote indentifier"},
        {R"({"local": {"addressType": "single", "identifierType": "auto"},
             "remote": {"addressType": "single", "identifierType": "ip", "identifier": ""}})",
         "Received wrong remote indentifier"},
    };
    std::vector<Refusal> refusals;
    for (const auto& c : cases)
        refusals.push_back({"SecurityVpnIpsecUpdate", {{"@id", "0"}}, c.body, LOCK, FAL_BAD_REQUEST, c.message,
                            replyTo("SecurityVpnIpsecUpdate")});
    // Checked before anything is locked: the failing lock is never reached.
    expectRefusals(kSecurity, refusals);
    EXPECT_EQ(LocalDbCtrlTesting::pendingLockFailures(API_TYPE_SECURITY), 1u);
    LocalDbCtrl::failNextLocks(API_TYPE_SECURITY, 0);

    expectRefusals(kSecurity, {
        {"SecurityVpnIpsecUpdate", {{"@id", "0"}}, nullptr, NONE, FAL_BAD_REQUEST, "Received wrong request", replyTo("SecurityVpnIpsecUpdate")},
        {"SecurityVpnIpsecUpdate", {}, kTunnel, NONE, FAL_BAD_REQUEST, "Received wrong @id request", replyTo("SecurityVpnIpsecUpdate")},
        {"SecurityVpnIpsecUpdate", {{"@id", "5"}}, kTunnel, NONE, FAL_BAD_REQUEST, "Requested id is wrong", replyTo("SecurityVpnIpsecUpdate")},
        {"SecurityVpnIpsecUpdate", {{"@id", "0"}}, kTunnel, LOCK, FAL_DB_ERROR, "Database error", replyTo("SecurityVpnIpsecUpdate")},
        {"SecurityVpnIpsecUpdate", {{"@id", "0"}}, kTunnel, SAVE, FAL_FAILED, kFine, replyTo("SecurityVpnIpsecUpdate")},
    });
}
