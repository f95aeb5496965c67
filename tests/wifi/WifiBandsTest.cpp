// The band lookups the library exports: interface 0 is the 2.4 GHz band, or the 5 GHz one on a
// device whose first radio is 5 GHz; interface 1 is the 5 GHz band.
#include <memory>

#include "support/FamilyFixture.h"
#include "wifi/FalWifiLdb.h"

using WifiBands = FamilyTest<FalWifiLdb, API_TYPE_WIFI>;

TEST_F(WifiBands, WifiBandLookupsFollowTheInterfaceId)
{
    std::unique_ptr<TreeMapObject> both(TreeMapObject::parse(R"({"24g": 1, "50g": 2})"));
    std::unique_ptr<TreeMapObject> only5(TreeMapObject::parse(R"({"50g": 2})"));
    const struct {
        TreeMapObject* obj;
        int id;
        const char* expected;
    } cases[] = {{both.get(), 0, "1"}, {both.get(), 1, "2"}, {only5.get(), 0, "2"},
                 {both.get(), 2, "null"}, {both.get(), -1, "null"}, {nullptr, 0, "null"}};
    for (const auto& c : cases) {
        std::unique_ptr<TreeMapObject> band(FalWifiLdb::GetTreeMapObjectByInterface(c.obj, c.id));
        EXPECT_EQ(canon(json(band.get())), c.expected) << c.id;
    }

    TreeMapObject value(false);
    EXPECT_EQ(FalWifiLdb::SetTreeMapObjectByInterface(only5.get(), 0, &value), 0);
    EXPECT_EQ(canon(json(only5.get())), canon(R"({"50g": {}})"));
    EXPECT_EQ(FalWifiLdb::SetTreeMapObjectByInterface(both.get(), 0, &value), 0);
    EXPECT_EQ(canon(json(both.get())), canon(R"({"24g": {}, "50g": 2})"));
    EXPECT_EQ(FalWifiLdb::SetTreeMapObjectByInterface(both.get(), 3, &value), 2);
    EXPECT_EQ(FalWifiLdb::SetTreeMapObjectByInterface(both.get(), 0, nullptr), 2);
}
