// fald tried as an attacker on the LAN would, on loopback: secrets, login guessing, session
// eviction, hostile framing and Host headers, every limit flag, slow and flooding clients, a
// second daemon and damaged documents. Each attack is bounded by small limits.

#include <unistd.h>

#include <chrono>
#include <fstream>
#include <memory>
#include <thread>
#include <vector>

#include "host/FalRootLock.h"
#include "support/FalFiles.h"
#include "tools/common/FalRoot.h"
#include "tools/fald/FaldFixture.h"

namespace {

const std::string kApi = "/api/v1";

using Ms = std::chrono::milliseconds;

std::string request(const std::string& method, const std::string& path, const std::string& extra = "",
                    const std::string& body = "")
{
    std::string r = method + " " + path + " HTTP/1.1\r\nHost: 127.0.0.1\r\n" + extra;
    if (!body.empty() && extra.find("Content-Length") == std::string::npos &&
        extra.find("Transfer-Encoding") == std::string::npos)
        r += "Content-Length: " + std::to_string(body.size()) + "\r\n";
    return r + "\r\n" + body;
}

}  // namespace

TEST_F(FaldTest, ASessionThatMayNotChangeTheGatewayNeverSeesSecrets)
{
    std::string viewer = login("viewer", "viewer");
    ASSERT_FALSE(viewer.empty());
    std::string before = inMemory(API_TYPE_GATEWAY);
    for (const char* path : {"/gateway/users/web", "/gateway/users/web/0", "/gateway/about"}) {
        FaldAnswer seen = call("GET", kApi + path, nullptr, viewer);
        EXPECT_EQ(seen.body.find("\"password\""), std::string::npos) << path << ": " << seen.body;
        EXPECT_EQ(seen.body.find("\"accessToken\""), std::string::npos) << path << ": " << seen.body;
    }
    EXPECT_EQ(inMemory(API_TYPE_GATEWAY), before) << "redaction works on a copy";
    EXPECT_NE(call("GET", kApi + "/gateway/users/web", nullptr, token_).body.find("\"password\""), std::string::npos);

    // fald's own records (every level, as captured) carry no token and no password.
    EXPECT_EQ(call("POST", kApi + "/gateway/login", R"({"userName":"viewer","password":"s3cret-guess"})").status, 409);
    for (const CapturedLog& log : logs_) {
        EXPECT_EQ(log.text.find(token_), std::string::npos) << log.text;
        EXPECT_EQ(log.text.find(viewer), std::string::npos) << log.text;
        EXPECT_EQ(log.text.find("s3cret-guess"), std::string::npos) << log.text;
    }
}

TEST_F(FaldTest, LoginGuessingIsSlowedPerUserAndForEveryone)
{
    for (unsigned i = 0; i < FaldSessions::kFreeFailures; ++i) {
        FaldAnswer a = call("POST", kApi + "/gateway/login", R"({"userName":"admin","password":"guess"})");
        EXPECT_EQ(a.status, 409);
        EXPECT_EQ(a.at("message"), "\"incorrect password\"");
        EXPECT_EQ(a.at("token"), "null");
    }
    EXPECT_FALSE(login("viewer", "viewer").empty()) << "nor is another user held up, nor do they clear it";
    FaldAnswer slowed = call("POST", kApi + "/gateway/login", R"({"userName":"admin","password":"admin"})");
    EXPECT_EQ(slowed.status, 429) << slowed.body;
    EXPECT_FALSE(slowed.header("Retry-After").empty());
    EXPECT_EQ(call("GET", kApi + "/gateway/about", nullptr, token_).status, 200) << "sessions are not held up";

    // Spread over many user names, each below its own back-off: the ceiling holds everyone.
    for (unsigned i = FaldSessions::kFreeFailures; i < FaldSessions::kMaxFailuresPerMinute; ++i) {
        std::string body = R"({"userName":"u)" + std::to_string(i) + R"(","password":"x"})";
        EXPECT_NE(call("POST", kApi + "/gateway/login", body.c_str()).status, 429) << i;
    }
    EXPECT_EQ(call("POST", kApi + "/gateway/login", R"({"userName":"viewer","password":"viewer"})").status, 429);
}

TEST_F(FaldTest, OneUsersLoginsNeverEvictAnotherUsersSession)
{
    std::string first = login("user", "user");
    ASSERT_FALSE(first.empty());
    for (size_t i = 0; i < FaldSessions::kMaxSessionsPerUser + 4; ++i)
        ASSERT_FALSE(login("user", "user").empty()) << i;
    EXPECT_EQ(call("GET", kApi + "/gateway/about", nullptr, token_).status, 200) << "the admin's session stays";
    EXPECT_EQ(call("GET", kApi + "/wifi/0/ssid", nullptr, first).status, 401) << "the user's oldest went";
}

TEST_F(FaldTest, HostileFramingAndForeignHostsAreRefused)
{
    std::string auth = "Authorization: Bearer " + token_ + "\r\n";
    std::string led = kApi + "/gateway/led";
    const struct {
        std::string raw;
        int status;
    } cases[] = {
        {request("PUT", led, auth + "Content-Length: 2\r\nContent-Length: 2\r\n", "{}"), 400},
        {request("PUT", led, auth + "Content-Length: 2\r\nContent-Length: 5\r\n", "{}"), 400},
        {request("PUT", led, auth + "Content-Length: 7\r\nTransfer-Encoding: chunked\r\n", "2\r\n{}\r\n0\r\n\r\n"), 400},
        {request("PUT", led, auth + "Transfer-Encoding: gzip\r\n", "{}"), 400},
        {request("PUT", led, auth + "Transfer-Encoding: chunked\r\n", "f\r\n{\"active\":true}\r\n0\r\n\r\n"), 200},
        // A write without a body is answered at once, not after a body time-out.
        {request("POST", kApi + "/wifi/0/scan", auth), 202},
        // DNS rebinding: on loopback only loopback names are served.
        {"GET /api/v1 HTTP/1.1\r\nHost: 127.0.0.1:80\r\n\r\n", 200},
        {"GET /api/v1 HTTP/1.1\r\nHost: LOCALHOST:8080\r\n\r\n", 200},
        {"GET /api/v1 HTTP/1.1\r\nHost: [::1]:8080\r\n\r\n", 200},
        {"GET /api/v1 HTTP/1.1\r\nHost: rebind.example\r\n\r\n", 421},
        {"GET /api/v1 HTTP/1.1\r\nHost: 127.0.0.1.nip.io\r\n\r\n", 421},
    };
    for (const auto& c : cases) {
        FaldSocket s(server_->port());
        ASSERT_TRUE(s.send(c.raw));
        std::string reply = s.receive(2000);
        EXPECT_EQ(faldStatusOf(reply), c.status) << c.raw << "\n" << reply;
        if (c.status == 400) {
            EXPECT_NE(reply.find("Connection: close"), std::string::npos) << c.raw;
        }
    }
    FaldOptions options;
    options.allowHosts = {"gateway.lan"};
    startServer(options);
    EXPECT_EQ(faldRawStatus(server_->port(), "GET /api/v1 HTTP/1.1\r\nHost: gateway.lan:8080\r\n\r\n"), 200);
}

// Each limit flag of the daemon, set low on its own, against the attack it stops.
TEST_F(FaldTest, EveryLimitFlagStopsItsAttack)
{
    const std::string get = "GET /api/v1 HTTP/1.1\r\nHost: 127.0.0.1\r\n";
    std::string manyHeaders;
    for (int i = 0; i < 9; ++i)
        manyHeaders += "X-" + std::to_string(i) + ": a\r\n";
    const struct {
        std::vector<std::string> flag;
        int hold;         // connections opened and kept before the attack
        std::string raw;  // what the attack sends
        int status;       // 0: the connection is closed without a word
    } cases[] = {
        {{"--max-connections", "3"}, 3, "", 503},
        {{"--max-per-client", "3"}, 3, "", 503},
        {{"--max-headers", "8"}, 0, get + manyHeaders + "\r\n", 431},
        {{"--max-header-bytes", "2048"}, 0, get + "X-Big: " + std::string(3000, 'b') + "\r\n\r\n", 431},
        {{"--max-body", "1024"}, 0, request("PUT", kApi + "/gateway/led", "Content-Length: 2000\r\n"), 413},
        {{"--header-timeout", "0.5"}, 0, "GET /api/v1 HTTP/1.1\r\nHo", 408},
        {{"--body-timeout", "0.5"}, 0, request("PUT", kApi + "/gateway/led", "Content-Length: 10\r\n", "{\"a"), 408},
        {{"--idle-timeout", "1"}, 0, get + "\r\n", 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.flag[0]);
        std::vector<std::string> args = {"--root", root_ + "/limits", "--listen", "127.0.0.1:0", "--no-auth"};
        args.insert(args.end(), c.flag.begin(), c.flag.end());
        FaldDaemon d;
        ASSERT_TRUE(d.start(args, root_ + "/limits.err")) << readFile(root_ + "/limits.err");
        std::vector<std::unique_ptr<FaldSocket>> held;
        for (int i = 0; i < c.hold; ++i)
            held.push_back(std::make_unique<FaldSocket>(d.port));
        std::this_thread::sleep_for(Ms(c.hold ? 100 : 0));
        FaldSocket attack(d.port);
        ASSERT_TRUE(attack.send(c.raw));
        auto start = std::chrono::steady_clock::now();
        std::string reply = attack.receive(3000);
        if (c.status == 0) {  // the kept-alive connection: one answer, then silence until closed
            EXPECT_EQ(faldStatusOf(reply), 200);
            reply = attack.receive(4000, false);
            EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(3500)) << "not closed";
        }
        EXPECT_EQ(faldStatusOf(reply), c.status) << reply;
        held.clear();
        std::this_thread::sleep_for(Ms(c.hold ? 200 : 0));
        EXPECT_EQ(faldRawStatus(d.port, get + "\r\n"), 200) << "a fair client is still served";
        kill(d.pid, SIGTERM);
        EXPECT_EQ(d.wait(5000), 0);
    }
}

TEST_F(FaldTest, SlowClientsDoNotStarveOthers)
{
    FaldOptions options;
    options.limits.maxPerClient = 200;
    options.limits.maxConnections = 300;
    startServer(options);
    token_ = login("admin", "admin");
    std::vector<std::unique_ptr<FaldSocket>> slow;
    for (int i = 0; i < 100; ++i) {
        slow.push_back(std::make_unique<FaldSocket>(server_->port()));
        ASSERT_TRUE(slow.back()->send("GET /api/v1 HTTP/1.1\r\nHo")) << i;
    }
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(call("GET", kApi + "/gateway/about", nullptr, token_).status, 200);
    EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(2000)) << "a normal request waited for slow clients";
}

// The in-process server holds the test's root and its port; a damaged document is named.
TEST_F(FaldTest, TheDaemonRefusesAnAddressInUseAServedRootAndADamagedDocument)
{
    const std::string damaged = root_ + "/damaged", port = std::to_string(server_->port());
    const struct {
        std::string root, listen;
        const char* wifi;  // written as db/wifi.json when not null
        std::vector<std::string> says;
    } cases[] = {
        {root_ + "/other", "127.0.0.1:" + port, nullptr, {"address already in use"}},
        {root_, "127.0.0.1:0", nullptr, {"in use by process " + std::to_string(getpid())}},
        {damaged, "127.0.0.1:0", "{\"wifi\": {\"radios\": [", {"db/wifi.json", "not valid JSON", "factory defaults"}},
        {damaged, "127.0.0.1:0", "[1, 2]", {"db/wifi.json", "not an object"}},
        {damaged, "127.0.0.1:0", "", {"db/wifi.json", "empty"}},
    };
    for (const auto& c : cases) {
        std::string why;
        ASSERT_TRUE(!c.wifi || falPrepareRoot(damaged, why)) << why;
        if (c.wifi)
            std::ofstream(damaged + "/db/wifi.json", std::ios::trunc) << c.wifi;
        FaldDaemon d;
        EXPECT_FALSE(d.start({"--root", c.root, "--listen", c.listen}, root_ + "/refused.err"));
        EXPECT_EQ(d.wait(5000), 1) << c.says[0];
        std::string err = readFile(root_ + "/refused.err");
        for (const std::string& part : c.says)
            EXPECT_NE(err.find(part), std::string::npos) << err;
        EXPECT_EQ(err.find("Success"), std::string::npos) << err;
    }
    EXPECT_EQ(falRootLockHolder(root_), getpid());
}

TEST_F(FaldTest, DaemonOnIpv6ServesAndStopsWithinSecondsWhateverClientsDo)
{
    FaldDaemon d;
    ASSERT_TRUE(d.start({"--root", root_ + "/v6", "--listen", "[::1]:0"}, root_ + "/v6.err"))
        << d.firstLine << readFile(root_ + "/v6.err");
    EXPECT_NE(d.firstLine.find("http://[::1]:"), std::string::npos) << d.firstLine;
    EXPECT_FALSE(readFile(root_ + "/v6/db/gateway.json").empty()) << "the root was created from the defaults";
    httplib::Client client("::1", d.port);
    auto login = client.Post("/api/v1/gateway/login", R"({"userName":"admin","password":"admin"})", "application/json");
    ASSERT_TRUE(login);
    EXPECT_EQ(login->status, 200);
    // Connections held open and silent do not hold up the stop.
    std::vector<std::unique_ptr<FaldSocket>> silent;
    for (int i = 0; i < 20; ++i) {
        silent.push_back(std::make_unique<FaldSocket>(d.port, true));
        ASSERT_TRUE(silent.back()->send("GET / HTTP/1.1\r\n"));
    }
    kill(d.pid, SIGTERM);
    EXPECT_EQ(d.wait(5000), 0) << "exit status 0 within 5 s";
}

TEST_F(FaldTest, AHeaderFloodLeavesMemoryBounded)
{
    FaldDaemon d;
    ASSERT_TRUE(d.start({"--root", root_ + "/flood", "--listen", "127.0.0.1:0"}, root_ + "/flood.err"));
    std::vector<std::thread> flooders;
    for (int c = 0; c < 4; ++c)
        flooders.emplace_back([&] {
            FaldSocket s(d.port);
            s.send("GET /api/v1 HTTP/1.1\r\nHost: 127.0.0.1\r\n");
            std::string chunk;
            for (int i = 0; i < 5000; ++i)
                chunk += "X-a: b\r\n";
            for (int i = 0; i < 100 && s.send(chunk); ++i) {  // 500,000 headers in all
            }
        });
    for (std::thread& t : flooders)
        t.join();
    long rss = d.rssKiB();
    EXPECT_GT(rss, 0);
    EXPECT_LT(rss, 64 * 1024) << "KiB";
    EXPECT_EQ(faldRawStatus(d.port, "GET /api/v1 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"), 200) << "still serving";
}
