// MTA read-outs, and what holds for every network operation.
#include "network/NetworkFixture.h"
#include "tools/common/FalDefaults.h"

TEST_F(NetworkTest, MtaReadsCopyOneMember)
{
    struct Case {
        const char* op;
        const char* member;
        unsigned msgId;
    } cases[] = {{"NetworkDocsisMtaGet", "info", 63},
                 {"NetworkDocsisMtaLineGet", "line", replyTo("NetworkDocsisMtaLineGet")},
                 {"NetworkDocsisMtaProcedureGet", "procedure", replyTo("NetworkDocsisMtaProcedureGet")},
                 {"NetworkDocsisMtaVqmGetList", "vqmList", 77},
                 {"NetworkDocsisMtaConfigurationFile", "configFile", 81},
                 {"NetworkDocsisMtaEnterpriseMibs", "enterpriseMib", 83},
                 {"NetworkDocsisMtaLoopdiagTest", "loogDiag", 85}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        seed(API_TYPE_NETWORK, kNetworkDoc);
        OpRsp rsp = call(c.op);
        expectAnswer(rsp, FAL_OK, kFine, c.msgId);
        EXPECT_EQ(text(rsp->data), stored((std::string("mta.") + c.member).c_str()));
        LocalDbCtrl::failNextLocks(API_TYPE_NETWORK, 1);
        expectAnswer(call(c.op), FAL_DB_ERROR, kLoadFailed, c.msgId);

        seed(API_TYPE_NETWORK, R"({"mta": {"loopDiag": {}}})");
        OpRsp missing = call(c.op);
        expectAnswer(missing, FAL_DB_ERROR, kLoadFailed, c.msgId);
        EXPECT_EQ(missing->data, nullptr);
        EXPECT_TRUE(logged(std::string("Found no object or database is being corrupted for path mta/") + c.member +
                           " \n"));
    }
    EXPECT_TRUE(logged("Found no object or database is being corrupted for path mta \n"));
}

TEST_F(NetworkTest, EveryOperationAnswersNullForANullRequest)
{
    const FalFamilyInfo* family = falFamilyByApiType(API_TYPE_NETWORK);
    unsigned implemented = 0;
    for (const FalOpInfo& op : family->ops) {
        SCOPED_TRACE(op.name);
        EXPECT_EQ(callNull(op.name), nullptr);
        EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
        implemented += family->implemented(&family_, op.slot);
    }
    EXPECT_EQ(implemented, 43u);
    for (const char* op : {"NetworkDocsisMtaVqmClear", "NetworkDocsisSpectrumAnalyzerGet",
                           "NetworkDocsisSpectrumAnalyzerUpdate", "NetworkDocsisSpectrumAnalyzerDataGet"}) {
        EXPECT_FALSE(family->implemented(&family_, family->findOp(op)->slot)) << op;
        EXPECT_EQ(call(op, first_, "{}"), nullptr) << op;
    }
    EXPECT_TRUE(logged("NULL request has been received\n"));
    EXPECT_TRUE(logged("Wrong request has been received\n"));
}

// Every operation answers with success on the factory defaults (network and service documents).
TEST_F(NetworkTest, EveryOperationSucceedsOnTheFactoryDefaults)
{
    for (const FalDefaultFile* f = falDefaultFiles; f->path; ++f) {
        if (std::string(f->path) == "db/network.json")
            seed(API_TYPE_NETWORK, std::string(f->data, f->size));
        if (std::string(f->path) == "db/service.json")
            seed(API_TYPE_SERVICE, std::string(f->data, f->size));
    }
    ASSERT_EQ(stored("wan.interfaces.[0].connectivity"), "\"connected\"");
    const FalFamilyInfo* family = falFamilyByApiType(API_TYPE_NETWORK);
    for (const FalOpInfo& op : family->ops) {
        if (!family->implemented(&family_, op.slot))
            continue;
        SCOPED_TRACE(op.name);
        const char* body = std::string(op.name) == "NetworkDslmodeSet" ? R"([{"type": "adsl", "active": true}])"
                                                                       : R"({"mode": "router"})";
        OpRsp rsp(run(family_, op.requestId, first_, body));
        ASSERT_NE(rsp, nullptr);
        EXPECT_LT(rsp->status, unsigned(FAL_FAILED)) << rsp->message;
    }

    // The defaults' reserved address and DMZ host sit in the LAN network and move with it.
    call("NetworkLanUpdate", {}, R"({"ipv4": {"ipAddress": "10.0.0.1"}})");
    EXPECT_EQ(service("reservedIp.rules.[0].ipAddress"), "\"10.0.0.10\"");
    EXPECT_EQ(service("dmz.destination"), "\"10.0.0.40\"");
}
