// The factory-default security document: every operation answers with success on it.
#include <cstring>
#include <map>

#include "security/SecurityFixture.h"
#include "tools/common/FalDefaults.h"

namespace {

std::string factoryDocument(const char* path)
{
    for (const FalDefaultFile* f = falDefaultFiles; f->path; ++f)
        if (strcmp(f->path, path) == 0)
            return std::string(f->data, f->size);
    return "";
}

}  // namespace

TEST_F(SecurityTest, FactoryDefaultsServeEveryOperation)
{
    const std::string security = factoryDocument("db/security.json");
    const std::string gatewayDoc = factoryDocument("db/gateway.json");
    ASSERT_FALSE(security.empty());
    const FAL_PARAMS_T ids = {{"@id", "0"}, {"@ruleId", "1"}, {"@categoryId", "0"}, {"@filterId", "0"}};
    // Bodies of the operations that need more than an empty object.
    const std::map<std::string, const char*> bodies = {
        {"SecurityFirewallUpdate", R"({"ipv4": {"level": "high"}, "ipv6": {"level": "low"}})"},
        {"SecurityFirewallIpv4Update", R"({"level": "high"})"},
        {"SecurityFirewallAlertUpdate", R"({"active": true, "option": "daily", "alert": {"email": "a@b", "smtp": "s"}})"},
        {"SecurityParentalcontrolSet", R"({"active": true, "auth": {"saved": true}})"},
        {"SecurityParentalcontrolAuthUpdate", R"({"old": "1234", "new": "4321"})"},
        {"SecurityParentalcontrolAskPermission", R"({"auth": {"type": "pin", "value": "1234"}})"},
        {"SecurityParentalcontrolFilterCreate", R"({"type": "url", "value": "c.example.org"})"},
        {"SecurityVpnServerUpdate", R"({"active": true, "client": {"startIP": "192.168.1.100"}})"},
        {"SecurityVpnIpsecUpdate", R"({"local": {"addressType": "single", "identifierType": "auto"},
                                       "remote": {"addressType": "single", "identifierType": "auto"}})"},
    };
    for (const FalOpInfo& op : falFamilyByName("security")->ops) {
        SCOPED_TRACE(op.name);
        seed(API_TYPE_SECURITY, security);
        seed(API_TYPE_GATEWAY, gatewayDoc);
        auto body = bodies.find(op.name);
        OpRsp rsp = call(op.name, ids, body == bodies.end() ? "{}" : body->second);
        ASSERT_NE(rsp, nullptr);
        EXPECT_LE(rsp->status, unsigned(FAL_DELETED)) << rsp->message;
    }

    // The default rule is for a default device, which the switch marks.
    seed(API_TYPE_SECURITY, security);
    seed(API_TYPE_GATEWAY, gatewayDoc);
    const std::string mac = stored("parentalControlRules.rules.[0].mac");
    call("SecurityParentalcontrolSet", {}, R"({"active": true})");
    bool marked = false;
    for (unsigned i = 0; !marked && gateway(("connectedDevices.[" + std::to_string(i) + "]").c_str()) != "null"; ++i) {
        const std::string device = "connectedDevices.[" + std::to_string(i) + "]";
        marked = gateway((device + ".macAddress").c_str()) == mac &&
                 gateway((device + ".advanced.parentalContrl").c_str()) == "true";
    }
    EXPECT_TRUE(marked) << mac;

    // The server's range lives where the range update writes it, and is replaced by it.
    call("SecurityVpnServerUpdate", {}, R"({"active": true, "client": {"endIP": "192.168.1.120"}})");
    EXPECT_EQ(stored("vpn.client.client"), canon(R"({"startIP": "192.168.1.200", "endIP": "192.168.1.120"})"));
}
