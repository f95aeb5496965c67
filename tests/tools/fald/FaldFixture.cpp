#include "tools/fald/FaldFixture.h"

#include <unistd.h>

#include <climits>

#include "tools/common/FalRequest.h"
#include "tools/common/FalRoot.h"

FaldAnswer::FaldAnswer(FaldAnswer&& o) noexcept
    : status(o.status), body(std::move(o.body)), headers(std::move(o.headers)), json(o.json)
{
    o.json = nullptr;
}

FaldAnswer& FaldAnswer::operator=(FaldAnswer&& o) noexcept
{
    std::swap(status, o.status);
    std::swap(body, o.body);
    std::swap(headers, o.headers);
    std::swap(json, o.json);
    return *this;
}

FaldAnswer::~FaldAnswer()
{
    json_object_put(json);
}

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

std::string FaldAnswer::header(const char* name) const
{
    auto it = headers.find(name);
    return it == headers.end() ? "" : it->second;
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
    return answer;
}

std::string FaldTest::login(const std::string& user, const std::string& password)
{
    std::string body = "{\"userName\":\"" + user + "\",\"password\":\"" + password + "\"}";
    FaldAnswer a = call("POST", "/api/v1/gateway/login", body.c_str());
    if (a.status != 200)
        return "";
    std::string token = a.at("token");
    return token.size() > 2 ? token.substr(1, token.size() - 2) : "";
}
