// The simulator controls, CORS, the console's index page and the typed OpenAPI document.
#include <chrono>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "host/LocalDbCtrlTesting.h"
#include "tools/common/FalRequest.h"
#include "tools/fald/FaldFixture.h"
#include "tools/fald/FaldSim.h"

namespace {

const std::string kApi = "/api/v1";

FaldOptions simOptions()
{
    FaldOptions o;
    o.sim = true;
    return o;
}

json_object* at(json_object* o, std::initializer_list<const char*> path)
{
    for (const char* name : path) {
        json_object* next = nullptr;
        if (!o || !json_object_object_get_ex(o, name, &next))
            return nullptr;
        o = next;
    }
    return o;
}

std::string typeAt(json_object* o, std::initializer_list<const char*> path)
{
    json_object* t = at(at(o, path), {"type"});
    return t ? json_object_get_string(t) : "";
}

const char kRule[] = R"({"active":true,"name":"sim-web","serviceType":"HTTP","protocol":"TCP",)"
                     R"("externalPortStart":8081,"externalPortEnd":8081,"internalPortStart":80,)"
                     R"("internalPortEnd":80,"ipAddress":"192.168.1.30"})";

}  // namespace

class FaldSimTest : public FaldTest {
protected:
    void SetUp() override
    {
        FaldTest::SetUp();
        startServer(simOptions());
        token_ = login("admin", "admin");
        ASSERT_FALSE(token_.empty());
    }

    bool listed(const char* name)
    {
        FaldAnswer list = call("GET", kApi + "/service/portForwarding", nullptr, token_);
        return list.status == 200 && list.body.find(name) != std::string::npos;
    }
};

TEST_F(FaldSimTest, FaultsFailTheNextSavesAndResetRestoresTheFactoryDocuments)
{
    ASSERT_EQ(call("POST", kApi + "/service/portForwarding", kRule, token_).status, 201);
    EXPECT_TRUE(listed("sim-web"));

    FaldAnswer armed = call("POST", kApi + "/sim/faults", R"({"family":"service","failSave":1})", token_);
    ASSERT_EQ(armed.status, 200) << armed.body;
    EXPECT_EQ(armed.at("data.failSave"), "1");
    EXPECT_EQ(armed.at("data.failLock"), "0");
    FaldAnswer failed = call("POST", kApi + "/service/portForwarding", kRule, token_);
    EXPECT_EQ(failed.status, 409) << failed.body;
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(4), 0u) << "one save failed, no more";

    ASSERT_EQ(call("POST", kApi + "/sim/faults", R"({"family":"gateway","failLock":1})", token_).status, 200);
    EXPECT_EQ(call("GET", kApi + "/gateway/devices", nullptr, token_).status, 500);
    EXPECT_EQ(call("GET", kApi + "/gateway/devices", nullptr, token_).status, 200);

    ASSERT_EQ(call("POST", kApi + "/sim/faults", R"({"family":"service","failLock":2,"failSave":2})", token_).status,
              200);
    FaldAnswer reset = call("POST", kApi + "/sim/reset", "", token_);
    ASSERT_EQ(reset.status, 200) << reset.body;
    EXPECT_EQ(LocalDbCtrlTesting::pendingLockFailures(4) + LocalDbCtrlTesting::pendingSaveFailures(4), 0u);
    EXPECT_FALSE(listed("sim-web"));
    EXPECT_TRUE(listed("Office web server"));
}

TEST_F(FaldSimTest, SnapshotsRoundTripEveryDocument)
{
    FaldAnswer before = call("GET", kApi + "/sim/snapshot", nullptr, token_);
    ASSERT_EQ(before.status, 200);
    json_object* data = at(before.json, {"data"});
    ASSERT_NE(data, nullptr);
    EXPECT_EQ(json_object_object_length(data), static_cast<int>(LocalDbCtrl::kDocuments));
    std::string saved = falJsonText(data, false);

    ASSERT_EQ(call("POST", kApi + "/service/portForwarding", kRule, token_).status, 201);
    ASSERT_TRUE(listed("sim-web"));
    FaldAnswer loaded = call("PUT", kApi + "/sim/snapshot", saved.c_str(), token_);
    ASSERT_EQ(loaded.status, 200) << loaded.body;
    EXPECT_FALSE(listed("sim-web"));

    // One family alone replaces that document and leaves the others.
    ASSERT_EQ(call("PUT", kApi + "/sim/snapshot", R"({"qos":{"qos":{"active":false}}})", token_).status, 200);
    FaldAnswer qos = call("GET", kApi + "/qos/configuration", nullptr, token_);
    EXPECT_EQ(qos.body.find("VoIP"), std::string::npos) << qos.body;
    EXPECT_TRUE(listed("Office web server"));
}

TEST_F(FaldSimTest, BadControlRequestsChangeNothing)
{
    struct Case {
        const char* method;
        const char* path;
        const char* body;
        int status;
    } cases[] = {
        {"PUT", "/sim/snapshot", "not json", 400},
        {"PUT", "/sim/snapshot", "[]", 400},
        {"PUT", "/sim/snapshot", R"({"service":{},"nosuch":{}})", 400},
        {"PUT", "/sim/snapshot", R"({"service":{},"qos":[]})", 400},
        {"POST", "/sim/faults", R"({"failSave":1})", 400},
        {"POST", "/sim/faults", R"({"family":"nosuch","failSave":1})", 400},
        {"POST", "/sim/faults", R"({"family":"service","failSave":-1})", 400},
        {"POST", "/sim/faults", R"({"family":"service","failSave":"2"})", 400},
        {"POST", "/sim/faults", "", 400},
        {"DELETE", "/sim/snapshot", nullptr, 405},
        {"GET", "/sim/reset", nullptr, 405},
        {"PUT", "/sim/faults", "{}", 405},
        {"GET", "/sim/nothing", nullptr, 404},
        {"GET", "/sim", nullptr, 404},
    };
    for (const Case& c : cases) {
        FaldAnswer a = call(c.method, kApi + c.path, c.body, token_);
        EXPECT_EQ(a.status, c.status) << c.method << " " << c.path << " " << (c.body ? c.body : "") << ": " << a.body;
        EXPECT_NE(a.at("error"), "null") << a.body;
    }
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(4), 0u);
    EXPECT_TRUE(listed("Office web server"));
}

TEST_F(FaldSimTest, ControlsAreForAdminsAndOnlyUnderSim)
{
    EXPECT_EQ(call("POST", kApi + "/sim/reset", "").status, 401);
    std::string viewer = login("viewer", "viewer");
    ASSERT_FALSE(viewer.empty());
    EXPECT_EQ(call("GET", kApi + "/sim/snapshot", nullptr, viewer).status, 403);
    EXPECT_EQ(call("POST", kApi + "/sim/faults", R"({"family":"service","failSave":1})", viewer).status, 403);
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(4), 0u);

    FaldOptions noAuth = simOptions();
    noAuth.auth = false;
    startServer(noAuth);
    EXPECT_EQ(call("GET", kApi + "/sim/snapshot").status, 200);

    startServer();
    token_ = login("admin", "admin");
    EXPECT_EQ(call("GET", kApi + "/sim/snapshot", nullptr, token_).status, 404);
    FaldAnswer doc = call("GET", kApi + "/openapi.json");
    EXPECT_EQ(at(doc.json, {"paths", "/sim/reset"}), nullptr);
}

TEST_F(FaldSimTest, LatencyDelaysEveryAnswerWithoutHoldingBackTheOthers)
{
    using Ms = std::chrono::milliseconds;
    FaldOptions slow = simOptions();
    slow.latencyMs = 300;
    slow.limits.threads = 1;  // one event thread and one worker: a sleeping thread would serialise
    slow.limits.workers = 1;
    startServer(slow);
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(call("GET", kApi + "/gateway/about").status, 401);
    EXPECT_GE(std::chrono::steady_clock::now() - start, Ms(300));

    // Reads (answered on the event thread) and writes (on the worker) at once: all are delayed
    // together, not one after the other.
    token_ = login("admin", "admin");
    start = std::chrono::steady_clock::now();
    std::vector<int> statuses(8, 0);
    std::vector<std::thread> clients;
    for (size_t i = 0; i < statuses.size(); ++i)
        clients.emplace_back([&, i] {
            statuses[i] = i % 2 ? call("GET", kApi + "/service/portForwarding", nullptr, token_).status
                                : call("POST", kApi + "/sim/faults", R"({"family":"wifi","failLock":0,"failSave":0})",
                                       token_).status;
        });
    for (std::thread& t : clients)
        t.join();
    auto took = std::chrono::steady_clock::now() - start;
    for (int status : statuses)
        EXPECT_EQ(status, 200);
    EXPECT_GE(took, Ms(300));
    EXPECT_LT(took, Ms(1500)) << "8 delayed replies took as long as one after another";
}

TEST_F(FaldSimTest, StoppingSendsTheDelayedRepliesAtOnce)
{
    FaldOptions slow = simOptions();
    slow.latencyMs = 60000;
    startServer(slow);
    FaldAnswer answer;
    std::thread client([&] { answer = call("GET", kApi + "/openapi.json"); });
    while (server_->inFlight() == 0)
        std::this_thread::yield();
    auto start = std::chrono::steady_clock::now();
    server_->stop();
    client.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(answer.status, 200);
}

TEST_F(FaldSimTest, ASnapshotMayExceedTheBodyLimitOfOperations)
{
    FaldOptions small = simOptions();
    small.limits.maxBody = 1024;
    startServer(small);
    token_ = login("admin", "admin");
    FaldAnswer snapshot = call("GET", kApi + "/sim/snapshot", nullptr, token_);
    ASSERT_EQ(snapshot.status, 200);
    std::string documents = falJsonText(at(snapshot.json, {"data"}), false);
    ASSERT_GT(documents.size(), 1024u);
    EXPECT_EQ(call("PUT", kApi + "/sim/snapshot", documents.c_str(), token_).status, 200);
    EXPECT_EQ(call("PUT", kApi + "/service/portForwarding", documents.c_str(), token_).status, 413);
}

TEST(FaldCors, OnlyTheConfiguredOriginGetsAccessAndCredentials)
{
    FaldCors off;
    FaldHttpAnswer a;
    EXPECT_TRUE(off.headers("http://ui.test").empty());
    EXPECT_FALSE(off.preflight("OPTIONS", "http://ui.test", "POST", a));

    FaldCors cors("http://ui.test:5173");
    auto allowed = cors.headers("http://ui.test:5173");
    std::set<std::string> names;
    for (const auto& h : allowed)
        names.insert(h.first + ": " + h.second);
    EXPECT_TRUE(names.count("Access-Control-Allow-Origin: http://ui.test:5173"));
    EXPECT_TRUE(names.count("Access-Control-Allow-Credentials: true"));
    for (const auto& h : cors.headers("http://evil.test"))
        EXPECT_EQ(h.first.rfind("Access-Control-", 0), std::string::npos) << h.first;

    ASSERT_TRUE(cors.preflight("OPTIONS", "http://ui.test:5173", "PATCH", a));
    EXPECT_EQ(a.status, 204);
    ASSERT_TRUE(cors.preflight("OPTIONS", "http://evil.test", "PATCH", a));
    EXPECT_EQ(a.status, 403);
    EXPECT_FALSE(cors.preflight("OPTIONS", "http://ui.test:5173", "", a)) << "a plain OPTIONS is no preflight";
    EXPECT_FALSE(cors.preflight("GET", "http://ui.test:5173", "GET", a));
}

TEST_F(FaldSimTest, CorsPreflightAndCredentialedCallsOverHttp)
{
    FaldOptions o = simOptions();
    o.corsOrigin = "http://ui.test:5173";
    startServer(o);
    httplib::Client client("127.0.0.1", server_->port());
    httplib::Headers preflight = {{"Origin", "http://ui.test:5173"}, {"Access-Control-Request-Method", "POST"},
                                  {"Access-Control-Request-Headers", "content-type"}};
    httplib::Request req;
    req.method = "OPTIONS";
    req.path = kApi + "/gateway/login";
    req.headers = preflight;
    auto res = client.send(req);
    ASSERT_TRUE(res);
    EXPECT_EQ(res->status, 204);
    EXPECT_EQ(res->get_header_value("Access-Control-Allow-Origin"), "http://ui.test:5173");
    EXPECT_NE(res->get_header_value("Access-Control-Allow-Methods").find("POST"), std::string::npos);

    auto login = client.Post(kApi + "/gateway/login", {{"Origin", "http://ui.test:5173"}},
                             R"({"userName":"admin","password":"admin"})", "application/json");
    ASSERT_TRUE(login);
    EXPECT_EQ(login->status, 200);
    EXPECT_EQ(login->get_header_value("Access-Control-Allow-Credentials"), "true");
    auto other = client.Get(kApi + "/openapi.json", {{"Origin", "http://evil.test"}});
    ASSERT_TRUE(other);
    EXPECT_FALSE(other->has_header("Access-Control-Allow-Origin"));

    // fald's own refusals, before any operation sees the request, carry the headers too.
    auto tooBig = client.Post(kApi + "/service/portForwarding", {{"Origin", "http://ui.test:5173"}},
                              std::string(o.limits.maxBody + 1, ' '), "application/json");
    ASSERT_TRUE(tooBig);
    EXPECT_EQ(tooBig->status, 413);
    EXPECT_EQ(tooBig->get_header_value("Access-Control-Allow-Origin"), "http://ui.test:5173");
}

TEST_F(FaldSimTest, TheConsoleShipsWithTheRootAndServesAtSlash)
{
    FaldAnswer index = call("GET", "/");
    ASSERT_EQ(index.status, 200);
    EXPECT_NE(index.body.find("<title>fald console</title>"), std::string::npos);
    EXPECT_EQ(index.header("Content-Type").rfind("text/html", 0), 0u);
    FaldAnswer script = call("GET", "/js/console.js");
    EXPECT_EQ(script.status, 200);
    EXPECT_EQ(script.header("Content-Type").rfind("text/javascript", 0), 0u);
}

TEST_F(FaldSimTest, TheOpenApiDocumentIsTyped)
{
    FaldAnswer doc = call("GET", kApi + "/openapi.json");
    ASSERT_EQ(doc.status, 200);
    json_object* paths = at(doc.json, {"paths"});
    ASSERT_NE(paths, nullptr);

    // The port-forwarding rules: a typed body, typed reply data, a typed path variable.
    json_object* create = at(paths, {"/service/portForwarding", "post"});
    json_object* body = at(create, {"requestBody", "content", "application/json"});
    EXPECT_EQ(typeAt(body, {"schema", "properties", "externalPortStart"}), "integer");
    EXPECT_EQ(typeAt(body, {"schema", "properties", "active"}), "boolean");
    EXPECT_NE(at(body, {"example", "name"}), nullptr);
    EXPECT_EQ(typeAt(create, {"responses", "201", "content", "application/json", "schema", "properties", "data",
                              "properties", "id"}),
              "integer");
    EXPECT_EQ(at(create, {"responses", "501"}), nullptr) << "an implemented create never answers 501";
    json_object* list = at(paths, {"/service/portForwarding", "get"});
    EXPECT_EQ(typeAt(list, {"responses", "200", "content", "application/json", "schema", "properties", "data",
                            "properties", "rules", "items", "properties", "internalPortEnd"}),
              "integer");
    EXPECT_EQ(at(list, {"requestBody"}), nullptr);
    json_object* param = json_object_array_get_idx(at(paths, {"/service/portForwarding/{ruleId}", "patch",
                                                              "parameters"}), 0);
    EXPECT_NE(at(param, {"example"}), nullptr);

    // Query booleans are booleans; every operation has a family tag and examples for its path
    // variables.
    json_object* devices = at(paths, {"/gateway/devices", "get", "parameters"});
    bool connected = false;
    for (size_t i = 0; i < json_object_array_length(devices); ++i) {
        json_object* p = json_object_array_get_idx(devices, i);
        if (std::string(json_object_get_string(at(p, {"name"}))) == "connected") {
            connected = true;
            EXPECT_EQ(typeAt(p, {"schema"}), "boolean");
        }
    }
    EXPECT_TRUE(connected);
    for (const FaldBoundRoute& r : server_->router().routes()) {
        std::string method = r.route->method;
        for (char& c : method)
            c = static_cast<char>(tolower(c));
        json_object* op = at(paths, {r.route->path, method.c_str()});
        ASSERT_NE(op, nullptr) << r.route->path;
        EXPECT_STREQ(json_object_get_string(json_object_array_get_idx(at(op, {"tags"}), 0)), r.family->name);
        json_object* params = at(op, {"parameters"});
        for (size_t i = 0; params && i < json_object_array_length(params); ++i) {
            json_object* p = json_object_array_get_idx(params, i);
            if (std::string(json_object_get_string(at(p, {"in"}))) == "path") {
                EXPECT_NE(at(p, {"example"}), nullptr) << r.route->path;
            }
        }
        json_object* responses = at(op, {"responses"});
        EXPECT_LE(json_object_object_length(responses), 9) << r.route->path;
        if (!r.implemented) {
            EXPECT_NE(at(responses, {"501"}), nullptr) << r.route->path;
        }
    }
}

TEST_F(FaldSimTest, TheNotSupportedReplyMatchesItsSchema)
{
    const FaldBoundRoute* missing = nullptr;
    for (const FaldBoundRoute& r : server_->router().routes())
        if (!missing && !r.implemented && std::string(r.route->method) == "GET")
            missing = &r;
    ASSERT_NE(missing, nullptr);
    std::string concrete;
    for (const std::string& s : missing->segments)
        concrete += "/" + (s.front() == '{' ? std::string("0") : s);
    FaldAnswer reply = call("GET", kApi + concrete, nullptr, token_);
    ASSERT_EQ(reply.status, 501);
    FaldAnswer doc = call("GET", kApi + "/openapi.json");
    json_object* schema = at(doc.json, {"components", "schemas", "NotSupported", "properties"});
    ASSERT_NE(schema, nullptr);
    // Every member the reply has is described, and null where the schema allows only null.
    json_object_object_foreach(reply.json, name, value)
    {
        json_object* s = at(schema, {name});
        ASSERT_NE(s, nullptr) << name;
        if (at(s, {"enum"})) {
            EXPECT_EQ(value, nullptr) << name;
        } else {
            EXPECT_EQ(typeAt(schema, {name}), "string") << name;
        }
    }
}
