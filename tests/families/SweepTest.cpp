// Every operation of a family, implemented or not, on the factory root: a plausible request, a
// null request, the plausible request with every lock or every save failing, and hostile requests
// (no body, bodies of the wrong JSON type, deep nesting, wrongly typed, null and junk members,
// duplicated, empty and malformed parameters, very long strings). Whatever comes in, the answer
// (if any) carries the family's API type, the operation's response id, a known status and a
// message; no lock stays held, no handle leaks, each document in memory equals the one on disk,
// and a refused request, a failed lock or a failed save changes nothing.
//
// One instantiation per family, named after it, so that the family's tests include its sweep.
#include <unistd.h>

#include <memory>
#include <set>

#include "frame/FalPolicy.h"
#include "hardening/HardeningSupport.h"
#include "host/FalRoot.h"
#include "support/FalTest.h"

namespace {

enum Fault { NO_FAULT, LOCKS_FAIL, SAVES_FAIL };

struct Request {
    std::string name;
    FAL_PARAMS_T params;
    std::string body;  // JSON text, "" for no body
    Fault fault = NO_FAULT;
    bool null = false;  // the operation called with no request at all
};

FAL_PARAMS_T everyParam(const std::string& value)
{
    FAL_PARAMS_T params;
    for (const std::string& name : hardeningParamNames())
        params.emplace_back(name, value);
    return params;
}

// Parses without json-c's default nesting limit (the deep bodies go far beyond it).
TreeMapObject* parse(const std::string& text)
{
    json_tokener* tok = json_tokener_new_ex(4000);
    json_object* node = json_tokener_parse_ex(tok, text.c_str(), int(text.size()) + 1);
    json_tokener_free(tok);
    return node ? TreeMapObject::adopt(node) : nullptr;
}

std::string deep(unsigned depth) { return std::string(depth, '[') + "{}" + std::string(depth, ']'); }

// A value of another JSON type than the stored one.
std::string wrongType(json_type type)
{
    switch (type) {
    case json_type_string: return "12345";
    case json_type_object: return "[]";
    case json_type_array: return "{}";
    case json_type_null: return "true";
    default: return "\"not-a-number\"";
    }
}

// The plain request, the null one and the plain one under failed locks or saves (`hostile` false),
// or the hostile requests.
std::vector<Request> requestsFor(const std::string& factory, bool hostile)
{
    const FAL_PARAMS_T plausible = {{"@id", "1"},          {"@ruleId", "1"},     {"@deviceId", "1"},
                                    {"@interfaceId", "0"}, {"@index", "0"},      {"@categoryId", "0"},
                                    {"@filterId", "0"},    {"@priorityType", "high"}, {"@type", "usb"}};
    const std::string body = R"({"active": true, "name": "sweep"})";
    if (!hostile)
        return {{"plain", plausible, body}, {"null", {}, "", NO_FAULT, true}, {"failed locks", plausible, body, LOCKS_FAIL},
                {"failed saves", plausible, body, SAVES_FAIL}};
    // Bodies holding every member name of the family's stored data.
    const std::vector<HardeningMember> members = hardeningMembers(factory);
    auto every = [&](std::string (*value)(const HardeningMember&)) {
        std::string text = "{";
        for (const HardeningMember& m : members)
            text += (text.size() > 1 ? ",\"" : "\"") + m.name + "\":" + value(m);
        return text + "}";
    };
    auto junk = every([](const HardeningMember& m) {
        return m.type == json_type_array ? std::string(R"([null, 1, "x", [], {}, true, {"id": "x", "active": "y"}])")
                                         : wrongType(m.type);
    });
    FAL_PARAMS_T twice = everyParam("0");
    for (const auto& p : everyParam("junk"))
        twice.push_back(p);
    return {
        {"bare", {}, ""},
        {"array body", everyParam("0"), "[1, 2, 3]"},
        {"string body", everyParam("1"), "\"body\""},
        {"number body", everyParam("0"), "7"},
        {"deep body", everyParam("0"), deep(3000)},
        {"deep members", everyParam("1"), every([](const HardeningMember&) { return deep(64); })},
        {"wrong types", everyParam("abc"), every([](const HardeningMember& m) { return wrongType(m.type); })},
        {"null members", everyParam("-1"), every([](const HardeningMember&) { return std::string("null"); })},
        {"junk arrays", everyParam("99999999999999999999"), junk},
        {"long strings", everyParam(std::string(20000, 'A')),
         every([](const HardeningMember&) { return "\"" + std::string(20000, 'A') + "\""; })},
        {"duplicated params", twice, "{}"},
        {"empty params", everyParam(""), "{}"},
        {"junk, failed saves", everyParam("0"), junk, SAVES_FAIL},
    };
}

class SweepTest : public FalDbTest, public ::testing::WithParamInterface<const char*> {
protected:
    void SetUp() override
    {
        FalDbTest::SetUp();
        // Thousands of saves: keep the root in memory when the machine offers it.
        char shm[] = "/dev/shm/fal-sweep-XXXXXX";
        if (mkdtemp(shm)) {
            ASSERT_EQ(system(("rm -rf " + root_).c_str()), 0);
            root_ = shm;
            LocalDbCtrl::setRoot(root_);
        }
        // The gateway's files (system.cnf, auth_config/) live in the root, the working directory.
        ASSERT_EQ(system(("rm -rf " + root_ + "/db").c_str()), 0);
        std::string why;
        ASSERT_TRUE(falPrepareRoot(root_, why)) << why;
        ASSERT_NE(getcwd(cwd_, sizeof cwd_), nullptr);
        ASSERT_EQ(chdir(root_.c_str()), 0);
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
            factory_.push_back(canon(hardeningFactoryDocument(t)));
    }
    void TearDown() override
    {
        EXPECT_EQ(chdir(cwd_), 0);
        FalDbTest::TearDown();
    }

    void faults(Fault fault)
    {
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
            LocalDbCtrl::failNextLocks(t, fault == LOCKS_FAIL ? 1000 : 0);
            LocalDbCtrl::failNextSaves(t, fault == SAVES_FAIL ? 1000 : 0);
        }
    }

    void send(const FalFamilyInfo& family, IFal& object, const FalOpInfo& op, const Request& r)
    {
        SCOPED_TRACE(std::string(op.name) + " / " + r.name);
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments && changed_; ++t)
            seed(t, factory_[t]);
        changed_ = false;
        std::unique_ptr<TreeMapObject> body(r.body.empty() ? nullptr : parse(r.body));
        ASSERT_EQ(!body, r.body.empty());
        faults(r.fault);
        const long handles = TreeMapObject::liveHandles();
        const unsigned long leftLocks = falLeftLockCount();
        std::unique_ptr<_FAL_RSP_T, RspDeleter> rsp;
        if (r.null) {
            rsp.reset(family.call(&object, op.slot, nullptr));
        } else {
            _FAL_REQ_T req;
            req.apiType = family.apiType;
            req.msgId = op.requestId;
            req.params = r.params;
            req.requester = "sweep";
            req.body = body.get();
            rsp.reset(object.handleFalReq(&req));
        }
        faults(NO_FAULT);
        EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u) << "a lock is still held";
        EXPECT_EQ(falLeftLockCount(), leftLocks) << "the operation left a lock for the dispatcher";
        EXPECT_EQ(TreeMapObject::liveHandles(), handles + (rsp && rsp->data ? 1 : 0)) << "handles leaked";
        static const std::set<uint32_t> known = {FAL_OK,     FAL_CREATED,  FAL_ACCEPTED,  FAL_DELETED,
                                                 FAL_FAILED, FAL_DB_ERROR, FAL_NOT_FOUND, FAL_BAD_REQUEST};
        if (rsp) {
            const std::string name = op.name;
            // Two answers go out under another family's type or another operation's id.
            EXPECT_EQ(rsp->apiType, name == "NetworkDualwanGet" ? unsigned(API_TYPE_SERVICE) : family.apiType);
            EXPECT_EQ(rsp->msgId, name == "ServiceLogSave" ? family.findOp("ServiceLogGet")->requestId + 1
                                                           : falResponseId(family.apiType, op.requestId));
            EXPECT_EQ(known.count(rsp->status), 1u) << "unknown status " << rsp->status;
            EXPECT_NE(rsp->message, nullptr);
        }
        const bool unchanged = r.null || r.fault != NO_FAULT || !rsp || rsp->status >= FAL_FAILED;
        for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
            const std::string disk = onDisk(t);
            changed_ = changed_ || disk != factory_[t];
            EXPECT_EQ(canon(inMemory(t)), disk) << LocalDbCtrl::documentName(t) << ": memory differs from disk";
            if (unchanged) {
                EXPECT_EQ(disk, factory_[t]) << LocalDbCtrl::documentName(t) << " changed";
            }
        }
    }

    // Sends each request to every operation; the ones that wait seconds by design get the first two.
    void sweep(bool hostile)
    {
        const FalFamilyInfo* family = falFamilyByName(GetParam());
        ASSERT_NE(family, nullptr);
        std::unique_ptr<IFal> object(family->create());
        const std::vector<Request> requests = requestsFor(factory_[family->apiType], hostile);
        for (const FalOpInfo& op : family->ops) {
            const bool slow = hardeningSlowOp(op.name);
            for (size_t n = 0; n < requests.size() && !(slow && (hostile || n >= 2)); ++n)
                send(*family, *object, op, requests[n]);
        }
    }

    std::vector<std::string> factory_;
    bool changed_ = true;  // a document differs from the factory's
    char cwd_[4096] = {0};
};

TEST_P(SweepTest, PlainNullAndFailing) { sweep(false); }
TEST_P(SweepTest, Hostile) { sweep(true); }

#define FAL_SWEEP(Prefix, family) INSTANTIATE_TEST_SUITE_P(Prefix, SweepTest, ::testing::Values(family))
FAL_SWEEP(Gateway, "gateway");
FAL_SWEEP(Wifi, "wifi");
FAL_SWEEP(Network, "network");
FAL_SWEEP(Security, "security");
FAL_SWEEP(Service, "service");
FAL_SWEEP(Mediashare, "mediashare");
FAL_SWEEP(Qos, "qos");

}  // namespace
