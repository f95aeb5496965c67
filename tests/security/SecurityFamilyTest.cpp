// The family as a whole: every operation is served and none trips over a malformed request.
#include "security/SecurityFixture.h"

TEST_F(SecurityTest, EveryOperationIsImplementedAndAnswersItsOwnId)
{
    const FalFamilyInfo* family = falFamilyByName("security");
    ASSERT_EQ(family->ops.size(), 56u);
    for (const FalOpInfo& op : family->ops) {
        SCOPED_TRACE(op.name);
        EXPECT_TRUE(family->implemented(&family_, op.slot));
        OpRsp rsp = call(op.name, {{"@id", "0"}, {"@ruleId", "1"}, {"@categoryId", "0"}, {"@filterId", "0"}}, "{}");
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(rsp->msgId, op.requestId + 1);
        EXPECT_EQ(rsp->apiType, 3u);
    }
}

TEST_F(SecurityTest, MalformedRequestsNeverCrash)
{
    const FalFamilyInfo* family = falFamilyByName("security");
    for (const FalOpInfo& op : family->ops) {
        SCOPED_TRACE(op.name);
        // A null request: no response, or an answer that owns its data; no lock is left.
        _FAL_RSP_T* none = family->call(&family_, op.slot, nullptr);
        EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
        freeFalResponse(none);
        for (const char* body : {"null", "[1, 2]", "\"text\"", R"({"ipv4": 1, "local": [], "auth": 3, "alert": 4})"}) {
            SCOPED_TRACE(body);
            seed(API_TYPE_SECURITY, security_test::kSecurity);
            OpRsp rsp = call(op.name, {{"@id", "x"}, {"@ruleId", ""}, {"@filterId", "1x"}}, body);
            ASSERT_NE(rsp, nullptr);
        }
    }
    // Stored IPv4 rules outlive malformed firewall bodies too.
    EXPECT_NE(stored("firewall.ipv4.rules"), "null");
}

TEST_F(SecurityTest, NullRequestsAnsweredAsRefusals)
{
    const FalFamilyInfo* family = falFamilyByName("security");
    struct Case {
        const char* op;
        unsigned status;
        const char* message;
    } cases[] = {
        {"SecurityVpnIpsecUpdate", FAL_BAD_REQUEST, "Received wrong request"},
        {"SecurityVpnIpsecDelete", FAL_BAD_REQUEST, "Received wrong request"},
        {"SecurityParentalcontrolUpdate", FAL_BAD_REQUEST, "Bad request"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        const FalOpInfo* op = family->findOp(c.op);
        OpRsp rsp(family->call(&family_, op->slot, nullptr));
        expectAnswer(rsp, c.status, c.message, op->requestId + 1);
        EXPECT_EQ(rsp->data, nullptr);
    }
    // The tunnel creation alone gives no response at all.
    EXPECT_EQ(family->call(&family_, family->findOp("SecurityVpnIpsecCreate")->slot, nullptr), nullptr);
    EXPECT_TRUE(logged("A null request has been received\n"));
    EXPECT_EQ(onDisk(API_TYPE_SECURITY), canon(security_test::kSecurity));
}

TEST_F(SecurityTest, OwnOperationsGoByTheSecurityConstant)
{
    // Whatever type the host leaves on the object, the family's own operations answer as, and
    // work on, the security document; only the generic ones follow the object.
    family_.apiType = API_TYPE_SERVICE;
    struct Case {
        const char* op;
        const char* body;
        unsigned status;
        const char* message;
    } cases[] = {
        {"SecurityFirewallGet", nullptr, FAL_OK, kFine},
        {"SecurityFirewallAlertUpdate", R"({"active": true, "alert": {"email": "e", "smtp": "s"}})", FAL_OK, kFine},
        {"SecurityFirewallLogGet", nullptr, FAL_OK, kFine},
        {"SecurityParentalcontrolSet", R"({"active": true})", FAL_OK, kFine},
        {"SecurityParentalcontrolCreate", R"({"name": "r4"})", FAL_CREATED, "New Created"},
        {"SecurityVpnServerGet", nullptr, FAL_OK, kFine},
        {"SecurityVpnIpsecDeleteAll", nullptr, FAL_OK, "Table is deleted"},
        {"SecurityVpnIpsecConnect", nullptr, FAL_OK, kFine},
        {"SecurityManagedDevicesGet", nullptr, FAL_OK, kFine},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        OpRsp rsp = call(c.op, {}, c.body);
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(rsp->apiType, unsigned(API_TYPE_SECURITY));
        EXPECT_EQ(rsp->status, c.status);
        EXPECT_STREQ(rsp->message, c.message);
    }
    EXPECT_EQ(stored("firewallAlert.alert.email"), "\"e\"");
    EXPECT_EQ(stored("parentalControl.general.active"), "true");
    EXPECT_EQ(ids("parentalControlRules.rules", "index"), "1,2,3,4");
    EXPECT_EQ(stored("vpn.ipsec"), "[]");
}
