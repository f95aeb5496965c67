// System status and maintenance.
#include <sys/stat.h>

#include <cstdlib>
#include <ctime>
#include <sstream>

#include "gateway/GatewayFixture.h"
#include "gateway/GatewayHelpers.h"

namespace {

const char* const DOC = R"({"about":{"modelName":"QR451"},
    "cpuUsage":[{"percentage":-1},{"percentage":-1}],
    "memoryUsage":{"total":-1,"free":-1},
    "led":{"mode":"on","power":true,"options":{"day":"mon","startTime":"22:00","duration":8}},
    "dateTime":{"timeZone":"GMT","daylightSavingTime":{"active":false,"startDate":"a","endDate":"b"},
                "ntp":{"active":true,"server":["s0","s1","s2"]}},
    "language":[{"id":"system","code":"en","name":"English"},{"id":0,"code":"de","name":"Deutsch"}],
    "powersaveMode":{"active":false,"powerTimer":30}})";

// The document with one member replaced.
std::string withMember(const char* key, const char* value)
{
    TreeMapObject* doc = TreeMapObject::parse(DOC);
    TreeMapObject* v = TreeMapObject::parse(value);
    doc->set(key, v);
    std::string s = doc->toJsonString();
    delete v;
    delete doc;
    return s;
}

}  // namespace

class GatewaySystem : public GatewayTest {
protected:
    void SetUp() override
    {
        GatewayTest::SetUp();
        seed(API_TYPE_GATEWAY, DOC);
    }
};

TEST_F(GatewaySystem, Reads)
{
    const GwCase cases[] = {
        {"about", "GatewayAbout", {}, nullptr, 0, "FAL processed fine!", R"({"modelName":"QR451"})", nullptr},
        {"about, failed lock", "GatewayAbout", {}, nullptr, 8, "failed to load database", nullptr, nullptr,
         API_TYPE_GATEWAY},
        {"led", "GatewayLedGet", {}, nullptr, 0, "FAL processed fine!",
         R"({"mode":"on","power":true,"options":{"day":"mon","startTime":"22:00","duration":8}})", nullptr},
        {"date and time", "GatewayDatetimeGet", {}, nullptr, 0, "FAL processed fine!",
         R"({"timeZone":"GMT","daylightSavingTime":{"active":false,"startDate":"a","endDate":"b"},
             "ntp":{"active":true,"server":["s0","s1","s2"]}})",
         nullptr},
        {"language of a user", "GatewayLanguageGet", {{"@id", "0"}}, nullptr, 0, "FAL processed fine!",
         R"({"code":"de","name":"Deutsch"})", nullptr},
        {"language, no id", "GatewayLanguageGet", {}, nullptr, 8, "no request id", nullptr, nullptr},
        {"language, unknown id", "GatewayLanguageGet", {{"@id", "5"}}, nullptr, 8, "cannot found user id", nullptr,
         nullptr},
        {"language, failed lock", "GatewayLanguageGet", {{"@id", "0"}}, nullptr, 8, "failed to get database", nullptr,
         nullptr, API_TYPE_GATEWAY},
        {"system language", "GatewayLanguageSystemGet", {}, nullptr, 0, "FAL processed fine!",
         R"({"code":"en","name":"English"})", nullptr},
        {"power saving", "GatewayPowersaveModeGet", {}, nullptr, 0, "FAL processed fine!",
         R"({"active":false,"powerTimer":30})", nullptr},
        {"power saving, failed lock", "GatewayPowersaveModeGet", {}, nullptr, 8, "failed to load database", nullptr,
         nullptr, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases)
        check(c, DOC);

    std::string notAList = withMember("language", R"({"id":"system"})");
    seed(API_TYPE_GATEWAY, notAList);
    check({"language not a list", "GatewayLanguageSystemGet", {}, nullptr, 8, "incorrect database", nullptr, nullptr},
          notAList);
}

TEST_F(GatewaySystem, LedUpdate)
{
    std::string led = withMember("led", R"({"mode":"off","power":false,"options":{"day":"sun","startTime":"22:00",
        "duration":2}})");
    std::string partial = withMember("led", R"({"mode":null,"power":false,"options":{"day":"mon","startTime":"22:00",
        "duration":8}})");
    const GwCase cases[] = {
        {"update", "GatewayLedUpdate", {}, R"({"mode":"off","power":false,"options":{"day":"sun","duration":2}})", 0,
         "FAL processed fine!", nullptr, led.c_str()},
        {"mode and power are always written", "GatewayLedUpdate", {}, R"({})", 0, "FAL processed fine!", nullptr,
         partial.c_str()},
        {"no body", "GatewayLedUpdate", {}, nullptr, 10, "Wrong request", nullptr, nullptr},
        {"failed lock", "GatewayLedUpdate", {}, R"({"mode":"off"})", 8, "Database load error", nullptr, nullptr,
         API_TYPE_GATEWAY},
        {"failed save", "GatewayLedUpdate", {}, R"({"mode":"off"})", 8, "Save databse error", nullptr, nullptr, -1,
         API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases) {
        seed(API_TYPE_GATEWAY, DOC);
        check(c, DOC);
    }
}

TEST_F(GatewaySystem, DatetimeUpdateAndDelete)
{
    std::string updated = withMember("dateTime", R"({"timeZone":"CET","daylightSavingTime":{"active":true,
        "startDate":"a","endDate":"b"},"ntp":{"active":false,"server":["x"]}})");
    std::string firstGone = withMember("dateTime", R"({"timeZone":"GMT","daylightSavingTime":{"active":false,
        "startDate":"a","endDate":"b"},"ntp":{"active":true,"server":["s1","s2"]}})");
    std::string noNtp = withMember("dateTime", R"({"timeZone":"GMT"})");
    const GwCase cases[] = {
        {"update", "GatewayDatetimeUpdate", {},
         R"({"timeZone":"CET","daylightSavingTime":{"active":true},"ntp":{"server":["x"]}})", 0, "Updated OK",
         nullptr, updated.c_str()},
        {"update without body", "GatewayDatetimeUpdate", {}, nullptr, 4, "Unexpected error", nullptr, nullptr},
        {"update, failed lock", "GatewayDatetimeUpdate", {}, "{}", 8, "fail to load database", nullptr, nullptr,
         API_TYPE_GATEWAY},
        {"update, failed save", "GatewayDatetimeUpdate", {}, "{}", 8, "failed to save database", nullptr, nullptr, -1,
         API_TYPE_GATEWAY},
        {"delete first server", "GatewayDatetimeDelete", {{"@id", "0"}}, nullptr, 3, "record deleted", nullptr,
         firstGone.c_str()},
        {"delete past the end", "GatewayDatetimeDelete", {{"@id", "9"}}, nullptr, 3, "record deleted", nullptr,
         nullptr},
        {"delete, no id", "GatewayDatetimeDelete", {}, nullptr, 8, "no request id", nullptr, nullptr},
        {"delete, failed save", "GatewayDatetimeDelete", {{"@id", "0"}}, nullptr, 8, "failed to save database",
         nullptr, nullptr, -1, API_TYPE_GATEWAY},
        {"delete, failed lock", "GatewayDatetimeDelete", {{"@id", "0"}}, nullptr, 8, "fail to load database", nullptr,
         nullptr, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases) {
        seed(API_TYPE_GATEWAY, DOC);
        check(c, DOC);
    }
    seed(API_TYPE_GATEWAY, noNtp);
    check({"delete without servers", "GatewayDatetimeDelete", {{"@id", "0"}}, nullptr, 8, "fail to load database",
           nullptr, nullptr},
          noNtp);
}

TEST_F(GatewaySystem, LanguageAndPowerSavingChanges)
{
    // The numeric id is stored back as text.
    std::string changed = withMember("language", R"([{"id":"system","code":"en","name":"English"},
        {"id":"0","code":"fr","name":"Francais"}])");
    std::string power = withMember("powersaveMode", R"({"active":true,"powerTimer":30})");
    const GwCase cases[] = {
        {"change", "GatewayLanguageChange", {}, R"({"id":0,"code":"fr","name":"Francais"})", 0, "FAL processed fine!",
         nullptr, changed.c_str()},
        {"change, no id", "GatewayLanguageChange", {}, R"({"code":"fr"})", 8, "no request id", nullptr, nullptr},
        {"change, no body", "GatewayLanguageChange", {}, nullptr, 8, "no request id", nullptr, nullptr},
        {"change, unknown id", "GatewayLanguageChange", {}, R"({"id":"4"})", 8, "cannot found user id", nullptr,
         nullptr},
        {"change, failed lock", "GatewayLanguageChange", {}, R"({"id":"0"})", 8, "failed to get database", nullptr,
         nullptr, API_TYPE_GATEWAY},
        {"change, failed save", "GatewayLanguageChange", {}, R"({"id":"0"})", 8, "failed to save database", nullptr,
         nullptr, -1, API_TYPE_GATEWAY},
        {"power saving", "GatewayPowersaveModeChange", {}, R"({"active":true})", 0, "Updated OK", nullptr,
         power.c_str()},
        {"power saving without body", "GatewayPowersaveModeChange", {}, nullptr, 0, "FAL processed fine!", nullptr,
         nullptr},
        {"power saving, failed lock", "GatewayPowersaveModeChange", {}, "{}", 8, "fail to load database", nullptr,
         nullptr, API_TYPE_GATEWAY},
        {"power saving, failed save", "GatewayPowersaveModeChange", {}, "{}", 8, "failed to save database", nullptr,
         nullptr, -1, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases) {
        seed(API_TYPE_GATEWAY, DOC);
        check(c, DOC);
    }
}

TEST_F(GatewaySystem, ProbesAndLongOperations)
{
    for (const char* op : {"GatewayFirmwareNewUpdate", "GatewayFirmwareGet", "GatewayFirmwareUpdate",
                           "GatewayCpuTemperature", "GatewayDeviceManagementGet", "GatewayDeviceManagementChange"}) {
        check({op, op, {}, nullptr, 0, "FAL processed fine!", nullptr, nullptr}, DOC);
        check({op, op, {}, nullptr, 8, "failed to get database", nullptr, nullptr, API_TYPE_GATEWAY}, DOC);
    }
    EXPECT_EQ(call("GatewayBatteryGet"), nullptr);  // kept as the interface's default
    for (const char* op : {"GatewayFactoryReset", "GatewayReboot", "GatewayRestore"})
        check({op, op, {}, nullptr, 2, "FAL processed fine!", "{}", nullptr}, DOC);
    check({"upgrade", "GatewayUpgrade", {}, R"({"type":"firmware","filename":"qr451.bin"})", 2, "FAL processed fine!",
           R"({"retryAfter":3,"maxRetry":3,"location":"/api/v1/gateway/upgrade/status"})", nullptr},
          DOC);
}

TEST_F(GatewaySystem, UpgradeProgressGrowsByTwentyPerPoll)
{
    auto poll = [this] {
        GwRsp rsp = call("GatewayUpgradeStatus");
        EXPECT_EQ(rsp->status, 0u);
        return rsp->data->get<int>("status");
    };
    EXPECT_EQ(poll(), 0);  // before any upgrade
    call("GatewayUpgrade", {}, "{}");
    EXPECT_EQ(poll(), 20);
    EXPECT_EQ(poll(), 40);
    for (int i = 0; i < 4; ++i)
        poll();
    EXPECT_EQ(poll(), 140);  // not capped
    call("GatewayUpgrade");
    EXPECT_EQ(poll(), 20);
}

TEST_F(GatewaySystem, BackupWritesTheFileOfTheDay)
{
    GwRsp rsp = call("GatewayBackup");
    ASSERT_NE(rsp, nullptr);
    EXPECT_EQ(rsp->status, 0u);
    std::string name = gatewayBackupFileName(time(nullptr));
    std::string path = rsp->data->get<const char*>("path");
    // The file of the moment of the call; a call across midnight UTC may name the previous day.
    ASSERT_EQ(path.substr(0, 27), "/files/configuration/qr451.");
    std::ifstream in(root_ + "/www" + path);
    std::stringstream content;
    content << in.rdbuf();
    EXPECT_EQ(content.str(), "This is test configuration");
    EXPECT_EQ(name.size(), path.size() + 3);
}

TEST(GatewayBackupName, DayMonthAndTwoDigitYearInUtc)
{
    struct tm t = {};
    t.tm_year = 2027 - 1900;
    t.tm_mon = 0;
    t.tm_mday = 5;
    t.tm_hour = 23;
    EXPECT_EQ(gatewayBackupFileName(timegm(&t)), "www/files/configuration/qr451.050127.conf");
}

TEST_F(GatewaySystem, RegistrationCodeAndFigures)
{
    for (int i = 0; i < 20; ++i) {
        GwRsp rsp = call("GatewayRegistrationCode");
        std::string code = rsp->data->get<const char*>("regCode");
        ASSERT_EQ(code.size(), 6u) << code;
        EXPECT_EQ(code.find_first_not_of("0123456789"), std::string::npos) << code;
        EXPECT_EQ(rsp->msgId, requestId("GatewayRegistrationCode") + 1);
    }
    GwRsp cpu = call("GatewayCpuUsage");
    ASSERT_EQ(cpu->status, 0u);
    int percent = cpu->data->get<int>("[0].percentage");
    EXPECT_GE(percent, 0);
    EXPECT_LE(percent, 100);
    EXPECT_EQ(cpu->data->get<int>("[1].percentage"), percent);

    GwRsp mem = call("GatewayMemoryUsage");
    ASSERT_EQ(mem->status, 0u);
    EXPECT_GT(mem->data->get<int>("total"), 0);
    EXPECT_GT(mem->data->get<int>("free"), 0);
    EXPECT_LE(mem->data->get<int>("free"), mem->data->get<int>("total"));

    // Without the stored objects the figures are not taken.
    seed(API_TYPE_GATEWAY, "{}");
    check({"no cpu object", "GatewayCpuUsage", {}, nullptr, 8, "failed to load database", nullptr, nullptr}, "{}");
}

TEST(GatewayMemoryLine, FiguresAreTheTokensBeforeTotalAndFree)
{
    const struct {
        const char* line;
        int total;
        int free;
    } cases[] = {
        {"KiB Mem :  8167848 total,  1227072 free,  4331208 used,  2609568 buff/cache\n", 8167848, 1227072},
        {"KiB Mem:   2055636 total,  1837308 used,   218328 free,    71284 buffers\n", 2055636, 218328},
        {"KiB Mem :  8167848 total,  4331208 used\n", 8167848, 0},
        {"", 0, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        int total = 0, free = 0;
        gatewayParseMemoryLine(c.line, total, free);
        EXPECT_EQ(total, c.total);
        EXPECT_EQ(free, c.free);
    }
}
