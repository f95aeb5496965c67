// Users, login and permissions.
#include "gateway/GatewayFixture.h"

namespace {

// admin/admin (web), guest/guest (web, role without a permission file, no token) and a support
// "admin" whose stored password is the Base64 of "sup".
const char* const ADMIN = R"({"id":0,"type":"web","userName":"admin","password":"YWRtaW4=","level":"weak",
    "role":"admin","defaultUsed":true,"accessToken":"tok-admin"})";
const char* const GUEST = R"({"id":1,"type":"web","userName":"guest","password":"Z3Vlc3Q=","level":"low",
    "role":"nofile","defaultUsed":false})";
const char* const SUPPORT = R"({"id":7,"type":"support","userName":"admin","password":"c3Vw","level":"high",
    "role":"support"})";

std::string users(std::initializer_list<std::string> records)
{
    std::string s = R"({"users":[)";
    bool first = true;
    for (const std::string& r : records) {
        s += (first ? "" : ",") + r;
        first = false;
    }
    return s + "]}";
}

std::string seeded()
{
    return users({ADMIN, GUEST, SUPPORT});
}

FAL_PARAMS_T web = {{"@type", "web"}};

}  // namespace

class GatewayUsers : public GatewayTest {
protected:
    void SetUp() override
    {
        GatewayTest::SetUp();
        seed(API_TYPE_GATEWAY, seeded());
        writeFile("system.cnf", R"({"system":{"timer":{"sessionTimeout":600}}})");
        writeFile("auth_config/admin_qr451_perm.json", R"({"permission":{"wifi":"rw"}})");
        writeFile("auth_config/support_qr451_perm.json", R"({"permission":{"wifi":"r"}})");
    }
};

TEST_F(GatewayUsers, Login)
{
    const GwCase cases[] = {
        {"web user", "GatewayLogin", {}, R"({"userName":"admin","password":"admin"})", 0, "FAL processed fine!",
         R"({"role":"admin","system":{"timer":{"sessionTimeout":600}},"permissions":{"wifi":"rw"}})", nullptr},
        // Only the first record with the name is tried, whatever its class.
        {"password of another class", "GatewayLogin", {}, R"({"userName":"admin","password":"sup"})", 4,
         "incorrect password", "{}", nullptr},
        {"unknown name", "GatewayLogin", {}, R"({"userName":"root","password":"x"})", 9, "incorrect user name", "{}",
         nullptr},
        {"no body", "GatewayLogin", {}, nullptr, 9, "incorrect user name", "{}", nullptr},
        {"role without permission file", "GatewayLogin", {}, R"({"userName":"guest","password":"guest"})", 0,
         "FAL processed fine!", R"({"role":"nofile","system":{"timer":{"sessionTimeout":600}},"permissions":null})",
         nullptr},
        {"failed lock", "GatewayLogin", {}, R"({"userName":"admin","password":"admin"})", 8, "failed to get database",
         "{}", nullptr, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases)
        check(c, seeded());
}

TEST_F(GatewayUsers, LoginOfOtherClassesAndMissingFiles)
{
    seed(API_TYPE_GATEWAY, users({SUPPORT, ADMIN}));
    // A non-web user gets no role, no timer and an empty permission table.
    check({"support", "GatewayLogin", {}, R"({"userName":"admin","password":"sup"})", 0, "FAL processed fine!",
           R"({"permissions":null})", nullptr},
          users({SUPPORT, ADMIN}));

    // A web record without role; no system configuration file.
    std::remove("system.cnf");
    std::string noRole = R"({"id":3,"type":"web","userName":"x","password":"eA=="})";
    seed(API_TYPE_GATEWAY, users({noRole}));
    check({"no role", "GatewayLogin", {}, R"({"userName":"x","password":"x"})", 0, "FAL processed fine!",
           R"({"role":null,"permissions":null})", nullptr},
          users({noRole}));
}

TEST_F(GatewayUsers, PermissionFileThatDoesNotLoadIsLogged)
{
    writeFile("auth_config/admin_qr451_perm.json", "{broken");
    GwRsp rsp = call("GatewayLogin", {}, R"({"userName":"admin","password":"admin"})");
    EXPECT_EQ(rsp->status, 0u);
    bool logged = false;
    for (const CapturedLog& l : logs_)
        logged |= l.type == 3 && l.group == 14 &&
                  l.text == "Cannot get permissions from configuration file : ./auth_config/admin_qr451_perm.json\n";
    EXPECT_TRUE(logged);
}

TEST_F(GatewayUsers, LogoutListAndLevel)
{
    const GwCase cases[] = {
        {"logout", "GatewayLogout", {}, nullptr, 0, "Logged out successfully !", nullptr, nullptr},
        {"list web", "GatewayUserList", web, nullptr, 0, "FAL processed fine!",
         R"([{"id":0,"userName":"admin","password":"YWRtaW4=","level":"weak","role":"admin","defaultUsed":true,
             "accessToken":"tok-admin"},
            {"id":1,"userName":"guest","password":"Z3Vlc3Q=","level":"low","role":"nofile","defaultUsed":false}])",
         nullptr},
        {"list of an empty class has no data", "GatewayUserList", {{"@type", "tr069"}}, nullptr, 0,
         "FAL processed fine!", nullptr, nullptr},
        {"list without type", "GatewayUserList", {}, nullptr, 10, "Wrong URI", nullptr, nullptr},
        {"list, failed lock", "GatewayUserList", web, nullptr, 8, "failed to get database", nullptr, nullptr,
         API_TYPE_GATEWAY},
        {"level of admin", "GatewayUserSecurityLevelPasswordGet", {{"@type", "support"}}, nullptr, 0,
         "FAL processed fine!", R"({"level":"high"})", nullptr},
        {"level, no admin in class", "GatewayUserSecurityLevelPasswordGet", {{"@type", "tr069"}}, nullptr, 4,
         "user is not found", "{}", nullptr},
        {"level, failed lock", "GatewayUserSecurityLevelPasswordGet", web, nullptr, 8, "failed to get database", "{}",
         nullptr, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases)
        check(c, seeded());
}

TEST_F(GatewayUsers, UpdateAndChangePassword)
{
    std::string adminNew = R"({"id":5,"type":"web","userName":"admin","password":"new","level":"weak","role":"admin",
        "defaultUsed":true,"accessToken":"tok-admin"})";
    std::string adminChanged = R"({"id":0,"type":"web","userName":"admin","password":"pw2","level":"strong",
        "role":"admin","defaultUsed":false,"accessToken":"tok-admin"})";
    const GwCase cases[] = {
        {"update", "GatewayUserUpdate", web,
         R"([{"userName":"admin","oldPassword":"YWRtaW4=","newPassword":"new","id":5}])", 0, "FAL processed fine!",
         nullptr, nullptr},
        {"update, wrong old password only", "GatewayUserUpdate", web,
         R"([{"userName":"admin","oldPassword":"bad","newPassword":"new","id":5}])", 8,
         "incorrect request, nothing to update", nullptr, nullptr},
        {"update, no body", "GatewayUserUpdate", web, nullptr, 8, "incorrect request, nothing to update", nullptr,
         nullptr},
        {"update, failed save", "GatewayUserUpdate", web, R"([{"userName":"admin","newPassword":"new","id":5}])", 8,
         "fail to update database", nullptr, nullptr, -1, API_TYPE_GATEWAY},
        {"change", "GatewayChangePassword", web,
         R"({"userName":"admin","oldPassword":"YWRtaW4=","newPassword":"pw2","level":"strong"})", 0,
         "FAL processed fine!", nullptr, nullptr},
        {"change, wrong password", "GatewayChangePassword", web,
         R"({"userName":"admin","oldPassword":"nope","newPassword":"pw2","level":"strong"})", 4, "wrong password",
         nullptr, nullptr},
        {"change, unknown user", "GatewayChangePassword", {{"@type", "tr069"}},
         R"({"userName":"admin","newPassword":"pw2","level":"strong"})", 9, "user is not found", nullptr, nullptr},
        {"change, failed save", "GatewayChangePassword", web,
         R"({"userName":"admin","newPassword":"pw2","level":"strong"})", 8, "fail to update database", nullptr,
         nullptr, -1, API_TYPE_GATEWAY},
        {"change, failed lock", "GatewayChangePassword", web, R"({"userName":"admin"})", 8, "failed to get database",
         nullptr, nullptr, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases) {
        seed(API_TYPE_GATEWAY, seeded());
        GwCase expected = c;
        std::string stored;
        if (c.status == 0) {
            stored = users({std::string(c.op) == "GatewayUserUpdate" ? adminNew : adminChanged, GUEST, SUPPORT});
            expected.stored = stored.c_str();
        }
        check(expected, seeded());
    }
}

TEST_F(GatewayUsers, UpdateChangesEveryMatchAndKeepsTheLastRefusal)
{
    // A refused item and an accepted one: the change is saved and the refusal stays the answer.
    GwRsp rsp = call("GatewayUserUpdate", web,
                     R"([{"userName":"guest","oldPassword":"bad","newPassword":"x","id":1},
                         {"userName":"admin","newPassword":"new","id":0}])");
    EXPECT_EQ(rsp->status, 4u);
    EXPECT_STREQ(rsp->message, "wrong old password");
    EXPECT_NE(onDisk(API_TYPE_GATEWAY).find(R"("password":"new")"), std::string::npos);
}

TEST_F(GatewayUsers, Create)
{
    std::string created = R"({"userName":"bob","password":"pw","type":"web","id":8})";
    std::string stored = users({ADMIN, GUEST, SUPPORT, created});
    const GwCase cases[] = {
        {"create takes the largest id plus one", "GatewayUserCreate", web, R"({"userName":"bob","password":"pw"})", 1,
         "New Created", R"({"id":8})", stored.c_str()},
        {"duplicate in the class", "GatewayUserCreate", web, R"({"userName":"guest"})", 4, "user already exists", "{}",
         nullptr},
        {"no type", "GatewayUserCreate", {}, R"({"userName":"bob"})", 10, "Wrong URI", "{}", nullptr},
        {"no body", "GatewayUserCreate", web, nullptr, 10, "invalid request body", "{}", nullptr},
        {"failed lock", "GatewayUserCreate", web, R"({"userName":"bob"})", 8, "failed to get database", "{}", nullptr,
         API_TYPE_GATEWAY},
        {"failed save", "GatewayUserCreate", web, R"({"userName":"bob"})", 8, "fail to update database", R"({"id":8})",
         nullptr, -1, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases) {
        seed(API_TYPE_GATEWAY, seeded());
        check(c, seeded());
    }
    // Into an empty list: id 0; a name of another class is no duplicate.
    seed(API_TYPE_GATEWAY, R"({"users":[]})");
    GwRsp rsp = call("GatewayUserCreate", {{"@type", "support"}}, R"({"userName":"guest","extra":[1]})");
    EXPECT_EQ(json(rsp->data), canon(R"({"id":0})"));
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), canon(R"({"users":[{"userName":"guest","extra":[1],"type":"support","id":0}]})"));
}

TEST_F(GatewayUsers, DeleteSwitchesOffServicesOfTheAccountByNumberOnly)
{
    const std::string media = R"({"ftp":{"active":true,"account":{"id":1}},"samba":{"active":true,"account":{"id":1}},
        "dlna":{"active":true}})";
    const std::string mediaOff = R"({"ftp":{"active":false,"account":{"id":1}},
        "samba":{"active":false,"account":{"id":1}},"dlna":{"active":true}})";

    seed(API_TYPE_MEDIASHARE, media);
    check({"by name", "GatewayUserDelete", {{"@type", "web"}, {"@id", "guest"}}, nullptr, 3, "Record Deleted",
           nullptr, users({ADMIN, SUPPORT}).c_str()},
          seeded());
    EXPECT_EQ(onDisk(API_TYPE_MEDIASHARE), canon(media));

    seed(API_TYPE_GATEWAY, seeded());
    check({"by number", "GatewayUserDelete", {{"@type", "web"}, {"@id", "1"}}, nullptr, 3, "Record Deleted", nullptr,
           users({ADMIN, SUPPORT}).c_str()},
          seeded());
    EXPECT_EQ(onDisk(API_TYPE_MEDIASHARE), canon(mediaOff));

    // A failed save of the users leaves the services alone.
    seed(API_TYPE_GATEWAY, seeded());
    seed(API_TYPE_MEDIASHARE, media);
    check({"failed save", "GatewayUserDelete", {{"@type", "web"}, {"@id", "1"}}, nullptr, 8, "fail to update database",
           nullptr, nullptr, -1, API_TYPE_GATEWAY},
          seeded());
    EXPECT_EQ(onDisk(API_TYPE_MEDIASHARE), canon(media));
}

TEST_F(GatewayUsers, DeleteEdgeCases)
{
    const GwCase cases[] = {
        {"no match", "GatewayUserDelete", {{"@type", "web"}, {"@id", "42"}}, nullptr, 3, "Record Deleted", nullptr,
         nullptr},
        {"number of another class", "GatewayUserDelete", {{"@type", "web"}, {"@id", "7"}}, nullptr, 3,
         "Record Deleted", nullptr, nullptr},
        {"no id", "GatewayUserDelete", web, nullptr, 3, "Record Deleted", nullptr, nullptr},
        {"no type", "GatewayUserDelete", {{"@id", "0"}}, nullptr, 10, "Wrong URI", nullptr, nullptr},
        {"failed lock", "GatewayUserDelete", {{"@type", "web"}, {"@id", "0"}}, nullptr, 8, "failed to get database",
         nullptr, nullptr, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases)
        check(c, seeded());
}

TEST_F(GatewayUsers, DeleteAllSkipsTheRecordThatMovesUp)
{
    check({"adjacent", "GatewayUserDeleteAll", web, nullptr, 0, "Records Deleted", nullptr,
           users({GUEST, SUPPORT}).c_str()},
          seeded());
    check({"nothing of the class still saves", "GatewayUserDeleteAll", {{"@type", "tr069"}}, nullptr, 0,
           "Records Deleted", nullptr, users({GUEST, SUPPORT}).c_str()},
          users({GUEST, SUPPORT}));
    check({"failed save", "GatewayUserDeleteAll", {{"@type", "tr069"}}, nullptr, 8, "fail to update database", nullptr,
           nullptr, -1, API_TYPE_GATEWAY},
          users({GUEST, SUPPORT}));
    check({"failed lock", "GatewayUserDeleteAll", web, nullptr, 8, "failed to get database", nullptr, nullptr,
           API_TYPE_GATEWAY},
          users({GUEST, SUPPORT}));
}

TEST_F(GatewayUsers, ValidateRefreshCheckDefaultHideWizard)
{
    const GwCase cases[] = {
        {"validate compares the stored text", "GatewayUserValidate", web,
         R"({"userName":"admin","password":"YWRtaW4="})", 0, "FAL processed fine!", nullptr, nullptr},
        {"validate, wrong password", "GatewayUserValidate", web, R"({"userName":"admin","password":"admin"})", 4,
         "incorrect password", nullptr, nullptr},
        {"validate, unknown", "GatewayUserValidate", web, R"({"userName":"nobody","password":"x"})", 4,
         "user is not found", nullptr, nullptr},
        {"validate, failed lock", "GatewayUserValidate", web, R"({"userName":"admin"})", 8, "failed to get database",
         nullptr, nullptr, API_TYPE_GATEWAY},
        {"refresh", "GatewayUserRefresh", web, R"({"userName":"admin"})", 0, "FAL processed fine!",
         R"({"accessToken":"tok-admin"})", nullptr},
        {"refresh, no token", "GatewayUserRefresh", web, R"({"userName":"guest"})", 4, "user is not found", "{}",
         nullptr},
        {"refresh, no body", "GatewayUserRefresh", web, nullptr, 4, "user is not found", "{}", nullptr},
        {"check default", "GatewayUserCheckDefault", web, R"({"userName":"admin"})", 0, "FAL processed fine!",
         R"({"defaultUsed":true})", nullptr},
        {"check default of a record without the flag", "GatewayUserCheckDefault", {{"@type", "support"}},
         R"({"userName":"admin"})", 0, "FAL processed fine!", R"({"defaultUsed":false})", nullptr},
        {"check default, unknown", "GatewayUserCheckDefault", web, R"({"userName":"x"})", 4, "user is not found", "{}",
         nullptr},
        {"hide wizard", "GatewayUserHideWizard", {}, nullptr, 0, "FAL processed fine!", nullptr, nullptr},
        {"hide wizard, failed lock", "GatewayUserHideWizard", {}, nullptr, 8, "failed to get database", nullptr,
         nullptr, API_TYPE_GATEWAY},
    };
    for (const GwCase& c : cases)
        check(c, seeded());
}

TEST_F(GatewayUsers, DeleteTouchesOnlyTheServicesOfThatAccountAndLogsAFailedDependency)
{
    // FTP runs as user 1, Samba as user 0.
    seed(API_TYPE_MEDIASHARE, R"({"ftp":{"active":true,"account":{"id":1}},
                                  "samba":{"active":true,"account":{"id":0}}})");
    check({"ftp only", "GatewayUserDelete", {{"@type", "web"}, {"@id", "1"}}, nullptr, 3, "Record Deleted", nullptr,
           users({ADMIN, SUPPORT}).c_str()},
          seeded());
    EXPECT_EQ(onDisk(API_TYPE_MEDIASHARE), canon(R"({"ftp":{"active":false,"account":{"id":1}},
                                                     "samba":{"active":true,"account":{"id":0}}})"));

    // Both run as user 0 and the FTP save fails: logged, Samba still switched off, the answer
    // unchanged.
    seed(API_TYPE_GATEWAY, seeded());
    seed(API_TYPE_MEDIASHARE, R"({"ftp":{"active":true,"account":{"id":0}},
                                  "samba":{"active":true,"account":{"id":0}}})");
    logs_.clear();
    check({"failed dependency", "GatewayUserDelete", {{"@type", "web"}, {"@id", "0"}}, nullptr, 3, "Record Deleted",
           nullptr, users({GUEST, SUPPORT}).c_str(), -1, API_TYPE_MEDIASHARE},
          seeded());
    EXPECT_EQ(onDisk(API_TYPE_MEDIASHARE), canon(R"({"ftp":{"active":true,"account":{"id":0}},
                                                     "samba":{"active":false,"account":{"id":0}}})"));
    bool logged = false;
    for (const CapturedLog& l : logs_)
        logged |= l.type == 3 && l.group == 14 && l.text == "GatewayUserDelete: Failed to update dependency\n";
    EXPECT_TRUE(logged);
}

TEST_F(GatewayUsers, UpdateChangesEveryMatchingRecord)
{
    // Two records of the same name and class: both take the new values.
    std::string twin = R"({"id":3,"type":"web","userName":"admin","password":"YWRtaW4=","level":"weak"})";
    seed(API_TYPE_GATEWAY, users({ADMIN, twin}));
    check({"both", "GatewayUserUpdate", web, R"([{"userName":"admin","oldPassword":"YWRtaW4=","newPassword":"n","id":4}])",
           0, "FAL processed fine!", nullptr,
           users({R"({"id":4,"type":"web","userName":"admin","password":"n","level":"weak","role":"admin",
                     "defaultUsed":true,"accessToken":"tok-admin"})",
                  R"({"id":4,"type":"web","userName":"admin","password":"n","level":"weak"})"})
               .c_str()},
          users({ADMIN, twin}));
}
