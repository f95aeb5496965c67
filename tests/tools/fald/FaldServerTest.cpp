// fald over real HTTP: sessions and permissions, the status mapping, refusals of bad input, the
// polling locations, the OpenAPI description, static files, graceful stop and a walk over every
// route.

#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <set>
#include <thread>

#include "tools/fald/FaldFixture.h"

namespace {

const std::string kApi = "/api/v1";

std::string unquote(const std::string& json)
{
    return json.size() >= 2 && json.front() == '"' ? json.substr(1, json.size() - 2) : json;
}

}  // namespace

TEST_F(FaldTest, LoginHandsOutASessionThatEveryOtherRouteNeeds)
{
    FaldAnswer a = call("POST", kApi + "/gateway/login", R"({"userName":"admin","password":"admin"})");
    ASSERT_EQ(a.status, 200);
    EXPECT_EQ(a.at("status"), "0");
    EXPECT_EQ(a.at("data.role"), "\"admin\"");
    std::string token = unquote(a.at("token"));
    EXPECT_EQ(token.size(), 32u);
    EXPECT_EQ(token.find_first_not_of("0123456789abcdef"), std::string::npos);
    std::string cookie = a.header("Set-Cookie");
    EXPECT_EQ(cookie.rfind("fald_session=" + token + ";", 0), 0u) << cookie;
    EXPECT_NE(cookie.find("HttpOnly"), std::string::npos);
    EXPECT_NE(cookie.find("SameSite=Strict"), std::string::npos);
    EXPECT_NE(token, token_) << "two logins share a token";

    // Without a session, with a made-up one, by bearer and by cookie.
    EXPECT_EQ(call("GET", kApi + "/gateway/devices").status, 401);
    EXPECT_EQ(call("GET", kApi + "/gateway/devices", nullptr, std::string(32, 'a')).status, 401);
    EXPECT_EQ(call("GET", kApi + "/gateway/devices", nullptr, token).status, 200);
    httplib::Client client("127.0.0.1", server_->port());
    auto byCookie = client.Get((kApi + "/gateway/devices").c_str(), {{"Cookie", "x=1; fald_session=" + token}});
    ASSERT_TRUE(byCookie);
    EXPECT_EQ(byCookie->status, 200);

    // Logout ends the session and clears the cookie.
    FaldAnswer out = call("POST", kApi + "/gateway/logout", nullptr, token);
    EXPECT_EQ(out.status, 200);
    EXPECT_EQ(out.at("message"), "\"Logged out successfully !\"");
    EXPECT_NE(out.header("Set-Cookie").find("Max-Age=0"), std::string::npos);
    EXPECT_EQ(call("GET", kApi + "/gateway/devices", nullptr, token).status, 401);
    EXPECT_EQ(call("GET", kApi + "/gateway/devices", nullptr, token_).status, 200) << "other sessions stay";
}

TEST_F(FaldTest, TheRolesPermissionTableDecidesAccess)
{
    std::string viewer = login("viewer", "viewer");
    ASSERT_FALSE(viewer.empty());
    EXPECT_EQ(call("GET", kApi + "/gateway/led", nullptr, viewer).status, 200);
    EXPECT_EQ(call("GET", kApi + "/service/portForwarding", nullptr, viewer).status, 200);
    std::string before = inMemory(API_TYPE_GATEWAY);
    FaldAnswer refused = call("PUT", kApi + "/gateway/led", R"({"active":false})", viewer);
    EXPECT_EQ(refused.status, 403);
    EXPECT_NE(refused.at("error"), "null");
    EXPECT_EQ(call("DELETE", kApi + "/service/portForwarding", nullptr, viewer).status, 403);
    EXPECT_EQ(inMemory(API_TYPE_GATEWAY), before);
    EXPECT_EQ(call("POST", kApi + "/gateway/logout", nullptr, viewer).status, 200) << "any role logs out";

    // The "user" role's table names wifi ("r") but not gateway.
    std::string user = login("user", "user");
    ASSERT_FALSE(user.empty());
    EXPECT_EQ(call("GET", kApi + "/wifi/0/ssid", nullptr, user).status, 200);
    EXPECT_EQ(call("PUT", kApi + "/wifi/0/wmm", "{}", user).status, 403);
    EXPECT_EQ(call("GET", kApi + "/gateway/about", nullptr, user).status, 403);

    // The admin changes what the viewer may not, and the log names who did.
    EXPECT_EQ(call("PUT", kApi + "/gateway/led", R"({"active":false})", token_).status, 200);
    bool named = false;
    for (const CapturedLog& log : logs_)
        named = named || log.text.find("PUT /api/v1/gateway/led by admin") != std::string::npos;
    EXPECT_TRUE(named);
}

TEST_F(FaldTest, RepeatedFailedLoginsAreSlowedDown)
{
    for (unsigned i = 0; i < FaldSessions::kFreeFailures; ++i) {
        FaldAnswer a = call("POST", kApi + "/gateway/login", R"({"userName":"admin","password":"nope"})");
        EXPECT_EQ(a.status, 409);
        EXPECT_EQ(a.at("message"), "\"incorrect password\"");
        EXPECT_EQ(a.at("token"), "null");
    }
    FaldAnswer slowed = call("POST", kApi + "/gateway/login", R"({"userName":"admin","password":"admin"})");
    EXPECT_EQ(slowed.status, 429);
    EXPECT_FALSE(slowed.header("Retry-After").empty());
    EXPECT_EQ(call("GET", kApi + "/gateway/about", nullptr, token_).status, 200) << "sessions are not held up";
}

TEST_F(FaldTest, FalStatusesMapToHttpStatuses)
{
    struct Case {
        const char* method;
        const char* path;
        const char* body;
        int http;
        const char* status;
    };
    const Case cases[] = {
        {"GET", "/gateway/about", nullptr, 200, "0"},
        {"POST", "/service/portForwarding", R"({"active":false,"serviceType":"http"})", 201, "1"},
        {"POST", "/gateway/upgrade", R"({"type":"fw","filename":"f.bin"})", 202, "2"},
        {"DELETE", "/gateway/users/web/12345", nullptr, 200, "3"},
        {"GET", "/gateway/devices/999", nullptr, 409, "4"},
        {"PUT", "/gateway/users/web/password", R"({"userName":"nobody","newPassword":"x"})", 404, "9"},
        {"POST", "/wifi/0/ssid", nullptr, 400, "10"},
        {"GET", "/gateway/battery", nullptr, 501, "null"},
    };
    for (const Case& c : cases) {
        FaldAnswer a = call(c.method, kApi + c.path, c.body, token_);
        EXPECT_EQ(a.status, c.http) << c.method << " " << c.path << ": " << a.body;
        EXPECT_EQ(a.at("status"), c.status) << c.path;
        EXPECT_NE(a.at("message"), "null") << c.path;
        ASSERT_NE(a.json, nullptr);
        EXPECT_TRUE(json_object_object_get_ex(a.json, "data", nullptr)) << c.path;
    }
    // Status 8: the gateway's document cannot be locked.
    LocalDbCtrl::failNextLocks(API_TYPE_GATEWAY, 1);
    FaldAnswer failed = call("GET", kApi + "/gateway/about", nullptr, token_);
    EXPECT_EQ(failed.status, 500);
    EXPECT_EQ(failed.at("status"), "8");
    EXPECT_EQ(failed.at("message"), "\"failed to load database\"");
    EXPECT_EQ(failed.at("data"), "null");
    LocalDbCtrl::failNextSaves(API_TYPE_GATEWAY, 1);
    EXPECT_EQ(call("PUT", kApi + "/gateway/led", R"({"active":true})", token_).status, 500);
}

TEST_F(FaldTest, BadInputIsRefusedBeforeTheLibrarySeesIt)
{
    std::string before = inMemory(API_TYPE_GATEWAY);
    FaldAnswer notJson = call("PUT", kApi + "/gateway/led", "{\"active\": tru", token_);
    EXPECT_EQ(notJson.status, 400);
    EXPECT_NE(notJson.at("error"), "null");
    EXPECT_EQ(call("PUT", kApi + "/gateway/led", "{} {}", token_).status, 400);
    std::string big = "{\"pad\":\"" + std::string(64 * 1024, 'x') + "\"}";
    FaldAnswer tooBig = call("PUT", kApi + "/gateway/led", big.c_str(), token_);
    EXPECT_EQ(tooBig.status, 413);
    EXPECT_NE(tooBig.at("error"), "null");
    EXPECT_EQ(inMemory(API_TYPE_GATEWAY), before);

    FaldAnswer unknown = call("GET", kApi + "/gateway/nothing", nullptr, token_);
    EXPECT_EQ(unknown.status, 404);
    EXPECT_NE(unknown.at("error"), "null");
    EXPECT_EQ(call("GET", kApi + "/nofamily", nullptr, token_).status, 404);
    EXPECT_EQ(call("GET", kApi + "/gateway/users//3", nullptr, token_).status, 404);
    FaldAnswer wrong = call("PATCH", kApi + "/gateway/led", "{}", token_);
    EXPECT_EQ(wrong.status, 405);
    EXPECT_EQ(wrong.header("Allow"), "GET, PUT");
    EXPECT_NE(wrong.at("error"), "null");
    EXPECT_EQ(call("POST", kApi + "/openapi.json", nullptr, token_).status, 405);
}

TEST_F(FaldTest, PathAndQueryBecomeTheOperationsParameters)
{
    // "!connected" filters the device list; "@deviceId" picks one device.
    FaldAnswer all = call("GET", kApi + "/gateway/devices", nullptr, token_);
    FaldAnswer connected = call("GET", kApi + "/gateway/devices?connected=true", nullptr, token_);
    ASSERT_EQ(all.status, 200);
    ASSERT_EQ(connected.status, 200);
    json_object* allData = nullptr;
    json_object* connectedData = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(all.json, "data", &allData));
    ASSERT_TRUE(json_object_object_get_ex(connected.json, "data", &connectedData));
    EXPECT_LT(json_object_array_length(connectedData), json_object_array_length(allData));
    EXPECT_EQ(call("GET", kApi + "/gateway/devices/1", nullptr, token_).at("data.name"), all.at("data.1.name"));

    // The wifi operations read by position: the interface, then the SSID index.
    FaldAnswer ssid = call("GET", kApi + "/wifi/1/ssid/0", nullptr, token_);
    EXPECT_EQ(ssid.status, 200) << ssid.body;

    // A created port-forwarding rule reads back by its id.
    FaldAnswer created =
        call("POST", kApi + "/service/portForwarding", R"({"active":true,"serviceType":"ssh","localIP":"192.168.1.9"})",
             token_);
    ASSERT_EQ(created.status, 201) << created.body;
    std::string id = created.at("data.id");
    FaldAnswer patched = call("PATCH", kApi + "/service/portForwarding/" + id, R"({"active":false})", token_);
    EXPECT_EQ(patched.status, 200) << patched.body;
    FaldAnswer list = call("GET", kApi + "/service/portForwarding", nullptr, token_);
    EXPECT_NE(list.body.find("\"localIP\":\"192.168.1.9\""), std::string::npos) << list.body;
}

TEST_F(FaldTest, PollingLocationsResolveToTheirOperations)
{
    FaldAnswer upgrade = call("POST", kApi + "/gateway/upgrade", R"({"type":"fw","filename":"f.bin"})", token_);
    ASSERT_EQ(upgrade.status, 202);
    FaldAnswer status = call("GET", unquote(upgrade.at("data.location")), nullptr, token_);
    EXPECT_EQ(status.status, 200) << status.body;
    EXPECT_NE(status.at("data.status"), "null");

    FaldAnswer wps = call("POST", kApi + "/wifi/wps/activate", nullptr, token_);
    ASSERT_EQ(wps.status, 202);
    EXPECT_EQ(call("GET", unquote(wps.at("data.location")), nullptr, token_).status, 200);

    for (const char* radio : {"0", "1"}) {
        FaldAnswer scan = call("POST", kApi + "/wifi/" + radio + "/scan", nullptr, token_);
        ASSERT_EQ(scan.status, 202) << scan.body;
        std::string location = unquote(scan.at("data.location"));
        EXPECT_EQ(location, kApi + "/wifi/" + radio + "/scanResult");
        EXPECT_EQ(call("GET", location, nullptr, token_).status, 200);
    }

    // The reboot advice of a WAN change points at the reboot action.
    FaldMatch reboot = server_->router().match("POST", "/gateway/reboot");
    ASSERT_EQ(reboot.kind, FaldMatch::FOUND);
    EXPECT_STREQ(reboot.route->op->name, "GatewayReboot");
    EXPECT_EQ(call("POST", kApi + "/gateway/reboot", nullptr, token_).status, 202);
}

TEST_F(FaldTest, RouteTableCoversEveryOperationOnceAndTheOpenApiListsIt)
{
    const auto& routes = server_->router().routes();
    std::set<std::string> ops;
    std::set<std::string> places;
    for (const FaldBoundRoute& r : routes) {
        EXPECT_TRUE(ops.insert(std::string(r.family->name) + "." + r.op->name).second) << r.op->name << " twice";
        EXPECT_TRUE(places.insert(std::string(r.route->method) + " " + r.route->path).second) << r.route->path;
        EXPECT_EQ(r.segments[0], r.family->name) << r.route->path;
        // Each route resolves to itself.
        std::string concrete;
        for (const std::string& s : r.segments)
            concrete += "/" + (s.front() == '{' ? std::string("7") : s);
        FaldMatch m = server_->router().match(r.route->method, concrete);
        EXPECT_EQ(m.route, &r) << r.route->method << " " << concrete;
    }
    size_t all = 0;
    for (const FalFamilyInfo& f : falFamilies())
        all += f.ops.size();
    EXPECT_EQ(ops.size(), all) << "an operation has no route";

    FaldAnswer doc = call("GET", kApi + "/openapi.json");
    ASSERT_EQ(doc.status, 200);
    EXPECT_EQ(doc.at("openapi").rfind("\"3.", 0), 0u);
    json_object* paths = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(doc.json, "paths", &paths));
    for (const FaldBoundRoute& r : routes) {
        std::string method = r.route->method;
        for (char& ch : method)
            ch = static_cast<char>(tolower(ch));
        json_object* item = nullptr;
        json_object* op = nullptr;
        json_object* id = nullptr;
        ASSERT_TRUE(json_object_object_get_ex(paths, r.route->path, &item)) << r.route->path;
        ASSERT_TRUE(json_object_object_get_ex(item, method.c_str(), &op)) << method << " " << r.route->path;
        ASSERT_TRUE(json_object_object_get_ex(op, "operationId", &id));
        EXPECT_STREQ(json_object_get_string(id), r.op->name);
    }
    FaldAnswer listing = call("GET", kApi);
    ASSERT_EQ(listing.status, 200);
    json_object* list = nullptr;
    ASSERT_TRUE(json_object_object_get_ex(listing.json, "routes", &list));
    EXPECT_EQ(json_object_array_length(list), routes.size());
}

TEST_F(FaldTest, StaticFilesComeFromWwwOnly)
{
    FaldAnswer backup = call("POST", kApi + "/gateway/backup", nullptr, token_);
    ASSERT_EQ(backup.status, 200);
    std::string path = unquote(backup.at("data.path"));
    ASSERT_EQ(path.rfind("/files/configuration/", 0), 0u) << path;
    FaldAnswer file = call("GET", path);
    EXPECT_EQ(file.status, 200);
    EXPECT_EQ(file.body, "This is test configuration");

    // Nothing outside www/, by dot segments or by a link.
    ASSERT_EQ(symlink("../db", "www/db"), 0);
    EXPECT_EQ(call("GET", "/db/gateway.json").status, 404);
    EXPECT_EQ(call("GET", "/%2e%2e/system.cnf").status, 404);
    EXPECT_EQ(call("GET", "/files/../../system.cnf").status, 404);
    EXPECT_EQ(call("GET", "/files").status, 404) << "directories are not listed";
    EXPECT_EQ(call("GET", "/missing.html").status, 404);
    EXPECT_EQ(call("PUT", path, "{}").status, 405);
}

TEST_F(FaldTest, StopLetsRequestsInFlightFinish)
{
    // Waking a host takes a few seconds: stop the server while it runs.
    FaldAnswer answer;
    std::thread client([&] { answer = call("POST", kApi + "/service/wol/wakeOn", "{}", token_); });
    while (server_->inFlight() == 0)
        std::this_thread::yield();
    server_->stop();
    client.join();
    EXPECT_EQ(answer.status, 200) << answer.body;
    EXPECT_EQ(answer.at("status"), "0");
    EXPECT_EQ(call("GET", kApi).status, 0) << "a stopped server takes no new requests";
}

TEST_F(FaldTest, AConnectionMadeWhileStoppingIsToldSo)
{
    // A request in flight keeps the stop waiting; new connections meanwhile hear why they are
    // turned away, and the listening socket is closed once the stop is done.
    FaldAnswer slow;
    std::thread client([&] { slow = call("POST", kApi + "/service/wol/wakeOn", "{}", token_); });
    while (server_->inFlight() == 0)
        std::this_thread::yield();
    std::thread stopper([&] { server_->stop(); });
    FaldAnswer refused;
    for (int i = 0; i < 500 && refused.status != 503 && server_->inFlight() > 0; ++i) {
        refused = call("GET", kApi);
        if (refused.status != 503)
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    stopper.join();
    client.join();
    EXPECT_EQ(refused.status, 503) << refused.body;
    EXPECT_EQ(refused.at("error"), "\"fald is stopping\"");
    EXPECT_EQ(slow.status, 200) << slow.body;
    EXPECT_EQ(call("GET", kApi).status, 0);
}

TEST_F(FaldTest, NoAuthServesWithoutASession)
{
    FaldOptions options;
    options.auth = false;
    startServer(options);
    EXPECT_EQ(call("GET", kApi + "/gateway/about").status, 200);
    EXPECT_EQ(call("PUT", kApi + "/gateway/led", R"({"active":true})").status, 200);
}

// Every route once with a valid session: nothing crashes, and the only 5xx are a mapped status 8
// or an operation that gives no response (not supported by this gateway).
TEST_F(FaldTest, EveryRouteAnswersWithoutServerErrors)
{
    for (const FaldBoundRoute& r : server_->router().routes()) {
        if (strcmp(r.op->name, "GatewayLogout") == 0)
            continue;  // would end the walk's session
        std::string path = kApi;
        for (const std::string& s : r.segments)
            path += "/" + (s == "{type}" ? std::string("web") : s.front() == '{' ? std::string("0") : s);
        const char* body = strcmp(r.route->method, "GET") == 0 ? nullptr : "{}";
        FaldAnswer a = call(r.route->method, path, body, token_);
        ASSERT_NE(a.status, 0) << r.op->name << ": no answer";
        ASSERT_NE(a.json, nullptr) << r.op->name << ": " << a.body;
        if (a.status >= 500) {
            bool dbError = a.status == 500 && a.at("status") == "8";
            bool noResponse = a.status == 501 && a.at("status") == "null";
            EXPECT_TRUE(dbError || noResponse) << r.op->name << " " << a.status << ": " << a.body;
        }
        if (!r.implemented) {
            EXPECT_EQ(a.status, 501) << r.op->name;
        }
    }
}

TEST_F(FaldTest, DaemonStartsOnAFreePortAndStopsOnSigterm)
{
    int out[2];
    ASSERT_EQ(pipe(out), 0);
    std::string root = root_ + "/daemon-root";
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        dup2(out[1], 1);
        close(out[0]);
        execl(FALD_PATH, FALD_PATH, "--root", root.c_str(), "--listen", "127.0.0.1:0", static_cast<char*>(nullptr));
        _exit(127);
    }
    close(out[1]);
    std::string line;
    char ch;
    while (read(out[0], &ch, 1) == 1 && ch != '\n')
        line += ch;
    close(out[0]);
    size_t colon = line.find("127.0.0.1:");
    ASSERT_NE(colon, std::string::npos) << line;
    int port = atoi(line.c_str() + colon + strlen("127.0.0.1:"));
    ASSERT_GT(port, 0) << line;

    httplib::Client client("127.0.0.1", port);
    auto login = client.Post("/api/v1/gateway/login", R"({"userName":"admin","password":"admin"})", "application/json");
    ASSERT_TRUE(login);
    EXPECT_EQ(login->status, 200);
    struct stat st;
    EXPECT_EQ(stat((root + "/db/gateway.json").c_str(), &st), 0) << "the root was created from the defaults";

    kill(pid, SIGTERM);
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(WEXITSTATUS(status), 0);
}
