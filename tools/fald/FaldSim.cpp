#include "tools/fald/FaldSim.h"

#include <cstring>
#include <memory>

#include "fal.h"
#include "host/LocalDbCtrlTesting.h"
#include "tools/common/FalDefaults.h"
#include "tools/common/FalRequest.h"

const char* const kFaldSimPrefix = "/sim";

namespace {

struct HandleRef {
    void operator()(TreeMapObject* o) const { delete o; }
};
using Handle = std::unique_ptr<TreeMapObject, HandleRef>;

FaldHttpAnswer error(int status, const std::string& text)
{
    FaldJson o(json_object_new_object());
    json_object_object_add(o.get(), "error", json_object_new_string(text.c_str()));
    FaldHttpAnswer a;
    a.status = status;
    a.body = falJsonText(o.get(), false);
    return a;
}

// {"status": 0, "message": M, "data": D}; takes `data`.
FaldHttpAnswer done(const char* message, json_object* data)
{
    FaldJson o(json_object_new_object());
    json_object_object_add(o.get(), "status", json_object_new_int(0));
    json_object_object_add(o.get(), "message", json_object_new_string(message));
    json_object_object_add(o.get(), "data", data);
    FaldHttpAnswer a;
    a.body = falJsonText(o.get(), false);
    return a;
}

FaldHttpAnswer wrongMethod(const std::string& method, const std::string& path, const char* allow)
{
    FaldHttpAnswer a = error(405, "method " + method + " not allowed on /api/v1" + path);
    a.headers.emplace_back("Allow", allow);
    return a;
}

// Writes every document of `snapshot` (validated beforehand) that differs from the stored one;
// the names of the ones that could not be written.
std::string load(json_object* snapshot)
{
    std::string failed;
    json_object_object_foreach(snapshot, name, document)
    {
        unsigned api = static_cast<unsigned>(LocalDbCtrl::apiTypeOf(name));
        Handle now(LocalDbCtrl::copyDocument(api));
        if (now && json_object_equal(now->node(), document))
            continue;
        Handle h(TreeMapObject::adopt(json_object_get(document)));
        if (LocalDbCtrl::replaceDocument(api, h.get()) != 0)
            failed += failed.empty() ? name : std::string(", ") + name;
    }
    return failed;
}

// A snapshot's problem, or "" when every member is a known family holding an object.
std::string invalid(json_object* snapshot)
{
    if (!json_object_is_type(snapshot, json_type_object))
        return "a snapshot is an object of documents by family name";
    json_object_object_foreach(snapshot, name, document)
    {
        if (LocalDbCtrl::apiTypeOf(name) < 0)
            return std::string("no family ") + name;
        if (!json_object_is_type(document, json_type_object))
            return std::string("the document of ") + name + " is not an object";
    }
    return "";
}

// A non-negative count member of the faults body; false when present but not one.
bool countOf(json_object* body, const char* name, int& out)
{
    json_object* v = nullptr;
    out = -1;
    if (!json_object_object_get_ex(body, name, &v))
        return true;
    if (!json_object_is_type(v, json_type_int) || json_object_get_int64(v) < 0 || json_object_get_int64(v) > 1000000)
        return false;
    out = json_object_get_int(v);
    return true;
}

FaldHttpAnswer faults(const std::string& body)
{
    std::string why;
    FaldJson request(falParseJson(body, why));
    if (!why.empty() || !json_object_is_type(request.get(), json_type_object))
        return error(400, "want {\"family\": F, \"failLock\": N, \"failSave\": N}");
    json_object* family = nullptr;
    int type = -1;
    if (json_object_object_get_ex(request.get(), "family", &family) && json_object_is_type(family, json_type_string))
        type = LocalDbCtrl::apiTypeOf(json_object_get_string(family));
    if (type < 0)
        return error(400, "\"family\" names no family");
    int locks = -1, saves = -1;
    if (!countOf(request.get(), "failLock", locks) || !countOf(request.get(), "failSave", saves))
        return error(400, "\"failLock\" and \"failSave\" are counts (0 clears)");
    unsigned api = static_cast<unsigned>(type);
    if (locks >= 0)
        LocalDbCtrl::failNextLocks(api, static_cast<unsigned>(locks));
    if (saves >= 0)
        LocalDbCtrl::failNextSaves(api, static_cast<unsigned>(saves));
    json_object* data = json_object_new_object();
    json_object_object_add(data, "family", json_object_new_string(json_object_get_string(family)));
    json_object_object_add(data, "failLock", json_object_new_int(static_cast<int>(LocalDbCtrlTesting::pendingLockFailures(api))));
    json_object_object_add(data, "failSave", json_object_new_int(static_cast<int>(LocalDbCtrlTesting::pendingSaveFailures(api))));
    return done("faults armed", data);
}

}  // namespace

bool faldIsSimPath(const std::string& apiPath)
{
    size_t n = strlen(kFaldSimPrefix);
    return apiPath.compare(0, n, kFaldSimPrefix) == 0 && (apiPath.size() == n || apiPath[n] == '/');
}

json_object* faldFactorySnapshot()
{
    json_object* out = json_object_new_object();
    const char prefix[] = "db/";
    for (const FalDefaultFile* f = falDefaultFiles; f->path; ++f) {
        std::string path = f->path;
        if (path.compare(0, sizeof prefix - 1, prefix) != 0 || path.size() < 8 ||
            path.compare(path.size() - 5, 5, ".json") != 0)
            continue;
        std::string name = path.substr(sizeof prefix - 1, path.size() - (sizeof prefix - 1) - 5);
        std::string why;
        json_object* doc = falParseJson(std::string(f->data, f->size), why);
        if (doc && LocalDbCtrl::apiTypeOf(name.c_str()) >= 0)
            json_object_object_add(out, name.c_str(), doc);
        else
            json_object_put(doc);
    }
    return out;
}

FaldHttpAnswer faldSimHandle(const std::string& method, const std::string& apiPath, const std::string& body, bool admin)
{
    std::string path = apiPath;
    bool snapshot = path == "/sim/snapshot", reset = path == "/sim/reset", fault = path == "/sim/faults";
    if (!snapshot && !reset && !fault)
        return error(404, "no route /api/v1" + path);
    if (snapshot && method != "GET" && method != "HEAD" && method != "PUT")
        return wrongMethod(method, path, "GET, PUT");
    if ((reset || fault) && method != "POST")
        return wrongMethod(method, path, "POST");
    if (!admin)
        return error(403, "the simulator controls are for admin sessions");

    if (fault)
        return faults(body);
    if (snapshot && method != "PUT") {
        json_object* out = json_object_new_object();
        for (unsigned api = 0; api < LocalDbCtrl::kDocuments; ++api) {
            Handle doc(LocalDbCtrl::copyDocument(api));
            if (!doc)
                return json_object_put(out), error(500, std::string("cannot read ") + LocalDbCtrl::documentName(api));
            json_object_object_add(out, LocalDbCtrl::documentName(api), json_object_get(doc->node()));
        }
        return done("FAL processed fine!", out);
    }
    FaldJson next;
    if (reset) {
        for (unsigned api = 0; api < LocalDbCtrl::kDocuments; ++api) {  // no fault outlives a reset
            LocalDbCtrl::failNextLocks(api, 0);
            LocalDbCtrl::failNextSaves(api, 0);
        }
        next.reset(faldFactorySnapshot());
    } else {
        std::string why;
        next.reset(falParseJson(body, why));
        if (!why.empty())
            return error(400, "request body is not JSON: " + why);
        std::string problem = invalid(next.get());
        if (!problem.empty())
            return error(400, problem);
    }
    std::string failed = load(next.get());
    if (!failed.empty())
        return error(500, "cannot write " + failed);
    return done(reset ? "factory defaults restored" : "snapshot loaded", nullptr);
}

std::vector<std::pair<std::string, std::string>> FaldCors::headers(const std::string& requestOrigin) const
{
    std::vector<std::pair<std::string, std::string>> out;
    if (!enabled())
        return out;
    out.emplace_back("Vary", "Origin");
    if (requestOrigin == origin_) {
        out.emplace_back("Access-Control-Allow-Origin", origin_);
        out.emplace_back("Access-Control-Allow-Credentials", "true");
        out.emplace_back("Access-Control-Expose-Headers", "Allow, Retry-After");
    }
    return out;
}

bool FaldCors::preflight(const std::string& method, const std::string& requestOrigin,
                         const std::string& requestMethod, FaldHttpAnswer& out) const
{
    if (!enabled() || method != "OPTIONS" || requestOrigin.empty() || requestMethod.empty())
        return false;
    if (requestOrigin != origin_) {
        out = error(403, "origin " + requestOrigin + " is not allowed");
        out.headers.emplace_back("Vary", "Origin");
        return true;
    }
    out = FaldHttpAnswer();
    out.status = 204;
    out.headers = headers(requestOrigin);
    out.headers.emplace_back("Access-Control-Allow-Methods", "GET, HEAD, PUT, PATCH, POST, DELETE");
    out.headers.emplace_back("Access-Control-Allow-Headers", "Content-Type, Authorization");
    out.headers.emplace_back("Access-Control-Max-Age", "600");
    return true;
}
