// Rule ids, and the effects of filtering rules on the gateway's connected devices.
#include <regex>

#include "service/FalServiceLdb.h"
#include "service/ServiceFixture.h"

namespace {

const char* const DEVICES = R"({"connectedDevices":[
    {"id":1,"ipAddress":"192.168.1.20","connected":true},
    {"id":2,"ipAddress":"192.168.1.21","connected":true},
    {"id":3,"ipAddress":"192.168.1.20","connected":true}]})";

TreeMapObject* idList(const char* ids)
{
    return TreeMapObject::parse(ids);
}

}  // namespace

TEST_F(ServiceTest, ServiceRuleIdFunctions)
{
    std::unique_ptr<TreeMapObject> oneZero(idList(R"([{"id":1},{"id":0}])"));
    std::unique_ptr<TreeMapObject> ascending(idList(R"([{"id":0},{"id":1},{"id":2}])"));
    std::unique_ptr<TreeMapObject> empty(idList("[]"));
    EXPECT_EQ(handleFindNewArrayItemId(oneZero.get(), "id"), 3);
    EXPECT_EQ(handleFindNewArrayItemId(ascending.get(), "id"), 3);
    EXPECT_EQ(handleFindNewArrayItemId(empty.get(), "id"), 0);
    EXPECT_EQ(handleFindNewArrayItemId(nullptr, "id"), -1);
    EXPECT_EQ(handleFindArrayItemById(oneZero.get(), "id", 0), 1);
    EXPECT_EQ(handleFindArrayItemById(oneZero.get(), "id", 5), -1);
    EXPECT_EQ(handleFindArrayItemById(oneZero.get(), nullptr, 0), -1);
    ASSERT_FALSE(logs_.empty());
    EXPECT_EQ(logs_.back().text, "Wrong input for function handleFindArrayItemById\n");
    EXPECT_EQ(logs_.back().group, 15);
}

TEST_F(ServiceTest, ServiceMacFilterDisconnectsItsDevice)
{
    seed(API_TYPE_GATEWAY, DEVICES);
    seed(API_TYPE_SERVICE, R"({"macFiltering":{"maxRules":4,"rules":[{"id":0,"deviceId":2,"active":false}]}})");
    SvcRsp created = call("ServiceMacfilteringCreate", {}, R"({"active":true,"deviceId":3})");
    ASSERT_NE(created, nullptr);
    EXPECT_EQ(created->status, 1u);

    std::unique_ptr<TreeMapObject> gw(LocalDbCtrl::copyDocument(API_TYPE_GATEWAY));
    EXPECT_FALSE(gw->get<bool>("connectedDevices.[2].connected"));
    EXPECT_TRUE(gw->get<bool>("connectedDevices.[0].connected"));
    const char* stamp = gw->get<const char*>("connectedDevices.[2].lastConnected");
    ASSERT_NE(stamp, nullptr);
    EXPECT_TRUE(std::regex_match(stamp, std::regex(R"(\d\d-\d\d-\d{4} \d\d:\d\d:\d\d)"))) << stamp;

    // An inactive rule and a rule for an unknown device leave the devices alone.
    std::string before = onDisk(API_TYPE_GATEWAY);
    SvcRsp inactive = call("ServiceMacfilteringPatch", {{"@ruleId", "0"}}, R"({"active":false,"deviceId":2})");
    logs_.clear();
    SvcRsp unknown = call("ServiceMacfilteringPatch", {{"@ruleId", "0"}}, R"({"active":true,"deviceId":42})");
    EXPECT_EQ(unknown->status, 0u);
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), before);
    for (const CapturedLog& log : logs_)
        EXPECT_NE(log.text, "Update device status successfully\n");
}

TEST_F(ServiceTest, ServiceAddressRulesDisconnectEveryMatchingDevice)
{
    seed(API_TYPE_GATEWAY, DEVICES);
    seed(API_TYPE_SERVICE, R"({"ipFiltering":{"maxRules":4,"rules":[{"id":0,"active":false,"ipAddress":"192.168.1.21"}]}})");
    SvcRsp patched = call("ServiceIpfilteringPatch", {{"@ruleId", "0"}}, R"({"active":true,"ipAddress":"192.168.1.20"})");
    EXPECT_EQ(patched->status, 0u);
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), canon(R"({"connectedDevices":[
        {"id":1,"ipAddress":"192.168.1.20","connected":false},
        {"id":2,"ipAddress":"192.168.1.21","connected":true},
        {"id":3,"ipAddress":"192.168.1.20","connected":false}]})"));
}

TEST_F(ServiceTest, ServiceIpCreateWithoutRulesStillUpdatesDevices)
{
    seed(API_TYPE_GATEWAY, DEVICES);
    seed(API_TYPE_SERVICE, R"({"ipFiltering":{"maxRules":4}})");
    SvcRsp created = call("ServiceIpfilteringCreate", {}, R"({"active":true,"ipAddress":"192.168.1.21"})");
    EXPECT_EQ(created->status, 4u);
    std::unique_ptr<TreeMapObject> gw(LocalDbCtrl::copyDocument(API_TYPE_GATEWAY));
    EXPECT_FALSE(gw->get<bool>("connectedDevices.[1].connected"));
}

TEST_F(ServiceTest, ServicePortIpFailedSaveDisconnectsOnCreateOnly)
{
    const char* rules = R"({"portIpFiltering":{"rules":[{"id":0,"active":false,"ipAddress":"192.168.1.21"}]}})";
    seed(API_TYPE_GATEWAY, DEVICES);
    seed(API_TYPE_SERVICE, rules);
    std::string devices = onDisk(API_TYPE_GATEWAY);
    LocalDbCtrl::failNextSaves(API_TYPE_SERVICE, 1);
    SvcRsp patched = call("ServicePortIpFilteringPatch", {{"@ruleId", "0"}}, R"({"active":true,"ipAddress":"192.168.1.21"})");
    EXPECT_EQ(patched->status, 4u);
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), devices);

    LocalDbCtrl::failNextSaves(API_TYPE_SERVICE, 1);
    SvcRsp created = call("ServicePortIpFilteringCreate", {}, R"({"active":true,"ipAddress":"192.168.1.21"})");
    EXPECT_EQ(created->status, 4u);
    EXPECT_EQ(onDisk(API_TYPE_SERVICE), canon(rules));
    std::unique_ptr<TreeMapObject> gw(LocalDbCtrl::copyDocument(API_TYPE_GATEWAY));
    EXPECT_FALSE(gw->get<bool>("connectedDevices.[1].connected"));
}

TEST_F(ServiceTest, ServiceDeviceFunctionsWithoutGatewayDevices)
{
    // No "connectedDevices": logged, nothing changed, nothing left locked.
    ServiceUpdateGatewayConnectedDeviceStatus(1, false, "test");
    ServiceUpdateGatewayConnectedDeviceMacField(1, "on", "test");
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), "{}");

    seed(API_TYPE_GATEWAY, DEVICES);
    ServiceUpdateGatewayConnectedDeviceMacField(2, "on", "test");
    std::unique_ptr<TreeMapObject> gw(LocalDbCtrl::copyDocument(API_TYPE_GATEWAY));
    EXPECT_STREQ(gw->get<const char*>("connectedDevices.[1].advanced.macFiltering"), "on");
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
}
