// Object reads of LAN, WAN, access modes and DOCSIS, the access-mode updates and their failures.
#include "network/NetworkFixture.h"

TEST_F(NetworkTest, ObjectReadsCopyTheirObject)
{
    struct Case {
        const char* op;
        const char* key;
    } cases[] = {{"NetworkLanGet", "lan"},
                 {"NetworkWanGet", "wan"},
                 {"NetworkOperationGet", "operation"},
                 {"NetworkDslmodeGet", "dslMode"},
                 {"NetworkMaccloneGet", "macClone"},
                 {"NetworkQmodeGet", "qMode"},
                 {"NetworkMobileStatusGet", "mobile"},
                 {"NetworkMobileConfigurationGet", "mobileConfiguration"},
                 {"NetworkDocsisGet", "docsis"},
                 {"NetworkDocsisChannelGet", "channel"},
                 {"NetworkDocsisInitialProcedureGet", "procedure"},
                 {"NetworkDocsisInitialFrequencyGet", "initialFrequency"},
                 {"NetworkDocsisUsChannelidGet", "usChannel"},
                 // The two DOCSIS setters store nothing and answer with the modem's state.
                 {"NetworkDocsisInitialFrequencySet", "docsis"},
                 {"NetworkDocsisUsChannelidSet", "docsis"}};
    const std::string before = onDisk(API_TYPE_NETWORK);
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        OpRsp rsp = call(c.op, {}, R"({"frequency": 1, "status": "down"})");
        expectAnswer(rsp, FAL_OK, kFine, replyTo(c.op));
        EXPECT_EQ(text(rsp->data), stored(c.key));
        LocalDbCtrl::failNextLocks(API_TYPE_NETWORK, 1);
        expectAnswer(call(c.op), FAL_DB_ERROR, kLoadFailed, replyTo(c.op));
    }
    EXPECT_EQ(onDisk(API_TYPE_NETWORK), before);
    EXPECT_TRUE(logged("Found no object or database is being corrupted for path lan \n"));
    EXPECT_TRUE(logged("[DOCSIS]NetworkDocsisInitialProcedureGet 1978\n"));

    // The line read hides two members that stay stored.
    OpRsp xdsl = call("NetworkXdslGet");
    expectAnswer(xdsl, FAL_OK, kFine, replyTo("NetworkXdslGet"));
    EXPECT_EQ(text(xdsl->data), canon(R"({"status": "up", "rate": 100})"));
    EXPECT_EQ(stored("xdsl.modulationType"), "\"DMT\"");
}

TEST_F(NetworkTest, DualwanAndLanPortReadsAnswerFixedIds)
{
    OpRsp dualwan(run(family_, falFamilyByName("network")->findOp("NetworkDualwanGet")->requestId));
    ASSERT_NE(dualwan, nullptr);
    EXPECT_EQ(dualwan->apiType, unsigned(API_TYPE_SERVICE));
    EXPECT_EQ(dualwan->msgId, 45u);
    EXPECT_EQ(dualwan->status, unsigned(FAL_OK));
    EXPECT_EQ(text(dualwan->data), stored("dualwan"));

    OpRsp ports = call("NetworkLanPortGet");
    expectAnswer(ports, FAL_OK, kFine, 55);
    EXPECT_EQ(text(ports->data), stored("lanPort"));

    seed(API_TYPE_NETWORK, "{}");
    OpRsp noPorts = call("NetworkLanPortGet");
    expectAnswer(noPorts, FAL_FAILED, kFine, 55);
    EXPECT_EQ(noPorts->data, nullptr);
    OpRsp noDualwan(run(family_, falFamilyByName("network")->findOp("NetworkDualwanGet")->requestId));
    EXPECT_EQ(noDualwan->apiType, unsigned(API_TYPE_SERVICE));
    EXPECT_EQ(noDualwan->status, unsigned(FAL_FAILED));
    EXPECT_EQ(noDualwan->data, nullptr);
    EXPECT_TRUE(logged("No object found in txt repo\n"));
    EXPECT_TRUE(logged("NetworkDualwanGet Exit\n"));
    EXPECT_FALSE(logged("NetworkDualwanGet Enter\n"));
}

TEST_F(NetworkTest, AccessModeUpdatesStoreTheirMembers)
{
    struct Case {
        const char* op;
        const char* body;
        unsigned msgId;
        const char* key;
        const char* expected;
    } cases[] = {
        {"NetworkOperationUpdate", R"({"mode": "bridge", "x": 1})", replyTo("NetworkOperationUpdate"), "operation",
         R"({"mode": "bridge"})"},
        {"NetworkOperationUpdate", "{}", replyTo("NetworkOperationUpdate"), "operation", R"({"mode": "bridge"})"},
        {"NetworkDslmodeSet", R"([{"type": "vdsl2", "active": false}, {"type": "gfast", "active": false}, 3])",
         replyTo("NetworkDslmodeSet"), "dslMode", R"([{"type": "adsl", "active": true}, {"type": "vdsl2", "active": false}])"},
        {"NetworkMaccloneSet", R"({"active": true, "mac": "AA:BB:CC:00:11:22"})", replyTo("NetworkMaccloneSet"),
         "macClone", R"({"active": true, "mac": "AA:BB:CC:00:11:22"})"},
        {"NetworkMaccloneSet", R"({"active": true})", replyTo("NetworkMaccloneSet"), "macClone",
         R"({"active": true, "mac": null})"},
        {"NetworkQmodeUpdate", R"({"operation": "enable", "connection": {"ssid": "up", "bssid": "b", "extra": 1}})", 43,
         "qMode", R"({"operation": "enable", "qmode": null,
                      "connection": {"index": 0, "ssid": "up", "radio": "2.4g", "bssid": "b"}})"},
        {"NetworkDualwanUpdate", R"({"active": true, "secondary": {"name": "LTE"}})", 47, "dualwan",
         R"({"active": true, "mode": 0, "primary": {"interface": 0, "name": "WAN"},
             "secondary": {"interface": 1, "name": "LTE"}})"},
        {"NetworkDualwanUpdate", R"({"mode": 2, "primary": {"interface": 3}})", 47, "dualwan",
         R"({"active": false, "mode": 2, "primary": {"interface": 3, "name": "WAN"},
             "secondary": {"interface": 1, "name": "LTE"}})"},
        {"NetworkMobileUpdate", R"({"apn": "web", "pinCode": 1234, "profileID": 4})", 53, "mobileConfiguration",
         R"({"apn": "web", "profileID": 4, "location": null, "ispType": null, "dialNumber": null, "userName": null,
             "password": null, "authenticationType": null, "pinCode": "1234", "apnType": null})"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.op) + " " + c.body);
        expectAnswer(call(c.op, {}, c.body), FAL_OK, kFine, c.msgId);
        EXPECT_EQ(stored(c.key), canon(c.expected));
    }
}

TEST_F(NetworkTest, AccessModeUpdateFailures)
{
    const char* body = R"({"mode": 1, "active": true})";
    expectRefusals(kNetworkDoc, {
        {"NetworkOperationUpdate", {}, body, LOCK, FAL_DB_ERROR, kLoadFailed, replyTo("NetworkOperationUpdate")},
        {"NetworkOperationUpdate", {}, body, SAVE, FAL_FAILED, kFine, replyTo("NetworkOperationUpdate")},
        {"NetworkDslmodeSet", {}, "[]", LOCK, FAL_DB_ERROR, kLoadFailed, replyTo("NetworkDslmodeSet")},
        {"NetworkDslmodeSet", {}, "[]", SAVE, FAL_FAILED, kFine, replyTo("NetworkDslmodeSet")},
        {"NetworkMaccloneSet", {}, body, LOCK, FAL_DB_ERROR, kLoadFailed, replyTo("NetworkMaccloneSet")},
        {"NetworkMaccloneSet", {}, body, SAVE, FAL_FAILED, kFine, replyTo("NetworkMaccloneSet")},
        {"NetworkQmodeUpdate", {}, body, LOCK, FAL_DB_ERROR, kFine, 43},
        {"NetworkQmodeUpdate", {}, body, SAVE, FAL_FAILED, kFine, 43},
        {"NetworkDualwanUpdate", {}, body, LOCK, FAL_DB_ERROR, kFine, 47},
        {"NetworkDualwanUpdate", {}, body, SAVE, FAL_DB_ERROR, "Save databse error", 47},
        {"NetworkMobileUpdate", {}, body, LOCK, FAL_DB_ERROR, kFine, 53},
        {"NetworkMobileUpdate", {}, body, SAVE, FAL_FAILED, kFine, 53},
    });
    EXPECT_TRUE(logged("Cannot load db object for key operation\n"));
    EXPECT_TRUE(logged("Cannot load local database due to some unexpected error\n"));
    EXPECT_TRUE(logged("No object found in txt Repo!\n"));
    for (const char* op : {"NetworkOperationUpdate", "NetworkDslmodeSet", "NetworkMaccloneSet", "NetworkQmodeUpdate",
                           "NetworkDualwanUpdate", "NetworkMobileUpdate"})
        EXPECT_EQ(call(op), nullptr) << op;
}
