// MAC, port, IP and port-and-address filtering: one table per list.
#include "service/ServiceFixture.h"

namespace {

const char* const MAC = R"({"maxRules":3,"rules":[{"id":1,"active":false,"deviceId":1},{"id":0,"active":false,"deviceId":2}]})";
const char* const MAC_FULL = R"({"maxRules":2,"rules":[{"id":1,"active":false,"deviceId":1},{"id":0,"active":false,"deviceId":2}]})";

const char* const PORT = R"({"rules":[{"id":1,"port":80},{"id":0,"port":21}]})";

const char* const IP = R"({"maxRules":3,"rules":[{"id":1,"active":false,"ipAddress":"192.168.1.20"},{"id":0,"active":false,"ipAddress":"192.168.1.21"}]})";
const char* const IP_FULL = R"({"maxRules":2,"rules":[{"id":1,"active":false,"ipAddress":"192.168.1.20"},{"id":0,"active":false,"ipAddress":"192.168.1.21"}]})";

const char* const PORTIP = R"({"rules":[{"id":1,"active":false,"ipAddress":"192.168.1.20"},{"id":0,"active":false,"ipAddress":"192.168.1.21"}]})";

const FAL_PARAMS_T TWO_IDS = {{"@ruleId", "0"}, {"@ruleId", "1"}};

}  // namespace

TEST_F(ServiceTest, ServiceMacFilteringTable)
{
    checkAll("macFiltering", {
        {"list", "ServiceMacfilteringList", {}, nullptr, MAC, NO_FAULT, 0, nullptr, 1, MAC, nullptr},
        {"list, lock fails", "ServiceMacfilteringList", {}, nullptr, MAC, FAIL_LOCK, 8, "Failed to load database", 1, "null", nullptr},
        {"update only saves", "ServiceMacfilteringUpdate", {}, R"({"rules":[]})", MAC, NO_FAULT, 0, nullptr, 3, "null", nullptr},
        {"update, save fails", "ServiceMacfilteringUpdate", {}, nullptr, MAC, FAIL_SAVE, 4, nullptr, 3, "null", nullptr},
        {"update, lock fails", "ServiceMacfilteringUpdate", {}, nullptr, MAC, FAIL_LOCK, 8, nullptr, 3, "null", nullptr},
        {"create: ids 1,0 give 3", "ServiceMacfilteringCreate", {}, R"({"active":false,"deviceId":5})", MAC, NO_FAULT, 1, nullptr, 7, R"({"id":3})",
         R"({"maxRules":3,"rules":[{"id":1,"active":false,"deviceId":1},{"id":0,"active":false,"deviceId":2},{"active":false,"deviceId":5,"id":3}]})"},
        {"create after emptying gets 0", "ServiceMacfilteringCreate", {}, R"({"deviceId":5})", R"({"maxRules":3,"rules":[]})", NO_FAULT, 1, nullptr, 7, R"({"id":0})",
         R"({"maxRules":3,"rules":[{"deviceId":5,"id":0}]})"},
        {"create on a full list", "ServiceMacfilteringCreate", {}, R"({"deviceId":5})", MAC_FULL, NO_FAULT, 4, nullptr, 7, "null", nullptr},
        {"create without body", "ServiceMacfilteringCreate", {}, nullptr, MAC, NO_FAULT, 10, "Received invalid request", 7, "{}", nullptr},
        {"create, lock fails", "ServiceMacfilteringCreate", {}, R"({"deviceId":5})", MAC, FAIL_LOCK, 8, "Cannot read database", 7, "{}", nullptr},
        {"create, save fails", "ServiceMacfilteringCreate", {}, R"({"deviceId":5})", MAC, FAIL_SAVE, 4, nullptr, 7, "null", nullptr},
        {"create without rules", "ServiceMacfilteringCreate", {}, R"({"deviceId":5})", R"({"maxRules":3})", NO_FAULT, 4, nullptr, 7, "null", nullptr},
        {"patch: last @ruleId wins", "ServiceMacfilteringPatch", TWO_IDS, R"({"active":false,"deviceId":7})", MAC, NO_FAULT, 0, nullptr, 5, "null",
         R"({"maxRules":3,"rules":[{"active":false,"deviceId":7,"id":1},{"id":0,"active":false,"deviceId":2}]})"},
        {"patch unknown id", "ServiceMacfilteringPatch", {{"@ruleId", "9"}}, R"({"deviceId":7})", MAC, NO_FAULT, 9, "Cannot find the request id", 5, "null", nullptr},
        {"patch without body", "ServiceMacfilteringPatch", {{"@ruleId", "1"}}, nullptr, MAC, NO_FAULT, NO_RESPONSE, nullptr, 5, "null", nullptr},
        {"patch, save fails", "ServiceMacfilteringPatch", {{"@ruleId", "1"}}, R"({"deviceId":7})", MAC, FAIL_SAVE, 4, nullptr, 5, "null", nullptr},
        {"patch without rules", "ServiceMacfilteringPatch", {{"@ruleId", "1"}}, R"({"deviceId":7})", R"({"maxRules":3})", NO_FAULT, 4, nullptr, 5, "null", nullptr},
        {"patch, lock fails", "ServiceMacfilteringPatch", {{"@ruleId", "1"}}, R"({"deviceId":7})", MAC, FAIL_LOCK, 8, nullptr, 5, "null", nullptr},
        {"delete one: first parameter whatever its name", "ServiceMacfilteringDeleteOne", {{"@x", "0"}, {"@ruleId", "1"}}, nullptr, MAC, NO_FAULT, 3, nullptr, 9, "null",
         R"({"maxRules":3,"rules":[{"id":1,"active":false,"deviceId":1}]})"},
        {"delete one unknown id", "ServiceMacfilteringDeleteOne", {{"@ruleId", "9"}}, nullptr, MAC, NO_FAULT, 9, nullptr, 9, "null", nullptr},
        {"delete one, lock fails", "ServiceMacfilteringDeleteOne", {{"@ruleId", "1"}}, nullptr, MAC, FAIL_LOCK, 8, "Cannot read database", 9, "null", nullptr},
        {"delete one without rules", "ServiceMacfilteringDeleteOne", {{"@ruleId", "1"}}, nullptr, R"({"maxRules":3})", NO_FAULT, 8, nullptr, 9, "null", nullptr},
        {"delete all", "ServiceMacfilteringDeleteAll", {}, nullptr, MAC, NO_FAULT, 0, nullptr, 11, "null", R"({"maxRules":3,"rules":[]})"},
        {"delete all, lock fails", "ServiceMacfilteringDeleteAll", {}, nullptr, MAC, FAIL_LOCK, 8, "Cannot read database", 11, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServicePortFilteringTable)
{
    checkAll("portFiltering", {
        {"list", "ServicePortfilteringList", {}, nullptr, PORT, NO_FAULT, 0, nullptr, 13, PORT, nullptr},
        {"list, lock fails", "ServicePortfilteringList", {}, nullptr, PORT, FAIL_LOCK, 8, "Cannot read database", 13, "null", nullptr},
        {"update hands the object back", "ServicePortfilteringUpdate", {}, R"({"rules":[]})", PORT, NO_FAULT, 0, nullptr, 15, PORT, nullptr},
        {"update, lock fails", "ServicePortfilteringUpdate", {}, nullptr, PORT, FAIL_LOCK, 8, "Cannot read database", 15, "null", nullptr},
        {"patch: first parameter", "ServicePortfilteringPatch", TWO_IDS, R"({"port":22})", PORT, NO_FAULT, 0, nullptr, 17, "null",
         R"({"rules":[{"id":1,"port":80},{"port":22,"id":0}]})"},
        {"patch unknown id", "ServicePortfilteringPatch", {{"@ruleId", "5"}}, R"({"port":22})", PORT, NO_FAULT, 9, nullptr, 17, "null", nullptr},
        {"patch without body", "ServicePortfilteringPatch", {{"@ruleId", "1"}}, nullptr, PORT, NO_FAULT, 10, "Received invalid request", 17, "null", nullptr},
        {"patch, lock fails", "ServicePortfilteringPatch", {{"@ruleId", "1"}}, R"({"port":22})", PORT, FAIL_LOCK, 8, "Cannot read database", 17, "null", nullptr},
        {"create: largest id + 1", "ServicePortfilteringCreate", {}, R"({"port":443})", PORT, NO_FAULT, 1, "New Created", 19, R"({"id":2})",
         R"({"rules":[{"id":1,"port":80},{"id":0,"port":21},{"port":443,"id":2}]})"},
        {"create duplicates content", "ServicePortfilteringCreate", {}, R"({"port":80})", R"({"rules":[{"id":0,"port":80}]})", NO_FAULT, 1, "New Created", 19, R"({"id":1})",
         R"({"rules":[{"id":0,"port":80},{"port":80,"id":1}]})"},
        {"create without rules", "ServicePortfilteringCreate", {}, R"({"port":443})", "{}", NO_FAULT, 4, nullptr, 19, "{}", nullptr},
        {"create, save fails", "ServicePortfilteringCreate", {}, R"({"port":443})", PORT, FAIL_SAVE, 4, nullptr, 19, "{}", nullptr},
        {"delete one: first @ruleId", "ServicePortfilteringDeleteOne", TWO_IDS, nullptr, PORT, NO_FAULT, 3, "Record Deleted", 21, "null",
         R"({"rules":[{"id":1,"port":80}]})"},
        {"delete one unknown id", "ServicePortfilteringDeleteOne", {{"@ruleId", "7"}}, nullptr, PORT, NO_FAULT, 9, "cannot found ruleId", 21, "null", nullptr},
        {"delete one without rules", "ServicePortfilteringDeleteOne", {{"@ruleId", "0"}}, nullptr, "{}", NO_FAULT, 8, "cannot load rules", 21, "null", nullptr},
        {"delete one, save fails", "ServicePortfilteringDeleteOne", {{"@ruleId", "0"}}, nullptr, PORT, FAIL_SAVE, 8, "failed to save database", 21, "null", nullptr},
        {"delete one, lock fails", "ServicePortfilteringDeleteOne", {{"@ruleId", "0"}}, nullptr, PORT, FAIL_LOCK, 8, "Failed to load database", 21, "null", nullptr},
        {"delete all", "ServicePortfilteringDeleteAll", {}, nullptr, PORT, NO_FAULT, 0, nullptr, 23, "null", R"({"rules":[]})"},
        {"delete all, lock fails", "ServicePortfilteringDeleteAll", {}, nullptr, PORT, FAIL_LOCK, 8, "failed to load database", 23, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServiceIpFilteringTable)
{
    checkAll("ipFiltering", {
        {"list", "ServiceIpfilteringList", {}, nullptr, IP, NO_FAULT, 0, nullptr, 25, IP, nullptr},
        {"list, lock fails", "ServiceIpfilteringList", {}, nullptr, IP, FAIL_LOCK, 8, "failed to load database", 25, "null", nullptr},
        {"update hands the object back", "ServiceIpfilteringUpdate", {}, nullptr, IP, NO_FAULT, 0, nullptr, 27, IP, nullptr},
        {"update, lock fails", "ServiceIpfilteringUpdate", {}, nullptr, IP, FAIL_LOCK, 4, nullptr, 27, "null", nullptr},
        {"patch: first parameter", "ServiceIpfilteringPatch", {{"@ruleId", "1"}, {"@ruleId", "0"}}, R"({"active":false,"ipAddress":"192.168.1.30"})", IP, NO_FAULT, 0, nullptr, 29, "null",
         R"({"maxRules":3,"rules":[{"active":false,"ipAddress":"192.168.1.30","id":1},{"id":0,"active":false,"ipAddress":"192.168.1.21"}]})"},
        {"patch unknown id keeps the message", "ServiceIpfilteringPatch", {{"@ruleId", "4"}}, R"({"active":false})", IP, NO_FAULT, 9, nullptr, 29, "null", nullptr},
        {"patch without body", "ServiceIpfilteringPatch", {{"@ruleId", "1"}}, nullptr, IP, NO_FAULT, 10, nullptr, 29, "null", nullptr},
        {"patch, lock fails", "ServiceIpfilteringPatch", {{"@ruleId", "1"}}, "{}", IP, FAIL_LOCK, 8, nullptr, 29, "null", nullptr},
        {"patch, save fails", "ServiceIpfilteringPatch", {{"@ruleId", "1"}}, "{}", IP, FAIL_SAVE, 4, nullptr, 29, "null", nullptr},
        {"patch without rules", "ServiceIpfilteringPatch", {{"@ruleId", "1"}}, "{}", R"({"maxRules":3})", NO_FAULT, 4, nullptr, 29, "null", nullptr},
        {"create: ids 1,0 give 3", "ServiceIpfilteringCreate", {}, R"({"active":false,"ipAddress":"192.168.1.40"})", IP, NO_FAULT, 1, nullptr, 31, R"({"id":3})",
         R"({"maxRules":3,"rules":[{"id":1,"active":false,"ipAddress":"192.168.1.20"},{"id":0,"active":false,"ipAddress":"192.168.1.21"},{"active":false,"ipAddress":"192.168.1.40","id":3}]})"},
        {"create on a full list", "ServiceIpfilteringCreate", {}, R"({"active":false})", IP_FULL, NO_FAULT, 4, nullptr, 31, "null", nullptr},
        {"create, save fails", "ServiceIpfilteringCreate", {}, R"({"active":false})", IP, FAIL_SAVE, 4, nullptr, 31, "null", nullptr},
        {"create without body", "ServiceIpfilteringCreate", {}, nullptr, IP, NO_FAULT, 10, "Received invalid response", 31, "{}", nullptr},
        {"create, lock fails", "ServiceIpfilteringCreate", {}, "{}", IP, FAIL_LOCK, 8, "Cannot load database", 31, "{}", nullptr},
        {"create without rules", "ServiceIpfilteringCreate", {}, "{}", R"({"maxRules":3})", NO_FAULT, 4, nullptr, 31, "null", nullptr},
        {"delete one: first @ruleId", "ServiceIpfilteringDeleteOne", TWO_IDS, nullptr, IP, NO_FAULT, 3, "Record Deleted", 33, "null",
         R"({"maxRules":3,"rules":[{"id":1,"active":false,"ipAddress":"192.168.1.20"}]})"},
        {"delete one unknown id", "ServiceIpfilteringDeleteOne", {{"@ruleId", "7"}}, nullptr, IP, NO_FAULT, 9, "cannot found ruleId", 33, "null", nullptr},
        {"delete one without rules", "ServiceIpfilteringDeleteOne", {{"@ruleId", "1"}}, nullptr, "{}", NO_FAULT, 8, "failed to get rules", 33, "null", nullptr},
        {"delete all", "ServiceIpfilteringDeleteAll", {}, nullptr, IP, NO_FAULT, 0, nullptr, 35, "null", R"({"maxRules":3,"rules":[]})"},
        {"delete all, lock fails", "ServiceIpfilteringDeleteAll", {}, nullptr, IP, FAIL_LOCK, 4, nullptr, 35, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServicePortIpFilteringTable)
{
    checkAll("portIpFiltering", {
        {"list", "ServicePortIpFilteringList", {}, nullptr, PORTIP, NO_FAULT, 0, nullptr, 153, PORTIP, nullptr},
        {"list, lock fails", "ServicePortIpFilteringList", {}, nullptr, PORTIP, FAIL_LOCK, 8, "Failed to load database", 153, "null", nullptr},
        {"update gives no response", "ServicePortIpFilteringUpdate", {}, "{}", PORTIP, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"patch: first @ruleId", "ServicePortIpFilteringPatch", {{"@ruleId", "1"}, {"@ruleId", "0"}}, R"({"active":false,"ipAddress":"192.168.1.22"})", PORTIP, NO_FAULT, 0, "Database is updated", 157, "null",
         R"({"rules":[{"active":false,"ipAddress":"192.168.1.22","id":1},{"id":0,"active":false,"ipAddress":"192.168.1.21"}]})"},
        {"patch without rule id", "ServicePortIpFilteringPatch", {}, "{}", PORTIP, NO_FAULT, 10, "Invalid ruleId received", 157, "null", nullptr},
        {"patch unknown id", "ServicePortIpFilteringPatch", {{"@ruleId", "6"}}, "{}", PORTIP, NO_FAULT, 10, "No rule ID matched", 157, "null", nullptr},
        {"patch without body", "ServicePortIpFilteringPatch", {{"@ruleId", "1"}}, nullptr, PORTIP, NO_FAULT, 10, "Null request received", 157, "null", nullptr},
        {"patch without rules", "ServicePortIpFilteringPatch", {{"@ruleId", "1"}}, "{}", "{}", NO_FAULT, 8, "Something wrong in database", 157, "null", nullptr},
        {"patch, save fails", "ServicePortIpFilteringPatch", {{"@ruleId", "1"}}, "{}", PORTIP, FAIL_SAVE, 4, "Database is failed to update", 157, "null", nullptr},
        {"create: largest integer id + 1", "ServicePortIpFilteringCreate", {}, R"({"active":false})", R"({"rules":[{"id":"9"},{"id":1}]})", NO_FAULT, 1, "New rule is created", 159, R"({"id":2})",
         R"({"rules":[{"id":"9"},{"id":1},{"active":false,"id":2}]})"},
        {"create, save fails", "ServicePortIpFilteringCreate", {}, "{}", PORTIP, FAIL_SAVE, 4, "Database is not updated", 159, "null", nullptr},
        {"create, lock fails", "ServicePortIpFilteringCreate", {}, "{}", PORTIP, FAIL_LOCK, 8, "Failed to load database", 159, "null", nullptr},
        {"delete one: first @ruleId", "ServicePortIpFilteringDeleteOne", TWO_IDS, nullptr, PORTIP, NO_FAULT, 3, "Database is updated", 161, "null",
         R"({"rules":[{"id":1,"active":false,"ipAddress":"192.168.1.20"}]})"},
        {"delete one unknown id", "ServicePortIpFilteringDeleteOne", {{"@ruleId", "6"}}, nullptr, PORTIP, NO_FAULT, 3, "No rule ID matched", 161, "null", nullptr},
        {"delete one without rule id", "ServicePortIpFilteringDeleteOne", {}, nullptr, PORTIP, NO_FAULT, 10, "Invalid ruleId received", 161, "null", nullptr},
        {"delete one, lock fails", "ServicePortIpFilteringDeleteOne", {{"@ruleId", "0"}}, nullptr, PORTIP, FAIL_LOCK, 8, "Failed to load database", 161, "null", nullptr},
        {"delete one, save fails", "ServicePortIpFilteringDeleteOne", {{"@ruleId", "0"}}, nullptr, PORTIP, FAIL_SAVE, 4, "Database is failed to update", 161, "null", nullptr},
        {"delete one without rules", "ServicePortIpFilteringDeleteOne", {{"@ruleId", "0"}}, nullptr, "{}", NO_FAULT, 8, "Something wrong in database", 161, "null", nullptr},
        {"delete all", "ServicePortIpFilteringDeleteAll", {}, nullptr, PORTIP, NO_FAULT, 0, "Database for port IP filtering is cleared", 163, "null", R"({"rules":[]})"},
        {"delete all without rules", "ServicePortIpFilteringDeleteAll", {}, nullptr, "{}", NO_FAULT, 8, "Something wrong in database", 163, "null", nullptr},
        {"delete all, save fails", "ServicePortIpFilteringDeleteAll", {}, nullptr, PORTIP, FAIL_SAVE, 4, "Database is failed to update", 163, "null", nullptr},
        {"active changes nothing", "ServicePortIpfilteringActive", {}, R"({"active":true})", PORTIP, NO_FAULT, 0, nullptr, 165, "null", nullptr},
        {"active, lock fails", "ServicePortIpfilteringActive", {}, nullptr, PORTIP, FAIL_LOCK, 8, "failed to get database", 165, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServiceNullRequests)
{
    // Operations with a fixed response id, and the MAC and port filtering creates (with their own
    // request id + 1), answer a null request themselves; the others whose id follows the request,
    // or that do not check for one, give no response.
    struct Row {
        _FAL_RSP_T* (FalServiceLdb::*op)(_FAL_REQ_T*);
        unsigned status;
        const char* message;
        unsigned msgId;
        const char* data;
    };
    const Row rows[] = {
        {&FalServiceLdb::ServicePortfilteringPatch, 10, "Received invalid request", 17, "null"},
        {&FalServiceLdb::ServiceIpfilteringPatch, 10, "FAL processed fine!", 29, "null"},
        {&FalServiceLdb::ServiceIpfilteringCreate, 10, "Received invalid response", 31, "{}"},
        {&FalServiceLdb::ServiceReservedipCreate, 10, "Invalid request", 141, "null"},
        {&FalServiceLdb::ServicePortIpFilteringPatch, 10, "Null request received", 157, "null"},
        {&FalServiceLdb::ServicePortIpFilteringCreate, 10, "Null request received", 159, "null"},
        {&FalServiceLdb::ServicePortIpFilteringDeleteOne, 10, "Null request received", 161, "null"},
        {&FalServiceLdb::ServicePortIpFilteringDeleteAll, 10, "Null request received", 163, "null"},
        {&FalServiceLdb::ServicePortIpfilteringActive, 0, "FAL processed fine!", 165, "null"},
        {&FalServiceLdb::ServiceLogClear, 0, "FAL processed fine!", 169, "null"},
        {&FalServiceLdb::ServiceMacfilteringCreate, 10, "Received invalid request", 7, "{}"},
        {&FalServiceLdb::ServiceMacfilteringPatch, NO_RESPONSE, nullptr, 0, nullptr},
        {&FalServiceLdb::ServicePortfilteringCreate, 10, "Received invalid request", 19, "{}"},
        {&FalServiceLdb::ServicePortforwardingActive, NO_RESPONSE, nullptr, 0, nullptr},
        {&FalServiceLdb::ServiceMacfilteringList, NO_RESPONSE, nullptr, 0, nullptr},
        {&FalServiceLdb::ServiceDiagnosticsPing, NO_RESPONSE, nullptr, 0, nullptr},
    };
    seed(API_TYPE_SERVICE, R"({"portIpFiltering":{"rules":[{"id":0}]}})");
    const std::string before = onDisk(API_TYPE_SERVICE);
    for (const Row& row : rows) {
        SvcRsp rsp((family_.*row.op)(nullptr));
        EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
        if (row.status == NO_RESPONSE) {
            EXPECT_EQ(rsp, nullptr);
            continue;
        }
        ASSERT_NE(rsp, nullptr) << row.msgId;
        EXPECT_EQ(rsp->status, row.status) << row.msgId;
        EXPECT_STREQ(rsp->message, row.message);
        EXPECT_EQ(rsp->msgId, row.msgId);
        EXPECT_EQ(json(rsp->data), canon(row.data)) << row.msgId;
    }
    EXPECT_EQ(onDisk(API_TYPE_SERVICE), before);
}
