// The simulator's snapshots and latency, CORS, and the OpenAPI document's types. (The controls'
// answers, and the console's files, are rows of http.json.)
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "tools/common/FalRequest.h"
#include "tools/fald/FaldFixture.h"

namespace {

const std::string kApi = "/api/v1";
using Ms = std::chrono::milliseconds;

std::string typeAt(json_object* o, std::initializer_list<const char*> path)
{
    json_object* t = faldAt(faldAt(o, path), {"type"});
    return t ? json_object_get_string(t) : "";
}

const char kRule[] = R"({"active":true,"name":"sim-web","serviceType":"HTTP"})";

}  // namespace

class FaldSimTest : public FaldTest {
protected:
    static FaldOptions sim()
    {
        FaldOptions o;
        o.sim = true;
        return o;
    }
    void restart(const FaldOptions& options)
    {
        startServer(options);
        token_ = login("admin", "admin");
    }
    std::string rules() { return call("GET", kApi + "/service/portForwarding", nullptr, token_).body; }
};

TEST_F(FaldSimTest, SnapshotsRoundTripEveryDocumentAndMayExceedTheBodyLimit)
{
    FaldOptions small = sim();
    small.limits.maxBody = 1024;
    restart(small);
    FaldAnswer before = call("GET", kApi + "/sim/snapshot", nullptr, token_);
    ASSERT_EQ(before.status, 200);
    EXPECT_EQ(json_object_object_length(faldAt(before.json, {"data"})), static_cast<int>(LocalDbCtrl::kDocuments));
    std::string saved = falJsonText(faldAt(before.json, {"data"}), false);
    ASSERT_GT(saved.size(), 1024u);

    ASSERT_EQ(call("POST", kApi + "/service/portForwarding", kRule, token_).status, 201);
    EXPECT_EQ(call("PUT", kApi + "/sim/snapshot", saved.c_str(), token_).status, 200);
    EXPECT_EQ(rules().find("sim-web"), std::string::npos);
    EXPECT_EQ(call("PUT", kApi + "/service/portForwarding", saved.c_str(), token_).status, 413);

    // One family alone replaces that document and leaves the others.
    ASSERT_EQ(call("PUT", kApi + "/sim/snapshot", R"({"qos":{"qos":{"active":false}}})", token_).status, 200);
    EXPECT_EQ(call("GET", kApi + "/qos/configuration", nullptr, token_).body.find("VoIP"), std::string::npos);
    EXPECT_NE(rules().find("Office web server"), std::string::npos);
}

TEST_F(FaldSimTest, LatencyDelaysEveryAnswerWithoutHoldingBackTheOthers)
{
    FaldOptions slow = sim();
    slow.latencyMs = 300;
    slow.limits.threads = 1;  // one event thread and one worker: a sleeping thread would serialise
    slow.limits.workers = 1;
    restart(slow);
    // Reads (answered on the event thread) and writes (on the worker) at once: all are delayed
    // together, not one after the other.
    auto start = std::chrono::steady_clock::now();
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

    // A stop sends the delayed replies at once.
    slow.latencyMs = 60000;
    startServer(slow);
    FaldAnswer answer;
    std::thread client([&] { answer = call("GET", kApi + "/openapi.json"); });
    while (server_->inFlight() == 0)
        std::this_thread::yield();
    start = std::chrono::steady_clock::now();
    server_->stop();
    client.join();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));
    EXPECT_EQ(answer.status, 200);
}

TEST_F(FaldSimTest, CorsGivesTheConfiguredOriginAccessAndCredentials)
{
    FaldOptions o = sim();
    o.corsOrigin = "http://ui.test:5173";
    startServer(o);
    httplib::Client client("127.0.0.1", server_->port());
    for (const char* origin : {"http://ui.test:5173", "http://evil.test"}) {
        httplib::Request req;
        req.method = "OPTIONS";
        req.path = kApi + "/gateway/login";
        req.headers = {{"Origin", origin}, {"Access-Control-Request-Method", "POST"},
                       {"Access-Control-Request-Headers", "content-type"}};
        auto res = client.send(req);
        ASSERT_TRUE(res);
        bool ours = origin == o.corsOrigin;
        EXPECT_EQ(res->status, ours ? 204 : 403) << origin;
        EXPECT_EQ(res->get_header_value("Access-Control-Allow-Origin"), ours ? origin : "");
        EXPECT_EQ(res->get_header_value("Access-Control-Allow-Methods").find("POST") != std::string::npos, ours);
    }
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

// (The typing of request bodies and reply data is checked by the console checks' openapi-typescript
// run; the replies against their schemas by dredd.)
TEST_F(FaldSimTest, TheOpenApiDocumentTypesQueriesAndTheNotSupportedReply)
{
    FaldAnswer doc = call("GET", kApi + "/openapi.json");
    json_object* paths = faldAt(doc.json, {"paths"});
    ASSERT_NE(paths, nullptr);

    // Query booleans are booleans.
    json_object* devices = faldAt(paths, {"/gateway/devices", "get", "parameters"});
    std::string connected;
    for (size_t i = 0; i < json_object_array_length(devices); ++i) {
        json_object* p = json_object_array_get_idx(devices, i);
        if (std::string(json_object_get_string(faldAt(p, {"name"}))) == "connected")
            connected = typeAt(p, {"schema"});
    }
    EXPECT_EQ(connected, "boolean");

    // The reply of an operation this gateway does not support matches its schema: every member
    // is described, and null where the schema allows only null.
    FaldAnswer reply = call("GET", kApi + "/gateway/battery", nullptr, token_);
    ASSERT_EQ(reply.status, 501);
    json_object* schema = faldAt(doc.json, {"components", "schemas", "NotSupported", "properties"});
    ASSERT_NE(schema, nullptr);
    json_object_object_foreach(reply.json, name, value)
    {
        ASSERT_NE(faldAt(schema, {name}), nullptr) << name;
        if (faldAt(schema, {name, "enum"})) {
            EXPECT_EQ(value, nullptr) << name;
        } else {
            EXPECT_EQ(typeAt(schema, {name}), "string") << name;
        }
    }
}
