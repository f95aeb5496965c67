// The frame: interface slot order, message tables, dispatch, response factory, generic operations.
#include <map>
#include <memory>
#include <set>

#include "frame/FalVtable.h"
#include "support/FalTest.h"

using Rsp = std::unique_ptr<_FAL_RSP_T, RspDeleter>;

namespace {

// vtable slots of IFal: two destructors, handleFalReq, validateReqParams; operations follow.
constexpr long kFirstOperationSlot = 4;

template <class I>
using Op = _FAL_RSP_T* (I::*)(_FAL_REQ_T*);

template <class I>
void expectSlotOrder(const std::vector<Op<I>>& ops, const char* family)
{
    EXPECT_EQ(falabi::virtualSlot(&I::handleFalReq), 2) << family;
    EXPECT_EQ(falabi::virtualSlot(&I::validateReqParams), 3) << family;
    for (size_t k = 0; k < ops.size(); ++k)
        EXPECT_EQ(falabi::virtualSlot(ops[k]), kFirstOperationSlot + static_cast<long>(k))
            << family << " operation " << k;
}

#define PMF(name, id) &Interface::name,

}  // namespace

TEST(FrameInterfaces, OperationsSitInTheirSlots)
{
    {
        using Interface = IFalGateway;
        expectSlotOrder<Interface>({FAL_GATEWAY_OPS(PMF)}, "gateway");
    }
    {
        using Interface = IFalNetwork;
        expectSlotOrder<Interface>({FAL_NETWORK_OPS(PMF)}, "network");
    }
    {
        using Interface = IFalMediaShare;
        expectSlotOrder<Interface>({FAL_MEDIASHARE_OPS(PMF)}, "mediashare");
    }
    {
        using Interface = IFalQos;
        expectSlotOrder<Interface>({FAL_QOS_OPS(PMF)}, "qos");
    }
    {
        using Interface = IFalSecurity;
        expectSlotOrder<Interface>({FAL_SECURITY_OPS(PMF)}, "security");
    }
    {
        using Interface = IFalService;
        expectSlotOrder<Interface>({FAL_SERVICE_OPS(PMF)}, "service");
    }
    {
        using Interface = IFalWifi;
        expectSlotOrder<Interface>({FAL_WIFI_OPS(PMF)}, "wifi");
    }
    // A few fixed points of the order.
    EXPECT_EQ(falabi::virtualSlot(&IFalGateway::GatewayLogin), kFirstOperationSlot);
    EXPECT_EQ(falabi::virtualSlot(&IFalGateway::GatewayBatteryGet), kFirstOperationSlot + 27);
    EXPECT_EQ(falabi::virtualSlot(&IFalService::ServiceAccessADMChange), kFirstOperationSlot + 87);
    EXPECT_EQ(falabi::virtualSlot(&IFalWifi::WifiWpsGetConnection), kFirstOperationSlot + 39);
}

TEST(FrameFamilies, SevenFamiliesInApiTypeOrder)
{
    struct Expect {
        const char* name;
        unsigned apiType;
        size_t ops;
    };
    const Expect expected[] = {{"gateway", 0, 44}, {"wifi", 1, 40},       {"network", 2, 47}, {"security", 3, 56},
                               {"service", 4, 88}, {"mediashare", 5, 22}, {"qos", 6, 10}};
    const auto& families = falFamilies();
    ASSERT_EQ(families.size(), 7u);
    size_t total = 0;
    for (size_t i = 0; i < 7; ++i) {
        EXPECT_STREQ(families[i].name, expected[i].name);
        EXPECT_EQ(families[i].apiType, expected[i].apiType);
        EXPECT_EQ(families[i].ops.size(), expected[i].ops);
        EXPECT_EQ(falFamilyByName(expected[i].name), &families[i]);
        EXPECT_EQ(falFamilyByApiType(expected[i].apiType), &families[i]);
        std::unique_ptr<IFal> object(families[i].create());
        EXPECT_EQ(object->apiType, expected[i].apiType);
        total += families[i].ops.size();
    }
    EXPECT_EQ(total, 307u);
    EXPECT_EQ(falFamilyByName("nosuch"), nullptr);
    EXPECT_EQ(falFamilyByApiType(7), nullptr);
}

TEST(FrameFamilies, MessageTablesAreCompleteAndCollisionFree)
{
    for (const auto& family : falFamilies()) {
        std::set<unsigned> ids;
        std::set<std::string> names;
        for (size_t slot = 0; slot < family.ops.size(); ++slot) {
            const FalOpInfo& op = family.ops[slot];
            EXPECT_EQ(op.slot, slot);
            EXPECT_EQ(op.requestId % 2, 0u) << op.name;
            EXPECT_TRUE(ids.insert(op.requestId).second) << family.name << " reuses id " << op.requestId;
            EXPECT_TRUE(names.insert(op.name).second) << op.name;
            EXPECT_EQ(family.findRequest(op.requestId), &op);
            EXPECT_EQ(family.findOp(op.name), &op);
        }
    }
    // Gateway, QoS and wifi number their operations 2k in slot order.
    for (const char* name : {"gateway", "qos", "wifi"})
        for (const auto& op : falFamilyByName(name)->ops)
            EXPECT_EQ(op.requestId, 2 * op.slot) << op.name;
    const FalFamilyInfo* gateway = falFamilyByName("gateway");
    EXPECT_EQ(gateway->findOp("GatewayLogin")->requestId, 0u);
    EXPECT_EQ(gateway->findOp("GatewayUpgrade")->requestId, 62u);
    EXPECT_EQ(gateway->findOp("GatewayReboot")->requestId, 68u);
    EXPECT_EQ(falFamilyByName("wifi")->findOp("WifiWpsRestoreDefault")->requestId, 54u);
}

TEST(FrameFactory, ResponsesStartFineWithTheirKindOfData)
{
    struct Case {
        int kind;
        const char* json;
    };
    for (const Case& c : {Case{0, "{}"}, Case{1, "[]"}, Case{2, "{}"}, Case{3, nullptr}, Case{7, nullptr}}) {
        Rsp rsp(makeFalResponse(4, 7, c.kind));
        ASSERT_TRUE(rsp);
        EXPECT_EQ(rsp->apiType, 4u);
        EXPECT_EQ(rsp->msgId, 7u);
        EXPECT_EQ(rsp->status, 0u);
        EXPECT_STREQ(rsp->message, "FAL processed fine!");
        if (c.json)
            EXPECT_EQ(rsp->data->toJsonString(), c.json) << c.kind;
        else
            EXPECT_EQ(rsp->data, nullptr) << c.kind;
    }
    Rsp with(newFalResponse(0, 1, true));
    Rsp without(newFalResponse(0, 1, false));
    EXPECT_TRUE(with->data && with->data->isObject());
    EXPECT_EQ(without->data, nullptr);
}

class FrameDispatch : public FalDbTest {};

TEST_F(FrameDispatch, InterfaceDefaultsAnswerNull)
{
    for (const auto& family : falFamilies()) {
        std::unique_ptr<IFal> object(family.create());
        for (const auto& op : family.ops) {
            if (family.implemented(object.get(), op.slot))
                continue;
            Rsp viaDispatch(run(*object, op.requestId));
            EXPECT_EQ(viaDispatch, nullptr) << op.name;
            _FAL_REQ_T req;
            req.msgId = op.requestId;
            req.requester = "test";
            EXPECT_EQ(family.call(object.get(), op.slot, &req), nullptr) << op.name;
            EXPECT_EQ(family.call(object.get(), op.slot, nullptr), nullptr) << op.name;
        }
    }
}

TEST_F(FrameDispatch, UnknownMessageIdIsABadRequest)
{
    FalWifiLdb wifi;
    for (unsigned msgId : {1u, 80u, 999u}) {
        Rsp rsp(run(wifi, msgId));
        ASSERT_TRUE(rsp);
        EXPECT_EQ(rsp->apiType, 1u);
        EXPECT_EQ(rsp->msgId, msgId + 1);
        EXPECT_EQ(rsp->status, unsigned(FAL_BAD_REQUEST));
        EXPECT_STREQ(rsp->message, "Bad request");
        EXPECT_EQ(rsp->data, nullptr);
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
        ASSERT_FALSE(logs_.empty());
        EXPECT_EQ(logs_.back().type, 3);
        EXPECT_NE(logs_.back().text.find("lock(s) held"), std::string::npos) << logs_.back().text;
    }
    leftLocksAtStart_ = falLeftLockCount();  // this test provoked them on purpose
}

class FrameGeneric : public FalDbTest {
protected:
    void TearDown() override
    {
        body_.reset();
        FalDbTest::TearDown();
    }
    _FAL_REQ_T request(const char* body = nullptr)
    {
        _FAL_REQ_T req;
        req.apiType = 0;
        req.msgId = 20;
        req.requester = "test";
        body_.reset(body ? TreeMapObject::parse(body) : nullptr);
        req.body = body_.get();
        return req;
    }
    std::unique_ptr<TreeMapObject> body_;
};

TEST_F(FrameGeneric, ObjectResponseFormsDifferOnlyInTheFailureMessage)
{
    seed(2, R"({"lan":{"ip":"192.168.1.1"}})");
    Rsp lan(falDbObjectResponse(FAL_FORM_NETWORK, 2, 0, "lan", "test"));
    EXPECT_EQ(lan->msgId, 1u);
    EXPECT_EQ(lan->status, 0u);
    EXPECT_EQ(json(lan->data), R"({"ip":"192.168.1.1"})");

    Rsp network(falDbObjectResponse(FAL_FORM_NETWORK, 2, 0, "wan", "test"));
    EXPECT_EQ(network->status, 8u);
    EXPECT_STREQ(network->message, "Cannot load network database");
    Rsp media(falDbObjectResponse(FAL_FORM_MEDIASHARE, 5, 6, "usb", "test"));
    EXPECT_EQ(media->msgId, 7u);
    EXPECT_EQ(media->status, 8u);
    EXPECT_STREQ(media->message, "FAL processed fine!");
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
}
