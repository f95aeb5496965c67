// The host side shared by falctl and the daemon, in-process: requests from JSON, responses to
// JSON, the batch-line processor, root preparation and the stdout diversion.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "support/FalTest.h"
#include "tools/common/FalBatch.h"
#include "tools/common/FalDefaults.h"
#include "tools/common/FalOutput.h"
#include "tools/common/FalRequest.h"
#include "tools/common/FalRoot.h"
#include "support/FalFiles.h"

namespace fs = std::filesystem;

namespace {

void writeFile(const fs::path& path, const std::string& text)
{
    fs::create_directories(path.parent_path());
    std::ofstream(path, std::ios::binary | std::ios::trunc) << text;
}

// Parses one answer line; fails the test when it is not a single JSON value.
json_object* parseAnswer(const std::string& line)
{
    std::string why;
    json_object* value = falParseJson(line, why);
    EXPECT_TRUE(why.empty()) << "not JSON: " << line;
    EXPECT_EQ(line.find('\n'), std::string::npos) << "answer spans lines: " << line;
    return value;
}

// The first operation that a family leaves at the interface's default, if any.
bool findDefaultOp(const FalFamilyInfo*& family, const FalOpInfo*& op)
{
    for (const auto& f : falFamilies()) {
        std::unique_ptr<IFal> object(f.create());
        for (const auto& o : f.ops)
            if (!f.implemented(object.get(), o.slot)) {
                family = &f;
                op = &o;
                return true;
            }
    }
    return false;
}

// A request id that no operation of the family answers to.
unsigned unknownRequestId(const FalFamilyInfo& family)
{
    unsigned id = 100000;
    while (family.findRequest(id))
        id += 2;
    return id;
}

// A service object whose ServiceDdnsGet records the request it is given.
struct RecordingService : IFalService {
    bool called = false;
    bool gotNull = false;
    unsigned apiTypeSeen = 0, msgIdSeen = 0;
    FAL_PARAMS_T params;
    std::string requester;
    std::string body;
    bool leaveLock = false;

    _FAL_RSP_T* ServiceDdnsGet(_FAL_REQ_T* req) override
    {
        called = true;
        if (leaveLock)
            delete LocalDbCtrl::lockDbObject(API_TYPE_SERVICE, "", "recorder");
        if (!req) {
            gotNull = true;
            return nullptr;
        }
        apiTypeSeen = req->apiType;
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
    // Builds a call from a JSON line; fails the test when the line is rejected.
    bool build(const char* line, FalCall& call)
    {
        std::string why;
        json_object* request = falParseJson(line, why);
        EXPECT_NE(request, nullptr) << why;
        bool ok = falCallFromJson(request, call, why);
        EXPECT_TRUE(ok) << line << ": " << why;
        json_object_put(request);
        return ok;
    }
};

}  // namespace

TEST_F(HostRequestTest, RequestFieldsReachTheOperationThroughTheDispatcher)
{
    struct Case {
        const char* line;
        FAL_PARAMS_T params;
        const char* requester;
        const char* body;
    };
    const Case cases[] = {
        {R"({"family":"service","op":"ServiceDdnsGet"})", {}, "falctl", "(none)"},
        {R"({"apiType":4,"msgId":64,"body":null,"requester":null})", {}, "falctl", "(none)"},
        {R"({"family":"service","op":"ServiceDdnsGet","msgId":64,"apiType":4,"requester":"r1",
             "params":[["@id","3"],["!name","x"],["@id","4"]],"body":{"a":[1,{"b":"c/d"}]}})",
         {{"@id", "3"}, {"!name", "x"}, {"@id", "4"}}, "r1", R"({"a":[1,{"b":"c/d"}]})"},
        {R"({"family":"service","op":"ServiceDdnsGet","params":[["@id",3],["!on",true],["!r",1.5]],
             "body":[]})",
         {{"@id", "3"}, {"!on", "true"}, {"!r", "1.5"}}, "falctl", "[]"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        FalCall call;
        if (!build(c.line, call))
            continue;
        RecordingService service;
        service.apiType = API_TYPE_SERVICE;
        std::unique_ptr<_FAL_RSP_T, RspDeleter> rsp(falExecute(service, call));
        ASSERT_TRUE(service.called);
        EXPECT_FALSE(service.gotNull);
        EXPECT_EQ(service.apiTypeSeen, unsigned(API_TYPE_SERVICE));
        EXPECT_EQ(service.msgIdSeen, 64u);
        EXPECT_EQ(service.params, c.params);
        EXPECT_EQ(service.requester, c.requester);
        EXPECT_EQ(canon(service.body), canon(c.body)) << service.body;

        json_object* json = falResponseToJson(rsp.get());
        EXPECT_EQ(falJsonText(json, false),
                  R"({"apiType":4,"msgId":65,"status":1,"message":"New Created","data":{"id":7}})");
        json_object_put(json);
    }
}

TEST_F(HostRequestTest, NullRequestCallsTheSlotDirectlyAndReleasesLeftLocks)
{
    FalCall call;
    ASSERT_TRUE(build(R"({"family":"service","op":"ServiceDdnsGet","nullRequest":true})", call));
    RecordingService service;
    service.leaveLock = true;
    EXPECT_EQ(falExecute(service, call), nullptr);
    EXPECT_TRUE(service.gotNull);
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
}

TEST(HostResponse, JsonForm)
{
    EXPECT_EQ(falJsonText(falResponseToJson(nullptr), false), "null");

    _FAL_RSP_T* rsp = newFalResponse(API_TYPE_QOS, 13, false);
    rsp->status = FAL_NOT_FOUND;
    rsp->message = nullptr;
    json_object* json = falResponseToJson(rsp);
    EXPECT_EQ(falJsonText(json, false), R"({"apiType":6,"msgId":13,"status":9,"message":null,"data":null})");
    json_object_put(json);
    freeFalResponse(rsp);

    // Data is shared, not moved: the response still owns it afterwards.
    rsp = newFalResponse(API_TYPE_WIFI, 3, true);
    rsp->data->set("path", "/api/v1/wifi");
    json = falResponseToJson(rsp);
    freeFalResponse(rsp);
    EXPECT_EQ(falJsonText(json, false),
              R"({"apiType":1,"msgId":3,"status":0,"message":"FAL processed fine!","data":{"path":"/api/v1/wifi"}})");
    json_object_put(json);
}

TEST(HostRequest, NamesOfFamiliesOperationsAndParameters)
{
    EXPECT_EQ(falFindFamily("mediashare"), falFamilyByApiType(API_TYPE_MEDIASHARE));
    EXPECT_EQ(falFindFamily("6"), falFamilyByName("qos"));
    for (const char* bad : {"", "7", "Gateway", "-1", "4x", "99999999999"})
        EXPECT_EQ(falFindFamily(bad), nullptr) << bad;

    const FalFamilyInfo& service = *falFamilyByName("service");
    FalCall call;
    ASSERT_TRUE(falSetOperation(service, "ServiceDdnsGet", call));
    EXPECT_EQ(call.msgId, 64u);
    ASSERT_NE(call.op, nullptr);
    ASSERT_TRUE(falSetOperation(service, "6", call));
    EXPECT_STREQ(call.op->name, "ServiceMacfilteringCreate");
    unsigned unknown = unknownRequestId(service);
    ASSERT_TRUE(falSetOperation(service, std::to_string(unknown), call));
    EXPECT_EQ(call.op, nullptr);
    EXPECT_EQ(call.msgId, unknown);
    for (const char* bad : {"", "GatewayLogin", "serviceDdnsGet", "6x", "4294967296"})
        EXPECT_FALSE(falSetOperation(service, bad, call)) << bad;

    struct Param {
        const char* word;
        bool ok;
        const char* name;
        const char* value;
    };
    for (const Param& p : {Param{"@id=3", true, "@id", "3"}, Param{"!q=a=b", true, "!q", "a=b"},
                           Param{"!empty=", true, "!empty", ""}, Param{"=x", false, "", ""},
                           Param{"novalue", false, "", ""}}) {
        std::string name, value;
        EXPECT_EQ(falParseParam(p.word, name, value), p.ok) << p.word;
        if (p.ok) {
            EXPECT_EQ(name, p.name);
            EXPECT_EQ(value, p.value);
        }
    }
}

class BatchProcessorTest : public FalDbTest {
protected:
    std::string process(const std::string& line)
    {
        std::optional<std::string> out = processor_.process(line);
        EXPECT_TRUE(out.has_value()) << "no answer to " << line;
        return out.value_or("");
    }

    FalBatchProcessor processor_;
};

TEST_F(BatchProcessorTest, MalformedLinesAnswerAnErrorAndTheProcessorGoesOn)
{
    const FalFamilyInfo& gateway = *falFamilyByName("gateway");
    const std::string op = gateway.ops.at(0).name;
    const std::string pre = R"({"family":"gateway","op":")" + op + R"(")";
    struct Case {
        std::string line;
        const char* error;  // a part of the message
    };
    const Case cases[] = {
        {"not json", "invalid JSON"},
        {"{\"family\":\"gateway\"", "invalid JSON"},
        {"{} {}", "invalid JSON"},
        {"[1,2]", "JSON object"},
        {"null", "JSON object"},
        {"\"text\"", "JSON object"},
        {R"({"family":"nope","op":"X"})", "unknown family"},
        {R"({"family":4,"op":"X"})", "\"family\" must be a string"},
        {R"({"apiType":99,"msgId":0})", "unknown apiType"},
        {R"({"apiType":-1,"msgId":0})", "\"apiType\""},
        {R"({"apiType":"4","msgId":0})", "\"apiType\""},
        {R"({"op":"GatewayLogin"})", "missing \"family\""},
        {R"({"family":"gateway","apiType":1,"msgId":0})", "different families"},
        {R"({"family":"gateway"})", "missing \"op\""},
        {R"({"family":"gateway","op":"NoSuchOperation"})", "unknown operation"},
        {R"({"family":"wifi","op":")" + op + R"("})", "unknown operation"},
        {pre + R"(,"msgId":)" + std::to_string(gateway.ops.at(0).requestId + 2) + "}", "not the request id"},
        {R"({"family":"gateway","msgId":"2"})", "\"msgId\""},
        {R"({"family":"gateway","msgId":1.5})", "\"msgId\""},
        {pre + R"(,"params":{"@id":"3"}})", "\"params\""},
        {pre + R"(,"params":[["@id"]]})", "\"params\""},
        {pre + R"(,"params":[[3,"3"]]})", "\"params\""},
        {pre + R"(,"params":[["@id",null]]})", "parameter values"},
        {pre + R"(,"params":[["@id",{"a":1}]]})", "parameter values"},
        {pre + R"(,"requester":7})", "\"requester\""},
        {pre + R"(,"nullRequest":1})", "\"nullRequest\""},
        {R"({"family":"gateway","msgId":)" + std::to_string(unknownRequestId(gateway)) +
             R"(,"nullRequest":true})",
         "needs an operation"},
        {pre + R"(,"parms":[]})", "unknown field \"parms\""},
        {R"({"control":"explode","family":"gateway"})", "unknown control"},
        {R"({"control":7,"family":"gateway"})", "\"control\" must be a string"},
        {R"({"control":"dump"})", "missing \"family\""},
        {R"({"control":"dump","family":"attic"})", "unknown family"},
        {R"({"control":"load","family":"gateway"})", "needs a \"document\""},
        {R"({"control":"dump","family":"gateway","document":{}})", "takes no \"document\""},
        {R"({"control":"dump","family":"gateway","count":1})", "takes no \"count\""},
        {R"({"control":"failSave","family":"gateway","count":-1})", "\"count\""},
        {R"({"control":"failLock","family":"gateway","count":"2"})", "\"count\""},
        {R"({"control":"failLock","family":"gateway","extra":true})", "unknown field"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        std::string out = process(c.line);
        json_object* answer = parseAnswer(out);
        json_object* error = nullptr;
        ASSERT_TRUE(json_object_is_type(answer, json_type_object)) << out;
        EXPECT_EQ(json_object_object_length(answer), 1) << out;
        ASSERT_TRUE(json_object_object_get_ex(answer, "error", &error)) << out;
        EXPECT_NE(std::string(json_object_get_string(error)).find(c.error), std::string::npos) << out;
        json_object_put(answer);
    }
    // Nothing was left behind by the rejected lines.
    for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
        EXPECT_EQ(LocalDbCtrlTesting::pendingLockFailures(t), 0u);
        EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(t), 0u);
    }
}

TEST_F(BatchProcessorTest, BlankLinesGetNoAnswer)
{
    for (const char* line : {"", " ", "\t \r", "\r"})
        EXPECT_FALSE(processor_.process(line).has_value()) << '"' << line << '"';
}

TEST_F(BatchProcessorTest, UnknownRequestIdIsAnsweredByTheDispatcher)
{
    for (const auto& family : falFamilies()) {
        unsigned id = unknownRequestId(family);
        std::string out = process(std::string(R"({"family":")") + family.name + R"(","msgId":)" +
                                  std::to_string(id) + "}");
        EXPECT_EQ(out, R"({"apiType":)" + std::to_string(family.apiType) + R"(,"msgId":)" +
                           std::to_string(id + 1) + R"(,"status":10,"message":"Bad request","data":null})");
    }
}

TEST_F(BatchProcessorTest, InterfaceDefaultAnswersNullWithOrWithoutRequest)
{
    const FalFamilyInfo* family;
    const FalOpInfo* op;
    if (!findDefaultOp(family, op))
        GTEST_SKIP() << "every operation is implemented";
    std::string line = std::string(R"({"apiType":)") + std::to_string(family->apiType) + R"(,"op":")" +
                       op->name + "\"";
    EXPECT_EQ(process(line + "}"), "null");
    EXPECT_EQ(process(line + R"(,"nullRequest":true})"), "null");
}

TEST_F(BatchProcessorTest, LoadDumpAndFaultInjectionControls)
{
    const char* doc = R"({"users":[{"name":"admin","password":"a-b"}],"led":{"on":true}})";
    EXPECT_EQ(process(std::string(R"({"control":"load","family":"gateway","document":)") + doc + "}"),
              R"({"ok":true})");
    EXPECT_EQ(onDisk(API_TYPE_GATEWAY), canon(doc));
    EXPECT_EQ(inMemory(API_TYPE_GATEWAY), canon(doc));
    EXPECT_EQ(process(R"({"control":"dump","apiType":0})"), std::string(R"({"document":)") + canon(doc) + "}");
    // Other documents are untouched.
    EXPECT_EQ(process(R"({"control":"dump","family":"wifi"})"), R"({"document":{}})");

    struct Case {
        const char* line;
        unsigned apiType;
        bool save;
        unsigned expected;
    };
    const Case cases[] = {
        {R"({"control":"failSave","family":"service"})", API_TYPE_SERVICE, true, 1},
        {R"({"control":"failSave","family":"service","count":3})", API_TYPE_SERVICE, true, 3},
        {R"({"control":"failSave","apiType":4,"count":0})", API_TYPE_SERVICE, true, 0},
        {R"({"control":"failLock","family":"qos","count":2})", API_TYPE_QOS, false, 2},
        {R"({"control":"failLock","family":"qos","count":0})", API_TYPE_QOS, false, 0},
        {R"({"control":"failLock","apiType":1})", API_TYPE_WIFI, false, 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(process(c.line), R"({"ok":true})");
        EXPECT_EQ(c.save ? LocalDbCtrlTesting::pendingSaveFailures(c.apiType) : LocalDbCtrlTesting::pendingLockFailures(c.apiType),
                  c.expected);
    }
    // Controls do not consume injected failures: only the operations' locks and saves do.
    EXPECT_EQ(process(R"({"control":"dump","family":"wifi"})"), R"({"document":{}})");
    EXPECT_EQ(LocalDbCtrlTesting::pendingLockFailures(API_TYPE_WIFI), 1u);
    LocalDbCtrl::failNextLocks(API_TYPE_WIFI, 0);
}

TEST(HostRoot, FillsAMissingDatabaseFromTheDefaultsWithoutOverwriting)
{
    char tmpl[] = "/tmp/fal-root-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const fs::path base(tmpl);
    std::string error;

    // A fresh root, parents included: every embedded file, byte for byte.
    const fs::path fresh = base / "a" / "b";
    ASSERT_TRUE(falPrepareRoot(fresh.string(), error)) << error;
    unsigned files = 0, documents = 0;
    for (const FalDefaultFile* f = falDefaultFiles; f->path; ++f, ++files) {
        EXPECT_EQ(readFile(fresh / f->path), std::string(f->data, f->size)) << f->path;
        documents += std::string(f->path).rfind("db/", 0) == 0;
    }
    EXPECT_GE(documents, LocalDbCtrl::kDocuments);
    for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
        EXPECT_TRUE(fs::exists(fresh / "db" / (std::string(LocalDbCtrl::documentName(t)) + ".json")))
            << LocalDbCtrl::documentName(t);
    // No staging directory is left behind.
    unsigned entries = 0;
    for (const auto& e : fs::directory_iterator(fresh))
        entries += e.path().filename().string().rfind(".db-", 0) == 0;
    EXPECT_EQ(entries, 0u);

    // A root without db/: missing files are written, existing ones kept.
    const fs::path partial = base / "partial";
    const std::string mine = "# my own configuration\n";
    writeFile(partial / "system.cnf", mine);
    ASSERT_TRUE(falPrepareRoot(partial.string(), error)) << error;
    EXPECT_EQ(readFile(partial / "system.cnf"), mine);
    EXPECT_TRUE(fs::exists(partial / "db" / "gateway.json"));

    // A root with db/ is left as it is, even with files missing.
    const fs::path used = base / "used";
    writeFile(used / "db" / "gateway.json", "{\"mine\":1}");
    ASSERT_TRUE(falPrepareRoot(used.string(), error)) << error;
    EXPECT_EQ(readFile(used / "db" / "gateway.json"), "{\"mine\":1}");
    EXPECT_FALSE(fs::exists(used / "db" / "wifi.json"));
    EXPECT_FALSE(fs::exists(used / "system.cnf"));

    // A root that cannot be a directory.
    writeFile(base / "plain", "x");
    EXPECT_FALSE(falPrepareRoot((base / "plain").string(), error));
    EXPECT_FALSE(error.empty());

    fs::remove_all(base);
}

TEST(HostRoot, DirectoryChoice)
{
    const char* saved = getenv("FAL_ROOT");
    std::string keep = saved ? saved : "";
    setenv("FAL_ROOT", "/from/env", 1);
    EXPECT_EQ(falRootDir("/given"), "/given");
    EXPECT_EQ(falRootDir(nullptr), "/from/env");
    setenv("FAL_ROOT", "", 1);
    EXPECT_EQ(falRootDir(nullptr), "./gateway-root");
    unsetenv("FAL_ROOT");
    EXPECT_EQ(falRootDir(nullptr), "./gateway-root");
    if (saved)
        setenv("FAL_ROOT", keep.c_str(), 1);
}

// In a child process whose descriptors 1 and 2 are files: after the diversion, replies written to
// the private stream reach the original stdout and everything else written to stdout (printf,
// std::cout, the library's own prints) reaches stderr.
TEST(HostOutput, StrayStdoutWritesLandOnStderr)
{
    char tmpl[] = "/tmp/fal-out-XXXXXX";
    ASSERT_NE(mkdtemp(tmpl), nullptr);
    const fs::path dir(tmpl);
    const std::string outPath = (dir / "out").string(), errPath = (dir / "err").string();
    fflush(nullptr);
    pid_t pid = fork();
    ASSERT_GE(pid, 0);
    if (pid == 0) {
        int out = open(outPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        int err = open(errPath.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
        if (out < 0 || err < 0 || dup2(out, 1) < 0 || dup2(err, 2) < 0)
            _exit(10);
        FILE* replies = falDivertStdout();
        if (!replies)
            _exit(11);
        fputs("{\"first\":1}\n", replies);
        fflush(replies);
        printf("printf text\n");
        std::cout << "cout text" << std::endl;
        (void)BE_StrTo<int>("not a number");
        TreeMapObject* tree = TreeMapObject::parse("{\"dumped\":true}");
        tree->dump("tree: ");
        delete tree;
        fflush(stdout);
        fputs("{\"second\":2}\n", replies);
        fclose(replies);
        _exit(0);
    }
    int status = 0;
    ASSERT_EQ(waitpid(pid, &status, 0), pid);
    ASSERT_TRUE(WIFEXITED(status));
    ASSERT_EQ(WEXITSTATUS(status), 0);
    EXPECT_EQ(readFile(outPath), "{\"first\":1}\n{\"second\":2}\n");
    const std::string err = readFile(errPath);
    for (const char* text : {"printf text", "cout text", "EXCEPTION: BE_StrTo", "tree: ", "\"dumped\""})
        EXPECT_NE(err.find(text), std::string::npos) << text << " missing from stderr: " << err;
    fs::remove_all(dir);
}
