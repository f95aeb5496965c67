// fald over real HTTP: sessions and permissions, the status mapping, refusals of bad input, the
// parameters and polling locations, every route with its OpenAPI description, static files and
// a graceful stop.

#include <unistd.h>

#include <map>
#include <set>
#include <thread>

#include "support/FalFiles.h"
#include "tools/common/FalRequest.h"
#include "tools/fald/FaldFixture.h"

namespace {
const std::string kApi = "/api/v1";
}  // namespace

TEST_F(FaldTest, LoginHandsOutASessionThatEveryOtherRouteNeeds)
{
    FaldAnswer a = call("POST", kApi + "/gateway/login", R"({"userName":"admin","password":"admin"})");
    ASSERT_EQ(a.status, 200);
    EXPECT_EQ(a.at("data.role"), "\"admin\"");
    std::string token = a.str("token");
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

    // Logout ends the session and clears the cookie; other sessions stay.
    FaldAnswer out = call("POST", kApi + "/gateway/logout", nullptr, token);
    EXPECT_EQ(out.at("message"), "\"Logged out successfully !\"");
    EXPECT_NE(out.header("Set-Cookie").find("Max-Age=0"), std::string::npos);
    EXPECT_EQ(call("GET", kApi + "/gateway/devices", nullptr, token).status, 401);
    EXPECT_EQ(call("GET", kApi + "/gateway/devices", nullptr, token_).status, 200);
}

// The rows of tests/tools/fald/http.json (their format is in the file), in order on one server.
TEST_F(FaldTest, HttpCasesAnswerAsListed)
{
    std::string why, server = "default";
    std::shared_ptr<json_object> file(falParseJson(readFile(FAL_SOURCE_DIR "/tests/tools/fald/http.json"), why),
                                      json_object_put);
    ASSERT_TRUE(file) << why;
    std::map<std::string, std::string> tokens = {{"admin", token_}, {"nobody", ""}};
    json_object* rows = faldAt(file.get(), {"cases"});
    for (size_t i = 0; i < json_object_array_length(rows); ++i) {
        json_object* row = json_object_array_get_idx(rows, i);
        auto text = [row](const char* key, const char* otherwise = "") {
            json_object* v = faldAt(row, {key});
            return std::string(v ? json_object_get_string(v) : otherwise);
        };
        std::string as = text("as", "admin");
        SCOPED_TRACE("row " + std::to_string(i) + ": " + text("method") + " " + text("path", text("url").c_str()) +
                     " as " + as);
        if (text("server", "default") != server) {
            server = text("server", "default");
            FaldOptions options;
            options.sim = server.find("sim") != std::string::npos;
            options.auth = server.find("noauth") == std::string::npos;
            startServer(options);
            tokens = {{"admin", login("admin", "admin")}, {"nobody", ""}};
        }
        if (!tokens.count(as))
            tokens[as] = login(as, as);
        json_object* body = nullptr;
        bool hasBody = json_object_object_get_ex(row, "body", &body);
        std::string bodyText = json_object_is_type(body, json_type_string) ? text("body") : falJsonText(body, false);
        if (text("fault") == "lock")
            LocalDbCtrl::failNextLocks(API_TYPE_GATEWAY, 1);
        if (text("fault") == "save")
            LocalDbCtrl::failNextSaves(API_TYPE_GATEWAY, 1);
        std::vector<std::string> before;
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
            before.push_back(inMemory(t));

        std::string path = faldAt(row, {"url"}) ? text("url") : kApi + text("path");
        FaldAnswer a = call(text("method"), path, hasBody ? bodyText.c_str() : nullptr, tokens[as]);
        EXPECT_EQ(a.status, json_object_get_int(faldAt(row, {"http"}))) << a.body;
        json_object* v = nullptr;
        if (json_object_object_get_ex(row, "status", &v)) {
            EXPECT_EQ(a.at("status"), falJsonText(v, false)) << a.body;
            EXPECT_TRUE(json_object_object_get_ex(a.json, "data", nullptr)) << a.body;
        }
        if (faldAt(row, {"message"})) {
            EXPECT_EQ(a.str("message"), text("message"));
        }
        if (faldAt(row, {"error"})) {
            EXPECT_NE(a.at("error"), "null") << a.body;
            EXPECT_NE(a.str("error").find(text("error")), std::string::npos) << a.body;
        }
        if (json_object* headers = faldAt(row, {"header"})) {
            json_object_object_foreach(headers, name, value) EXPECT_EQ(a.header(name), json_object_get_string(value));
        }
        EXPECT_NE(a.body.find(text("has")), std::string::npos) << a.body;
        if (faldAt(row, {"lacks"})) {
            EXPECT_EQ(a.body.find(text("lacks")), std::string::npos) << a.body;
        }
        for (unsigned t = 0; a.status >= 400 && t < LocalDbCtrl::kDocuments; ++t)
            EXPECT_EQ(inMemory(t), before[t]) << "a refused request changed " << LocalDbCtrl::documentName(t);
    }
    // Bodies that a JSON file cannot hold: invalid UTF-8, and one over the limit.
    startServer();
    token_ = login("admin", "admin");
    for (const std::string& body : {std::string("{\"name\":\"\xff\xfe\"}"), std::string("{\"name\":\"\xc0\xaf\"}"),
                                    "{\"pad\":\"" + std::string(64 * 1024, 'x') + "\"}"})
        EXPECT_EQ(call("PUT", kApi + "/gateway/led", body.c_str(), token_).status, body.size() > 100 ? 413 : 400);
}

TEST_F(FaldTest, PathQueryAndPollingLocationsReachTheirOperations)
{
    // "!connected" filters the device list; "@deviceId" picks one device.
    FaldAnswer all = call("GET", kApi + "/gateway/devices", nullptr, token_);
    FaldAnswer connected = call("GET", kApi + "/gateway/devices?connected=true", nullptr, token_);
    ASSERT_EQ(all.status, 200);
    ASSERT_EQ(connected.status, 200);
    EXPECT_LT(json_object_array_length(faldAt(connected.json, {"data"})), json_object_array_length(faldAt(all.json, {"data"})));
    EXPECT_EQ(call("GET", kApi + "/gateway/devices/1", nullptr, token_).at("data.name"), all.at("data.1.name"));
    // The wifi operations read by position: the interface, then the SSID index.
    EXPECT_EQ(call("GET", kApi + "/wifi/1/ssid/0", nullptr, token_).status, 200);

    // A created port-forwarding rule is patched by its id.
    FaldAnswer created =
        call("POST", kApi + "/service/portForwarding", R"({"active":true,"serviceType":"ssh","localIP":"192.168.1.9"})",
             token_);
    ASSERT_EQ(created.status, 201) << created.body;
    EXPECT_EQ(call("PATCH", kApi + "/service/portForwarding/" + created.at("data.id"), R"({"active":false})", token_)
                  .status,
              200);
    FaldAnswer list = call("GET", kApi + "/service/portForwarding", nullptr, token_);
    EXPECT_NE(list.body.find(R"("localIP":"192.168.1.9")"), std::string::npos) << list.body;

    // Actions that answer 202 name where their outcome is read.
    FaldAnswer upgrade = call("POST", kApi + "/gateway/upgrade", R"({"type":"fw","filename":"f.bin"})", token_);
    ASSERT_EQ(upgrade.status, 202);
    EXPECT_NE(call("GET", upgrade.str("data.location"), nullptr, token_).at("data.status"), "null");
    FaldAnswer wps = call("POST", kApi + "/wifi/wps/activate", nullptr, token_);
    ASSERT_EQ(wps.status, 202);
    EXPECT_EQ(call("GET", wps.str("data.location"), nullptr, token_).status, 200);
    for (const char* radio : {"0", "1"}) {
        FaldAnswer scan = call("POST", kApi + "/wifi/" + radio + "/scan", nullptr, token_);
        ASSERT_EQ(scan.status, 202) << scan.body;
        EXPECT_EQ(scan.str("data.location"), kApi + "/wifi/" + radio + "/scanResult");
        EXPECT_EQ(call("GET", scan.str("data.location"), nullptr, token_).status, 200);
    }
}

// Every operation has one route that resolves to itself, is described in the OpenAPI document
// and listed, and answers a call without a server error other than a mapped status 8 or the
// 501 of an operation this gateway does not support.
TEST_F(FaldTest, EveryRouteIsDescribedAndAnswersWithoutServerErrors)
{
    FaldAnswer doc = call("GET", kApi + "/openapi.json");
    ASSERT_EQ(doc.status, 200);
    EXPECT_EQ(doc.at("openapi").rfind("\"3.", 0), 0u);
    const auto& routes = server_->router().routes();
    std::set<std::string> ops, places;
    for (const FaldBoundRoute& r : routes) {
        SCOPED_TRACE(std::string(r.route->method) + " " + r.route->path);
        EXPECT_TRUE(ops.insert(std::string(r.family->name) + "." + r.op->name).second) << "twice";
        EXPECT_TRUE(places.insert(std::string(r.route->method) + " " + r.route->path).second);
        EXPECT_EQ(r.segments[0], r.family->name);
        std::string concrete;
        for (const std::string& s : r.segments)
            concrete += "/" + (s == "{type}" ? std::string("web") : s.front() == '{' ? std::string("0") : s);
        EXPECT_EQ(server_->router().match(r.route->method, concrete).route, &r);

        std::string method = r.route->method;
        for (char& ch : method)
            ch = static_cast<char>(tolower(ch));
        json_object* op = faldAt(doc.json, {"paths", r.route->path, method.c_str()});
        ASSERT_NE(op, nullptr);
        EXPECT_STREQ(json_object_get_string(faldAt(op, {"operationId"})), r.op->name);
        EXPECT_STREQ(json_object_get_string(json_object_array_get_idx(faldAt(op, {"tags"}), 0)), r.family->name);
        json_object* params = faldAt(op, {"parameters"});
        for (size_t i = 0; params && i < json_object_array_length(params); ++i) {
            json_object* p = json_object_array_get_idx(params, i);
            if (std::string(json_object_get_string(faldAt(p, {"in"}))) == "path") {
                EXPECT_NE(faldAt(p, {"example"}), nullptr) << json_object_get_string(faldAt(p, {"name"}));
            }
        }
        EXPECT_TRUE(r.implemented || faldAt(op, {"responses", "501"}));

        if (strcmp(r.op->name, "GatewayLogout") == 0)
            continue;  // would end the walk's session
        FaldAnswer a = call(r.route->method, kApi + concrete, strcmp(r.route->method, "GET") ? "{}" : nullptr, token_);
        ASSERT_NE(a.json, nullptr) << a.status << ": " << a.body;
        bool dbError = a.status == 500 && a.at("status") == "8";
        bool noResponse = a.status == 501 && a.at("status") == "null";
        EXPECT_TRUE(a.status < 500 || dbError || noResponse) << a.status << ": " << a.body;
        EXPECT_TRUE(r.implemented || a.status == 501) << a.body;
    }
    size_t all = 0;
    for (const FalFamilyInfo& f : falFamilies())
        all += f.ops.size();
    EXPECT_EQ(ops.size(), all) << "an operation has no route";
    EXPECT_EQ(json_object_array_length(faldAt(call("GET", kApi).json, {"routes"})), routes.size());
}

TEST_F(FaldTest, StaticFilesComeFromWwwOnly)
{
    FaldAnswer backup = call("POST", kApi + "/gateway/backup", nullptr, token_);
    ASSERT_EQ(backup.status, 200);
    std::string path = backup.str("data.path");
    ASSERT_EQ(path.rfind("/files/configuration/", 0), 0u) << path;
    EXPECT_EQ(call("GET", path).body, "This is test configuration");

    // Nothing outside www/, by dot segments or by a link.
    ASSERT_EQ(symlink("../db", "www/db"), 0);
    for (const char* outside : {"/db/gateway.json", "/%2e%2e/system.cnf", "/files/../../system.cnf", "/files",
                                "/missing.html"})
        EXPECT_EQ(call("GET", outside).status, 404) << outside;
    EXPECT_EQ(call("PUT", path, "{}").status, 405);
}

// A request in flight keeps the stop waiting and is answered; a connection made meanwhile hears
// why it is turned away; once stopped, nothing is accepted.
TEST_F(FaldTest, StopFinishesTheRequestsInFlightAndTurnsNewOnesAway)
{
    FaldAnswer slow;  // waking a host takes a few seconds
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
    EXPECT_EQ(slow.at("status"), "0");
    EXPECT_EQ(call("GET", kApi).status, 0);
}
