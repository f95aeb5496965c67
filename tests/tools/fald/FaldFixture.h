// A fald on port 0 over a fresh factory-default root, and a real HTTP client to talk to it.
#pragma once

#include <httplib.h>
#include <json-c/json.h>

#include <memory>
#include <string>
#include <vector>

#include "support/FalTest.h"
#include "tools/fald/FaldServer.h"

// One HTTP answer, its body parsed (null when it is not JSON).
struct FaldAnswer {
    int status = 0;  // 0: no answer at all
    std::string body;
    httplib::Headers headers;
    json_object* json = nullptr;  // owned by `parsed`
    std::shared_ptr<json_object> parsed;

    // A member of the body as JSON text ("null" when absent); "status", "data.id" ...
    std::string at(const char* path) const;
    // The same without the quotes of a string.
    std::string str(const char* path) const;
    std::string header(const char* name) const { return headers.count(name) ? headers.find(name)->second : ""; }
};

// A raw TCP client on loopback, for what an HTTP client library would not send.
class FaldSocket {
public:
    explicit FaldSocket(int port, bool v6 = false);  // connects to loopback; fd() < 0 when it could not
    ~FaldSocket();
    FaldSocket(const FaldSocket&) = delete;
    FaldSocket& operator=(const FaldSocket&) = delete;
    bool send(const std::string& bytes);
    // What arrives until the peer closes, `timeoutMs` passes, or (when `untilReply`) one whole
    // reply with a Content-Length is in.
    std::string receive(int timeoutMs, bool untilReply = true);

private:
    int fd_ = -1;
};

// A member of a JSON object by its path of names; null when absent (or JSON null).
json_object* faldAt(json_object* o, std::initializer_list<const char*> path);

// The HTTP status of a raw reply ("HTTP/1.1 400 ..." -> 400); 0 when there is none.
int faldStatusOf(const std::string& reply);
// Sends raw bytes on a new connection; the status of the reply (0 when none came in time).
int faldRawStatus(int port, const std::string& bytes, int timeoutMs = 2000);

// The fald binary as a child process.
struct FaldDaemon {
    pid_t pid = -1;
    int port = 0;
    std::string firstLine;  // of its standard output

    // Runs fald with the arguments, its standard error to `errFile`, and waits for its first
    // line of output (or its end).
    bool start(const std::vector<std::string>& args, const std::string& errFile);
    // Waits for it to exit; its exit status, or -1 when it was killed or did not end within the
    // time (then it is killed).
    int wait(int timeoutMs);
    // Its resident memory in KiB (0 when unknown).
    long rssKiB() const;
    ~FaldDaemon();
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
