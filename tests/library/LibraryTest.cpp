// What the library tells an embedder about itself: the named request ids and the version.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "fal.h"

namespace {

// Every entry of the operation lists has its name in FalMsg with the same id; an entry the
// generator failed to read would not compile here.
TEST(LibraryTest, EveryOperationHasANamedRequestId)
{
    unsigned listed = 0;
#define CHECK_ID(name, id)                          \
    EXPECT_EQ(FalMsg::name, static_cast<uint32_t>(id)) << #name; \
    ++listed;
    FAL_GATEWAY_OPS(CHECK_ID)
    FAL_NETWORK_OPS(CHECK_ID)
    FAL_MEDIASHARE_OPS(CHECK_ID)
    FAL_QOS_OPS(CHECK_ID)
    FAL_SECURITY_OPS(CHECK_ID)
    FAL_SERVICE_OPS(CHECK_ID)
    FAL_WIFI_OPS(CHECK_ID)
#undef CHECK_ID
    EXPECT_EQ(FalMsg::kOperationCount, listed);

    unsigned registered = 0;
    for (const FalFamilyInfo& family : falFamilies())
        registered += static_cast<unsigned>(family.ops.size());
    EXPECT_EQ(FalMsg::kOperationCount, registered);
}

TEST(LibraryTest, NamedIdsReachTheirOperation)
{
    struct Case {
        unsigned apiType;
        uint32_t msgId;
        const char* name;
    };
    const Case cases[] = {
        {API_TYPE_GATEWAY, FalMsg::GatewayLogin, "GatewayLogin"},
        {API_TYPE_GATEWAY, FalMsg::GatewayReboot, "GatewayReboot"},
        {API_TYPE_SERVICE, FalMsg::ServiceDmzGet, "ServiceDmzGet"},
        {API_TYPE_WIFI, FalMsg::WifiWpsRestoreDefault, "WifiWpsRestoreDefault"},
        {API_TYPE_QOS, FalMsg::QosIptvGet, "QosIptvGet"},
    };
    for (const Case& c : cases) {
        const FalFamilyInfo* family = falFamilyByApiType(c.apiType);
        ASSERT_NE(family, nullptr);
        const FalOpInfo* op = family->findRequest(c.msgId);
        ASSERT_NE(op, nullptr) << c.name;
        EXPECT_STREQ(op->name, c.name);
    }
    EXPECT_EQ(FalMsg::ServiceDmzGet, 82u);
}

TEST(LibraryTest, VersionOfLibraryAndHeadersAgree)
{
    EXPECT_STREQ(falVersion(), FAL_VERSION_STRING);
    char text[32];
    snprintf(text, sizeof text, "%d.%d.%d", FAL_VERSION_MAJOR, FAL_VERSION_MINOR, FAL_VERSION_PATCH);
    EXPECT_STREQ(text, FAL_VERSION_STRING);
}

}  // namespace
