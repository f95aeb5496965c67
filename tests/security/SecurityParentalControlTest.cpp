// Parental control: the switch and its effect on the gateway's devices, rules, filters and the PIN.
#include "security/SecurityFixture.h"

using security_test::kGateway;
using security_test::kSecurity;

TEST_F(SecurityTest, ParentalSwitchMarksEveryConnectedDevice)
{
    expectAnswer(call("SecurityParentalcontrolSet", {}, R"({"active": true, "auth": {"saved": true}})"), FAL_OK,
                 kFine, 27);
    EXPECT_EQ(stored("parentalControl.general"), canon(R"({"active": true, "auth": {"saved": true, "setPin": false}})"));
    for (const char* path : {"connectedDevices.[0].advanced.parentalContrl", "connectedDevices.[1].advanced.parentalContrl",
                             "connectedDevices.[2].advanced.parentalContrl"})
        EXPECT_EQ(gateway(path), "true") << path;

    // One device by its MAC address.
    EXPECT_EQ(family_.UpdateGatewayParentalControl(false, "BB:11", "test"), 0);
    EXPECT_EQ(gateway("connectedDevices.[0].advanced.parentalContrl"), "true");
    EXPECT_EQ(gateway("connectedDevices.[1].advanced.parentalContrl"), "false");
    EXPECT_TRUE(logged("UpdateGatewayParentalControl: updated advanced.parentalContrl mac=BB:11 active=false\n"));

    // No device with that address: nothing to save, so a failing save is never met.
    LocalDbCtrl::failNextSaves(API_TYPE_GATEWAY, 1);
    EXPECT_EQ(family_.UpdateGatewayParentalControl(false, "DD:33", "test"), 0);
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(API_TYPE_GATEWAY), 1u);
    LocalDbCtrl::failNextSaves(API_TYPE_GATEWAY, 0);
    LocalDbCtrl::failNextLocks(API_TYPE_GATEWAY, 1);
    EXPECT_EQ(family_.UpdateGatewayParentalControl(true, nullptr, "test"), 8);
    EXPECT_TRUE(logged("UpdateGatewayParentalControl: fail to lock gateway database\n"));
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
}

TEST_F(SecurityTest, ParentalSwitchReportsTheGatewayUpdate)
{
    // The switch is saved; the devices cannot follow: status 8 with the message left as created.
    LocalDbCtrl::failNextSaves(API_TYPE_GATEWAY, 1);
    expectAnswer(call("SecurityParentalcontrolSet", {}, R"({"active": true, "auth": {"saved": false}})"), FAL_DB_ERROR,
                 kFine, 27);
    EXPECT_EQ(stored("parentalControl.general.active"), "true");
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), canon(kGateway));

    LocalDbCtrl::failNextLocks(API_TYPE_GATEWAY, 1);
    expectAnswer(call("SecurityParentalcontrolSet", {}, R"({"active": false})"), FAL_DB_ERROR, kFine, 27);
    EXPECT_EQ(stored("parentalControl.general.active"), "false");

    // A failed save of the switch leaves the devices alone.
    LocalDbCtrl::failNextSaves(API_TYPE_SECURITY, 1);
    expectAnswer(call("SecurityParentalcontrolSet", {}, R"({"active": true})"), FAL_DB_ERROR,
                 "failed to save database", 27);
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), canon(kGateway));
}

TEST_F(SecurityTest, ParentalGetShowsTheGeneralObject)
{
    OpRsp rsp = call("SecurityParentalcontrolGet");
    expectAnswer(rsp, FAL_OK, kFine, 21);
    EXPECT_EQ(json(rsp->data), stored("parentalControl.general"));
    seed(API_TYPE_SECURITY, R"({"parentalControl": {"pinCode": "1"}})");
    expectAnswer(call("SecurityParentalcontrolGet"), FAL_DB_ERROR, "failed to get database2", 21);
    LocalDbCtrl::failNextLocks(API_TYPE_SECURITY, 1);
    expectAnswer(call("SecurityParentalcontrolGet"), FAL_DB_ERROR, "failed to load database", 21);
}

TEST_F(SecurityTest, RuleIndexesAndOrder)
{
    seed(API_TYPE_SECURITY, R"({"parentalControlRules": {"rules": []}})");
    for (int expected = 1; expected <= 3; ++expected) {
        OpRsp rsp = call("SecurityParentalcontrolCreate", {}, R"({"name": "r", "index": 40})");
        expectAnswer(rsp, FAL_CREATED, "New Created", 33);
        EXPECT_EQ(json(rsp->data), canon("{\"id\": " + std::to_string(expected) + "}"));
    }
    expectAnswer(call("SecurityParentalcontrolDelete", {{"@ruleId", "2"}}), FAL_DELETED, "Record Deleted", 37);
    OpRsp fourth = call("SecurityParentalcontrolCreate", {}, R"({"name": "r"})");
    EXPECT_EQ(json(fourth->data), canon(R"({"id": 4})"));
    EXPECT_EQ(ids("parentalControlRules.rules", "index"), "1,3,4");

    // An updated rule is the body as sent, at the end of the list.
    expectAnswer(call("SecurityParentalcontrolUpdate", {{"@ruleId", "1"}}, R"({"days": "mon"})"), FAL_OK,
                 "Rule Updated", 29);
    EXPECT_EQ(ids("parentalControlRules.rules", "index"), "3,4,1");
    EXPECT_EQ(stored("parentalControlRules.rules.[2]"), canon(R"({"days": "mon", "index": 1})"));
}

TEST_F(SecurityTest, RuleDeletionRemovesEveryMatch)
{
    seed(API_TYPE_SECURITY, R"({"parentalControlRules": {"rules": [{"index": 2}, {"index": 2}, {"index": 5}]}})");
    expectAnswer(call("SecurityParentalcontrolDelete", {{"@ruleId", "2"}}), FAL_DELETED, "Record Deleted", 37);
    EXPECT_EQ(ids("parentalControlRules.rules", "index"), "5");
    expectAnswer(call("SecurityParentalcontrolDeleteAll"), FAL_OK, "Records Deleted", 41);
    EXPECT_EQ(stored("parentalControlRules.rules"), "[]");
}

TEST_F(SecurityTest, RuleRefusalsChangeNothing)
{
    const FAL_PARAMS_T two = {{"@ruleId", "2"}};
    const char* rule = R"({"name": "x"})";
    expectRefusals(kSecurity, {
        {"SecurityParentalcontrolCreate", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", 33},
        {"SecurityParentalcontrolCreate", {}, rule, LOCK, FAL_DB_ERROR, "failed to get database", 33},
        {"SecurityParentalcontrolCreate", {}, rule, SAVE, FAL_DB_ERROR, "failed to save database", 33},
        {"SecurityParentalcontrolUpdate", two, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", 29},
        {"SecurityParentalcontrolUpdate", {}, rule, NONE, FAL_BAD_REQUEST, "Bad request", 29},
        {"SecurityParentalcontrolUpdate", {{"@ruleId", "-1"}}, rule, NONE, FAL_DB_ERROR, "wrong index", 29},
        {"SecurityParentalcontrolUpdate", {{"@ruleId", "9"}}, rule, NONE, FAL_DB_ERROR, "wrong index", 29},
        {"SecurityParentalcontrolUpdate", two, rule, LOCK, FAL_DB_ERROR, "failed to load database", 29},
        {"SecurityParentalcontrolUpdate", two, rule, SAVE, FAL_DB_ERROR, "failed to save database", 29},
        {"SecurityParentalcontrolDelete", {}, nullptr, NONE, FAL_BAD_REQUEST, "Wrong parameter request", 37},
        {"SecurityParentalcontrolDelete", {{"@ruleId", "9"}}, nullptr, NONE, FAL_DB_ERROR, "wrong index", 37},
        {"SecurityParentalcontrolDelete", two, nullptr, LOCK, FAL_DB_ERROR, "failed to get database", 37},
        {"SecurityParentalcontrolDelete", two, nullptr, SAVE, FAL_DB_ERROR, "failed to save database", 37},
        {"SecurityParentalcontrolDeleteAll", {}, nullptr, LOCK, FAL_DB_ERROR, "failed to get database", 41},
        {"SecurityParentalcontrolDeleteAll", {}, nullptr, SAVE, FAL_DB_ERROR, "failed to save database", 41},
        {"SecurityParentalcontrolSet", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", 27},
        {"SecurityParentalcontrolSet", {}, rule, LOCK, FAL_DB_ERROR, "failed to load database", 27},
    });
    expectRefusals(R"({"parentalControlRules": {}, "parentalControl": {}})", {
        {"SecurityParentalcontrolCreate", {}, rule, NONE, FAL_DB_ERROR, "failed to get dbrules", 33},
        {"SecurityParentalcontrolUpdate", two, rule, NONE, FAL_DB_ERROR, "failed to load dbrules", 29},
        {"SecurityParentalcontrolSet", {}, rule, NONE, FAL_DB_ERROR, "failed to get database2", 27},
        {"SecurityParentalcontrolAuthUpdate", {}, rule, NONE, FAL_DB_ERROR, "failed to get database2", 31},
    });
    // A refused creation carries no data.
    LocalDbCtrl::failNextSaves(API_TYPE_SECURITY, 1);
    EXPECT_EQ(call("SecurityParentalcontrolCreate", {}, rule)->data, nullptr);
}

TEST_F(SecurityTest, FilterEntries)
{
    OpRsp first = call("SecurityParentalcontrolFilterCreate", {{"@filterId", "1"}},
                       R"({"type": "url", "value": "c.com", "name": "c"})");
    expectAnswer(first, FAL_CREATED, "New Created", 35);
    EXPECT_EQ(json(first->data), canon(R"({"id": 0})"));
    // Of two categories with the same id, the last one takes the entry.
    EXPECT_EQ(stored("parentalControlFilters.list.[1].sublist"), "[]");
    EXPECT_EQ(stored("parentalControlFilters.list.[2].sublist"), canon(R"([{"name": "c", "id": 0, "address": "c.com"}])"));

    OpRsp next = call("SecurityParentalcontrolFilterCreate", {{"@filterId", "0"}}, R"({"value": "d.com"})");
    EXPECT_EQ(json(next->data), canon(R"({"id": 5})"));

    OpRsp gone = call("SecurityParentalcontrolFilterDelete", {{"@categoryId", "0"}, {"@filterId", "4"}});
    expectAnswer(gone, FAL_DELETED, "Record Deleted", 39);
    EXPECT_EQ(json(gone->data), "{}");
    EXPECT_EQ(ids("parentalControlFilters.list.[0].sublist", "id"), "0,5");
    OpRsp missing = call("SecurityParentalcontrolFilterDelete", {{"@categoryId", "0"}, {"@filterId", "4"}});
    expectAnswer(missing, FAL_DB_ERROR, "wrong index", 39);
    EXPECT_EQ(json(missing->data), "{}");
}

TEST_F(SecurityTest, FilterRefusalsChangeNothing)
{
    const FAL_PARAMS_T both = {{"@categoryId", "0"}, {"@filterId", "0"}};
    const char* entry = R"({"value": "x"})";
    expectRefusals(kSecurity, {
        {"SecurityParentalcontrolFilterCreate", {}, entry, NONE, FAL_BAD_REQUEST, "Bad request", 35},
        {"SecurityParentalcontrolFilterCreate", {{"@filterId", "0"}}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", 35},
        {"SecurityParentalcontrolFilterCreate", {{"@filterId", "-2"}}, entry, NONE, FAL_DB_ERROR, "wrong index", 35},
        {"SecurityParentalcontrolFilterCreate", {{"@filterId", "7"}}, entry, NONE, FAL_DB_ERROR, "failed to find the filter", 35},
        {"SecurityParentalcontrolFilterCreate", {{"@filterId", "0"}}, entry, LOCK, FAL_DB_ERROR, "failed to get database", 35},
        {"SecurityParentalcontrolFilterCreate", {{"@filterId", "0"}}, entry, SAVE, FAL_DB_ERROR, "failed to save database", 35},
        {"SecurityParentalcontrolFilterDelete", {{"@filterId", "0"}}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", 39},
        {"SecurityParentalcontrolFilterDelete", {{"@categoryId", "0"}, {"@filterId", "-1"}}, nullptr, NONE, FAL_DB_ERROR, "wrong index", 39},
        {"SecurityParentalcontrolFilterDelete", {{"@categoryId", "5"}, {"@filterId", "0"}}, nullptr, NONE, FAL_DB_ERROR, "failed to find the filter", 39},
        {"SecurityParentalcontrolFilterDelete", both, nullptr, LOCK, FAL_DB_ERROR, "failed to get database", 39},
        {"SecurityParentalcontrolFilterDelete", both, nullptr, SAVE, FAL_DB_ERROR, "failed to save database", 39},
    });
    expectRefusals(R"({"parentalControlFilters": {"list": [{"id": 0}]}})", {
        {"SecurityParentalcontrolFilterCreate", {{"@filterId", "0"}}, entry, NONE, FAL_DB_ERROR, "failed to get service list", 35},
        {"SecurityParentalcontrolFilterDelete", both, nullptr, NONE, FAL_DB_ERROR, "failed to get service list", 39},
    });
    expectRefusals(R"({"parentalControlFilters": {}})", {
        {"SecurityParentalcontrolFilterCreate", {{"@filterId", "0"}}, entry, NONE, FAL_DB_ERROR, "failed to get dbfilters", 35},
        {"SecurityParentalcontrolFilterDelete", both, nullptr, NONE, FAL_DB_ERROR, "failed to get dbfilters", 39},
    });
}

TEST_F(SecurityTest, PinChangeAndPermission)
{
    expectAnswer(call("SecurityParentalcontrolAuthUpdate", {}, R"({"old": "0000", "new": "9999"})"), FAL_OK, kFine, 31);
    EXPECT_EQ(stored("parentalControl.pinCode"), "\"1234\"");
    EXPECT_EQ(stored("parentalControl.general.auth.setPin"), "false");
    expectAnswer(call("SecurityParentalcontrolAuthUpdate", {}, R"({"old": "1234", "new": "5678"})"), FAL_OK, kFine, 31);
    EXPECT_EQ(stored("parentalControl.pinCode"), "\"5678\"");
    EXPECT_EQ(stored("parentalControl.general.auth.setPin"), "true");
    expectAnswer(call("SecurityParentalcontrolAuthUpdate", {}, R"({"new": "4321"})"), FAL_OK, kFine, 31);
    EXPECT_EQ(stored("parentalControl.pinCode"), "\"4321\"");

    struct Case {
        const char* body;
        unsigned status;
        const char* message;
    } asks[] = {{R"({"auth": {"type": "pin", "value": "4321"}})", FAL_OK, "Access Granted"},
                {R"({"auth": {"type": "pin", "value": "1234"}})", FAL_FAILED, "incorrect PIN"},
                {R"({"auth": {"type": "password", "value": "4321"}})", FAL_FAILED, "incorrect PIN"},
                {R"({"auth": {"type": "pin"}})", FAL_FAILED, "incorrect PIN"}};
    for (const auto& c : asks) {
        SCOPED_TRACE(c.body);
        expectAnswer(call("SecurityParentalcontrolAskPermission", {}, c.body), c.status, c.message, 43);
    }

    // Without a stored PIN nothing matches, an old PIN included.
    seed(API_TYPE_SECURITY, R"({"parentalControl": {"general": {"auth": {"setPin": false}}}})");
    expectAnswer(call("SecurityParentalcontrolAskPermission", {}, R"({"auth": {"type": "pin", "value": ""}})"),
                 FAL_FAILED, "incorrect PIN", 43);
    expectAnswer(call("SecurityParentalcontrolAuthUpdate", {}, R"({"old": "", "new": "1"})"), FAL_OK, kFine, 31);
    EXPECT_EQ(stored("parentalControl.pinCode"), "null");
}

TEST_F(SecurityTest, PinRefusalsChangeNothing)
{
    const char* ask = R"({"auth": {"type": "pin", "value": "1234"}})";
    expectRefusals(kSecurity, {
        {"SecurityParentalcontrolAuthUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", 31},
        {"SecurityParentalcontrolAuthUpdate", {}, R"({"new": "1"})", LOCK, FAL_DB_ERROR, "failed to get database", 31},
        {"SecurityParentalcontrolAuthUpdate", {}, R"({"new": "1"})", SAVE, FAL_OK, kFine, 31},
        {"SecurityParentalcontrolAskPermission", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request", 43},
        {"SecurityParentalcontrolAskPermission", {}, ask, LOCK, FAL_DB_ERROR, "failed to get database", 43},
    });
    expectRefusals(R"({"parentalControl": {"general": {}, "pinCode": "1"}})", {
        {"SecurityParentalcontrolAuthUpdate", {}, R"({"new": "2"})", NONE, FAL_DB_ERROR, "failed to get auth", 31},
    });
}
