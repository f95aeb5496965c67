// Single service objects, the system log and diagnostics.
#include <unistd.h>

#include <fstream>
#include <set>
#include <sstream>

#include "service/ServiceFixture.h"
#include "tools/common/FalDefaults.h"
#include "service/ServiceHelpers.h"

TEST_F(ServiceTest, ServiceSingleObjectsTable)
{
    const char* ddns = R"({"active":false,"configuration":{"currentProvider":"a","username":"u"},"result":{"status":"ok"}})";
    checkAll("ddns", {
        {"ddns get", "ServiceDdnsGet", {}, nullptr, ddns, NO_FAULT, 0, nullptr, 65, ddns, nullptr},
        {"ddns get, lock fails", "ServiceDdnsGet", {}, nullptr, ddns, FAIL_LOCK, 4, nullptr, 65, "null", nullptr},
        {"ddns update copies configuration, answers result", "ServiceDdnsUpdate", {}, R"({"active":true,"configuration":{"username":"v","token":"t","other":1},"x":1})", ddns, NO_FAULT, 0, nullptr, 67,
         R"({"status":"ok"})", R"({"active":true,"configuration":{"currentProvider":"a","username":"v","token":"t"},"result":{"status":"ok"}})"},
        {"ddns update without result still saves", "ServiceDdnsUpdate", {}, R"({"active":true})", R"({"active":false})", NO_FAULT, 4, nullptr, 67, "null", R"({"active":true})"},
        {"ddns update, lock fails", "ServiceDdnsUpdate", {}, R"({"active":true})", ddns, FAIL_LOCK, 8, nullptr, 67, "null", nullptr},
    });
    checkAll("dmz", {
        {"dmz get", "ServiceDmzGet", {}, nullptr, R"({"active":false})", NO_FAULT, 0, nullptr, 83, R"({"active":false})", nullptr},
        {"dmz update", "ServiceDmzUpdate", {}, R"({"active":true,"destination":"192.168.1.9","x":1})", R"({"active":false,"destination":"192.168.1.2"})", NO_FAULT, 0, nullptr, 85, "null",
         R"({"active":true,"destination":"192.168.1.9"})"},
        {"dmz update, save fails", "ServiceDmzUpdate", {}, R"({"active":true})", R"({"active":false})", FAIL_SAVE, 4, nullptr, 85, "null", nullptr},
        {"dmz update without body", "ServiceDmzUpdate", {}, nullptr, R"({"active":false})", NO_FAULT, 10, "Bad request", 85, "null", nullptr},
    });
    checkAll("rip", {
        {"rip get", "ServiceRipGet", {}, nullptr, R"({"version":2})", NO_FAULT, 0, nullptr, 87, R"({"version":2})", nullptr},
        {"rip update replaces the object", "ServiceRipUpdate", {}, R"({"active":true})", R"({"version":2,"active":false})", NO_FAULT, 0, nullptr, 89, "null", R"({"active":true})"},
        {"rip update, save fails", "ServiceRipUpdate", {}, R"({"active":true})", R"({"version":2})", FAIL_SAVE, 8, "failed to save database", 89, "null", nullptr},
        {"rip update, lock fails", "ServiceRipUpdate", {}, R"({"active":true})", R"({"version":2})", FAIL_LOCK, 8, "failed to load database", 89, "null", nullptr},
    });
    const char* alg = R"([{"id":0,"displayName":"FTP","active":true},{"id":1,"displayName":"SIP","active":true}])";
    checkAll("alg", {
        {"alg get", "ServiceAlgGet", {}, nullptr, alg, NO_FAULT, 0, nullptr, 123, alg, nullptr},
        {"alg update keeps names and drops unknown ids", "ServiceAlgUpdate", {}, R"([{"id":1,"displayName":"X","active":false},{"id":9,"displayName":"Y"}])", alg, NO_FAULT, 0, nullptr, 125, "null",
         R"([{"id":0,"displayName":"FTP","active":true},{"id":1,"displayName":"SIP","active":false}])"},
        {"alg update, lock fails", "ServiceAlgUpdate", {}, "[]", alg, FAIL_LOCK, 4, nullptr, 125, "null", nullptr},
        {"alg update with an entry that is no object", "ServiceAlgUpdate", {}, R"([{"id":1,"active":false},0])", alg, NO_FAULT, 10, "Bad request", 125, "null", nullptr},
        {"alg update with an object body", "ServiceAlgUpdate", {}, R"({"id":0,"active":false})", alg, NO_FAULT, 10, "Bad request", 125, "null", nullptr},
    });
    const char* options = R"({"wanBlocking":true,"multicast":false})";
    checkAll("networkOption", {
        {"network options get", "ServiceNetworkOptionGet", {}, nullptr, options, NO_FAULT, 0, nullptr, 149, options, nullptr},
        {"network options update with an empty body", "ServiceNetworkOptionUpdate", {}, "{}", options, NO_FAULT, 0, nullptr, 151, "null", nullptr},
        {"network options update copies known members", "ServiceNetworkOptionUpdate", {}, R"({"multicast":true,"remoteAccess":"yes","x":1})", options, NO_FAULT, 0, nullptr, 151, "null",
         R"({"wanBlocking":true,"multicast":true,"remoteAccess":"yes"})"},
    });
}

TEST_F(ServiceTest, ServiceUpnpOffEmptiesPortMappings)
{
    const char* doc = R"({"upnp":{"active":true,"interval":30},"upnpPortmapping":[{"port":1},{"port":2}]})";
    seed(API_TYPE_SERVICE, doc);
    SvcRsp on = call("ServiceUpnpUpdate", {}, R"({"active":true,"ttl":4})");
    EXPECT_EQ(on->status, 0u);
    EXPECT_EQ(on->msgId, 107u);
    EXPECT_EQ(onDisk(API_TYPE_SERVICE), canon(R"({"upnp":{"active":true,"interval":30,"ttl":4},"upnpPortmapping":[{"port":1},{"port":2}]})"));

    SvcRsp off = call("ServiceUpnpUpdate", {}, R"({"active":false})");
    EXPECT_EQ(off->status, 0u);
    EXPECT_EQ(onDisk(API_TYPE_SERVICE), canon(R"({"upnp":{"active":false,"interval":30,"ttl":4},"upnpPortmapping":[]})"));

    seed(API_TYPE_SERVICE, doc);
    LocalDbCtrl::failNextSaves(API_TYPE_SERVICE, 1);
    SvcRsp failed = call("ServiceUpnpUpdate", {}, R"({"active":false})");
    EXPECT_EQ(failed->status, 4u);
    EXPECT_EQ(onDisk(API_TYPE_SERVICE), canon(doc));

    // Without a port-mapping table the switch is still saved and answered 0.
    seed(API_TYPE_SERVICE, R"({"upnp":{"active":true}})");
    SvcRsp noTable = call("ServiceUpnpUpdate", {}, R"({"active":false})");
    EXPECT_EQ(noTable->status, 0u);
    EXPECT_EQ(onDisk(API_TYPE_SERVICE), canon(R"({"upnp":{"active":false}})"));
}

TEST_F(ServiceTest, ServiceLogSettings)
{
    const char* log = R"({"log":{"type":"local","minLevel":"info","log":[{"m":"boot"}]}})";
    seed(API_TYPE_SERVICE, log);
    SvcRsp got = call("ServiceLogGet");
    EXPECT_EQ(got->msgId, 111u);
    EXPECT_EQ(json(got->data), canon(R"({"type":"local","minLevel":"info","log":[{"m":"boot"}]})"));

    SvcRsp changed = call("ServiceLogChange", {}, R"({"type":"remote","class":"all"})");
    EXPECT_EQ(changed->status, 0u);
    EXPECT_EQ(changed->msgId, 113u);
    EXPECT_EQ(onDisk(API_TYPE_SERVICE), canon(R"({"log":{"type":"remote","minLevel":"info","log":[{"m":"boot"}]}})"));

    SvcRsp cleared = call("ServiceLogClear");
    EXPECT_EQ(cleared->status, 0u);
    EXPECT_EQ(cleared->msgId, 169u);
    EXPECT_EQ(onDisk(API_TYPE_SERVICE), canon(R"({"log":{"type":"remote","minLevel":"info","log":[{"m":"boot"}]}})"));

    LocalDbCtrl::failNextLocks(API_TYPE_SERVICE, 1);
    SvcRsp failed = call("ServiceLogGet");
    EXPECT_EQ(failed->status, 8u);
    EXPECT_STREQ(failed->message, "cannot load database");
    EXPECT_EQ(json(failed->data), "{}");
}

TEST_F(ServiceTest, ServiceLogSaveWritesTheSnapshot)
{
    // 5 January 2027, UTC.
    EXPECT_EQ(serviceLogFileName(1799150400), "www/files/log/syslog.050127.log");

    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(root_.c_str()), 0);
    seed(API_TYPE_SERVICE, R"({"log":{"type":"local","log":[{"m":"boot"}]}})");
    SvcRsp saved = call("ServiceLogSave");
    std::string file = serviceLogFileName(time(nullptr));
    std::ifstream in(file);
    std::stringstream text;
    text << in.rdbuf();
    EXPECT_EQ(chdir(cwd), 0);
    ASSERT_NE(saved, nullptr);
    EXPECT_EQ(saved->msgId, 111u);
    ASSERT_NE(saved->data, nullptr);
    EXPECT_EQ(std::string(saved->data->get<const char*>("path")), file.substr(3));
    EXPECT_EQ(canon(text.str()), canon(R"([{"m":"boot"}])"));
}

TEST_F(ServiceTest, ServiceDiagnostics)
{
    seed(API_TYPE_SERVICE, R"({"diagnostics":{"ping":{"status":"None","msg":[]},"traceRoute":{"status":"None","hops":[1]},"routeHops":[{"hop":1}]}})");
    SvcRsp ping = call("ServiceDiagnosticsPing", {}, R"({"target":"8.8.8.8","count":4})");
    EXPECT_EQ(ping->msgId, 117u);
    EXPECT_EQ(json(ping->data), canon(R"({"status":"Requested","msg":["xxx xxx xxx","bbb bbb bbb"],"IpAddressUsed":"8.8.8.8","successCount":4,"failureCount":0})"));

    SvcRsp noCount = call("ServiceDiagnosticsPing", {}, R"({"target":"1.1.1.1"})");
    EXPECT_EQ(noCount->data->get<int>("successCount"), 0);

    SvcRsp trace = call("ServiceDiagnosticsTraceroute", {}, R"({"target":"x","maxTTL":3})");
    EXPECT_EQ(trace->msgId, 119u);
    EXPECT_EQ(json(trace->data), canon(R"({"status":"Requested","hops":[1]})"));

    SvcRsp hops = call("ServiceDiagnosticsRoutehops");
    EXPECT_EQ(hops->msgId, 121u);
    EXPECT_EQ(json(hops->data), canon(R"([{"hop":1}])"));

    seed(API_TYPE_SERVICE, R"({"diagnostics":{}})");
    SvcRsp missing = call("ServiceDiagnosticsPing", {}, R"({"count":1})");
    EXPECT_EQ(missing->status, 8u);
    EXPECT_STREQ(missing->message, "failed to get ping data");
    SvcRsp noBody = call("ServiceDiagnosticsPing");
    EXPECT_EQ(noBody->status, 10u);
}

TEST_F(ServiceTest, ServiceLogAndDiagnosticsFailuresTable)
{
    const char* log = R"({"type":"local","log":[]})";
    checkAll("log", {
        {"log change never adds a setting", "ServiceLogChange", {}, R"({"class":"all","type":"remote"})", log, NO_FAULT, 0, nullptr, 113, "null",
         R"({"type":"remote","log":[]})"},
        {"log change, lock fails", "ServiceLogChange", {}, R"({"type":"remote"})", log, FAIL_LOCK, 8, nullptr, 113, "null", nullptr},
        {"log change, save fails", "ServiceLogChange", {}, R"({"type":"remote"})", log, FAIL_SAVE, 4, nullptr, 113, "null", nullptr},
        {"log change without body", "ServiceLogChange", {}, nullptr, log, NO_FAULT, 10, "Bad request", 113, "null", nullptr},
        {"log clear keeps the log", "ServiceLogClear", {}, nullptr, log, NO_FAULT, 0, nullptr, 169, "null", nullptr},
        {"log clear, lock fails", "ServiceLogClear", {}, nullptr, log, FAIL_LOCK, 8, "failed to get database", 169, "null", nullptr},
    });
    const char* diag = R"({"ping":{"status":"None","msg":[]},"traceRoute":{"status":"None"},"routeHops":[{"hop":1}]})";
    checkAll("diagnostics", {
        {"ping, lock fails", "ServiceDiagnosticsPing", {}, R"({"count":1})", diag, FAIL_LOCK, 8, "failed to load database", 117, "null", nullptr},
        {"ping, save fails", "ServiceDiagnosticsPing", {}, R"({"target":"a","count":1})", diag, FAIL_SAVE, 8, "failed to save database", 117,
         R"({"status":"Requested","msg":["xxx xxx xxx","bbb bbb bbb"],"IpAddressUsed":"a","successCount":1,"failureCount":0})", nullptr},
        {"traceroute, lock fails", "ServiceDiagnosticsTraceroute", {}, "{}", diag, FAIL_LOCK, 4, nullptr, 119, "null", nullptr},
        {"traceroute, save fails", "ServiceDiagnosticsTraceroute", {}, "{}", diag, FAIL_SAVE, 4, nullptr, 119, R"({"status":"Requested"})", nullptr},
        {"traceroute without body", "ServiceDiagnosticsTraceroute", {}, nullptr, diag, NO_FAULT, 10, "Bad request", 119, "null", nullptr},
        {"route hops, lock fails", "ServiceDiagnosticsRoutehops", {}, nullptr, diag, FAIL_LOCK, 4, nullptr, 121, "null", nullptr},
    });
}

TEST_F(ServiceTest, ServiceSingleObjectUpdatesWithoutBody)
{
    // Nothing is locked or changed; each answers 10 "Bad request" with its own id.
    const std::pair<const char*, unsigned> updates[] = {
        {"ServiceDdnsUpdate", 67}, {"ServiceDmzUpdate", 85}, {"ServiceRipUpdate", 89}, {"ServiceUpnpUpdate", 107},
        {"ServiceAlgUpdate", 125}, {"ServiceNetworkOptionUpdate", 151}, {"ServiceWolActive", 81},
        {"ServiceStaticrouteActive", 103}, {"ServiceReservedipActive", 147},
    };
    seed(API_TYPE_SERVICE, R"({"ddns":{"active":true},"rip":{"version":2},"upnp":{"active":true},"alg":[]})");
    const std::string before = onDisk(API_TYPE_SERVICE);
    for (const auto& update : updates) {
        SvcRsp rsp = call(update.first);
        ASSERT_NE(rsp, nullptr) << update.first;
        EXPECT_EQ(rsp->status, 10u) << update.first;
        EXPECT_STREQ(rsp->message, "Bad request");
        EXPECT_EQ(rsp->msgId, update.second);
    }
    EXPECT_EQ(onDisk(API_TYPE_SERVICE), before);
}

// Every service operation answers on the factory defaults; only the patches of lists that start
// empty find no rule 0.
TEST_F(ServiceTest, ServiceEveryOperationAnswersOnTheFactoryDefaults)
{
    for (unsigned apiType : {unsigned(API_TYPE_SERVICE), unsigned(API_TYPE_GATEWAY)}) {
        const std::string path = std::string("db/") + LocalDbCtrl::documentName(apiType) + ".json";
        for (const FalDefaultFile* f = falDefaultFiles; f->path; ++f)
            if (path == f->path)
                seed(apiType, std::string(f->data, f->size));
    }
    const std::set<std::string> emptyListPatches = {"ServicePortfilteringPatch", "ServiceIpfilteringPatch",
                                                    "ServicePorttriggeringPatch", "ServicePortIpFilteringPatch"};
    const std::set<std::string> noResponse = {"ServicePortforwardingUpdate", "ServicePorttriggeringUpdate",
                                              "ServiceStaticrouteUpdate", "ServiceReservedipUpdate"};
    const char* body = R"({"active":true,"deviceId":4,"ipAddress":"192.168.1.20","rules":[{"id":0}],
        "rule":{"macAddress":"AA"},"target":"8.8.8.8","count":2,"serviceType":"HTTP"})";
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(root_.c_str()), 0);
    const FalFamilyInfo* family = falFamilyByName("service");
    for (const FalOpInfo& op : family->ops) {
        if (!family->implemented(&family_, op.slot) || std::string(op.name) == "ServiceWolWakeon")
            continue;
        SCOPED_TRACE(op.name);
        bool alg = std::string(op.name) == "ServiceAlgUpdate";
        SvcRsp rsp = call(op.name, {{"@ruleId", "0"}}, alg ? R"([{"id":0,"active":false}])" : body);
        if (noResponse.count(op.name)) {
            EXPECT_EQ(rsp, nullptr);
            continue;
        }
        ASSERT_NE(rsp, nullptr);
        if (emptyListPatches.count(op.name))
            EXPECT_GE(rsp->status, unsigned(FAL_FAILED));
        else
            EXPECT_LT(rsp->status, unsigned(FAL_FAILED)) << rsp->message;
    }
    EXPECT_EQ(chdir(cwd), 0);
}
