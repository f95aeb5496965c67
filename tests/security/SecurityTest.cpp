// What the security case files cannot hold: the device update called on its own, and an object
// whose type the host has changed.
#include "support/FamilyFixture.h"

class SecurityTest : public FamilyTest<FalSecurityLdb, API_TYPE_SECURITY> {
protected:
    void SetUp() override
    {
        FamilyTest::SetUp();
        seed(API_TYPE_SECURITY, R"({"firewall": {"ipv4": {"level": "high"}, "ipv6": {"level": "low"}},
            "parentalControl": {"general": {"active": false}}, "parentalControlRules": {"rules": [{"index": 1}]},
            "vpn": {"ipsec": [{"id": 0}]}})");
        seed(API_TYPE_GATEWAY, R"({"connectedDevices": [
            {"macAddress": "AA:00", "advanced": {"parentalContrl": true}},
            {"macAddress": "BB:11", "advanced": {"parentalContrl": true}}]})");
    }
};

TEST_F(SecurityTest, DeviceUpdateByAddressSavesOnlyAChange)
{
    EXPECT_EQ(family_.UpdateGatewayParentalControl(false, "BB:11", "test"), 0);
    EXPECT_EQ(stored("connectedDevices.[0].advanced.parentalContrl", API_TYPE_GATEWAY), "true");
    EXPECT_EQ(stored("connectedDevices.[1].advanced.parentalContrl", API_TYPE_GATEWAY), "false");

    // No device with that address: nothing to save, so a failing save is never met.
    LocalDbCtrl::failNextSaves(API_TYPE_GATEWAY, 1);
    EXPECT_EQ(family_.UpdateGatewayParentalControl(false, "DD:33", "test"), 0);
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(API_TYPE_GATEWAY), 1u);
    LocalDbCtrl::failNextSaves(API_TYPE_GATEWAY, 0);

    LocalDbCtrl::failNextLocks(API_TYPE_GATEWAY, 1);
    EXPECT_EQ(family_.UpdateGatewayParentalControl(true, nullptr, "test"), 8);
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
}

TEST_F(SecurityTest, OwnOperationsGoByTheSecurityTypeWhateverTheObjectSays)
{
    family_.apiType = API_TYPE_SERVICE;
    const struct {
        const char* op;
        const char* body;
        unsigned status;
    } cases[] = {
        {"SecurityFirewallGet", nullptr, FAL_OK},
        {"SecurityParentalcontrolSet", R"({"active": true})", FAL_OK},
        {"SecurityParentalcontrolCreate", R"({"name": "r2"})", FAL_CREATED},
        {"SecurityVpnIpsecDeleteAll", nullptr, FAL_OK},
        {"SecurityManagedDevicesGet", nullptr, FAL_OK},
    };
    for (const auto& c : cases) {
        OpRsp rsp = call(c.op, {}, c.body);
        ASSERT_NE(rsp, nullptr) << c.op;
        EXPECT_EQ(rsp->apiType, unsigned(API_TYPE_SECURITY)) << c.op;
        EXPECT_EQ(rsp->status, c.status) << c.op << ": " << rsp->message;
    }
    EXPECT_EQ(stored("parentalControl.general.active"), "true");
    EXPECT_EQ(stored("parentalControlRules.rules.[1].index"), "2");
    EXPECT_EQ(stored("vpn.ipsec"), "[]");
}
