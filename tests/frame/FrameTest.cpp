// The frame: the interface layout embedders compile against, the registry's lookups, and dispatch.
// Generic reads and writes are rows of tests/fixtures/frame/.
#include <memory>
#include <set>

#include "frame/FalVtable.h"
#include "support/FalTest.h"

using Rsp = std::unique_ptr<_FAL_RSP_T, RspDeleter>;

TEST(FrameInterfaces, OperationsFollowTheTwoEntryPoints)
{
    // Two destructors first; embedders built against the headers call through these slots.
    EXPECT_EQ(falabi::virtualSlot(&IFalGateway::handleFalReq), 2);
    EXPECT_EQ(falabi::virtualSlot(&IFalGateway::validateReqParams), 3);
    EXPECT_EQ(falabi::virtualSlot(&IFalGateway::GatewayLogin), 4);
    EXPECT_EQ(falabi::virtualSlot(&IFalQos::QosConfigurationList), 4);
}

TEST(FrameFamilies, LookupsAgreeWithTheTables)
{
    for (const auto& family : falFamilies()) {
        EXPECT_EQ(falFamilyByName(family.name), &family);
        EXPECT_EQ(falFamilyByApiType(family.apiType), &family);
        std::unique_ptr<IFal> object(family.create());
        EXPECT_EQ(object->apiType, family.apiType);
        std::set<unsigned> ids;
        for (size_t slot = 0; slot < family.ops.size(); ++slot) {
            const FalOpInfo& op = family.ops[slot];
            EXPECT_EQ(op.slot, slot);
            EXPECT_EQ(op.requestId % 2, 0u) << op.name;
            EXPECT_TRUE(ids.insert(op.requestId).second) << family.name << " reuses id " << op.requestId;
            EXPECT_EQ(family.findRequest(op.requestId), &op);
            EXPECT_EQ(family.findOp(op.name), &op);
        }
        EXPECT_EQ(family.findRequest(1), nullptr);
        EXPECT_EQ(family.findRequest(2 * unsigned(family.ops.size())), nullptr);
        EXPECT_EQ(family.findOp("nosuch"), nullptr);
    }
    EXPECT_EQ(falFamilyByName("nosuch"), nullptr);
    EXPECT_EQ(falFamilyByApiType(static_cast<unsigned>(falFamilies().size())), nullptr);
}

class FrameDispatch : public FalDbTest {};

TEST_F(FrameDispatch, UnknownMessageIdIsABadRequest)
{
    FalWifiLdb wifi;
    for (unsigned msgId : {1u, 999u}) {
        Rsp rsp(run(wifi, msgId));
        ASSERT_TRUE(rsp);
        EXPECT_EQ(rsp->apiType, 1u);
        EXPECT_EQ(rsp->msgId, msgId + 1);
        EXPECT_EQ(rsp->status, unsigned(FAL_BAD_REQUEST));
        EXPECT_STREQ(rsp->message, "Bad request");
    }
    EXPECT_EQ(wifi.handleFalReq(nullptr), nullptr);
}

// A gateway whose login forgets to unlock, and whose logout locks twice and unlocks once.
class LeakyGateway : public FalGatewayLdb {
public:
    _FAL_RSP_T* GatewayLogin(_FAL_REQ_T* req) override
    {
        delete LocalDbCtrl::lockDbObject(apiType, "", req->requester);
        return newFalResponse(apiType, req->msgId + 1, false);
    }
    _FAL_RSP_T* GatewayLogout(_FAL_REQ_T* req) override
    {
        delete LocalDbCtrl::lockDbObject(apiType, "", req->requester);
        delete LocalDbCtrl::lockDbObject(API_TYPE_WIFI, "", req->requester);
        LocalDbCtrl::unlockDbObject(apiType, req->requester);
        return newFalResponse(apiType, req->msgId + 1, false);
    }
};

TEST_F(FrameDispatch, LocksLeftHeldAreReleasedAndReported)
{
    LeakyGateway gateway;
    const FalFamilyInfo* info = falFamilyByName("gateway");
    EXPECT_TRUE(info->implemented(&gateway, 0));
    EXPECT_FALSE(info->implemented(&gateway, info->findOp("GatewayBatteryGet")->slot));
    for (unsigned msgId : {0u, 2u}) {
        unsigned long before = falLeftLockCount();
        _FAL_REQ_T req;
        req.msgId = msgId;
        req.requester = "leaky";
        Rsp rsp(gateway.handleFalReq(&req));
        ASSERT_TRUE(rsp);
        EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
        EXPECT_EQ(falLeftLockCount(), before + 1);
    }
    leftLocksAtStart_ = falLeftLockCount();  // this test provoked them on purpose
}
