// What the gateway case files cannot hold: state kept by the object between calls, files written
// below the root, live figures and the programs that give them.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <ctime>
#include <fstream>
#include <sstream>

#include "gateway/GatewayHelpers.h"
#include "support/FamilyFixture.h"

class GatewayTest : public FamilyTest<FalGatewayLdb, API_TYPE_GATEWAY> {
protected:
    void SetUp() override
    {
        FamilyTest::SetUp();
        char buf[4096];
        ASSERT_NE(getcwd(buf, sizeof buf), nullptr);
        cwd_ = buf;
        ASSERT_EQ(chdir(root_.c_str()), 0);  // the backup is written below the working directory
        seed(API_TYPE_GATEWAY, R"({"cpuUsage":[{"percentage":-1},{"percentage":-1}],"memoryUsage":{"total":-1}})");
    }
    void TearDown() override
    {
        EXPECT_EQ(chdir(cwd_.c_str()), 0);
        FamilyTest::TearDown();
    }
    std::string cwd_;
};

TEST_F(GatewayTest, UpgradeProgressGrowsByTwentyPerPollUncapped)
{
    auto poll = [this] {
        OpRsp rsp = call("GatewayUpgradeStatus");
        EXPECT_EQ(rsp->status, 0u);
        return rsp->data->get<int>("status");
    };
    EXPECT_EQ(poll(), 0);  // before any upgrade
    call("GatewayUpgrade", {}, "{}");
    EXPECT_EQ(poll(), 20);
    EXPECT_EQ(poll(), 40);
    for (int i = 0; i < 4; ++i)
        poll();
    EXPECT_EQ(poll(), 140);
    call("GatewayUpgrade");
    EXPECT_EQ(poll(), 20);
}

TEST_F(GatewayTest, BackupWritesTheFileOfTheDay)
{
    OpRsp rsp = call("GatewayBackup");
    ASSERT_NE(rsp, nullptr);
    EXPECT_EQ(rsp->status, 0u);
    std::string path = rsp->data->get<const char*>("path");
    ASSERT_EQ(path.substr(0, 27), "/files/configuration/qr451.");
    std::stringstream content;
    content << std::ifstream(root_ + "/www" + path).rdbuf();
    EXPECT_EQ(content.str(), "This is test configuration");

    struct tm t = {};
    t.tm_year = 2027 - 1900;
    t.tm_mday = 5;
    t.tm_hour = 23;  // day, month and two-digit year in UTC
    EXPECT_EQ(gatewayBackupFileName(timegm(&t)), "www/files/configuration/qr451.050127.conf");
}

TEST_F(GatewayTest, RegistrationCodeIsSixDigits)
{
    for (int i = 0; i < 20; ++i) {
        OpRsp rsp = call("GatewayRegistrationCode");
        std::string code = rsp->data->get<const char*>("regCode");
        EXPECT_EQ(code.size(), 6u) << code;
        EXPECT_EQ(code.find_first_not_of("0123456789"), std::string::npos) << code;
    }
}

TEST_F(GatewayTest, CpuFigureIsWhatTopGivesEvenBelowZero)
{
    OpRsp live = call("GatewayCpuUsage");
    ASSERT_EQ(live->status, 0u);
    int percent = live->data->get<int>("[0].percentage");
    EXPECT_GE(percent, 0);
    EXPECT_LE(percent, 100);
    EXPECT_EQ(live->data->get<int>("[1].percentage"), percent);

    // A `top` whose idle share exceeds 100 makes the figure negative; it is still taken as is.
    std::ofstream(root_ + "/top") << "#!/bin/sh\necho '%Cpu(s):  1.0 us,  0.0 sy, 150.0 id,  0.0 wa'\n";
    ASSERT_EQ(chmod((root_ + "/top").c_str(), 0755), 0);
    const std::string path = getenv("PATH");
    setenv("PATH", (root_ + ":" + path).c_str(), 1);
    OpRsp faked = call("GatewayCpuUsage");
    setenv("PATH", path.c_str(), 1);
    EXPECT_EQ(faked->data->get<int>("[0].percentage"), -50);
}

TEST_F(GatewayTest, MemoryFiguresAreTheTokensBeforeTotalAndFree)
{
    OpRsp mem = call("GatewayMemoryUsage");
    ASSERT_EQ(mem->status, 0u);
    EXPECT_GT(mem->data->get<int>("free"), 0);
    EXPECT_LE(mem->data->get<int>("free"), mem->data->get<int>("total"));

    const struct {
        const char* line;
        int total, free;
    } cases[] = {
        {"KiB Mem :  8167848 total,  1227072 free,  4331208 used,  2609568 buff/cache\n", 8167848, 1227072},
        {"KiB Mem:   2055636 total,  1837308 used,   218328 free,    71284 buffers\n", 2055636, 218328},
        {"KiB Mem :  8167848 total,  4331208 used\n", 8167848, 0},
        {"", 0, 0},
    };
    for (const auto& c : cases) {
        int total = 0, free = 0;
        gatewayParseMemoryLine(c.line, total, free);
        EXPECT_EQ(total, c.total) << c.line;
        EXPECT_EQ(free, c.free) << c.line;
    }
}
