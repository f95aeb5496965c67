// Hostile requests against every implemented operation of every family: a null request, no body,
// bodies of the wrong JSON type, deep nesting, wrongly typed, null and junk members, missing,
// duplicated and malformed parameters, very long strings, and every lock or save failing. Whatever
// comes in, the operation answers (a response with a known status, or none), leaves no lock held
// and no handle alive, and a refused request leaves every document as it was.
//
// The operations come from the family registry, so operations implemented later are covered
// without touching this file.

#include <sys/wait.h>
#include <unistd.h>

#include <functional>
#include <memory>
#include <set>

#include "hardening/HardeningSupport.h"
#include "support/FalTest.h"
#include "tools/common/FalRoot.h"

namespace {

// Known and reported failures, each "<operation>/<variant>"; delete an entry once the operation
// is fixed (the test then fails until it is deleted).
// Known failures: "<operation>/<variant>" entries that are expected to fail until fixed. Each
// entry must keep failing, so a fix is noticed and the entry deleted.
const std::set<std::string> kKnownFailures = {};

// One hostile request. `body` builds a new reference (null: no body).
struct Variant {
    std::string name;
    bool nullRequest = false;
    FAL_PARAMS_T params;
    std::function<json_object*()> body;
    bool failLocks = false;
    bool failSaves = false;
};

FAL_PARAMS_T everyParam(const std::string& value)
{
    FAL_PARAMS_T params;
    for (const std::string& name : hardeningParamNames())
        params.emplace_back(name, value);
    return params;
}

// An object holding every member of the family's stored data, each given by `make`.
std::function<json_object*()> everyMember(const std::vector<HardeningMember>& members,
                                          std::function<json_object*(const HardeningMember&)> make)
{
    return [members, make] {
        json_object* body = json_object_new_object();
        for (const HardeningMember& m : members)
            json_object_object_add(body, m.name.c_str(), make(m));
        return body;
    };
}

std::function<json_object*()> text(const char* json)
{
    return [json] { return json_tokener_parse(json); };
}

json_object* junkArray()
{
    return json_tokener_parse("[null, 1, \"x\", [], {}, true, {\"id\": \"x\", \"active\": \"y\"}]");
}

std::vector<Variant> variantsFor(const std::vector<HardeningMember>& members)
{
    const std::string longText(20000, 'A');
    std::vector<Variant> v;
    v.push_back({"nullRequest", true, {}, nullptr});
    v.push_back({"bare", false, {}, nullptr});
    v.push_back({"arrayBody", false, everyParam("0"), text("[1, 2, 3]")});
    v.push_back({"stringBody", false, everyParam("1"), text("\"body\"")});
    v.push_back({"numberBody", false, everyParam("0"), text("7")});
    v.push_back({"deepBody", false, everyParam("0"), [] { return hardeningDeepValue(3000); }});
    v.push_back({"deepMembers", false, everyParam("1"),
                 everyMember(members, [](const HardeningMember&) { return hardeningDeepValue(64); })});
    v.push_back({"wrongTypes", false, everyParam("abc"),
                 everyMember(members, [](const HardeningMember& m) { return hardeningWrongType(m.type); })});
    v.push_back({"nullMembers", false, everyParam("-1"),
                 everyMember(members, [](const HardeningMember&) { return (json_object*)nullptr; })});
    v.push_back({"junkArrays", false, everyParam("99999999999999999999"),
                 everyMember(members, [](const HardeningMember& m) {
                     return m.type == json_type_array ? junkArray() : hardeningWrongType(m.type);
                 })});
    v.push_back({"longStrings", false, everyParam(longText),
                 everyMember(members, [longText](const HardeningMember&) {
                     return json_object_new_string(longText.c_str());
                 })});
    FAL_PARAMS_T twice = everyParam("0");
    for (const auto& p : everyParam("junk"))
        twice.push_back(p);
    v.push_back({"duplicatedParams", false, twice, text("{}")});
    v.push_back({"emptyParams", false, everyParam(""), text("{}")});
    v.push_back({"failedLocks", false, everyParam("0"), text("{\"active\": true}"), true, false});
    v.push_back({"failedSaves", false, everyParam("0"),
                 everyMember(members, [](const HardeningMember& m) {
                     return m.type == json_type_array ? junkArray() : hardeningWrongType(m.type);
                 }),
                 false, true});
    return v;
}

bool knownStatus(uint32_t status)
{
    static const std::set<uint32_t> known = {FAL_OK,     FAL_CREATED,   FAL_ACCEPTED,  FAL_DELETED,
                                             FAL_FAILED, FAL_DB_ERROR, FAL_NOT_FOUND, FAL_BAD_REQUEST};
    return known.count(status) != 0;
}

class HostileInputTest : public FalDbTest, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override
    {
        FalDbTest::SetUp();
        ASSERT_NE(getcwd(cwd_, sizeof(cwd_)), nullptr);
        // Thousands of saves: keep the root in memory when the machine offers it.
        char shm[] = "/dev/shm/fal-hostile-XXXXXX";
        if (mkdtemp(shm)) {
            (void)system(("rm -rf " + root_).c_str());
            root_ = shm;
            ASSERT_EQ(system(("mkdir -p " + root_ + "/db").c_str()), 0);
            LocalDbCtrl::setRoot(root_);
        }
        // The gateway's files (system.cnf, auth_config/) and what operations write (www/files/)
        // live in the root, which is the working directory as in the hosts.
        std::string why;
        std::string files = root_ + "/files";
        ASSERT_TRUE(falPrepareRoot(files, why)) << why;
        ASSERT_EQ(chdir(files.c_str()), 0);
    }
    void TearDown() override
    {
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
            LocalDbCtrl::failNextLocks(t, 0);
            LocalDbCtrl::failNextSaves(t, 0);
        }
        EXPECT_EQ(chdir(cwd_), 0);
        // Each attack checks the locks it left itself, known failures included.
        leftLocksAtStart_ = falLeftLockCount();
        FalDbTest::TearDown();
    }

    void seedFactory()
    {
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
            seed(t, hardeningFactoryDocument(t));
    }

    std::vector<std::string> snapshot()
    {
        std::vector<std::string> docs;
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
            docs.push_back(canon(inMemory(t)));
        return docs;
    }

    void injectFaults(const Variant& v)
    {
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
            LocalDbCtrl::failNextLocks(t, v.failLocks ? 1000 : 0);
            LocalDbCtrl::failNextSaves(t, v.failSaves ? 1000 : 0);
        }
    }

    // Runs one hostile request; returns what went wrong ("" when nothing did).
    std::string attack(const FalFamilyInfo& family, IFal& object, const FalOpInfo& op, const Variant& v)
    {
        seedFactory();
        const std::vector<std::string> before = snapshot();
        std::unique_ptr<TreeMapObject> body(v.body ? TreeMapObject::adopt(v.body()) : nullptr);
        const long handles = TreeMapObject::liveHandles();
        const unsigned long leftLocks = falLeftLockCount();
        injectFaults(v);

        _FAL_RSP_T* rsp;
        if (v.nullRequest) {
            rsp = family.call(&object, op.slot, nullptr);
        } else {
            _FAL_REQ_T req;
            req.apiType = family.apiType;
            req.msgId = op.requestId;
            req.params = v.params;
            req.requester = "hostile";
            req.body = body.get();
            rsp = object.handleFalReq(&req);
        }

        std::string problems;
        const unsigned held = LocalDbCtrl::releaseAllHeld();
        if (held || falLeftLockCount() != leftLocks)
            problems += " left a lock held;";
        std::unique_ptr<_FAL_RSP_T, RspDeleter> owned(rsp);
        if (TreeMapObject::liveHandles() != handles + ((rsp && rsp->data) ? 1 : 0))
            problems += " leaked tree handles;";
        if (rsp && !knownStatus(rsp->status))
            problems += " answered the unknown status " + std::to_string(rsp->status) + ";";
        if (rsp && !rsp->message)
            problems += " answered without a message;";
        const bool refused = !rsp || rsp->status >= FAL_FAILED;
        const std::string answer = rsp ? std::to_string(rsp->status) + " \"" + (rsp->message ? rsp->message : "") + "\""
                                       : std::string("no response");
        owned.reset();

        injectFaults(Variant{});
        const std::vector<std::string> after = snapshot();
        // With every lock or every save failing nothing can be stored, whatever the answer says.
        if ((refused || v.failLocks || v.failSaves) && after != before) {
            for (unsigned t = 0; t < after.size(); ++t)
                if (after[t] != before[t])
                    problems += std::string(" changed the ") + LocalDbCtrl::documentName(t) +
                                " document although " + (refused ? "refused (" + answer + ")" : "nothing could be stored") + ";";
        }
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
            if (onDisk(t) != after[t])
                problems += std::string(" memory and disk differ for ") + LocalDbCtrl::documentName(t) + ";";
        return problems;
    }

    // Runs the attack in a child process, so that a crash is reported with the operation and
    // the request instead of ending the test run. The child leaves without exit handlers: tree
    // handles are counted by the attack itself, other leaks are the fuzzer's to find.
    std::string isolated(const FalFamilyInfo& family, IFal& object, const FalOpInfo& op, const Variant& v)
    {
        int fds[2];
        if (pipe(fds) != 0)
            return " cannot make a pipe;";
        fflush(nullptr);
        const pid_t pid = fork();
        if (pid == 0) {
            close(fds[0]);
            const std::string problems = attack(family, object, op, v);
            ssize_t written = write(fds[1], problems.data(), problems.size());
            close(fds[1]);
            _exit(written == ssize_t(problems.size()) ? 0 : 3);
        }
        close(fds[1]);
        std::string problems;
        char buffer[4096];
        for (ssize_t n; (n = read(fds[0], buffer, sizeof(buffer))) > 0;)
            problems.append(buffer, size_t(n));
        close(fds[0]);
        int status = 0;
        waitpid(pid, &status, 0);
        if (WIFSIGNALED(status))
            problems += " crashed with signal " + std::to_string(WTERMSIG(status)) + ";";
        else if (!WIFEXITED(status) || WEXITSTATUS(status) != 0)
            problems += " ended with exit status " + std::to_string(WEXITSTATUS(status)) + ";";
        return problems;
    }

    char cwd_[4096] = {0};
};

TEST_P(HostileInputTest, EveryOperationSurvivesHostileRequests)
{
    const FalFamilyInfo* family = falFamilyByName(GetParam());
    ASSERT_NE(family, nullptr);
    std::unique_ptr<IFal> object(family->create());
    const auto members = hardeningMembers(hardeningFactoryDocument(family->apiType));
    const auto variants = variantsFor(members);

    unsigned attacked = 0;
    for (const FalOpInfo& op : family->ops) {
        if (!family->implemented(object.get(), op.slot))
            continue;
        for (const Variant& v : variants) {
            // Operations that wait seconds by design get the two requests that matter most.
            if (hardeningSlowOp(op.name) && v.name != "nullRequest" && v.name != "wrongTypes")
                continue;
            const std::string id = std::string(op.name) + "/" + v.name;
            const std::string problems = isolated(*family, *object, op, v);
            ++attacked;
            if (kKnownFailures.count(id)) {
                EXPECT_FALSE(problems.empty()) << id << " is listed as a known failure but passes now";
                continue;
            }
            EXPECT_EQ(problems, "") << id << ":" << problems;
        }
    }
    RecordProperty("attacks", static_cast<int>(attacked));
}

std::vector<const char*> familyNames()
{
    std::vector<const char*> names;
    for (const FalFamilyInfo& family : falFamilies())
        names.push_back(family.name);
    return names;
}

INSTANTIATE_TEST_SUITE_P(Families, HostileInputTest, ::testing::ValuesIn(familyNames()),
                         [](const ::testing::TestParamInfo<const char*>& info) { return info.param; });

}  // namespace
