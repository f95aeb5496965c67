// The dual-WAN read answers in the service family's name, which a case row cannot express.
#include "network/FalNetworkLdb.h"
#include "support/FamilyFixture.h"

using NetworkTest = FamilyTest<FalNetworkLdb, API_TYPE_NETWORK>;

TEST_F(NetworkTest, NetworkDualwanGetAnswersForTheServiceFamily)
{
    const char* dualwan = R"({"active":false,"mode":0,"primary":{"interface":0,"name":"WAN"}})";
    seed(API_TYPE_NETWORK, std::string(R"({"dualwan":)") + dualwan + "}");
    OpRsp rsp = call("NetworkDualwanGet");
    ASSERT_NE(rsp, nullptr);
    EXPECT_EQ(rsp->apiType, unsigned(API_TYPE_SERVICE));
    EXPECT_EQ(rsp->msgId, 45u);
    EXPECT_EQ(rsp->status, unsigned(FAL_OK));
    EXPECT_EQ(json(rsp->data), canon(dualwan));

    seed(API_TYPE_NETWORK, "{}");
    OpRsp missing = call("NetworkDualwanGet");
    ASSERT_NE(missing, nullptr);
    EXPECT_EQ(missing->apiType, unsigned(API_TYPE_SERVICE));
    EXPECT_EQ(missing->status, unsigned(FAL_FAILED));
    EXPECT_EQ(missing->data, nullptr);
}
