// What a case row cannot hold: the time a filtering rule stamps on the device it disconnects, and
// the log snapshot named after the day it was taken.
#include <unistd.h>

#include <ctime>
#include <regex>

#include "service/FalServiceLdb.h"
#include "support/FalFiles.h"
#include "support/FamilyFixture.h"

using ServiceTest = FamilyTest<FalServiceLdb, API_TYPE_SERVICE>;

TEST_F(ServiceTest, ServiceMacFilterStampsTheDisconnectTime)
{
    seed(API_TYPE_GATEWAY, R"({"connectedDevices":[{"id":3,"connected":true}]})");
    seed(API_TYPE_SERVICE, R"({"macFiltering":{"maxRules":4,"rules":[]}})");
    expectAnswer(call("ServiceMacfilteringCreate", {}, R"({"active":true,"deviceId":3})"), FAL_CREATED, kFine,
                 "ServiceMacfilteringCreate");
    EXPECT_EQ(stored("connectedDevices.[0].connected", API_TYPE_GATEWAY), "false");
    const std::string stamp = stored("connectedDevices.[0].lastConnected", API_TYPE_GATEWAY);
    EXPECT_TRUE(std::regex_match(stamp, std::regex(R"("\d\d-\d\d-\d{4} \d\d:\d\d:\d\d")"))) << stamp;
}

TEST_F(ServiceTest, ServiceLogSaveWritesTheSnapshotOfTheDay)
{
    char cwd[4096];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    ASSERT_EQ(chdir(root_.c_str()), 0);
    seed(API_TYPE_SERVICE, R"({"log":{"type":"local","log":[{"m":"boot"}]}})");
    OpRsp saved = call("ServiceLogSave");
    const time_t now = time(nullptr);
    struct tm utc;
    gmtime_r(&now, &utc);
    char served[64];
    strftime(served, sizeof served, "/files/log/syslog.%d%m%y.log", &utc);
    const std::string text = readFile(std::string("www") + served);
    EXPECT_EQ(chdir(cwd), 0);
    expectAnswer(saved, FAL_OK, kFine, 111);
    EXPECT_EQ(canon(json(saved->data)), canon(std::string(R"({"path":")") + served + "\"}"));
    EXPECT_EQ(canon(text), canon(R"([{"m":"boot"}])"));
}
