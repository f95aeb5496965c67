// QoS switch, priority rules, services and IPTV.
#include "support/FamilyFixture.h"
#include "tools/common/FalDefaults.h"

namespace {

const char* kQos = R"({
  "qos": {"active": false, "priority": [
    {"type": "ultra", "maxRules": 2, "rules": [{"index": 1, "name": "u1"}, {"index": 2, "name": "u2"}]},
    {"type": "high", "maxRules": 8, "rules": [{"index": 1, "name": "a"}, {"index": 2, "name": "b"},
                                               {"index": 5, "name": "c"}]},
    {"type": "normal", "maxRules": 8, "rules": []}]},
  "services": [{"name": "SIP"}],
  "servicesInuse": [{"name": "SIP", "priority": "ultra"}],
  "iptv": {"active": false, "serviceID": 1,
           "iptv": {"lanPort": [4], "vlanID": 100, "vlanPriority": 4},
           "ipPhone": {"lanPort": [3], "vlanID": 200, "vlanPriority": 6},
           "internet": {"lanPort": [1, 2], "vlanID": 10, "vlanPriority": 0}}
})";

class QosTest : public FamilyTest<FalQosLdb, API_TYPE_QOS> {
protected:
    void SetUp() override
    {
        FamilyTest::SetUp();
        seed(API_TYPE_QOS, kQos);
    }

    // The "index" numbers of the rules of class `cls`, in order.
    std::string indexes(unsigned cls)
    {
        std::string rules = "qos.priority.[" + std::to_string(cls) + "].rules";
        std::string text;
        for (unsigned i = 0; stored((rules + ".[" + std::to_string(i) + "]").c_str()) != "null"; ++i)
            text += (i ? "," : "") + stored((rules + ".[" + std::to_string(i) + "].index").c_str());
        return text;
    }
};

}  // namespace

TEST_F(QosTest, GettersCopyTheirMembers)
{
    struct Case {
        const char* op;
        const char* key;
    } cases[] = {{"QosConfigurationList", "qos"},
                 {"QosServiceList", "services"},
                 {"QosServiceInuse", "servicesInuse"},
                 {"QosIptvGet", "iptv"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        OpRsp rsp = call(c.op);
        expectAnswer(rsp, FAL_OK, kFine, replyTo(c.op));
        EXPECT_EQ(text(rsp->data), stored(c.key));
    }
    seed(API_TYPE_QOS, "{}");
    OpRsp missing = call("QosServiceList");
    expectAnswer(missing, FAL_DB_ERROR, "failed to load database", replyTo("QosServiceList"));
    EXPECT_EQ(missing->data, nullptr);
}

TEST_F(QosTest, ConfigurationUpdateSavesOnlyAChange)
{
    // The stored value again: nothing is saved, so a failing save goes unnoticed.
    LocalDbCtrl::failNextSaves(API_TYPE_QOS, 1);
    expectAnswer(call("QosConfigurationUpdate", {}, R"({"active": false})"), FAL_OK, kFine, "QosConfigurationUpdate");
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(API_TYPE_QOS), 1u);
    LocalDbCtrl::failNextSaves(API_TYPE_QOS, 0);
    expectAnswer(call("QosConfigurationUpdate", {}, R"({"active": true})"), FAL_OK, kFine, "QosConfigurationUpdate");
    EXPECT_EQ(stored("qos.active"), "true");
}

TEST_F(QosTest, RuleNumbersFollowTheLastRule)
{
    OpRsp created = call("QosRulesCreate", {}, R"({"type": "high", "rule": {"name": "d", "index": 99}})");
    expectAnswer(created, FAL_CREATED, "New Created", "QosRulesCreate");
    EXPECT_EQ(text(created->data), canon(R"({"index": 6})"));
    EXPECT_EQ(stored("qos.priority.[1].rules.[3]"), canon(R"({"name": "d", "index": 6})"));

    expectAnswer(call("QosRulesDeleteOne", {{"@priorityType", "high"}, {"@index", "6"}}), FAL_DELETED,
                 "Rule Deleted", "QosRulesDeleteOne");
    expectAnswer(call("QosRulesDeleteOne", {{"@priorityType", "high"}, {"@index", "5"}}), FAL_DELETED,
                 "Rule Deleted", "QosRulesDeleteOne");
    OpRsp next = call("QosRulesCreate", {}, R"({"type": "high", "rule": {"name": "e"}})");
    EXPECT_EQ(text(next->data), canon(R"({"index": 3})"));
    EXPECT_EQ(indexes(1), "1,2,3");

    OpRsp first = call("QosRulesCreate", {}, R"({"type": "normal", "rule": {}})");
    expectAnswer(first, FAL_CREATED, "New Created", "QosRulesCreate");
    EXPECT_EQ(text(first->data), canon(R"({"index": 1})"));
}

TEST_F(QosTest, RuleChangeMovesTheRuleToTheEnd)
{
    OpRsp rsp = call("QosRulesChange", {{"@priorityType", "high"}, {"@index", "1"}}, R"({"rule": {"name": "A"}})");
    expectAnswer(rsp, FAL_OK, "Rule Updated", "QosRulesChange");
    EXPECT_EQ(text(rsp->data), canon(R"({"index": 1})"));
    EXPECT_EQ(stored("qos.priority.[1].rules"),
              canon(R"([{"index": 2, "name": "b"}, {"index": 5, "name": "c"}, {"name": "A"}])"));

    expectAnswer(call("QosRulesChange", {{"@priorityType", "ultra"}, {"@index", "1"}},
                      R"({"rule": {"name": "U", "index": 1}})"),
                 FAL_OK, "Rule Updated", "QosRulesChange");
    EXPECT_EQ(indexes(0), "2,1");
}

TEST_F(QosTest, RulesOfClassesThatShareAType)
{
    // Two "high" classes: the first is full, and both hold a rule numbered 1.
    const char* twoHigh = R"({"qos": {"active": true, "priority": [
      {"type": "high", "maxRules": 1, "rules": [{"index": 1, "name": "a"}]},
      {"type": "high", "maxRules": 8, "rules": [{"index": 1, "name": "b"}, {"index": 2, "name": "c"}]}]}})";
    const FAL_PARAMS_T first = {{"@priorityType", "high"}, {"@index", "1"}};
    struct Case {
        const char* op;
        FAL_PARAMS_T params;
        const char* body;
        unsigned status;
        const char* message;
        const char* priority;  // the classes' rules afterwards
    } cases[] = {
        // A create stops at the first class of its type, even when that one is full.
        {"QosRulesCreate", {}, R"({"type": "high", "rule": {"name": "d"}})", FAL_DB_ERROR, "failed to create rule",
         R"([[{"index": 1, "name": "a"}], [{"index": 1, "name": "b"}, {"index": 2, "name": "c"}]])"},
        // A change and a delete go on through every class of the type.
        {"QosRulesChange", first, R"({"rule": {"name": "n"}})", FAL_OK, "Rule Updated",
         R"([[{"name": "n"}], [{"index": 2, "name": "c"}, {"name": "n"}]])"},
        {"QosRulesDeleteOne", first, nullptr, FAL_DELETED, "Rule Deleted", R"([[], [{"index": 2, "name": "c"}]])"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.op);
        seed(API_TYPE_QOS, twoHigh);
        expectAnswer(call(c.op, c.params, c.body), c.status, c.message, c.op);
        EXPECT_EQ("[" + stored("qos.priority.[0].rules") + "," + stored("qos.priority.[1].rules") + "]",
                  canon(c.priority));
    }
}

TEST_F(QosTest, RulesDeleteAllEmptiesEveryClass)
{
    expectAnswer(call("QosRulesDeleteAll"), FAL_DELETED, "Rule Deleted", "QosRulesDeleteAll");
    EXPECT_EQ(indexes(0) + indexes(1) + indexes(2), "");
    EXPECT_EQ(stored("qos.priority.[1].maxRules"), "8");
    expectAnswer(call("QosRulesDeleteAll"), FAL_DELETED, "Rule Deleted", "QosRulesDeleteAll");
}

TEST_F(QosTest, IptvUpdateKeepsThePortGroupsTheBodyLeavesOut)
{
    expectAnswer(call("QosIptvUpdate", {}, R"({"active": true, "serviceID": 7})"), FAL_OK, kFine, "QosIptvUpdate");
    EXPECT_EQ(stored("iptv"), canon(R"({"active": true, "serviceID": 7,
           "iptv": {"lanPort": [4], "vlanID": 100, "vlanPriority": 4},
           "ipPhone": {"lanPort": [3], "vlanID": 200, "vlanPriority": 6},
           "internet": {"lanPort": [1, 2], "vlanID": 10, "vlanPriority": 0}})"));
    expectAnswer(call("QosIptvUpdate", {},
                      R"({"active": false, "serviceID": 2, "iptv": {"vlanID": 101, "other": 1},
                          "internet": {"lanPort": [1], "vlanPriority": "3"}})"),
                 FAL_OK, kFine, "QosIptvUpdate");
    EXPECT_EQ(stored("iptv"), canon(R"({"active": false, "serviceID": 2,
           "iptv": {"lanPort": [4], "vlanID": 101, "vlanPriority": 4},
           "ipPhone": {"lanPort": [3], "vlanID": 200, "vlanPriority": 6},
           "internet": {"lanPort": [1], "vlanID": 10, "vlanPriority": "3"}})"));
    // The switch and the service are always written: an absent service reads as 0.
    expectAnswer(call("QosIptvUpdate", {}, R"({"active": true})"), FAL_OK, kFine, "QosIptvUpdate");
    EXPECT_EQ(stored("iptv.serviceID"), "0");
}

TEST_F(QosTest, RefusalsStoreNothing)
{
    const char* rule = R"({"type": "high", "rule": {}})";
    const char* change = R"({"rule": {}})";
    const FAL_PARAMS_T known = {{"@priorityType", "high"}, {"@index", "2"}};
    const FAL_PARAMS_T unknown = {{"@priorityType", "high"}, {"@index", "3"}};
    const FAL_PARAMS_T noType = {{"@index", "1"}};
    const FAL_PARAMS_T low = {{"@priorityType", "low"}, {"@index", "1"}};
    const FAL_PARAMS_T noIndex = {{"@priorityType", "high"}};
    const FAL_PARAMS_T negative = {{"@priorityType", "ultra"}, {"@index", "-1"}};
    expectRefusals(kQos, {
        {"QosConfigurationUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosConfigurationUpdate", {}, R"({"active": true})", LOCK, FAL_DB_ERROR, "failed to get database"},
        {"QosConfigurationUpdate", {}, R"({"active": true})", SAVE, FAL_DB_ERROR, "failed to save database"},
        {"QosRulesCreate", {}, R"({"type": "ultra", "rule": {}})", NONE, FAL_DB_ERROR, "failed to create rule"},
        {"QosRulesCreate", {}, R"({"type": "low", "rule": {}})", NONE, FAL_DB_ERROR, "failed to create rule"},
        {"QosRulesCreate", {}, R"({"rule": {}})", NONE, FAL_DB_ERROR, "failed to create rule"},
        // A body without a rule is refused only where a class would take it.
        {"QosRulesCreate", {}, R"({"type": "high"})", NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesCreate", {}, R"({"type": "ultra"})", NONE, FAL_DB_ERROR, "failed to create rule"},
        {"QosRulesCreate", {}, R"({"type": "low"})", NONE, FAL_DB_ERROR, "failed to create rule"},
        {"QosRulesCreate", {}, R"({"type": "high"})", LOCK, FAL_DB_ERROR, "failed to get database"},
        {"QosRulesCreate", {}, nullptr, NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesCreate", {}, rule, LOCK, FAL_DB_ERROR, "failed to get database"},
        {"QosRulesCreate", {}, rule, SAVE, FAL_DB_ERROR, "failed to save database"},
        {"QosRulesChange", noType, change, NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesChange", low, change, NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesChange", noIndex, change, NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesChange", negative, change, NONE, FAL_DB_ERROR, "wrong index"},
        {"QosRulesChange", known, nullptr, NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesChange", known, "{}", NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesChange", unknown, "{}", NONE, FAL_DB_ERROR, "failed to update rule"},
        {"QosRulesChange", known, "{}", LOCK, FAL_DB_ERROR, "failed to get database"},
        {"QosRulesChange", unknown, change, NONE, FAL_DB_ERROR, "failed to update rule"},
        {"QosRulesChange", known, change, LOCK, FAL_DB_ERROR, "failed to get database"},
        {"QosRulesChange", known, change, SAVE, FAL_DB_ERROR, "failed to save database"},
        {"QosRulesDeleteOne", noType, nullptr, NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesDeleteOne", low, nullptr, NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesDeleteOne", noIndex, nullptr, NONE, FAL_BAD_REQUEST, "Bad request"},
        {"QosRulesDeleteOne", negative, nullptr, NONE, FAL_DB_ERROR, "wrong index"},
        {"QosRulesDeleteOne", unknown, nullptr, NONE, FAL_DB_ERROR, "failed to delete rule"},
        {"QosRulesDeleteOne", known, nullptr, LOCK, FAL_DB_ERROR, "failed to get database"},
        {"QosRulesDeleteOne", known, nullptr, SAVE, FAL_DB_ERROR, "failed to save database"},
        {"QosRulesDeleteAll", {}, nullptr, LOCK, FAL_DB_ERROR, "failed to get database"},
        {"QosRulesDeleteAll", {}, nullptr, SAVE, FAL_DB_ERROR, "failed to save database"},
        {"QosIptvUpdate", {}, nullptr, NONE, FAL_BAD_REQUEST, "Wrong request"},
        {"QosIptvUpdate", {}, R"({"active": true})", LOCK, FAL_DB_ERROR, "failed to get database"},
        {"QosIptvUpdate", {}, R"({"active": true})", SAVE, FAL_DB_ERROR, "Save databse error"},
    });
    EXPECT_TRUE(logged("Bad param request\n"));
    EXPECT_TRUE(logged("Received wrong request\n"));
    EXPECT_TRUE(logged("Save databse error\n"));
    for (const auto& record : logs_)
        EXPECT_EQ(record.group, LOG_GROUP_QOS) << record.text;
}

TEST_F(QosTest, OnlySuccessfulRuleCreatesAndChangesCarryData)
{
    const FAL_PARAMS_T rule1 = {{"@priorityType", "high"}, {"@index", "1"}};
    struct Case {
        const char* op;
        FAL_PARAMS_T params;
        const char* body;
        Fault fault;
        const char* data;  // the reply's data, "null" for none
    } cases[] = {
        {"QosRulesCreate", {}, R"({"type": "high", "rule": {}})", NONE, R"({"index": 6})"},
        {"QosRulesCreate", {}, R"({"type": "ultra", "rule": {}})", NONE, "null"},
        {"QosRulesCreate", {}, R"({"type": "high", "rule": {}})", SAVE, "null"},
        {"QosRulesChange", rule1, R"({"rule": {"index": 7}})", NONE, R"({"index": 1})"},
        {"QosRulesChange", {{"@priorityType", "low"}, {"@index", "1"}}, R"({"rule": {}})", NONE, "null"},
        {"QosRulesChange", {{"@priorityType", "high"}, {"@index", "-1"}}, R"({"rule": {}})", NONE, "null"},
        {"QosRulesChange", {{"@priorityType", "high"}, {"@index", "9"}}, R"({"rule": {}})", NONE, "null"},
        {"QosRulesChange", rule1, R"({"rule": {}})", SAVE, "null"},
        // The other changes answer without data, whatever the outcome.
        {"QosConfigurationUpdate", {}, R"({"active": true})", NONE, "null"},
        {"QosRulesDeleteOne", rule1, nullptr, NONE, "null"},
        {"QosRulesDeleteAll", {}, nullptr, NONE, "null"},
        {"QosIptvUpdate", {}, R"({"active": true, "serviceID": 2})", NONE, "null"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.op) + (c.fault == SAVE ? " (save fails)" : ""));
        seed(API_TYPE_QOS, kQos);
        if (c.fault == SAVE)
            LocalDbCtrl::failNextSaves(API_TYPE_QOS, 1);
        OpRsp rsp = call(c.op, c.params, c.body);
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(text(rsp->data), canon(c.data));
    }
}

// Every operation succeeds on the factory defaults, in slot order on one document.
TEST_F(QosTest, EveryOperationAnswersOnTheFactoryDefaults)
{
    for (const FalDefaultFile* f = falDefaultFiles; f->path; ++f)
        if (std::string(f->path) == "db/qos.json")
            seed(API_TYPE_QOS, std::string(f->data, f->size));
    const char* body = R"({"active": true, "serviceID": 3, "type": "high", "rule": {"index": 1, "name": "x"}})";
    for (const FalOpInfo& op : falFamilyByName("qos")->ops) {
        SCOPED_TRACE(op.name);
        OpRsp rsp = call(op.name, {{"@priorityType", "high"}, {"@index", "1"}}, body);
        ASSERT_NE(rsp, nullptr);
        EXPECT_LT(rsp->status, unsigned(FAL_FAILED)) << rsp->message;
    }
    EXPECT_EQ(stored("qos.active"), "true");
    EXPECT_EQ(stored("iptv.serviceID"), "3");
}

TEST_F(QosTest, NullRequestsGetNoResponse)
{
    const FalFamilyInfo* info = falFamilyByName("qos");
    for (const auto& op : info->ops) {
        SCOPED_TRACE(op.name);
        EXPECT_EQ(info->call(&family_, op.slot, nullptr), nullptr);
    }
}
