// Port forwarding, port triggering, wake-on-LAN, static routes, reserved addresses and MAC
// pass-through: one table per list.
#include "service/ServiceFixture.h"

namespace {

const char* const FWD = R"({"active":true,"maxRules":3,"rules":[{"id":1,"active":true,"serviceType":"HTTP","port":80},{"id":0,"active":true,"serviceType":"FTP","port":21}]})";
const char* const TRG = R"({"active":false,"maxRules":3,"rules":[{"id":1,"name":"a"},{"id":0,"name":"b"}]})";
const char* const TRG_FULL = R"({"active":false,"maxRules":2,"rules":[{"id":1,"name":"a"},{"id":0,"name":"b"}]})";
const char* const WOL = R"({"active":false,"rules":[{"id":1,"mac":"a"},{"id":0,"mac":"b"}]})";
const char* const ROUTE = R"({"active":true,"list":[{"id":1,"active":true,"destinationIP":"10.0.0.0","subnet":"255.0.0.0","gateway":"192.168.1.254","metric":5},{"id":0,"active":true}]})";
const char* const RSV = R"({"active":true,"rules":[{"id":1,"macAddress":"AA","ipAddress":"192.168.1.50","deviceId":1},{"id":0,"macAddress":"BB"}]})";
const char* const PASS = R"({"active":false,"macAddress":"11:22:33:44:55:66"})";

const FAL_PARAMS_T TWO_IDS = {{"@ruleId", "0"}, {"@ruleId", "1"}};

}  // namespace

TEST_F(ServiceTest, ServicePortForwardingTable)
{
    checkAll("portForwarding", {
        {"list", "ServicePortforwardingList", {}, nullptr, FWD, NO_FAULT, 0, nullptr, 37, FWD, nullptr},
        {"list, lock fails", "ServicePortforwardingList", {}, nullptr, FWD, FAIL_LOCK, 4, nullptr, 37, "null", nullptr},
        {"update gives no response", "ServicePortforwardingUpdate", {}, "{}", FWD, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"patch without serviceType changes only active (last id wins)", "ServicePortforwardingPatch", TWO_IDS, R"({"active":false,"port":99})", FWD, NO_FAULT, 0, nullptr, 41, "null",
         R"({"active":true,"maxRules":3,"rules":[{"id":1,"active":false,"serviceType":"HTTP","port":80},{"id":0,"active":true,"serviceType":"FTP","port":21}]})"},
        {"patch with serviceType replaces the entry", "ServicePortforwardingPatch", {{"@ruleId", "0"}}, R"({"serviceType":"SSH","port":22})", FWD, NO_FAULT, 0, nullptr, 41, "null",
         R"({"active":true,"maxRules":3,"rules":[{"id":1,"active":true,"serviceType":"HTTP","port":80},{"serviceType":"SSH","port":22,"id":0}]})"},
        {"patch unknown id", "ServicePortforwardingPatch", {{"@ruleId", "5"}}, R"({"active":false})", FWD, NO_FAULT, 4, nullptr, 41, "null", nullptr},
        {"patch without rules", "ServicePortforwardingPatch", {{"@ruleId", "0"}}, R"({"active":false})", R"({"active":true,"rules":{}})", NO_FAULT, 8, nullptr, 41, "null", nullptr},
        {"patch without body", "ServicePortforwardingPatch", {{"@ruleId", "1"}}, nullptr, FWD, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"create: ids 1,0 give 3", "ServicePortforwardingCreate", {}, R"({"serviceType":"SSH"})", FWD, NO_FAULT, 1, nullptr, 43, R"({"id":3})",
         R"({"active":true,"maxRules":3,"rules":[{"id":1,"active":true,"serviceType":"HTTP","port":80},{"id":0,"active":true,"serviceType":"FTP","port":21},{"serviceType":"SSH","id":3}]})"},
        {"create without body", "ServicePortforwardingCreate", {}, nullptr, FWD, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"create, save fails", "ServicePortforwardingCreate", {}, "{}", FWD, FAIL_SAVE, 4, nullptr, 43, "null", nullptr},
        {"create without rules", "ServicePortforwardingCreate", {}, "{}", R"({"maxRules":3})", NO_FAULT, 8, nullptr, 43, "null", nullptr},
        {"create on a full list", "ServicePortforwardingCreate", {}, "{}", R"({"maxRules":2,"rules":[{"id":1},{"id":0}]})", NO_FAULT, 4, nullptr, 43, "null", nullptr},
        {"create, lock fails", "ServicePortforwardingCreate", {}, "{}", FWD, FAIL_LOCK, 4, nullptr, 43, "null", nullptr},
        {"delete one: first @ruleId", "ServicePortforwardingDeleteOne", TWO_IDS, nullptr, FWD, NO_FAULT, 3, "Record Deleted", 45, "null",
         R"({"active":true,"maxRules":3,"rules":[{"id":1,"active":true,"serviceType":"HTTP","port":80}]})"},
        {"delete one unknown id", "ServicePortforwardingDeleteOne", {{"@ruleId", "8"}}, nullptr, FWD, NO_FAULT, 9, "failed to find ruleId", 45, "null", nullptr},
        {"delete one, lock fails", "ServicePortforwardingDeleteOne", {{"@ruleId", "0"}}, nullptr, FWD, FAIL_LOCK, 8, "failed to get database", 45, "null", nullptr},
        {"delete all", "ServicePortforwardingDeleteAll", {}, nullptr, FWD, NO_FAULT, 0, nullptr, 47, "null", R"({"active":true,"maxRules":3,"rules":[]})"},
        {"active", "ServicePortforwardingActive", {}, R"({"active":false})", FWD, NO_FAULT, 0, nullptr, 49, "null",
         R"({"active":false,"maxRules":3,"rules":[{"id":1,"active":true,"serviceType":"HTTP","port":80},{"id":0,"active":true,"serviceType":"FTP","port":21}]})"},
        {"active without body", "ServicePortforwardingActive", {}, nullptr, FWD, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"active, lock fails", "ServicePortforwardingActive", {}, R"({"active":false})", FWD, FAIL_LOCK, 4, nullptr, 49, "null", nullptr},
        {"delete some gives no response", "ServicePortforwardingDeleteSome", {}, "{}", FWD, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServicePortTriggeringTable)
{
    checkAll("portTriggering", {
        {"list", "ServicePorttriggeringList", {}, nullptr, TRG, NO_FAULT, 0, nullptr, 51, TRG, nullptr},
        {"update gives no response", "ServicePorttriggeringUpdate", {}, "{}", TRG, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"patch: last @ruleId wins", "ServicePorttriggeringPatch", TWO_IDS, R"({"name":"c"})", TRG, NO_FAULT, 0, nullptr, 55, "null",
         R"({"active":false,"maxRules":3,"rules":[{"name":"c","id":1},{"id":0,"name":"b"}]})"},
        {"patch unknown id", "ServicePorttriggeringPatch", {{"@ruleId", "5"}}, R"({"name":"c"})", TRG, NO_FAULT, 4, nullptr, 55, "null", nullptr},
        {"patch without rules", "ServicePorttriggeringPatch", {{"@ruleId", "0"}}, R"({"name":"c"})", R"({"active":false})", NO_FAULT, 8, nullptr, 55, "null", nullptr},
        {"create: ids 1,0 give 3", "ServicePorttriggeringCreate", {}, R"({"name":"c"})", TRG, NO_FAULT, 1, nullptr, 57, R"({"id":3})",
         R"({"active":false,"maxRules":3,"rules":[{"id":1,"name":"a"},{"id":0,"name":"b"},{"name":"c","id":3}]})"},
        {"create on a full list", "ServicePorttriggeringCreate", {}, R"({"name":"c"})", TRG_FULL, NO_FAULT, 4, nullptr, 57, "null", nullptr},
        {"create, lock fails", "ServicePorttriggeringCreate", {}, R"({"name":"c"})", TRG, FAIL_LOCK, 4, nullptr, 57, "null", nullptr},
        {"delete one: first parameter", "ServicePorttriggeringDeleteOne", TWO_IDS, nullptr, TRG, NO_FAULT, 3, nullptr, 59, "null",
         R"({"active":false,"maxRules":3,"rules":[{"id":1,"name":"a"}]})"},
        {"delete one unknown id still answers deleted", "ServicePorttriggeringDeleteOne", {{"@ruleId", "5"}}, nullptr, TRG, NO_FAULT, 3, nullptr, 59, "null", nullptr},
        {"delete one, save fails", "ServicePorttriggeringDeleteOne", {{"@ruleId", "1"}}, nullptr, TRG, FAIL_SAVE, 4, nullptr, 59, "null", nullptr},
        {"delete all", "ServicePorttriggeringDeleteAll", {}, nullptr, TRG, NO_FAULT, 0, nullptr, 61, "null", R"({"active":false,"maxRules":3,"rules":[]})"},
        {"delete all, lock fails", "ServicePorttriggeringDeleteAll", {}, nullptr, TRG, FAIL_LOCK, 4, nullptr, 61, "null", nullptr},
        {"active", "ServicePorttriggeringActive", {}, R"({"active":true})", TRG, NO_FAULT, 0, nullptr, 63, "null",
         R"({"active":true,"maxRules":3,"rules":[{"id":1,"name":"a"},{"id":0,"name":"b"}]})"},
        {"active without body", "ServicePorttriggeringActive", {}, nullptr, TRG, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"delete some gives no response", "ServicePorttriggeringDeleteSome", {}, "{}", TRG, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServiceWakeOnLanTable)
{
    checkAll("wol", {
        {"list", "ServiceWolList", {}, nullptr, WOL, NO_FAULT, 0, nullptr, 69, WOL, nullptr},
        {"list, lock fails", "ServiceWolList", {}, nullptr, WOL, FAIL_LOCK, 4, nullptr, 69, "null", nullptr},
        {"update: upsert, new ids kept, shared new ids both appended", "ServiceWolUpdate", {},
         R"({"active":true,"rules":[{"id":0,"mac":"c"},{"id":7,"mac":"d"},{"id":7,"mac":"e"}]})", WOL, NO_FAULT, 0, nullptr, 71,
         R"({"created":[{"id":7,"mac":"d"},{"id":7,"mac":"e"}],"updated":[{"id":0,"mac":"c"}]})",
         R"({"active":true,"rules":[{"id":1,"mac":"a"},{"id":0,"mac":"c"},{"id":7,"mac":"d"},{"id":7,"mac":"e"}]})"},
        {"update without stored rules stores the given ones", "ServiceWolUpdate", {}, R"({"rules":[{"id":5}]})", R"({"active":true})", NO_FAULT, 0, nullptr, 71,
         R"({"created":[{"id":5}],"updated":[]})", R"({"active":false,"rules":[{"id":5}]})"},
        {"update, save fails", "ServiceWolUpdate", {}, R"({"active":true})", WOL, FAIL_SAVE, 4, nullptr, 71, "null", nullptr},
        {"update, lock fails", "ServiceWolUpdate", {}, R"({"active":true})", WOL, FAIL_LOCK, 8, nullptr, 71, "{}", nullptr},
        {"update without body", "ServiceWolUpdate", {}, nullptr, WOL, NO_FAULT, 10, "Bad request", 71, "{}", nullptr},
        {"update with rules that are not entries", "ServiceWolUpdate", {}, R"({"active":true,"rules":[{"id":3},7]})", WOL, NO_FAULT, 10, "Bad request", 71, "{}", nullptr},
        {"update with rules not a list", "ServiceWolUpdate", {}, R"({"active":true,"rules":{"id":3}})", WOL, NO_FAULT, 10, "Bad request", 71, "{}", nullptr},
        {"create: largest id + 1", "ServiceWolCreate", {}, R"({"mac":"c"})", WOL, NO_FAULT, 1, nullptr, 73, R"({"id":2})",
         R"({"active":false,"rules":[{"id":1,"mac":"a"},{"id":0,"mac":"b"},{"mac":"c","id":2}]})"},
        {"create without rules", "ServiceWolCreate", {}, R"({"mac":"c"})", R"({"active":false})", NO_FAULT, 4, nullptr, 73, "null", nullptr},
        {"create, save fails keeps data", "ServiceWolCreate", {}, R"({"mac":"c"})", WOL, FAIL_SAVE, 4, nullptr, 73, "{}", nullptr},
        {"create without body", "ServiceWolCreate", {}, nullptr, WOL, NO_FAULT, 10, "Bad request", 73, "{}", nullptr},
        {"delete one: first parameter", "ServiceWolDeleteOne", {{"@ruleId", "1"}}, nullptr, WOL, NO_FAULT, 3, nullptr, 75, "null",
         R"({"active":false,"rules":[{"id":0,"mac":"b"}]})"},
        {"delete one unknown id", "ServiceWolDeleteOne", {{"@ruleId", "4"}}, nullptr, WOL, NO_FAULT, 3, nullptr, 75, "null", nullptr},
        {"delete all", "ServiceWolDeleteAll", {}, nullptr, WOL, NO_FAULT, 0, nullptr, 77, "null", R"({"active":false,"rules":[]})"},
        {"active", "ServiceWolActive", {}, R"({"active":true})", WOL, NO_FAULT, 0, nullptr, 81, "null",
         R"({"active":true,"rules":[{"id":1,"mac":"a"},{"id":0,"mac":"b"}]})"},
        {"wake on answers without touching the list", "ServiceWolWakeon", {}, nullptr, WOL, NO_FAULT, 0, nullptr, 79, "null", nullptr},
        {"active without body", "ServiceWolActive", {}, nullptr, WOL, NO_FAULT, 10, "Bad request", 81, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServiceStaticRouteTable)
{
    checkAll("staticRoute", {
        {"list", "ServiceStaticrouteList", {}, nullptr, ROUTE, NO_FAULT, 0, nullptr, 91, ROUTE, nullptr},
        {"update gives no response", "ServiceStaticrouteUpdate", {}, "{}", ROUTE, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"patch keeps only the route fields", "ServiceStaticroutePatch", {{"@ruleId", "1"}}, R"({"active":false,"destinationIP":"10.1.0.0","extra":1})", ROUTE, NO_FAULT, 0, nullptr, 95, "null",
         R"({"active":true,"list":[{"id":1,"active":false,"destinationIP":"10.1.0.0","subnet":null},{"id":0,"active":true}]})"},
        {"patch unknown id", "ServiceStaticroutePatch", {{"@ruleId", "3"}}, "{}", ROUTE, NO_FAULT, 4, nullptr, 95, "null", nullptr},
        {"patch, lock fails", "ServiceStaticroutePatch", {{"@ruleId", "1"}}, "{}", ROUTE, FAIL_LOCK, 8, "No object found in txt Repo!", 95, "null", nullptr},
        {"patch without body", "ServiceStaticroutePatch", {{"@ruleId", "1"}}, nullptr, ROUTE, NO_FAULT, 10, "Bad request", 95, "null", nullptr},
        {"patch without list", "ServiceStaticroutePatch", {{"@ruleId", "1"}}, "{}", R"({"active":true})", NO_FAULT, 8, nullptr, 95, "null", nullptr},
        {"create copies the route fields present", "ServiceStaticrouteCreate", {}, R"({"gateway":"192.168.1.1","active":true,"subnet":"255.255.255.0","foo":1})", ROUTE, NO_FAULT, 1, nullptr, 97,
         R"({"id":2})",
         R"({"active":true,"list":[{"id":1,"active":true,"destinationIP":"10.0.0.0","subnet":"255.0.0.0","gateway":"192.168.1.254","metric":5},{"id":0,"active":true},{"id":2,"active":true,"subnet":"255.255.255.0","gateway":"192.168.1.1"}]})"},
        {"create, save fails keeps data", "ServiceStaticrouteCreate", {}, "{}", ROUTE, FAIL_SAVE, 4, nullptr, 97, R"({"id":2})", nullptr},
        {"create, lock fails", "ServiceStaticrouteCreate", {}, "{}", ROUTE, FAIL_LOCK, 4, nullptr, 97, "null", nullptr},
        {"create without body", "ServiceStaticrouteCreate", {}, nullptr, ROUTE, NO_FAULT, 10, "Bad request", 97, "null", nullptr},
        {"delete one: first parameter", "ServiceStaticrouteDeleteOne", {{"@ruleId", "0"}, {"@ruleId", "1"}}, nullptr, ROUTE, NO_FAULT, 3, nullptr, 99, "null",
         R"({"active":true,"list":[{"id":1,"active":true,"destinationIP":"10.0.0.0","subnet":"255.0.0.0","gateway":"192.168.1.254","metric":5}]})"},
        {"delete one unknown id", "ServiceStaticrouteDeleteOne", {{"@ruleId", "4"}}, nullptr, ROUTE, NO_FAULT, 3, nullptr, 99, "null", nullptr},
        {"delete one, lock fails", "ServiceStaticrouteDeleteOne", {{"@ruleId", "0"}}, nullptr, ROUTE, FAIL_LOCK, 4, nullptr, 99, "null", nullptr},
        {"delete all", "ServiceStaticrouteDeleteAll", {}, nullptr, ROUTE, NO_FAULT, 0, nullptr, 101, "null", R"({"active":true,"list":[]})"},
        {"active", "ServiceStaticrouteActive", {}, R"({"active":false})", ROUTE, FAIL_SAVE, 4, nullptr, 103, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServiceReservedIpTable)
{
    checkAll("reservedIp", {
        {"list", "ServiceReservedipList", {}, nullptr, RSV, NO_FAULT, 0, nullptr, 135, RSV, nullptr},
        {"update gives no response", "ServiceReservedipUpdate", {}, "{}", RSV, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"patch: the body becomes the entry", "ServiceReservedipPatch", {{"@ruleId", "1"}}, R"({"macAddress":"CC"})", RSV, NO_FAULT, 0, nullptr, 139, "null",
         R"({"active":true,"rules":[{"macAddress":"CC","id":1},{"id":0,"macAddress":"BB"}]})"},
        {"patch unknown id", "ServiceReservedipPatch", {{"@ruleId", "7"}}, "{}", RSV, NO_FAULT, 4, nullptr, 139, "null", nullptr},
        {"patch without body", "ServiceReservedipPatch", {{"@ruleId", "1"}}, nullptr, RSV, NO_FAULT, 10, "Bad request", 139, "null", nullptr},
        {"patch, save fails", "ServiceReservedipPatch", {{"@ruleId", "1"}}, "{}", RSV, FAIL_SAVE, 4, nullptr, 139, "null", nullptr},
        {"patch without rules", "ServiceReservedipPatch", {{"@ruleId", "1"}}, "{}", R"({"active":true})", NO_FAULT, 4, nullptr, 139, "null", nullptr},
        {"create keeps three fields of the rule", "ServiceReservedipCreate", {}, R"({"rule":{"name":"x","deviceId":3,"ipAddress":"192.168.1.60","macAddress":"CC"}})", RSV, NO_FAULT, 1, nullptr, 141,
         R"({"id":2})",
         R"({"active":true,"rules":[{"id":1,"macAddress":"AA","ipAddress":"192.168.1.50","deviceId":1},{"id":0,"macAddress":"BB"},{"id":2,"macAddress":"CC","ipAddress":"192.168.1.60","deviceId":3}]})"},
        {"create without rule", "ServiceReservedipCreate", {}, R"({"macAddress":"CC"})", RSV, NO_FAULT, 4, nullptr, 141, "null", nullptr},
        {"create without body", "ServiceReservedipCreate", {}, nullptr, RSV, NO_FAULT, 10, "Invalid request", 141, "null", nullptr},
        {"create without rules", "ServiceReservedipCreate", {}, R"({"rule":{}})", R"({"active":true})", NO_FAULT, 8, "Database error occurred", 141, "null", nullptr},
        {"create, save fails", "ServiceReservedipCreate", {}, R"({"rule":{}})", RSV, FAIL_SAVE, 4, nullptr, 141, R"({"id":2})", nullptr},
        {"create, lock fails", "ServiceReservedipCreate", {}, R"({"rule":{}})", RSV, FAIL_LOCK, 8, nullptr, 141, "null", nullptr},
        {"delete one", "ServiceReservedipDeleteOne", {{"@ruleId", "0"}}, nullptr, RSV, NO_FAULT, 3, nullptr, 143, "null",
         R"({"active":true,"rules":[{"id":1,"macAddress":"AA","ipAddress":"192.168.1.50","deviceId":1}]})"},
        {"delete all", "ServiceReservedipDeleteAll", {}, nullptr, RSV, NO_FAULT, 0, nullptr, 145, "null", R"({"active":true,"rules":[]})"},
        {"active", "ServiceReservedipActive", {}, R"({"active":false})", RSV, NO_FAULT, 0, nullptr, 147, "null",
         R"({"active":false,"rules":[{"id":1,"macAddress":"AA","ipAddress":"192.168.1.50","deviceId":1},{"id":0,"macAddress":"BB"}]})"},
    });
}

TEST_F(ServiceTest, ServiceMacPassthroughTable)
{
    checkAll("macPassthrough", {
        {"list", "ServiceMacpassthroughList", {}, nullptr, PASS, NO_FAULT, 0, nullptr, 127, PASS, nullptr},
        {"create gives no response", "ServiceMacpassthroughCreate", {}, "{}", PASS, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"delete one removes nothing", "ServiceMacpassthroughDeleteOne", {{"@ruleId", "0"}}, nullptr, PASS, NO_FAULT, 0, nullptr, 131, PASS, nullptr},
        {"delete all removes nothing", "ServiceMacpassthroughDeleteAll", {}, nullptr, PASS, NO_FAULT, 0, nullptr, 133, PASS, nullptr},
        {"delete all, lock fails", "ServiceMacpassthroughDeleteAll", {}, nullptr, PASS, FAIL_LOCK, 8, "Failed to load database", 133, "null", nullptr},
        {"access management gives no response", "ServiceAccessADMGet", {}, nullptr, PASS, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
        {"access management change gives no response", "ServiceAccessADMChange", {}, "{}", PASS, NO_FAULT, NO_RESPONSE, nullptr, 0, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServicePatchWithoutBodyLogsOnlyForPortForwarding)
{
    auto logged = [this](const char* text) {
        for (const CapturedLog& log : logs_)
            if (log.text == text && log.group == 15)
                return true;
        return false;
    };
    const char* line = "Received NULL request or no request body in case it is needed\n";
    logs_.clear();
    EXPECT_EQ(call("ServicePorttriggeringPatch", {{"@ruleId", "0"}}), nullptr);
    EXPECT_FALSE(logged(line));
    EXPECT_EQ(call("ServicePortforwardingPatch", {{"@ruleId", "0"}}), nullptr);
    EXPECT_TRUE(logged(line));
}
