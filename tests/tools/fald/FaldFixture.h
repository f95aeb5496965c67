// A fald on port 0 over a fresh factory-default root, and a real HTTP client to talk to it.
#pragma once

#include <httplib.h>
#include <json-c/json.h>

#include <memory>
#include <string>

#include "support/FalTest.h"
#include "tools/fald/FaldServer.h"

// One HTTP answer, its body parsed (null when it is not JSON).
struct FaldAnswer {
    int status = 0;  // 0: no answer at all
    std::string body;
    httplib::Headers headers;
    json_object* json = nullptr;

    FaldAnswer() = default;
    FaldAnswer(const FaldAnswer&) = delete;
    FaldAnswer& operator=(const FaldAnswer&) = delete;
    FaldAnswer(FaldAnswer&& o) noexcept;
    FaldAnswer& operator=(FaldAnswer&& o) noexcept;
    ~FaldAnswer();

    // A member of the body as JSON text ("null" when absent); "status", "data.id" ...
    std::string at(const char* path) const;
    std::string header(const char* name) const;
};

class FaldTest : public FalDbTest {
protected:
    void SetUp() override;
    void TearDown() override;

    // Starts (again) the server with these options; the port is chosen freely.
    void startServer(FaldOptions options = FaldOptions());

    // One request; the body is sent when not null, with the session token when not empty.
    FaldAnswer call(const std::string& method, const std::string& path, const char* body = nullptr,
                    const std::string& token = "");
    // Logs in and returns the session token ("" when the login failed).
    std::string login(const std::string& user, const std::string& password);

    std::unique_ptr<FaldServer> server_;
    std::string token_;  // the admin's session, opened by SetUp

private:
    std::string previousDir_;
};
