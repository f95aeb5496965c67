// fald tried as an attacker on the LAN would, on loopback: secrets, login guessing, session
// eviction, a second daemon, slow and flooding clients, ambiguous framing, hostile bodies, foreign
// Host headers, a second writer on the root and damaged documents. Each run is bounded by small
// limits set through the options.

#include <sys/stat.h>
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
    FaldAnswer admin = call("GET", kApi + "/gateway/users/web", nullptr, token_);
    ASSERT_EQ(admin.status, 200) << admin.body;
    EXPECT_NE(admin.body.find("\"password\""), std::string::npos) << "the library's reply stays whole for the admin";
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

TEST_F(FaldTest, AnotherAccountsLoginDoesNotClearTheBackOff)
{
    for (unsigned i = 0; i < FaldSessions::kFreeFailures; ++i)
        EXPECT_EQ(call("POST", kApi + "/gateway/login", R"({"userName":"admin","password":"guess"})").status, 409);
    EXPECT_FALSE(login("viewer", "viewer").empty()) << "the viewer is not held up by the admin's failures";
    FaldAnswer slowed = call("POST", kApi + "/gateway/login", R"({"userName":"admin","password":"admin"})");
    EXPECT_EQ(slowed.status, 429) << slowed.body;
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

TEST_F(FaldTest, HostileBodiesAreRefusedBeforeTheLibrarySeesThem)
{
    std::string before = inMemory(API_TYPE_GATEWAY);
    const struct {
        const char* body;
        const char* why;
    } cases[] = {
        {"3", "a top-level scalar"},
        {"\"x\"", "a top-level string"},
        {"null", "a top-level null"},
        {R"({"active":NaN})", "NaN"},
        {R"({"active":-Infinity})", "Infinity"},
        {R"({"n":1e999})", "a double that overflows"},
        {R"({"n":99999999999999999999})", "an integer over int64"},
        {R"({"n":[-9223372036854775809]})", "an integer under int64"},
        {"{\"name\":\"\xff\xfe\"}", "invalid UTF-8"},
        {"{\"name\":\"\xc0\xaf\"}", "an overlong UTF-8 form"},
    };
    for (const auto& c : cases) {
        FaldAnswer a = call("PUT", kApi + "/gateway/led", c.body, token_);
        EXPECT_EQ(a.status, 400) << c.why << ": " << a.body;
        EXPECT_NE(a.at("error"), "null") << c.why;
    }
    EXPECT_EQ(inMemory(API_TYPE_GATEWAY), before);
    // The edges themselves pass.
    EXPECT_EQ(call("PUT", kApi + "/gateway/led", R"({"active":true,"n":-9223372036854775808,"s":"\u00e9"})", token_)
                  .status,
              200);
}

TEST_F(FaldTest, AmbiguousFramingIsRefusedAndClosed)
{
    std::string auth = "Authorization: Bearer " + token_ + "\r\n";
    const struct {
        std::string raw;
        int status;
        const char* why;
    } cases[] = {
        {request("PUT", kApi + "/gateway/led", auth + "Content-Length: 2\r\nContent-Length: 2\r\n", "{}"), 400,
         "two equal Content-Length headers"},
        {request("PUT", kApi + "/gateway/led", auth + "Content-Length: 2\r\nContent-Length: 5\r\n", "{}"), 400,
         "two different Content-Length headers"},
        {request("PUT", kApi + "/gateway/led", auth + "Content-Length: 7\r\nTransfer-Encoding: chunked\r\n",
                 "2\r\n{}\r\n0\r\n\r\n"),
         400, "Content-Length with chunked"},
        {request("PUT", kApi + "/gateway/led", auth + "Transfer-Encoding: gzip\r\n", "{}"), 400, "another coding"},
        {request("PUT", kApi + "/gateway/led", auth + "Content-Length: 1000000\r\n", "{}"), 413, "a body over the limit"},
    };
    for (const auto& c : cases) {
        FaldSocket s(server_->port());
        ASSERT_TRUE(s.send(c.raw)) << c.why;
        std::string reply = s.receive(2000);
        EXPECT_EQ(faldStatusOf(reply), c.status) << c.why << ": " << reply;
        EXPECT_NE(reply.find("Connection: close"), std::string::npos) << c.why;
    }
    // Chunked alone is fine.
    FaldSocket s(server_->port());
    ASSERT_TRUE(s.send(request("PUT", kApi + "/gateway/led", auth + "Transfer-Encoding: chunked\r\n",
                               "f\r\n{\"active\":true}\r\n0\r\n\r\n")));
    EXPECT_EQ(faldStatusOf(s.receive(2000)), 200);
}

TEST_F(FaldTest, AWriteWithoutABodyIsAnsweredAtOnce)
{
    FaldSocket s(server_->port());
    auto start = std::chrono::steady_clock::now();
    ASSERT_TRUE(s.send(request("POST", kApi + "/wifi/0/scan", "Authorization: Bearer " + token_ + "\r\n")));
    std::string reply = s.receive(3000);
    EXPECT_EQ(faldStatusOf(reply), 202) << reply;
    EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(1000));
}

TEST_F(FaldTest, OnLoopbackOnlyHostNamesOfLoopbackAreServed)
{
    for (const char* host : {"127.0.0.1:80", "localhost", "LOCALHOST:8080", "[::1]:8080"}) {
        FaldSocket s(server_->port());
        ASSERT_TRUE(s.send("GET /api/v1 HTTP/1.1\r\nHost: " + std::string(host) + "\r\n\r\n"));
        EXPECT_EQ(faldStatusOf(s.receive(2000)), 200) << host;
    }
    for (const char* host : {"rebind.example", "rebind.example:8080", "127.0.0.1.nip.io"}) {
        FaldSocket s(server_->port());
        ASSERT_TRUE(s.send("GET /api/v1 HTTP/1.1\r\nHost: " + std::string(host) + "\r\n\r\n"));
        std::string reply = s.receive(2000);
        EXPECT_EQ(faldStatusOf(reply), 421) << host << ": " << reply;
    }
    FaldOptions options;
    options.allowHosts = {"gateway.lan"};
    startServer(options);
    FaldSocket s(server_->port());
    ASSERT_TRUE(s.send("GET /api/v1 HTTP/1.1\r\nHost: gateway.lan:8080\r\n\r\n"));
    EXPECT_EQ(faldStatusOf(s.receive(2000)), 200);
}

TEST_F(FaldTest, SlowClientsDoNotStarveOthersAndMissTheirDeadline)
{
    FaldOptions options;
    options.limits.maxPerClient = 200;
    options.limits.maxConnections = 300;
    options.limits.headerTimeout = Ms(1500);
    startServer(options);
    token_ = login("admin", "admin");
    std::vector<std::unique_ptr<FaldSocket>> slow;
    for (int i = 0; i < 100; ++i) {
        slow.push_back(std::make_unique<FaldSocket>(server_->port()));
        ASSERT_GE(slow.back()->fd(), 0) << i;
        ASSERT_TRUE(slow.back()->send("GET /api/v1 HTTP/1.1\r\nHo"));
    }
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(call("GET", kApi + "/gateway/about", nullptr, token_).status, 200);
    EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(1000)) << "a normal request waits for slow clients";
    // One more byte now and then does not buy more time: the header section has a deadline.
    slow[0]->send("s");
    std::string reply = slow[0]->receive(4000, false);
    EXPECT_EQ(faldStatusOf(reply), 408) << reply;
    EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(4000));
}

TEST_F(FaldTest, ConnectionsOverTheLimitsAreRefused)
{
    FaldOptions options;
    options.limits.maxPerClient = 4;
    startServer(options);
    std::vector<std::unique_ptr<FaldSocket>> held;
    for (int i = 0; i < 4; ++i)
        held.push_back(std::make_unique<FaldSocket>(server_->port()));
    FaldSocket extra(server_->port());
    std::string reply = extra.receive(2000, false);
    EXPECT_EQ(faldStatusOf(reply), 503) << reply;
    held.clear();
    // The count goes down as they close.
    std::this_thread::sleep_for(Ms(200));
    EXPECT_EQ(call("GET", kApi).status, 200);
}

TEST_F(FaldTest, TooManyOrTooLargeHeadersAreRefused)
{
    FaldOptions options;
    options.limits.maxHeaders = 8;
    options.limits.maxHeaderBytes = 2048;
    startServer(options);
    std::string many;
    for (int i = 0; i < 9; ++i)
        many += "X-" + std::to_string(i) + ": a\r\n";
    FaldSocket a(server_->port());
    ASSERT_TRUE(a.send(request("GET", kApi, many)));
    EXPECT_EQ(faldStatusOf(a.receive(2000)), 431);
    FaldSocket b(server_->port());
    ASSERT_TRUE(b.send(request("GET", kApi, "X-Big: " + std::string(3000, 'b') + "\r\n")));
    int status = faldStatusOf(b.receive(2000));
    EXPECT_TRUE(status == 431 || status == 413) << status;
}

TEST_F(FaldTest, TheDaemonRefusesAnAddressInUseAndAServedRoot)
{
    // The in-process server holds the test's root and its port.
    FaldDaemon second;
    EXPECT_FALSE(second.start({"--root", root_ + "/other", "--listen", "127.0.0.1:" + std::to_string(server_->port())},
                              root_ + "/second.err"));
    EXPECT_EQ(second.wait(5000), 1);
    std::string err = readFile(root_ + "/second.err");
    EXPECT_NE(err.find("address already in use"), std::string::npos) << err;
    EXPECT_EQ(err.find("Success"), std::string::npos) << err;

    FaldDaemon third;
    EXPECT_FALSE(third.start({"--root", root_, "--listen", "127.0.0.1:0"}, root_ + "/third.err"));
    EXPECT_EQ(third.wait(5000), 1);
    err = readFile(root_ + "/third.err");
    EXPECT_NE(err.find("in use by process " + std::to_string(getpid())), std::string::npos) << err;
    EXPECT_EQ(falRootLockHolder(root_), getpid());
}

TEST_F(FaldTest, ADamagedDocumentStopsStartUpWithItsName)
{
    const struct {
        const char* text;
        const char* what;
    } cases[] = {
        {"{\"wifi\": {\"radios\": [", "not valid JSON"},
        {"[1, 2]", "not an object"},
        {"", "empty"},
    };
    for (const auto& c : cases) {
        std::string root = root_ + "/damaged";
        ASSERT_EQ(system(("rm -rf " + root).c_str()), 0);
        std::string why;
        ASSERT_TRUE(falPrepareRoot(root, why)) << why;
        std::ofstream(root + "/db/wifi.json", std::ios::trunc) << c.text;
        FaldDaemon d;
        EXPECT_FALSE(d.start({"--root", root, "--listen", "127.0.0.1:0"}, root_ + "/damaged.err"));
        EXPECT_EQ(d.wait(5000), 1) << c.what;
        std::string err = readFile(root_ + "/damaged.err");
        EXPECT_NE(err.find("db/wifi.json"), std::string::npos) << err;
        EXPECT_NE(err.find(c.what), std::string::npos) << err;
        EXPECT_NE(err.find("factory defaults"), std::string::npos) << err;
    }
}

TEST_F(FaldTest, DaemonOnIpv6StopsWithinSecondsWhateverClientsDo)
{
    FaldDaemon d;
    ASSERT_TRUE(d.start({"--root", root_ + "/v6", "--listen", "[::1]:0"}, root_ + "/v6.err"))
        << d.firstLine << readFile(root_ + "/v6.err");
    EXPECT_NE(d.firstLine.find("http://[::1]:"), std::string::npos) << d.firstLine;
    // Slow clients on IPv4 too would not matter; these hold connections open and silent.
    std::vector<int> fds;
    for (int i = 0; i < 20; ++i) {
        int fd = socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in6 addr{};
        addr.sin6_family = AF_INET6;
        addr.sin6_port = htons(static_cast<uint16_t>(d.port));
        addr.sin6_addr = in6addr_loopback;
        ASSERT_EQ(connect(fd, reinterpret_cast<sockaddr*>(&addr), sizeof addr), 0);
        ASSERT_EQ(send(fd, "GET / HTTP/1.1\r\n", 16, MSG_NOSIGNAL), 16);
        fds.push_back(fd);
    }
    auto start = std::chrono::steady_clock::now();
    kill(d.pid, SIGTERM);
    EXPECT_EQ(d.wait(5000), 0);
    EXPECT_LT(std::chrono::steady_clock::now() - start, Ms(5000));
    for (int fd : fds)
        close(fd);
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
            for (int i = 0; i < 100; ++i)  // 500,000 headers in all
                if (!s.send(chunk))
                    break;
        });
    for (std::thread& t : flooders)
        t.join();
    long rss = d.rssKiB();
    EXPECT_GT(rss, 0);
    EXPECT_LT(rss, 64 * 1024) << "KiB";
    FaldSocket after(d.port);
    ASSERT_TRUE(after.send("GET /api/v1 HTTP/1.1\r\nHost: 127.0.0.1\r\n\r\n"));
    EXPECT_EQ(faldStatusOf(after.receive(2000)), 200) << "still serving";
}
