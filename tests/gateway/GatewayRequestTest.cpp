// Requests that the gateway refuses before it touches the database: a null request and a user
// request without its user class.
#include <set>
#include <string>

#include "gateway/GatewayFixture.h"

class GatewayRequests : public GatewayTest {};

TEST_F(GatewayRequests, NullRequestGivesNoResponseUnlessTheOperationNeverReadsIt)
{
    seed(API_TYPE_GATEWAY, R"({"users":[],"led":{"mode":"on"},"language":[]})");
    // These answer as usual: they never look at the request.
    const std::set<std::string> answering = {
        "GatewayRegistrationCode", "GatewayUpgradeStatus",        "GatewayFirmwareNewUpdate",
        "GatewayFirmwareGet",      "GatewayFirmwareUpdate",       "GatewayCpuTemperature",
        "GatewayDeviceManagementGet", "GatewayDeviceManagementChange", "GatewayUserHideWizard"};
    const FalFamilyInfo* family = falFamilyByName("gateway");
    for (const FalOpInfo& op : family->ops) {
        SCOPED_TRACE(op.name);
        GwRsp rsp(family->call(&family_, op.slot, nullptr));
        EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
        if (std::string(op.name) == "GatewayLedUpdate") {
            ASSERT_NE(rsp, nullptr);
            EXPECT_EQ(rsp->status, 10u);
            EXPECT_STREQ(rsp->message, "Wrong request");
        } else if (answering.count(op.name)) {
            ASSERT_NE(rsp, nullptr);
            EXPECT_EQ(rsp->msgId, op.requestId + 1);
            EXPECT_EQ(rsp->status, 0u);
        } else {
            EXPECT_EQ(rsp, nullptr);
        }
    }
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), canon(R"({"users":[],"led":{"mode":"on"},"language":[]})"));
}

TEST_F(GatewayRequests, UserClassMissingIsAWrongUriBeforeAnyLock)
{
    const std::string doc = R"({"users":[{"id":0,"type":"web","userName":"admin","password":"x"}]})";
    seed(API_TYPE_GATEWAY, doc);
    const struct {
        const char* op;
        const char* body;
        bool withData;
    } cases[] = {
        {"GatewayUserList", nullptr, false},
        {"GatewayUserSecurityLevelPasswordGet", nullptr, true},
        {"GatewayUserUpdate", R"([{"userName":"admin","newPassword":"y","id":0}])", false},
        {"GatewayChangePassword", R"({"userName":"admin","newPassword":"y"})", false},
        {"GatewayUserCreate", R"({"userName":"bob"})", true},
        {"GatewayUserDelete", nullptr, false},
        {"GatewayUserDeleteAll", nullptr, false},
        {"GatewayUserValidate", R"({"userName":"admin","password":"x"})", false},
        {"GatewayUserRefresh", R"({"userName":"admin"})", true},
        {"GatewayUserCheckDefault", R"({"userName":"admin"})", true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        // A lock failure in waiting shows whether the operation tried to lock.
        LocalDbCtrl::failNextLocks(API_TYPE_GATEWAY, 1);
        GwRsp rsp = call(c.op, {{"@id", "0"}}, c.body);
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(rsp->status, 10u);
        EXPECT_STREQ(rsp->message, "Wrong URI");
        EXPECT_EQ(json(rsp->data), c.withData ? "{}" : "null");
        EXPECT_EQ(LocalDbCtrlTesting::pendingLockFailures(API_TYPE_GATEWAY), 1u);
        LocalDbCtrl::failNextLocks(API_TYPE_GATEWAY, 0);
    }
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), canon(doc));
}
