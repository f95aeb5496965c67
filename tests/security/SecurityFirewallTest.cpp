// Firewall settings, alerts, the log and managed probes.
#include "security/SecurityFixture.h"

using security_test::kSecurity;

TEST_F(SecurityTest, FirewallGetFiltersAndHidesRules)
{
    struct Case {
        FAL_PARAMS_T params;
        unsigned status;
        const char* message;
        const char* data;
    } cases[] = {
        {{}, FAL_OK, kFine, R"({"ipv4": {"level": "high"}, "ipv6": {"level": "low"}})"},
        {{{"!filter", "ipv4"}}, FAL_OK, kFine, R"({"ipv4": {"level": "high"}})"},
        {{{"!filter", "ipv6"}}, FAL_OK, kFine, R"({"ipv6": {"level": "low"}})"},
        {{{"!filter", "all"}}, FAL_DB_ERROR, "Wrong 'filter' query variable",
         R"({"ipv4": {"level": "high"}, "ipv6": {"level": "low"}})"},
    };
    for (const auto& c : cases) {
        OpRsp rsp = call("SecurityFirewallGet", c.params);
        expectAnswer(rsp, c.status, c.message, 1);
        EXPECT_EQ(json(rsp->data), canon(c.data));
    }
    LocalDbCtrl::failNextLocks(API_TYPE_SECURITY, 1);
    OpRsp failed = call("SecurityFirewallGet");
    expectAnswer(failed, FAL_DB_ERROR, "failed to get database firewall", 1);
    EXPECT_EQ(failed->data, nullptr);
}

TEST_F(SecurityTest, StoredFirewallRulesSurviveEveryUpdate)
{
    const std::string rules = stored("firewall.ipv4.rules");
    expectAnswer(call("SecurityFirewallUpdate", {}, R"({"ipv4": {"level": "low", "rules": []}})"), FAL_OK, kFine, 3);
    EXPECT_EQ(stored("firewall.ipv4"), canon(R"({"level": "low", "rules": )" + rules + "}"));
    EXPECT_EQ(stored("firewall.ipv6"), canon(R"({"level": "low"})"));

    expectAnswer(call("SecurityFirewallIpv4Update", {}, R"({"spi": true, "rules": [{"id": 9}]})"), FAL_OK, kFine, replyTo("SecurityFirewallIpv4Update"));
    EXPECT_EQ(stored("firewall.ipv4"), canon(R"({"spi": true, "rules": )" + rules + "}"));

    expectAnswer(call("SecurityFirewallUpdate", {}, R"({"ipv6": {"level": "high"}})"), FAL_OK, kFine, 3);
    EXPECT_EQ(stored("firewall.ipv6"), canon(R"({"level": "high"})"));
    EXPECT_EQ(stored("firewall.ipv4.rules"), rules);

    // Without stored rules, the body brings its own.
    seed(API_TYPE_SECURITY, R"({"firewall": {"ipv4": {"level": "low"}}})");
    expectAnswer(call("SecurityFirewallIpv4Update", {}, R"({"rules": [{"id": 9}]})"), FAL_OK, kFine, replyTo("SecurityFirewallIpv4Update"));
    EXPECT_EQ(stored("firewall.ipv4"), canon(R"({"rules": [{"id": 9}]})"));
}

TEST_F(SecurityTest, FirewallUpdateWithNeitherFamilySavesNothing)
{
    LocalDbCtrl::failNextSaves(API_TYPE_SECURITY, 1);
    expectAnswer(call("SecurityFirewallUpdate", {}, R"({"other": 1})"), FAL_OK, kFine, 3);
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(API_TYPE_SECURITY), 1u);
    LocalDbCtrl::failNextSaves(API_TYPE_SECURITY, 0);
}

TEST_F(SecurityTest, AlertUpdateKeepsAnOmittedAccount)
{
    expectAnswer(call("SecurityFirewallAlertUpdate", {},
                      R"({"active": true, "option": "weekly", "alert": {"email": "b@y", "smtp": "mail.y"}})"),
                 FAL_OK, kFine, 15);
    EXPECT_EQ(stored("firewallAlert"), canon(R"({"active": true, "option": "weekly",
        "alert": {"email": "b@y", "smtp": "mail.y", "username": "u", "password": "secret"}})"));
    expectAnswer(call("SecurityFirewallAlertUpdate", {},
                      R"({"active": false, "option": 2, "alert": {"email": "c@z", "smtp": "s", "password": "new"}})"),
                 FAL_OK, kFine, 15);
    EXPECT_EQ(stored("firewallAlert.alert.password"), "\"new\"");
    EXPECT_EQ(stored("firewallAlert.option"), "2");
}

TEST_F(SecurityTest, FirewallRefusalsChangeNothing)
{
    const char* fw = R"({"ipv4": {"level": "x"}})";
    const char* alert = R"({"active": true, "alert": {"email": "e", "smtp": "s"}})";
    expectRefusals(kSecurity, {
        {"SecurityFirewallUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", 3},
        {"SecurityFirewallUpdate", {}, R"({"ipv4": "off"})", NONE, FAL_BAD_REQUEST, "Bad request", 3},
        {"SecurityFirewallUpdate", {}, fw, LOCK, FAL_DB_ERROR, "failed to load database", 3},
        {"SecurityFirewallUpdate", {}, fw, SAVE, FAL_DB_ERROR, "failed to save database", 3},
        {"SecurityFirewallIpv4Update", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", replyTo("SecurityFirewallIpv4Update")},
        {"SecurityFirewallIpv4Update", {}, "[1]", NONE, FAL_BAD_REQUEST, "Bad request", replyTo("SecurityFirewallIpv4Update")},
        {"SecurityFirewallIpv4Update", {}, fw, LOCK, FAL_DB_ERROR, "fail to load database", replyTo("SecurityFirewallIpv4Update")},
        {"SecurityFirewallIpv4Update", {}, fw, SAVE, FAL_DB_ERROR, "failed to save database", replyTo("SecurityFirewallIpv4Update")},
        {"SecurityFirewallIpv6Update", {}, fw, LOCK, FAL_DB_ERROR, "fail to load database", replyTo("SecurityFirewallIpv6Update")},
        {"SecurityFirewallAlertUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", 15},
        {"SecurityFirewallAlertUpdate", {}, alert, LOCK, FAL_DB_ERROR, "failed to load database", 15},
        {"SecurityFirewallAlertUpdate", {}, alert, SAVE, FAL_DB_ERROR, "failed to save database", 15},
        {"SecurityIntelSecurityUpdate", {}, fw, SAVE, FAL_DB_ERROR, "failed to save database", replyTo("SecurityIntelSecurityUpdate")},
    });
}

TEST_F(SecurityTest, GenericReadsAndReplacements)
{
    // Each answers its own request id + 1 with a copy of its object.
    struct Case {
        const char* op;
        const char* key;
    } reads[] = {{"SecurityFirewallIpv4Get", "firewall.ipv4"},
                 {"SecurityFirewallIpv6Get", "firewall.ipv6"},
                 {"SecurityFirewallAlertGet", "firewallAlert"},
                 {"SecurityIntelSecurityGet", "intelSecurity"},
                 {"SecurityParentalcontrolRuleGet", "parentalControlRules"},
                 {"SecurityParentalcontrolFilterGet", "parentalControlFilters"},
                 {"SecurityVpnClientGet", "vpn.client"}};
    for (const auto& c : reads) {
        SCOPED_TRACE(c.op);
        OpRsp rsp = call(c.op);
        expectAnswer(rsp, FAL_OK, kFine, replyTo(c.op));
        EXPECT_EQ(json(rsp->data), stored(c.key));
    }
    expectAnswer(call("SecurityIntelSecurityUpdate", {}, R"({"active": true})"), FAL_OK, kFine, replyTo("SecurityIntelSecurityUpdate"));
    EXPECT_EQ(stored("intelSecurity"), canon(R"({"active": true})"));
    expectAnswer(call("SecurityFirewallIpv6Update", {}, R"({"level": "off"})"), FAL_OK, kFine, replyTo("SecurityFirewallIpv6Update"));
    EXPECT_EQ(stored("firewall.ipv6"), canon(R"({"level": "off"})"));
    EXPECT_NE(stored("firewall.ipv4.rules"), "null");
}

TEST_F(SecurityTest, LogAndManagedOperationsOnlyProbeTheirDocument)
{
    const std::string before = onDisk(API_TYPE_SECURITY);
    for (const char* op : {"SecurityFirewallLogGet", "SecurityFirewallLogClear"}) {
        SCOPED_TRACE(op);
        unsigned msgId = falFamilyByName("security")->findOp(op)->requestId + 1;
        OpRsp ok = call(op);
        expectAnswer(ok, FAL_OK, kFine, msgId);
        EXPECT_EQ(ok->data, nullptr);
        // The log lives with the network document.
        LocalDbCtrl::failNextLocks(API_TYPE_NETWORK, 1);
        expectAnswer(call(op), FAL_DB_ERROR, "failed to get database", msgId);
        EXPECT_TRUE(logged(std::string(op) + " Enter\n"));
        EXPECT_TRUE(logged(std::string(op) + " Exit\n"));
    }
    const char* managed[] = {
        "SecurityManagedSitesGet", "SecurityManagedSitesSet", "SecurityManagedSitesCreate",
        "SecurityManagedSitesUpdate", "SecurityManagedSitesDelete", "SecurityManagedSitesTrustComputerAdd",
        "SecurityManagedSitesTrustComputerDelete", "SecurityManagedServicesGet", "SecurityManagedServicesSet",
        "SecurityManagedServicesCreate", "SecurityManagedServicesUpdate", "SecurityManagedServicesDelete",
        "SecurityManagedServicesTrustComputerAdd", "SecurityManagedServicesTrustComputerDelete",
        "SecurityManagedDevicesGet", "SecurityManagedDevicesSet", "SecurityManagedDevicesCreate",
        "SecurityManagedDevicesUpdate", "SecurityManagedDevicesDelete"};
    unsigned msgId = 75;
    for (const char* op : managed) {
        SCOPED_TRACE(op);
        OpRsp ok = call(op, {}, R"({"site": "x"})");
        expectAnswer(ok, FAL_OK, kFine, msgId);
        EXPECT_EQ(ok->data, nullptr);
        LocalDbCtrl::failNextLocks(API_TYPE_SECURITY, 1);
        expectAnswer(call(op), FAL_DB_ERROR, "failed to get database", msgId);
        msgId += 2;
    }
    EXPECT_EQ(onDisk(API_TYPE_SECURITY), before);
}
