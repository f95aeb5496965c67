// The host side shared by falctl and the daemon, in-process: requests from JSON, root
// preparation and its writer lock. The batch protocol, the JSON form of responses and the
// diversion of the library's own prints run end to end in FalctlTest.

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <fstream>

#include "host/FalRootLock.h"
#include "support/FalFiles.h"
#include "support/FalTest.h"
#include "tools/common/FalDefaults.h"
#include "tools/common/FalRequest.h"
#include "tools/common/FalRoot.h"

namespace fs = std::filesystem;

namespace {

// A service object whose ServiceDdnsGet records the request it is given.
struct RecordingService : IFalService {
    bool gotNull = false;
    unsigned msgIdSeen = 0;
    FAL_PARAMS_T params;
    std::string requester, body;

    _FAL_RSP_T* ServiceDdnsGet(_FAL_REQ_T* req) override
    {
        if (!req) {
            gotNull = true;
            delete LocalDbCtrl::lockDbObject(API_TYPE_SERVICE, "", "recorder");  // left held
            return nullptr;
        }
        msgIdSeen = req->msgId;
        params = req->params;
        requester = req->requester ? req->requester : "(null)";
        body = req->body ? req->body->toJsonString() : "(none)";
        _FAL_RSP_T* rsp = newFalResponse(apiType, req->msgId + 1, true);
        rsp->status = FAL_CREATED;
        rsp->message = "New Created";
        rsp->data->set("id", 7);
        return rsp;
    }
};

class HostRequestTest : public FalDbTest {
protected:
    // Runs a batch request line on a recording service; the response as JSON text.
    std::string execute(const char* line, RecordingService& service)
    {
        std::string why;
        json_object* request = falParseJson(line, why);
        FalCall call;
        EXPECT_TRUE(falCallFromJson(request, call, why)) << line << ": " << why;
        json_object_put(request);
        service.apiType = API_TYPE_SERVICE;
        std::unique_ptr<_FAL_RSP_T, RspDeleter> rsp(falExecute(service, call));
        json_object* json = falResponseToJson(rsp.get());
        std::string text = falJsonText(json, false);
        json_object_put(json);
        return text;
    }
};

}  // namespace

TEST_F(HostRequestTest, RequestFieldsReachTheOperationThroughTheDispatcher)
{
    RecordingService plain;
    EXPECT_EQ(execute(R"({"apiType":4,"msgId":64,"body":null,"requester":null})", plain),
              R"({"apiType":4,"msgId":65,"status":1,"message":"New Created","data":{"id":7}})");
    EXPECT_EQ(plain.msgIdSeen, 64u);
    EXPECT_EQ(plain.requester, "falctl");
    EXPECT_EQ(plain.body, "(none)");
    EXPECT_TRUE(plain.params.empty());

    RecordingService full;
    execute(R"({"family":"service","op":"ServiceDdnsGet","msgId":64,"apiType":4,"requester":"r1",
                "params":[["@id",3],["!on",true],["!r",1.5],["@id","4"]],"body":{"a":[1,{"b":"c/d"}]}})",
            full);
    EXPECT_EQ(full.params, (FAL_PARAMS_T{{"@id", "3"}, {"!on", "true"}, {"!r", "1.5"}, {"@id", "4"}}));
    EXPECT_EQ(full.requester, "r1");
    EXPECT_EQ(canon(full.body), canon(R"({"a":[1,{"b":"c/d"}]})"));

    // A null request goes to the slot itself, and the locks it leaves are released.
    RecordingService null;
    EXPECT_EQ(execute(R"({"family":"service","op":"ServiceDdnsGet","nullRequest":true})", null), "null");
    EXPECT_TRUE(null.gotNull);
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
}

TEST(HostRoot, FillsAMissingDatabaseFromTheDefaultsWithoutOverwriting)
{
    char tmpl[] = "/tmp/fal-root-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const fs::path base(tmpl);
    std::string error;

    // A fresh root, parents included: every embedded file, byte for byte, and no staging left.
    const fs::path fresh = base / "a" / "b";
    ASSERT_TRUE(falPrepareRoot(fresh.string(), error)) << error;
    for (const FalDefaultFile* f = falDefaultFiles; f->path; ++f)
        EXPECT_EQ(readFile(fresh / f->path), std::string(f->data, f->size)) << f->path;
    for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
        EXPECT_TRUE(fs::exists(fresh / "db" / (std::string(LocalDbCtrl::documentName(t)) + ".json")));
    for (const auto& e : fs::directory_iterator(fresh))
        EXPECT_NE(e.path().filename().string().rfind(".db-", 0), 0u) << e.path();

    // Without db/: missing files are written, existing ones kept. With db/: left as it is.
    fs::create_directories(base / "partial");
    std::ofstream(base / "partial" / "system.cnf") << "# mine\n";
    ASSERT_TRUE(falPrepareRoot((base / "partial").string(), error)) << error;
    EXPECT_EQ(readFile(base / "partial" / "system.cnf"), "# mine\n");
    EXPECT_TRUE(fs::exists(base / "partial" / "db" / "gateway.json"));
    fs::create_directories(base / "used" / "db");
    ASSERT_TRUE(falPrepareRoot((base / "used").string(), error)) << error;
    EXPECT_FALSE(fs::exists(base / "used" / "db" / "wifi.json"));
    EXPECT_FALSE(fs::exists(base / "used" / "system.cnf"));

    fs::remove_all(base);
}

// A fill that fails half-way (here: at a file-size limit that lets one document through and
// stops a later one) leaves no db/ with documents missing.
TEST(HostRoot, AFillThatFailsHalfwayLeavesNoDatabase)
{
    size_t limit = 0, largest = 0;
    bool dbSeen = false;
    for (const FalDefaultFile* f = falDefaultFiles; f->path && !limit; ++f) {
        bool db = std::string(f->path).rfind("db/", 0) == 0;
        limit = db && dbSeen && f->size > largest ? largest : 0;
        largest = std::max(largest, f->size);
        dbSeen = dbSeen || db;
    }
    if (!limit)
        GTEST_SKIP() << "no such order of the default files";
    char root[] = "/tmp/fal-root-XXXXXX";
    ASSERT_NE(mkdtemp(root), nullptr);
    fflush(nullptr);
    pid_t pid = fork();
    if (pid == 0) {
        signal(SIGXFSZ, SIG_IGN);
        rlimit size{limit, limit};
        std::string error;
        _exit(setrlimit(RLIMIT_FSIZE, &size) == 0 && !falPrepareRoot(root, error) ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << "the fill did not fail";
    EXPECT_FALSE(fs::exists(fs::path(root) / "db"));
    fs::remove_all(root);
}

// A root that another process holds: the library's locks fail and nothing is read, until the
// holder ends. Another spelling of a root this process holds is the same root.
class HostRootLockTest : public FalDbTest {};

TEST_F(HostRootLockTest, ARootHeldByAnotherProcessRefusesTheLibrary)
{
    std::string error;
    ASSERT_TRUE(falHoldRootLock(root_, error)) << error;
    EXPECT_EQ(falRootLockHolder(root_), getpid());
    EXPECT_TRUE(falHoldRootLock(root_ + "/.", error)) << error;
    falReleaseRootLock();
    EXPECT_EQ(falRootLockHolder(root_), 0);

    int ready[2], release[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(release), 0);
    fflush(nullptr);
    pid_t holder = fork();
    ASSERT_GE(holder, 0);
    if (holder == 0) {
        char c = falHoldRootLock(root_, error) ? 'y' : 'n';
        (void)!write(ready[1], &c, 1);
        (void)!read(release[0], &c, 1);
        _exit(0);
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    ASSERT_EQ(c, 'y');
    EXPECT_EQ(LocalDbCtrl::lockDbObject(API_TYPE_GATEWAY, nullptr, "embedder"), nullptr);
    LocalDbCtrl::unlockDbObject(API_TYPE_GATEWAY, "embedder");
    EXPECT_EQ(falRootLockHolder(root_), holder);
    (void)!write(release[1], "x", 1);
    waitpid(holder, nullptr, 0);
    for (int fd : {ready[0], ready[1], release[0], release[1]})
        close(fd);
    std::unique_ptr<TreeMapObject> doc(LocalDbCtrl::lockDbObject(API_TYPE_GATEWAY, nullptr, "embedder"));
    EXPECT_NE(doc, nullptr) << "free again once the holder ended";
    doc.reset();
    LocalDbCtrl::unlockDbObject(API_TYPE_GATEWAY, "embedder");
    falReleaseRootLock();
}
