// Stress: many threads run mixed operations of every family through handleFalReq for a bounded
// time, among them the cross-family writers in both lock orders (the connectivity summary against
// radio changes, MAC-filtering rule creates against device renames and single-device reads).
// Afterwards every document must parse and equal its cached copy, no lock or handle may be left,
// and the MAC-filtering rules created must be exactly those whose creation was acknowledged.
//
//   fal_stress [--seconds N] [--threads N]
//
// Exit status 0 when every check holds; 1 with the reasons on standard error otherwise; 2 when
// the threads do not finish (a deadlock).

#include <json-c/json.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <memory>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "hardening/HardeningSupport.h"
#include "tools/common/FalRoot.h"

namespace {

using Clock = std::chrono::steady_clock;

std::atomic<unsigned long> operations{0};
std::atomic<unsigned long> refusals{0};
std::mutex failureMutex;
std::vector<std::string> failures;

void fail(const std::string& why)
{
    std::lock_guard<std::mutex> guard(failureMutex);
    if (failures.size() < 50)
        failures.push_back(why);
}

// The family objects, one each, shared by every thread as in a host.
struct Families {
    std::vector<std::unique_ptr<IFal>> objects;
    Families()
    {
        for (const FalFamilyInfo& family : falFamilies())
            objects.emplace_back(family.create());
    }
    IFal& of(const FalFamilyInfo& family) { return *objects.at(family.apiType); }
};

// Runs one request and checks what every request must leave behind. Returns the response status,
// or -1 when there was no response; `data` receives the data's JSON text when asked for.
int call(Families& families, const FalFamilyInfo& family, const FalOpInfo& op, const FAL_PARAMS_T& params,
         const char* body, const std::string& requester, std::string* data = nullptr)
{
    _FAL_REQ_T req;
    req.apiType = family.apiType;
    req.msgId = op.requestId;
    req.params = params;
    req.requester = requester.c_str();
    std::unique_ptr<TreeMapObject> tree(body ? TreeMapObject::parse(body) : nullptr);
    req.body = tree.get();
    _FAL_RSP_T* rsp = families.of(family).handleFalReq(&req);
    ++operations;
    if (LocalDbCtrl::heldLocks() != 0) {
        fail(std::string(op.name) + " returned with a lock held");
        LocalDbCtrl::releaseAllHeld();
    }
    int status = rsp ? int(rsp->status) : -1;
    if (status >= FAL_FAILED)
        ++refusals;
    if (data && rsp && rsp->data)
        *data = rsp->data->toJsonString();
    freeFalResponse(rsp);
    return status;
}

const FalOpInfo& op(const FalFamilyInfo& family, const char* name)
{
    const FalOpInfo* info = family.findOp(name);
    if (!info) {
        fprintf(stderr, "fal_stress: no operation %s\n", name);
        exit(1);
    }
    return *info;
}

struct Worker {
    Families& families;
    Clock::time_point end;
    unsigned seed;
    std::string requester;

    bool running() const { return Clock::now() < end; }
};

// A call a scripted worker makes: its parameters take values 0 .. range-1, its body one of those
// given (null: none).
struct Call {
    const char* family;
    const char* op;
    std::vector<std::pair<const char*, unsigned>> params;
    std::vector<const char*> bodies;
};

// Runs random calls of a script until the end. The scripts take the cross-family locks in both
// orders: the connectivity summary (gateway, then media share, wifi and network) against radio
// changes (wifi, then the gateway), device renames and single-device reads (gateway, then service
// and security) against the rule creates below (service, then the gateway).
void scripted(Worker w, std::vector<Call> script)
{
    std::mt19937 rng(w.seed);
    while (w.running()) {
        const Call& c = script[rng() % script.size()];
        const FalFamilyInfo& family = *falFamilyByName(c.family);
        FAL_PARAMS_T params;
        for (const auto& p : c.params)
            params.emplace_back(p.first, std::to_string(rng() % p.second));
        call(w.families, family, op(family, c.op), params, c.bodies[rng() % c.bodies.size()], w.requester);
    }
}

// MAC-filtering rule creates (service first, then the gateway's devices); every acknowledged id
// is kept.
void ruleCreator(Worker w, std::vector<int>& acknowledged)
{
    const FalFamilyInfo& service = *falFamilyByName("service");
    std::mt19937 rng(w.seed);
    unsigned n = 0;
    while (w.running()) {
        std::string body = "{\"active\": " + std::string(rng() % 2 ? "true" : "false") +
                           ", \"deviceId\": " + std::to_string(rng() % 6) + ", \"name\": \"" + w.requester +
                           "-" + std::to_string(n++) + "\", \"macAddress\": \"02:00:00:00:00:01\"}";
        std::string data;
        if (call(w.families, service, op(service, "ServiceMacfilteringCreate"), {}, body.c_str(), w.requester,
                 &data) != FAL_CREATED)
            continue;
        json_object* reply = json_tokener_parse(data.c_str());
        json_object* id = nullptr;
        if (json_object_object_get_ex(reply, "id", &id))
            acknowledged.push_back(json_object_get_int(id));
        else
            fail("an acknowledged rule create answered no id: " + data);
        json_object_put(reply);
    }
}

// Whether a mixed worker may call the operation: not the ones that wait seconds, and no writer
// of the MAC-filtering list besides the counted creates.
bool mixable(const FalOpInfo& info)
{
    if (hardeningSlowOp(info.name))
        return false;
    const std::string name = info.name;
    return name.rfind("ServiceMacfiltering", 0) != 0 || name == "ServiceMacfilteringList";
}

// Every other implemented operation of every family, with plausible and hostile requests.
void mixedWorker(Worker w)
{
    struct Target {
        const FalFamilyInfo* family;
        const FalOpInfo* info;
    };
    std::vector<Target> targets;
    for (const FalFamilyInfo& family : falFamilies())
        for (const FalOpInfo& info : family.ops)
            if (family.implemented(&w.families.of(family), info.slot) && mixable(info))
                targets.push_back({&family, &info});
    if (targets.empty())
        return;
    static const char* const bodies[] = {
        nullptr,
        "{}",
        "{\"active\": true}",
        "{\"active\": false}",
        "{\"deviceName\": \"mixed\", \"type\": \"tv\"}",
        "{\"name\": \"mixed\", \"active\": true, \"ipAddress\": \"192.168.1.20\", \"macAddress\": "
        "\"3C:52:82:1A:4B:01\", \"deviceId\": 1}",
        "{\"basic\": {\"outputPower\": \"medium\"}, \"enable\": true, \"rules\": []}",
        "[1, 2]",
        "{\"active\": \"yes\", \"id\": \"x\", \"rules\": {}}",
    };
    static const char* const values[] = {"0", "1", "2", "24g", "abc", "-1"};
    std::mt19937 rng(w.seed);
    while (w.running()) {
        const Target& t = targets[rng() % targets.size()];
        const std::string value = values[rng() % (sizeof(values) / sizeof(*values))];
        FAL_PARAMS_T params;
        for (const std::string& name : hardeningParamNames())
            params.emplace_back(name, value);
        call(w.families, *t.family, *t.info, params, bodies[rng() % (sizeof(bodies) / sizeof(*bodies))],
             w.requester);
    }
}

// The ids of the stored MAC-filtering rules, in order.
std::vector<int> macRuleIds()
{
    std::vector<int> ids;
    std::unique_ptr<TreeMapObject> doc(LocalDbCtrl::copyDocument(API_TYPE_SERVICE));
    std::unique_ptr<TreeMapObject> rules(doc ? doc->get("macFiltering.rules") : nullptr);
    for (unsigned i = 0; rules && i < rules->len(); ++i) {
        std::unique_ptr<TreeMapObject> rule(rules->at(i));
        int id = -1;
        if (rule)
            rule->get_ex<int>("id", id);
        ids.push_back(id);
    }
    return ids;
}

}  // namespace

int main(int argc, char** argv)
{
    unsigned seconds = 10, mixed = 4;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (strcmp(argv[i], "--seconds") == 0)
            seconds = unsigned(atoi(argv[i + 1]));
        else if (strcmp(argv[i], "--threads") == 0)
            mixed = unsigned(atoi(argv[i + 1]));
    }

    char tmpl[] = "/tmp/fal-stress-XXXXXX";
    if (!mkdtemp(tmpl)) {
        perror("fal_stress: mkdtemp");
        return 1;
    }
    const std::string dir = tmpl;
    std::string why;
    if (!falEnterRoot(dir, why)) {
        fprintf(stderr, "fal_stress: %s\n", why.c_str());
        return 1;
    }
    Logger::init(LOG_TYPE_TRACE, Logger::TO_NOWHERE);

    // Room for every rule the creators may add.
    {
        TreeMapObject* service = TreeMapObject::parse(hardeningFactoryDocument(API_TYPE_SERVICE).c_str());
        service->set("macFiltering.maxRules", 1 << 30);
        LocalDbCtrl::replaceDocument(API_TYPE_SERVICE, service);
        delete service;
    }
    const std::vector<int> idsBefore = macRuleIds();
    const long handlesBefore = TreeMapObject::liveHandles();

    Families families;
    const Clock::time_point end = Clock::now() + std::chrono::seconds(seconds);
    std::atomic<bool> finished{false};
    std::thread watchdog([&] {
        const Clock::time_point limit = end + std::chrono::seconds(120);
        while (!finished && Clock::now() < limit)
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
        if (!finished) {
            fprintf(stderr, "fal_stress: the workers did not finish: deadlock\n");
            _exit(2);
        }
    });

    std::vector<std::vector<int>> acknowledged(2);
    std::vector<std::thread> threads;
    unsigned seed = 1;
    auto worker = [&](const char* name) { return Worker{families, end, seed++, name + std::to_string(seed)}; };
    const char* const active[] = {"{\"active\": true}", "{\"active\": false}"};
    threads.emplace_back(scripted, worker("summary"), std::vector<Call>{{"gateway", "GatewayConnectivity", {}, {nullptr}}});
    threads.emplace_back(scripted, worker("radio"), std::vector<Call>{
        {"wifi", "WifiRadioChange", {{"@interfaceId", 2}},
         {"{\"basic\": {\"outputPower\": \"high\"}}", "{\"basic\": {\"outputPower\": \"low\"}}"}},
        {"wifi", "WifiRadioActive", {{"@interfaceId", 2}}, {active[0], active[1]}},
        {"wifi", "WifiSsidActive", {{"@interfaceId", 2}, {"@index", 1}}, {active[0], active[1]}}});
    threads.emplace_back(scripted, worker("device"), std::vector<Call>{
        {"gateway", "GatewayDevicesUpdate", {{"@deviceId", 6}}, {"{\"deviceName\": \"renamed\", \"type\": \"phone\"}"}},
        {"gateway", "GatewayDevicesGetOne", {{"@deviceId", 6}}, {nullptr}}});
    for (auto& ids : acknowledged)
        threads.emplace_back(ruleCreator, worker("rules"), std::ref(ids));
    for (unsigned i = 0; i < mixed; ++i)
        threads.emplace_back(mixedWorker, worker("mixed"));
    for (std::thread& t : threads)
        t.join();
    finished = true;
    watchdog.join();

    // Every document parses on disk (snapshot and journal) and equals what the database holds.
    for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
        std::unique_ptr<TreeMapObject> stored(LocalDbCtrl::storedDocument(t));
        std::unique_ptr<TreeMapObject> doc(LocalDbCtrl::copyDocument(t));
        const std::string disk = stored ? stored->toJsonString() : "";
        const std::string memory = doc ? doc->toJsonString() : "";
        if (disk.empty())
            fail(std::string("the ") + LocalDbCtrl::documentName(t) + " document does not parse");
        else if (disk != memory)
            fail(std::string("the ") + LocalDbCtrl::documentName(t) + " document differs from its cached copy");
    }

    // The rules are those there were plus exactly the acknowledged ones.
    std::set<int> expected(idsBefore.begin(), idsBefore.end());
    size_t created = 0;
    for (const auto& ids : acknowledged)
        for (int id : ids) {
            ++created;
            if (!expected.insert(id).second)
                fail("rule id " + std::to_string(id) + " was acknowledged twice");
        }
    const std::vector<int> ids = macRuleIds();
    if (std::set<int>(ids.begin(), ids.end()) != expected || ids.size() != idsBefore.size() + created)
        fail("MAC-filtering rules: " + std::to_string(ids.size()) + " stored, " + std::to_string(idsBefore.size()) +
             " before and " + std::to_string(created) + " acknowledged");

    if (falLeftLockCount() != 0)
        fail("operations left " + std::to_string(falLeftLockCount()) + " lock(s) held");
    if (TreeMapObject::liveHandles() != handlesBefore)
        fail("tree handles leaked: " + std::to_string(TreeMapObject::liveHandles() - handlesBefore));

    const double rate = double(operations) / (seconds ? seconds : 1);
    printf("fal_stress: %u threads, %u s: %lu operations (%.0f/s), %lu refused, %zu rules created\n",
           unsigned(threads.size()), seconds, operations.load(), rate, refusals.load(), created);
    (void)system(("rm -rf " + dir).c_str());
    for (const std::string& f : failures)
        fprintf(stderr, "fal_stress: FAIL: %s\n", f.c_str());
    return failures.empty() ? 0 : 1;
}
