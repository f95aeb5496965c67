// The functions the library exports beside the service operations: rule ids and device updates.
#include <memory>

#include "service/FalServiceLdb.h"
#include "support/FamilyFixture.h"

using ServiceExports = FamilyTest<FalServiceLdb, API_TYPE_SERVICE>;

TEST_F(ServiceExports, ServiceRuleIdFunctions)
{
    std::unique_ptr<TreeMapObject> oneZero(TreeMapObject::parse(R"([{"id":1},{"id":0}])"));
    std::unique_ptr<TreeMapObject> ascending(TreeMapObject::parse(R"([{"id":0},{"id":1},{"id":2}])"));
    std::unique_ptr<TreeMapObject> empty(TreeMapObject::parse("[]"));
    EXPECT_EQ(handleFindNewArrayItemId(oneZero.get(), "id"), 3);
    EXPECT_EQ(handleFindNewArrayItemId(ascending.get(), "id"), 3);
    EXPECT_EQ(handleFindNewArrayItemId(empty.get(), "id"), 0);
    EXPECT_EQ(handleFindNewArrayItemId(nullptr, "id"), -1);
    EXPECT_EQ(handleFindArrayItemById(oneZero.get(), "id", 0), 1);
    EXPECT_EQ(handleFindArrayItemById(oneZero.get(), "id", 5), -1);
    EXPECT_EQ(handleFindArrayItemById(oneZero.get(), nullptr, 0), -1);
}

TEST_F(ServiceExports, ServiceDeviceFunctions)
{
    // Without "connectedDevices" nothing changes and nothing stays locked.
    ServiceUpdateGatewayConnectedDeviceStatus(1, false, "test");
    ServiceUpdateGatewayConnectedDeviceMacField(1, "on", "test");
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), "{}");

    seed(API_TYPE_GATEWAY, R"({"connectedDevices":[{"id":1,"connected":true},{"id":2,"connected":true}]})");
    ServiceUpdateGatewayConnectedDeviceMacField(2, "on", "test");
    ServiceUpdateGatewayConnectedDeviceStatus(1, false, "test");
    ServiceUpdateGatewayConnectedDeviceStatus(7, false, "test");
    EXPECT_EQ(stored("connectedDevices.[1].advanced.macFiltering", API_TYPE_GATEWAY), "\"on\"");
    EXPECT_EQ(stored("connectedDevices.[0].connected", API_TYPE_GATEWAY), "false");
    EXPECT_EQ(stored("connectedDevices.[1].connected", API_TYPE_GATEWAY), "true");
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
}
