// What the library tells an embedder about itself: the named request ids. (The version an
// embedder sees is checked by tests/install.)
#include <gtest/gtest.h>

#include <string>

#include "fal.h"

// Every entry of the operation lists has its name in FalMsg with the same id, and each reaches
// its own operation; an entry the generator failed to read would not compile here.
TEST(LibraryTest, EveryOperationHasANamedRequestIdThatReachesIt)
{
    unsigned listed = 0;
    auto reach = [&](uint32_t id, const char* name) {
        for (const FalFamilyInfo& family : falFamilies())
            if (const FalOpInfo* op = family.findRequest(id))
                listed += std::string(op->name) == name;
    };
#define CHECK_ID(name, id)                                       \
    EXPECT_EQ(FalMsg::name, static_cast<uint32_t>(id)) << #name; \
    reach(FalMsg::name, #name);
    FAL_GATEWAY_OPS(CHECK_ID)
    FAL_NETWORK_OPS(CHECK_ID)
    FAL_MEDIASHARE_OPS(CHECK_ID)
    FAL_QOS_OPS(CHECK_ID)
    FAL_SECURITY_OPS(CHECK_ID)
    FAL_SERVICE_OPS(CHECK_ID)
    FAL_WIFI_OPS(CHECK_ID)
#undef CHECK_ID
    unsigned registered = 0;
    for (const FalFamilyInfo& family : falFamilies())
        registered += static_cast<unsigned>(family.ops.size());
    EXPECT_EQ(FalMsg::kOperationCount, registered);
    EXPECT_EQ(listed, registered);
}
