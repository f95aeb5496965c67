// falctl end to end: the built binary on a temporary root, its standard streams in files.

#ifdef FALCTL_PATH

#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>

#include "host/FalRootLock.h"
#include "support/FalFiles.h"
#include "support/FalTest.h"
#include "tools/common/FalRequest.h"

namespace fs = std::filesystem;

namespace {

struct Result {
    int exit = -1;
    std::string out, err;
};

std::string quoted(const std::string& word)
{
    std::string q = "'";
    for (char c : word)
        q += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return q + "'";
}

// The compact form of JSON text, "<not JSON>" when it is none.
std::string canonJson(const std::string& text)
{
    std::string why;
    json_object* value = falParseJson(text, why);
    std::string s = why.empty() ? falJsonText(value, false) : "<not JSON>";
    json_object_put(value);
    return s;
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);)
        out.push_back(line);
    return out;
}

json_object* member(json_object* o, const char* name)
{
    json_object* m = nullptr;
    return json_object_object_get_ex(o, name, &m) ? m : nullptr;
}

class FalctlTest : public ::testing::Test {
protected:
    void SetUp() override
    {
        char tmpl[] = "/tmp/falctl-test-XXXXXX";
        ASSERT_NE(mkdtemp(tmpl), nullptr);
        dir_ = tmpl;
        root_ = dir_ / "root";
        std::string why;
        script_.reset(falParseJson(readFile(FAL_SOURCE_DIR "/tests/tools/falctl.json"), why), json_object_put);
        ASSERT_TRUE(script_) << why;
    }
    void TearDown() override { fs::remove_all(dir_); }

    // Runs falctl in the test's directory, without FAL_ROOT and FAL_LOG_LEVEL in its environment
    // unless `env` ("NAME=VALUE ...") sets them.
    Result run(const std::vector<std::string>& args, const std::string& input = "", const std::string& env = "")
    {
        std::ofstream(dir_ / "in", std::ios::binary | std::ios::trunc) << input;
        std::string command = "cd " + quoted(dir_) + " && env -u FAL_ROOT -u FAL_LOG_LEVEL " + env + " " +
                              quoted(FALCTL_PATH);
        for (const std::string& a : args)
            command += " " + quoted(a);
        int status = system((command + " <in >out 2>err").c_str());
        return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, readFile(dir_ / "out"), readFile(dir_ / "err")};
    }
    Result inRoot(std::vector<std::string> args, const std::string& input = "")
    {
        args.insert(args.begin(), {"--root", root_.string()});
        return run(args, input);
    }

    fs::path dir_, root_;
    std::shared_ptr<json_object> script_;  // tests/tools/falctl.json
};

}  // namespace

TEST_F(FalctlTest, OpsListsEveryOperationAndOneFamilyByNameOrApiType)
{
    size_t total = 0;
    for (const auto& f : falFamilies())
        total += f.ops.size();
    EXPECT_EQ(lines(inRoot({"ops"}).out).size(), total);
    for (const char* which : {"qos", "6"}) {
        std::vector<std::string> qos = lines(inRoot({"ops", which}).out);
        EXPECT_EQ(qos.size(), falFamilyByName("qos")->ops.size());
        for (const std::string& line : qos)
            EXPECT_EQ(line.rfind("qos ", 0), 0u) << line;
    }
}

TEST_F(FalctlTest, UsageErrorsExitTwoAndTouchNothing)
{
    json_object* cases = member(script_.get(), "usage");
    for (size_t i = 0; i < json_object_array_length(cases); ++i) {
        json_object* words = json_object_array_get_idx(cases, i);
        std::vector<std::string> args;
        for (size_t w = 0; w < json_object_array_length(words); ++w)
            args.push_back(json_object_get_string(json_object_array_get_idx(words, w)));
        SCOPED_TRACE(falJsonText(words, false));
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
    // A request id that no operation has: the dispatcher's answer, a failure status, indented.
    Result bad = inRoot({"call", "service", "100000", "@id=3", "--requester", "me"});
    EXPECT_EQ(bad.exit, 1) << bad.err;
    EXPECT_EQ(canonJson(bad.out), R"({"apiType":4,"msgId":100001,"status":10,"message":"Bad request","data":null})");
    EXPECT_NE(bad.out.find("\n  \"status\""), std::string::npos) << "not pretty: " << bad.out;

    // The body reaches the operation and the change outlives the process; operations by msgId.
    Result write = inRoot({"call", "gateway", "GatewayLedUpdate", "--body", R"({"mode":"off"})"});
    EXPECT_EQ(write.exit, 0) << write.err;
    Result read = inRoot({"call", "0", "40"});
    EXPECT_EQ(read.exit, 0) << read.err;
    EXPECT_NE(canonJson(read.out).find(R"("data":{"mode":"off")"), std::string::npos) << read.out;

    // An operation left at the interface's default: no response.
    for (const auto& args : {std::vector<std::string>{"call", "gateway", "GatewayBatteryGet", "!x=1", "--body", "{}"},
                             std::vector<std::string>{"call", "0", "54"}}) {
        Result none = inRoot(args);
        EXPECT_EQ(none.exit, 3) << none.err;
        EXPECT_EQ(none.out, "null\n");
    }
}

// The lines of tests/tools/falctl.json in one falctl process: each line's answer, in order.
TEST_F(FalctlTest, BatchAnswersTheScriptLineByLine)
{
    std::string why;
    json_object* rows = member(script_.get(), "lines");
    std::string input;
    std::vector<std::pair<std::string, json_object*>> answered;  // the line, its row
    for (size_t i = 0; i < json_object_array_length(rows); ++i) {
        json_object* row = json_object_array_get_idx(rows, i);
        json_object* in = member(row, "in");
        std::string line = json_object_is_type(in, json_type_string) ? json_object_get_string(in)
                                                                      : falJsonText(in, false);
        input += line + "\n";
        if (member(row, "error") || member(row, "status") || json_object_object_get_ex(row, "out", nullptr))
            answered.emplace_back(line, row);
    }
    input.pop_back();  // the last line may end without a newline

    Result r = inRoot({"--log-level", "0", "batch"}, input);
    ASSERT_EQ(r.exit, 0) << r.err;
    std::vector<std::string> got = lines(r.out);
    ASSERT_EQ(got.size(), answered.size()) << r.out;
    for (size_t i = 0; i < got.size(); ++i) {
        SCOPED_TRACE(answered[i].first + "  ->  " + got[i]);
        json_object* row = answered[i].second;
        json_object* answer = falParseJson(got[i], why);
        ASSERT_TRUE(why.empty()) << "not JSON";
        if (json_object* error = member(row, "error")) {
            json_object* message = member(answer, "error");
            ASSERT_NE(message, nullptr);
            EXPECT_EQ(json_object_object_length(answer), 1);
            EXPECT_NE(std::string(json_object_get_string(message)).find(json_object_get_string(error)),
                      std::string::npos);
        } else if (json_object* status = member(row, "status")) {
            EXPECT_EQ(falJsonText(member(answer, "status"), false), falJsonText(status, false));
        } else {
            EXPECT_EQ(got[i], falJsonText(member(row, "out"), false));
        }
        json_object_put(answer);
    }
    EXPECT_EQ(canonJson(readFile(root_ / "db" / "gateway.json")), R"({"led":{"mode":"off","power":false}})");
}

TEST_F(FalctlTest, RootComesFromTheOptionTheEnvironmentOrTheWorkingDirectory)
{
    const std::string line = R"({"control":"dump","family":"qos"})";
    EXPECT_EQ(run({"--root", root_.string(), "batch"}, line, "FAL_ROOT=env").exit, 0);
    EXPECT_TRUE(fs::exists(root_ / "db" / "qos.json"));
    EXPECT_FALSE(fs::exists(dir_ / "env"));
    EXPECT_EQ(run({"batch"}, line, "FAL_ROOT=env").exit, 0);
    EXPECT_TRUE(fs::exists(dir_ / "env" / "db" / "qos.json"));
    Result r = run({"batch"}, line, "FAL_ROOT=");
    EXPECT_EQ(r.exit, 0);
    EXPECT_TRUE(fs::exists(dir_ / "gateway-root" / "db" / "qos.json"));
    EXPECT_EQ(r.out.rfind("{\"document\":{", 0), 0u) << r.out;

    std::ofstream(dir_ / "file") << "x";
    r = run({"--root", (dir_ / "file" / "sub").string(), "batch"}, line);
    EXPECT_EQ(r.exit, 1);
    EXPECT_EQ(r.out, "");
    EXPECT_NE(r.err.find("falctl: "), std::string::npos);
}

TEST_F(FalctlTest, ARootHasOneWriterAtATimeAndADamagedDocumentStopsIt)
{
    const std::vector<std::string> read = {"call", "gateway", "GatewayLedGet"};
    ASSERT_EQ(inRoot(read).exit, 0);

    // This process holds the root: falctl refuses it and names the holder.
    std::string error;
    ASSERT_TRUE(falHoldRootLock(root_.string(), error)) << error;
    Result refused = inRoot(read);
    EXPECT_EQ(refused.exit, 1);
    EXPECT_NE(refused.err.find("in use by process " + std::to_string(getpid())), std::string::npos) << refused.err;
    EXPECT_EQ(refused.out, "");
    // Moving to another root frees this one.
    fs::create_directories(dir_ / "other");
    ASSERT_TRUE(falHoldRootLock((dir_ / "other").string(), error)) << error;
    EXPECT_EQ(inRoot(read).exit, 0);
    falReleaseRootLock();

    std::ofstream(root_ / "db" / "qos.json", std::ios::trunc) << "{\"qos\": tru";
    Result damaged = inRoot(read);
    EXPECT_EQ(damaged.exit, 1);
    EXPECT_NE(damaged.err.find("db/qos.json"), std::string::npos) << damaged.err;
    EXPECT_NE(damaged.err.find("not valid JSON"), std::string::npos) << damaged.err;
}

#endif  // FALCTL_PATH
