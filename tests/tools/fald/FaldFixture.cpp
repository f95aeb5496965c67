#include "tools/fald/FaldFixture.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <climits>
#include <fstream>
#include <thread>

#include "tools/common/FalRequest.h"
#include "tools/common/FalRoot.h"

std::string FaldAnswer::at(const char* path) const
{
    json_object* node = json;
    std::string rest = path;
    while (node && !rest.empty()) {
        size_t dot = rest.find('.');
        std::string step = rest.substr(0, dot);
        rest = dot == std::string::npos ? "" : rest.substr(dot + 1);
        json_object* next = nullptr;
        if (json_object_is_type(node, json_type_array))
            next = json_object_array_get_idx(node, static_cast<size_t>(atoi(step.c_str())));
        else if (!json_object_object_get_ex(node, step.c_str(), &next))
            return "null";
        node = next;
    }
    return node ? falJsonText(node, false) : "null";
}

std::string FaldAnswer::str(const char* path) const
{
    std::string text = at(path);
    return text.size() >= 2 && text.front() == '"' ? text.substr(1, text.size() - 2) : text;
}

json_object* faldAt(json_object* o, std::initializer_list<const char*> path)
{
    for (const char* name : path)
        if (!o || !json_object_object_get_ex(o, name, &o))
            return nullptr;
    return o;
}

void FaldTest::SetUp()
{
    FalDbTest::SetUp();
    // The factory-default root instead of the fixture's empty documents.
    ASSERT_EQ(system(("rm -rf " + root_ + "/db").c_str()), 0);
    std::string error;
    ASSERT_TRUE(falPrepareRoot(root_, error)) << error;
    LocalDbCtrl::reset();
    char cwd[PATH_MAX];
    ASSERT_NE(getcwd(cwd, sizeof cwd), nullptr);
    previousDir_ = cwd;
    ASSERT_EQ(chdir(root_.c_str()), 0);
    startServer();
    token_ = login("admin", "admin");
    ASSERT_FALSE(token_.empty());
}

void FaldTest::TearDown()
{
    if (server_)
        server_->stop();
    server_.reset();
    if (!previousDir_.empty()) {
        EXPECT_EQ(chdir(previousDir_.c_str()), 0);
    }
    FalDbTest::TearDown();
}

void FaldTest::startServer(FaldOptions options)
{
    if (server_)
        server_->stop();
    options.port = 0;
    options.limits.workers = 4;
    server_ = std::make_unique<FaldServer>(options);
    std::string error;
    ASSERT_TRUE(server_->start(error)) << error;
}

FaldAnswer FaldTest::call(const std::string& method, const std::string& path, const char* body,
                          const std::string& token)
{
    httplib::Client client("127.0.0.1", server_->port());
    httplib::Request req;
    req.method = method;
    req.path = path;
    if (!token.empty())
        req.headers.emplace("Authorization", "Bearer " + token);
    if (body) {
        req.body = body;
        req.headers.emplace("Content-Type", "application/json");
    }
    httplib::Result result = client.send(req);
    FaldAnswer answer;
    if (!result)
        return answer;
    answer.status = result->status;
    answer.body = result->body;
    answer.headers = result->headers;
    std::string why;
    answer.json = falParseJson(answer.body, why);
    answer.parsed.reset(answer.json, json_object_put);
    return answer;
}

std::string FaldTest::login(const std::string& user, const std::string& password)
{
    std::string body = "{\"userName\":\"" + user + "\",\"password\":\"" + password + "\"}";
    FaldAnswer a = call("POST", "/api/v1/gateway/login", body.c_str());
    return a.status == 200 ? a.str("token") : "";
}

FaldSocket::FaldSocket(int port, bool v6)
{
    sockaddr_in addr{AF_INET, htons(static_cast<uint16_t>(port)), {htonl(INADDR_LOOPBACK)}, {}};
    sockaddr_in6 addr6{AF_INET6, htons(static_cast<uint16_t>(port)), 0, in6addr_loopback, 0};
    fd_ = socket(v6 ? AF_INET6 : AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr* to = v6 ? reinterpret_cast<sockaddr*>(&addr6) : reinterpret_cast<sockaddr*>(&addr);
    if (fd_ >= 0 && connect(fd_, to, v6 ? sizeof addr6 : sizeof addr) != 0) {
        close(fd_);
        fd_ = -1;
    }
}

FaldSocket::~FaldSocket()
{
    if (fd_ >= 0)
        close(fd_);
}

bool FaldSocket::send(const std::string& bytes)
{
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::send(fd_, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (n <= 0)
            return false;
        done += static_cast<size_t>(n);
    }
    return true;
}

std::string FaldSocket::receive(int timeoutMs, bool untilReply)
{
    std::string got;
    auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        if (untilReply) {
            size_t head = got.find("\r\n\r\n");
            size_t length = got.find("Content-Length: ");
            if (head != std::string::npos && length != std::string::npos && length < head &&
                got.size() >= head + 4 + strtoul(got.c_str() + length + 16, nullptr, 10))
                return got;
        }
        int left = static_cast<int>(
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count());
        if (left <= 0)
            return got;
        pollfd p{fd_, POLLIN, 0};
        if (poll(&p, 1, left) <= 0)
            return got;
        char buffer[4096];
        ssize_t n = recv(fd_, buffer, sizeof buffer, 0);
        if (n <= 0)
            return got;
        got.append(buffer, static_cast<size_t>(n));
    }
}

int faldStatusOf(const std::string& reply)
{
    if (reply.compare(0, 9, "HTTP/1.1 ") != 0 && reply.compare(0, 9, "HTTP/1.0 ") != 0)
        return 0;
    return atoi(reply.c_str() + 9);
}

int faldRawStatus(int port, const std::string& bytes, int timeoutMs)
{
    FaldSocket s(port);
    return s.send(bytes) ? faldStatusOf(s.receive(timeoutMs)) : 0;
}

bool FaldDaemon::start(const std::vector<std::string>& args, const std::string& errFile)
{
    int out[2];
    if (pipe(out) != 0)
        return false;
    std::vector<std::string> all{FALD_PATH};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& a : all)
        argv.push_back(const_cast<char*>(a.c_str()));
    argv.push_back(nullptr);
    fflush(nullptr);
    pid = fork();
    if (pid < 0)
        return false;
    if (pid == 0) {
        FILE* err = fopen(errFile.c_str(), "w");
        if (err)
            dup2(fileno(err), 2);
        dup2(out[1], 1);
        close(out[0]);
        execv(FALD_PATH, argv.data());
        _exit(127);
    }
    close(out[1]);
    char ch;
    while (read(out[0], &ch, 1) == 1 && ch != '\n')
        firstLine += ch;
    close(out[0]);
    // "fald: serving ROOT on http://HOST:PORT/ (API under ...)"
    size_t end = firstLine.find("/ (API");
    size_t colon = end == std::string::npos ? end : firstLine.rfind(':', end);
    port = colon == std::string::npos ? 0 : atoi(firstLine.c_str() + colon + 1);
    return port > 0;
}

int FaldDaemon::wait(int timeoutMs)
{
    int status = 0;
    for (int waited = 0; pid > 0 && waitpid(pid, &status, WNOHANG) == 0; waited += 5) {
        if (waited >= timeoutMs)
            kill(pid, SIGKILL);
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    bool ended = pid > 0;
    pid = -1;
    return ended && WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

long FaldDaemon::rssKiB() const
{
    std::ifstream in("/proc/" + std::to_string(pid) + "/status");
    for (std::string line; std::getline(in, line);)
        if (line.compare(0, 6, "VmRSS:") == 0)
            return atol(line.c_str() + 6);
    return 0;
}

FaldDaemon::~FaldDaemon()
{
    if (pid > 0) {
        kill(pid, SIGKILL);
        waitpid(pid, nullptr, 0);
    }
}
