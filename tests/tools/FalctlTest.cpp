// falctl end to end: the built binary run on a temporary root, with files as its standard streams.

#ifdef FALCTL_PATH

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <sstream>

#include "host/FalRootLock.h"
#include "support/FalTest.h"
#include "tools/common/FalDefaults.h"
#include "tools/common/FalRequest.h"
#include "support/FalFiles.h"

extern char** environ;

namespace fs = std::filesystem;

namespace {

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

std::string canonJson(const std::string& text)
{
    std::string why;
    json_object* value = falParseJson(text, why);
    if (!why.empty())
        return "<not JSON: " + text + ">";
    std::string s = falJsonText(value, false);
    json_object_put(value);
    return s;
}

struct Result {
    int exit = -1;
    std::string out, err;
};

class FalctlTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/falctl-test-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        root_ = dir_ / "root";
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Runs falctl with the arguments, feeding `input`; `env` adds NAME=VALUE entries to an
    // environment without FAL_ROOT and FAL_LOG_LEVEL. Runs in `cwd` (default: the test directory).
    Result run(const std::vector<std::string>& args, const std::string& input = "",
               const std::vector<std::string>& env = {}, const fs::path& cwd = {})
    {
        const fs::path in = dir_ / "stdin", out = dir_ / "stdout", err = dir_ / "stderr";
        std::ofstream(in, std::ios::binary | std::ios::trunc) << input;

        std::vector<std::string> argStrings{FALCTL_PATH};
        argStrings.insert(argStrings.end(), args.begin(), args.end());
        std::vector<char*> argv;
        for (auto& a : argStrings)
            argv.push_back(const_cast<char*>(a.c_str()));
        argv.push_back(nullptr);
        std::vector<std::string> envStrings;
        for (char** e = environ; *e; ++e)
            if (strncmp(*e, "FAL_ROOT=", 9) != 0 && strncmp(*e, "FAL_LOG_LEVEL=", 14) != 0)
                envStrings.push_back(*e);
        envStrings.insert(envStrings.end(), env.begin(), env.end());
        std::vector<char*> envp;
        for (auto& e : envStrings)
            envp.push_back(const_cast<char*>(e.c_str()));
        envp.push_back(nullptr);
        const std::string workDir = (cwd.empty() ? dir_ : cwd).string();

        fflush(nullptr);
        pid_t pid = fork();
        if (pid == 0) {
            int i = open(in.c_str(), O_RDONLY);
            int o = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            int e = open(err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
            if (i < 0 || o < 0 || e < 0 || dup2(i, 0) < 0 || dup2(o, 1) < 0 || dup2(e, 2) < 0 ||
                chdir(workDir.c_str()) != 0)
                _exit(126);
            execve(argv[0], argv.data(), envp.data());
            _exit(127);
        }
        Result r;
        int status = 0;
        EXPECT_GT(pid, 0);
        EXPECT_EQ(waitpid(pid, &status, 0), pid);
        EXPECT_TRUE(WIFEXITED(status)) << "falctl died, status " << status;
        r.exit = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        r.out = readFile(out);
        r.err = readFile(err);
        return r;
    }

    // falctl --root <root> ...
    Result inRoot(std::vector<std::string> args, const std::string& input = "")
    {
        args.insert(args.begin(), {"--root", root_.string()});
        return run(args, input);
    }

    fs::path dir_, root_;
};

// The first operation that a family leaves at the interface's default, if any.
const FalOpInfo* defaultOp(const FalFamilyInfo*& family)
{
    for (const auto& f : falFamilies()) {
        std::unique_ptr<IFal> object(f.create());
        for (const auto& o : f.ops)
            if (!f.implemented(object.get(), o.slot)) {
                family = &f;
                return &o;
            }
    }
    return nullptr;
}

unsigned unknownRequestId(const FalFamilyInfo& family)
{
    unsigned id = 100000;
    while (family.findRequest(id))
        id += 2;
    return id;
}

}  // namespace

TEST_F(FalctlTest, OpsListsEveryOperationInOrder)
{
    Result r = inRoot({"ops"});
    ASSERT_EQ(r.exit, 0) << r.err;
    std::vector<std::string> got = lines(r.out);
    size_t total = 0;
    for (const auto& f : falFamilies())
        total += f.ops.size();
    ASSERT_EQ(got.size(), total);
    EXPECT_EQ(total, 307u);

    size_t row = 0, nameColumn = std::string::npos;
    for (const auto& f : falFamilies()) {
        std::unique_ptr<IFal> object(f.create());
        for (const auto& op : f.ops) {
            std::istringstream fields(got[row]);
            std::string family, name, state;
            unsigned slot = 0, id = 0;
            fields >> family >> slot >> id >> name >> state;
            EXPECT_EQ(family, f.name) << got[row];
            EXPECT_EQ(slot, op.slot) << got[row];
            EXPECT_EQ(id, op.requestId) << got[row];
            EXPECT_EQ(name, op.name) << got[row];
            EXPECT_EQ(state, f.implemented(object.get(), op.slot) ? "implemented" : "default") << got[row];
            // Aligned: every name starts in the same column.
            size_t column = got[row].find(op.name);
            if (nameColumn == std::string::npos)
                nameColumn = column;
            EXPECT_EQ(column, nameColumn) << got[row];
            ++row;
        }
    }

    // One family only; by name or API type.
    for (const char* which : {"qos", "6"}) {
        Result one = inRoot({"ops", which});
        ASSERT_EQ(one.exit, 0) << one.err;
        std::vector<std::string> qos = lines(one.out);
        ASSERT_EQ(qos.size(), falFamilyByName("qos")->ops.size());
        for (const auto& line : qos)
            EXPECT_EQ(line.rfind("qos ", 0), 0u) << line;
    }
    EXPECT_EQ(inRoot({"ops", "kitchen"}).exit, 2);
}

TEST_F(FalctlTest, UsageErrorsExitTwoAndTouchNothing)
{
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"call"},
        {"call", "gateway"},
        {"call", "kitchen", "GatewayLogin"},
        {"call", "gateway", "NoSuchOperation"},
        {"call", "wifi", "GatewayLogin"},
        {"call", "gateway", "GatewayLogin", "@id"},
        {"call", "gateway", "GatewayLogin", "--body", "{not json"},
        {"call", "gateway", "GatewayLogin", "--body", "{} {}"},
        {"call", "gateway", "GatewayLogin", "--body"},
        {"--log-level", "loud", "batch"},
        {"--frobnicate", "batch"},
        {"batch", "extra"},
        {"dance"},
    };
    for (const auto& args : cases) {
        std::string shown;
        for (const auto& a : args)
            shown += a + " ";
        SCOPED_TRACE(shown);
        Result r = inRoot(args);
        EXPECT_EQ(r.exit, 2);
        EXPECT_EQ(r.out, "");
        EXPECT_NE(r.err.find("usage: falctl"), std::string::npos) << r.err;
        EXPECT_FALSE(fs::exists(root_));
    }
    Result help = run({"--help"});
    EXPECT_EQ(help.exit, 0);
    EXPECT_NE(help.out.find("usage: falctl"), std::string::npos);
}

TEST_F(FalctlTest, CallPrintsTheResponseAndExitsByStatus)
{
    // A request id that no operation has: the dispatcher's answer, a failure status.
    const FalFamilyInfo& service = *falFamilyByName("service");
    unsigned id = unknownRequestId(service);
    Result bad = inRoot({"call", "service", std::to_string(id), "@id=3", "--requester", "me"});
    EXPECT_EQ(bad.exit, 1) << bad.err;
    EXPECT_EQ(canonJson(bad.out), R"({"apiType":4,"msgId":)" + std::to_string(id + 1) +
                                      R"(,"status":10,"message":"Bad request","data":null})");
    EXPECT_NE(bad.out.find("\n  \"status\""), std::string::npos) << "not pretty: " << bad.out;

    // An operation the family leaves at the interface's default: no response.
    const FalFamilyInfo* family = nullptr;
    const FalOpInfo* op = defaultOp(family);
    if (!op)
        GTEST_SKIP() << "every operation is implemented";
    Result none = inRoot({"call", family->name, op->name, "!x=1", "--body", "{\"a\":1}"});
    EXPECT_EQ(none.exit, 3) << none.err;
    EXPECT_EQ(none.out, "null\n");
    Result byId = inRoot({"call", std::to_string(family->apiType), std::to_string(op->requestId)});
    EXPECT_EQ(byId.exit, 3) << byId.err;
    EXPECT_EQ(byId.out, "null\n");
}

TEST_F(FalctlTest, BatchAnswersEveryLineInOrder)
{
    const FalFamilyInfo& gateway = *falFamilyByName("gateway");
    unsigned unknown = unknownRequestId(gateway);
    const FalFamilyInfo* family = nullptr;
    const FalOpInfo* op = defaultOp(family);
    const std::string doc = R"({"led":{"on":false},"users":[{"name":"x\/y"}]})";

    // Input lines and the answers expected ("~error" for any error answer).
    std::vector<std::pair<std::string, std::string>> script = {
        {R"({"family":"gateway","msgId":)" + std::to_string(unknown) + "}",
         R"({"apiType":0,"msgId":)" + std::to_string(unknown + 1) +
             R"(,"status":10,"message":"Bad request","data":null})"},
        {"this is not json", "~error"},
        {"", ""},
        {R"({"family":"garage","op":"GarageOpen"})", "~error"},
        {"   \t", ""},
        {R"({"control":"sing","family":"gateway"})", "~error"},
        {R"({"control":"load","family":"gateway","document":[1,2]})", "~error"},
        {R"({"control":"load","family":"gateway","document":"x"})", "~error"},
        {R"({"control":"load","family":"gateway","document":)" + doc + "}", R"({"ok":true})"},
        {R"({"control":"dump","family":"gateway"})", R"({"document":)" + canonJson(doc) + "}"},
        {R"({"control":"failSave","family":"service","count":2})", R"({"ok":true})"},
        {R"({"control":"failLock","apiType":4})", R"({"ok":true})"},
        {R"({"control":"failLock","apiType":4,"count":0})", R"({"ok":true})"},
    };
    if (op) {
        script.push_back({std::string(R"({"family":")") + family->name + R"(","op":")" + op->name +
                              R"(","params":[["@id","1"]]})",
                          "null"});
        script.push_back({std::string(R"({"apiType":)") + std::to_string(family->apiType) + R"(,"msgId":)" +
                              std::to_string(op->requestId) + R"(,"nullRequest":true})",
                          "null"});
    }
    script.push_back({R"({"control":"dump","family":"wifi"})", "~document"});

    std::string input;
    std::vector<std::string> expected;
    for (const auto& [line, answer] : script) {
        input += line + "\n";
        if (!answer.empty())
            expected.push_back(answer);
    }
    input.pop_back();  // the last line may end without a newline

    Result r = inRoot({"--log-level", "0", "batch"}, input);
    ASSERT_EQ(r.exit, 0) << r.err;
    std::vector<std::string> got = lines(r.out);
    ASSERT_EQ(got.size(), expected.size()) << r.out;
    for (size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE(got[i]);
        EXPECT_NE(canonJson(got[i]).rfind("<not JSON", 0), 0u);
        if (expected[i] == "~error")
            EXPECT_EQ(got[i].rfind("{\"error\":\"", 0), 0u);
        else if (expected[i] == "~document")
            EXPECT_EQ(got[i].rfind("{\"document\":{", 0), 0u);
        else
            EXPECT_EQ(got[i], expected[i]);
    }
    // The loaded document is on disk; the others are the factory defaults.
    EXPECT_EQ(canonJson(readFile(root_ / "db" / "gateway.json")), canonJson(doc));
    EXPECT_EQ(readFile(root_ / "db" / "wifi.json"),
              [] {
                  for (const FalDefaultFile* f = falDefaultFiles; f->path; ++f)
                      if (std::string(f->path) == "db/wifi.json")
                          return std::string(f->data, f->size);
                  return std::string("(no default)");
              }());
}

TEST_F(FalctlTest, RootComesFromTheOptionTheEnvironmentOrTheWorkingDirectory)
{
    const std::string line = R"({"control":"dump","family":"qos"})" "\n";

    // --root wins over FAL_ROOT.
    Result r = run({"--root", root_.string(), "batch"}, line, {"FAL_ROOT=" + (dir_ / "env").string()});
    ASSERT_EQ(r.exit, 0) << r.err;
    EXPECT_TRUE(fs::exists(root_ / "db" / "qos.json"));
    EXPECT_FALSE(fs::exists(dir_ / "env"));

    r = run({"batch"}, line, {"FAL_ROOT=" + (dir_ / "env").string()});
    ASSERT_EQ(r.exit, 0) << r.err;
    EXPECT_TRUE(fs::exists(dir_ / "env" / "db" / "qos.json"));

    r = run({"batch"}, line);
    ASSERT_EQ(r.exit, 0) << r.err;
    EXPECT_TRUE(fs::exists(dir_ / "gateway-root" / "db" / "qos.json"));
    EXPECT_EQ(r.out.rfind("{\"document\":", 0), 0u) << r.out;

    // An existing database is used as it stands.
    std::ofstream(root_ / "db" / "qos.json", std::ios::trunc) << R"({"mine":true})";
    fs::remove(root_ / "system.cnf");
    r = run({"--root", root_.string(), "batch"}, line);
    ASSERT_EQ(r.exit, 0) << r.err;
    EXPECT_EQ(r.out, "{\"document\":{\"mine\":true}}\n");
    EXPECT_FALSE(fs::exists(root_ / "system.cnf"));

    // A root that cannot be created.
    std::ofstream(dir_ / "file") << "x";
    r = run({"--root", (dir_ / "file" / "sub").string(), "batch"}, line);
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err.find("falctl: "), std::string::npos);
}

TEST_F(FalctlTest, ARootHasOneWriterAtATime)
{
    const std::vector<std::string> login = {"call", "gateway", "GatewayLogin", "--body",
                                            R"({"userName":"admin","password":"admin"})"};
    ASSERT_EQ(inRoot(login).exit, 0);

    // This process holds the root: falctl refuses it and names the holder.
    std::string error;
    ASSERT_TRUE(falHoldRootLock(root_.string(), error)) << error;
    EXPECT_EQ(falRootLockHolder(root_.string()), getpid());
    Result refused = inRoot(login);
    EXPECT_EQ(refused.exit, 1);
    EXPECT_NE(refused.err.find("in use by process " + std::to_string(getpid())), std::string::npos) << refused.err;
    EXPECT_EQ(refused.out, "");

    // Moving to another root frees this one; coming back takes it again.
    const fs::path other = dir_ / "other";
    fs::create_directories(other);
    ASSERT_TRUE(falHoldRootLock(other.string(), error)) << error;
    EXPECT_EQ(falRootLockHolder(root_.string()), 0);
    EXPECT_EQ(inRoot(login).exit, 0);
    ASSERT_TRUE(falHoldRootLock((root_ / ".").string(), error)) << error;
    EXPECT_TRUE(falHoldRootLock(root_.string(), error)) << "another spelling of the same root";
    falReleaseRootLock();

    // The library itself refuses a root another process holds: its locks fail, nothing is read.
    int ready[2], release[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(release), 0);
    fflush(nullptr);
    pid_t holder = fork();
    ASSERT_GE(holder, 0);
    if (holder == 0) {
        std::string why;
        char c = falHoldRootLock(root_.string(), why) ? 'y' : 'n';
        (void)!write(ready[1], &c, 1);
        (void)!read(release[0], &c, 1);
        _exit(0);
    }
    char c = 0;
    ASSERT_EQ(read(ready[0], &c, 1), 1);
    ASSERT_EQ(c, 'y');
    LocalDbCtrl::setRoot(root_.string());
    EXPECT_EQ(std::unique_ptr<TreeMapObject>(LocalDbCtrl::lockDbObject(API_TYPE_GATEWAY, nullptr, "embedder")),
              nullptr);
    EXPECT_EQ(falRootLockHolder(root_.string()), holder);
    (void)!write(release[1], "x", 1);
    waitpid(holder, nullptr, 0);
    for (int fd : {ready[0], ready[1], release[0], release[1]})
        close(fd);
    std::unique_ptr<TreeMapObject> doc(LocalDbCtrl::lockDbObject(API_TYPE_GATEWAY, nullptr, "embedder"));
    EXPECT_NE(doc, nullptr) << "free again once the holder ended";
    doc.reset();
    LocalDbCtrl::unlockDbObject(API_TYPE_GATEWAY, "embedder");
    LocalDbCtrl::setRoot(".");
}

TEST_F(FalctlTest, ADamagedDocumentStopsItWithTheFileNamed)
{
    const std::vector<std::string> login = {"call", "gateway", "GatewayLogin", "--body",
                                            R"({"userName":"admin","password":"admin"})"};
    ASSERT_EQ(inRoot(login).exit, 0);
    std::ofstream(root_ / "db" / "qos.json", std::ios::trunc) << "{\"qos\": tru";
    Result r = inRoot(login);
    EXPECT_EQ(r.exit, 1);
    EXPECT_NE(r.err.find("db/qos.json"), std::string::npos) << r.err;
    EXPECT_NE(r.err.find("not valid JSON"), std::string::npos) << r.err;
}

#endif  // FALCTL_PATH
