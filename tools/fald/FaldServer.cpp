#include "tools/fald/FaldServer.h"

#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tools/common/FalRequest.h"
#include "tools/fald/FaldEngine.h"

const char* const kFaldCookie = "fald_session";

namespace {

// Requester of the calls made without a session (--no-auth).
const char kAnonymous[] = "fald";
// Time-outs of a session when the login reply names none.
const std::chrono::seconds kDefaultIdle{300};
const std::chrono::seconds kDefaultLifetime{3600};
// Static files larger than this are not served.
const off_t kMaxStaticFile = 16 * 1024 * 1024;
// Members that only a session that may change the gateway family receives.
const char* const kSecrets[] = {"password", "accessToken"};
// The largest snapshot the simulator loads in one request.
const size_t kFaldSnapshotMaxBody = 8 * 1024 * 1024;

// The reply that carries an answer of the simulator or of the CORS checks.
FaldHttpReply replyWith(FaldHttpAnswer answer)
{
    FaldHttpReply reply;
    reply.status = answer.status;
    reply.headers = std::move(answer.headers);
    reply.body = std::move(answer.body);
    return reply;
}

// HTTP status of an operation's answer.
int httpStatusOf(const _FAL_RSP_T* rsp)
{
    if (!rsp)
        return 501;
    switch (rsp->status) {
    case FAL_OK:
    case FAL_DELETED:
        return 200;
    case FAL_CREATED:
        return 201;
    case FAL_ACCEPTED:
        return 202;
    case FAL_FAILED:
        return 409;
    case FAL_NOT_FOUND:
        return 404;
    case FAL_BAD_REQUEST:
        return 400;
    default:
        return 500;
    }
}

bool isSecret(const char* key)
{
    for (const char* s : kSecrets)
        if (strcmp(key, s) == 0)
            return true;
    return false;
}

bool hasSecret(json_object* value)
{
    if (json_object_is_type(value, json_type_object)) {
        json_object_object_foreach(value, key, member)
        {
            if (isSecret(key) || hasSecret(member))
                return true;
        }
    } else if (json_object_is_type(value, json_type_array)) {
        for (size_t i = 0, n = json_object_array_length(value); i < n; ++i)
            if (hasSecret(json_object_array_get_idx(value, i)))
                return true;
    }
    return false;
}

void dropSecrets(json_object* value)
{
    if (json_object_is_type(value, json_type_object)) {
        for (const char* s : kSecrets)
            json_object_object_del(value, s);
        json_object_object_foreach(value, key, member)
        {
            (void)key;
            dropSecrets(member);
        }
    } else if (json_object_is_type(value, json_type_array)) {
        for (size_t i = 0, n = json_object_array_length(value); i < n; ++i)
            dropSecrets(json_object_array_get_idx(value, i));
    }
}

// {"status", "message", "data"} of a response; for a null response (an operation this gateway
// does not support) status and message are null too. `redact`: without the secret members (the
// response's own data, which may be shared, is left as it is).
json_object* replyOf(const _FAL_RSP_T* rsp, bool redact)
{
    json_object* out = falResponseToJson(rsp);
    if (!out) {
        out = json_object_new_object();
        json_object_object_add(out, "status", nullptr);
        json_object_object_add(out, "message", json_object_new_string("not supported by this gateway"));
        json_object_object_add(out, "data", nullptr);
        return out;
    }
    json_object_object_del(out, "apiType");
    json_object_object_del(out, "msgId");
    json_object* data = nullptr;
    if (redact && json_object_object_get_ex(out, "data", &data) && hasSecret(data)) {
        json_object* copy = nullptr;
        if (json_object_deep_copy(data, &copy, nullptr) != 0)
            copy = nullptr;  // nothing rather than the secrets
        dropSecrets(copy);
        json_object_object_add(out, "data", copy);
    }
    return out;
}

// The session token of a request: "Authorization: Bearer T", else the session cookie.
std::string tokenOf(const FaldHttpRequest& req)
{
    std::string auth = req.header("Authorization");
    const char bearer[] = "Bearer ";
    if (auth.compare(0, sizeof bearer - 1, bearer) == 0)
        return auth.substr(sizeof bearer - 1);
    std::string cookies = req.header("Cookie");
    std::string wanted = std::string(kFaldCookie) + "=";
    size_t pos = 0;
    while (pos < cookies.size()) {
        while (pos < cookies.size() && (cookies[pos] == ' ' || cookies[pos] == ';'))
            ++pos;
        size_t end = cookies.find(';', pos);
        std::string pair = cookies.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
        if (pair.compare(0, wanted.size(), wanted) == 0)
            return pair.substr(wanted.size());
        pos = end == std::string::npos ? cookies.size() : end + 1;
    }
    return "";
}

// The permission table of a login reply ("permissions": family -> "rw" / "r").
std::map<std::string, std::string> permissionsOf(TreeMapObject* reply)
{
    std::map<std::string, std::string> table;
    json_object* permissions = nullptr;
    if (reply && json_object_object_get_ex(reply->node(), "permissions", &permissions) &&
        json_object_is_type(permissions, json_type_object)) {
        json_object_object_foreach(permissions, name, value)
        {
            if (json_object_is_type(value, json_type_string))
                table[name] = json_object_get_string(value);
        }
    }
    return table;
}

// A time-out of the login reply's timer settings ("system.timer.idleTimeout"), in seconds.
std::chrono::seconds timerOf(TreeMapObject* reply, const char* name, std::chrono::seconds otherwise)
{
    int seconds = 0;
    if (reply && reply->get_ex<int>((std::string("system.timer.") + name).c_str(), seconds) && seconds > 0)
        return std::chrono::seconds(seconds);
    return otherwise;
}

// The session a successful login opens: the user named in the request, the role's table and
// time-outs from the reply.
FaldSession sessionOf(const std::string& user, const _FAL_RSP_T* rsp)
{
    FaldSession session;
    session.user = user;
    const char* role = rsp->data ? rsp->data->get<const char*>("role") : nullptr;
    session.role = role ? role : "";
    session.permissions = permissionsOf(rsp->data);
    session.idleTimeout = timerOf(rsp->data, "idleTimeout", kDefaultIdle);
    session.lifetime = timerOf(rsp->data, "sessionTimeout", kDefaultLifetime);
    return session;
}

// The user a login request names ("" when none).
std::string loginUserOf(const std::string& body)
{
    std::string why;
    json_object* value = falParseJson(body, why);
    json_object* user = nullptr;
    std::string name;
    if (json_object_object_get_ex(value, "userName", &user) && json_object_is_type(user, json_type_string))
        name = json_object_get_string(user);
    json_object_put(value);
    return name;
}

std::string sessionCookie(const std::string& token, bool end)
{
    std::string cookie = std::string(kFaldCookie) + "=" + token + "; Path=/; HttpOnly; SameSite=Strict";
    if (end)
        cookie += "; Max-Age=0";
    return cookie;
}

const char* contentTypeOf(const std::string& path)
{
    static const struct {
        const char* ext;
        const char* type;
    } types[] = {
        {".html", "text/html"},  {".htm", "text/html"},  {".js", "text/javascript"}, {".css", "text/css"},
        {".json", "application/json"}, {".txt", "text/plain"}, {".log", "text/plain"},     {".svg", "image/svg+xml"},
        {".png", "image/png"},   {".ico", "image/x-icon"},
    };
    for (const auto& t : types) {
        size_t n = strlen(t.ext);
        if (path.size() >= n && path.compare(path.size() - n, n, t.ext) == 0)
            return t.type;
    }
    return "application/octet-stream";
}

bool readFile(const std::string& path, std::string& out)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return false;
    std::ostringstream ss;
    ss << in.rdbuf();
    out = ss.str();
    return static_cast<bool>(in) || in.eof();
}

bool isApiPath(const std::string& path)
{
    size_t prefix = strlen(kFaldApiPrefix);
    return path.compare(0, prefix, kFaldApiPrefix) == 0 && (path.size() == prefix || path[prefix] == '/');
}

FaldHttpReply notAllowed(const FaldHttpRequest& req, const std::string& allow)
{
    FaldHttpReply reply = faldError(405, "method " + req.method + " not allowed on " + req.path);
    reply.headers.emplace_back("Allow", allow);
    return reply;
}

}  // namespace

struct FaldServer::Caller {
    bool hasSession = false;
    FaldSession session;
    std::string token;
    bool redact = false;  // may not change the gateway family: secrets are withheld
    int refusal = 0;      // the HTTP status that refuses the request; 0: allowed
    std::string why;
    FaldPairs refusalHeaders;
};

FaldServer::FaldServer(FaldOptions options) : options_(std::move(options)), cors_(options_.corsOrigin)
{
    for (const FalFamilyInfo& family : falFamilies()) {
        if (objects_.size() <= family.apiType)
            objects_.resize(family.apiType + 1);
        objects_[family.apiType].reset(family.create());
    }
    json_object* listing = router_.listing();
    listing_ = falJsonText(listing, false);
    json_object_put(listing);
    json_object* openApi = router_.openApi(options_.sim);
    openApi_ = falJsonText(openApi, false);
    json_object_put(openApi);
    if (faldIsLoopback(options_.host)) {
        hostNames_ = {"localhost", "127.0.0.1", "::1", options_.host};
        hostNames_.insert(hostNames_.end(), options_.allowHosts.begin(), options_.allowHosts.end());
    }
}

FaldServer::~FaldServer()
{
    stop();
}

bool FaldServer::start(std::string& error)
{
    engine_ = std::make_unique<FaldEngine>(*this, options_.limits, std::chrono::milliseconds(options_.latencyMs));
    port_ = engine_->start(options_.host, options_.port, error);
    if (port_ <= 0) {
        engine_.reset();
        return false;
    }
    return true;
}

void FaldServer::stop()
{
    if (engine_)
        engine_->stop();
}

unsigned FaldServer::inFlight() const
{
    return engine_ ? engine_->inFlight() : 0;
}

// Files, the listing and the OpenAPI document never wait. A read waits only for a document lock
// that a write holds, and every write of the root runs here (one writer per root): with no write
// under way a read runs on the event thread, which spares it two hand-overs between threads.
bool FaldServer::mayBlock(const FaldHttpRequest& request) const
{
    if (!isApiPath(request.path))
        return false;
    std::string rest = request.path.substr(strlen(kFaldApiPrefix));
    if (rest.empty() || rest == "/" || rest == "/openapi.json")
        return false;
    return !(request.method == "GET" || request.method == "HEAD") || writes_.load() > 0;
}

bool FaldServer::hostAllowed(const FaldHttpRequest& req) const
{
    std::string host = req.header("Host");
    return hostNames_.empty() || host.empty() || faldHostAllowed(host, hostNames_);
}

FaldPairs FaldServer::replyHeaders(const FaldHttpRequest& request) const
{
    return cors_.headers(request.header("Origin"));
}

// A whole snapshot of the root comes in one request.
size_t FaldServer::bodyLimit(const FaldHttpRequest& request, size_t limit) const
{
    if (options_.sim && request.method == "PUT" && isApiPath(request.path) &&
        faldIsSimPath(request.path.substr(strlen(kFaldApiPrefix))))
        return std::max(limit, kFaldSnapshotMaxBody);
    return limit;
}

FaldHttpReply FaldServer::respond(const FaldHttpRequest& req)
{
    // A preflight is answered at once, with its own headers; every other reply carries the
    // cross-origin headers.
    FaldHttpAnswer preflight;
    if (hostAllowed(req) &&
        cors_.preflight(req.method, req.header("Origin"), req.header("Access-Control-Request-Method"), preflight))
        return replyWith(std::move(preflight));
    FaldHttpReply reply = route(req);
    FaldPairs cors = replyHeaders(req);
    reply.headers.insert(reply.headers.end(), cors.begin(), cors.end());
    return reply;
}

FaldHttpReply FaldServer::route(const FaldHttpRequest& req)
{
    if (!hostAllowed(req))
        return faldError(421, "host \"" + req.header("Host") + "\" is not served here (fald --allow-host NAME)");
    if (isApiPath(req.path))
        return api(req, req.path.substr(strlen(kFaldApiPrefix)));
    return serveStatic(req);
}

FaldHttpReply FaldServer::api(const FaldHttpRequest& req, const std::string& path)
{
    bool read = req.method == "GET" || req.method == "HEAD";
    if (path.empty() || path == "/" || path == "/openapi.json") {
        if (!read)
            return notAllowed(req, "GET");
        FaldHttpReply reply;
        reply.body = path == "/openapi.json" ? openApi_ : listing_;
        return reply;
    }

    // Counted while it runs, so that reads meanwhile go to the workers (see mayBlock).
    struct Writing {
        std::atomic<unsigned>& n;
        bool on;
        ~Writing()
        {
            if (on)
                --n;
        }
    } writing{writes_, !read};
    if (!read)
        ++writes_;

    if (options_.sim && faldIsSimPath(path)) {
        FaldSession who;
        if (options_.auth && !sessions_.use(tokenOf(req), who))
            return faldError(401, "login required");
        return replyWith(faldSimHandle(req.method, path, req.body, !options_.auth || who.role == "admin"));
    }

    FaldMatch match = router_.match(req.method, path);
    if (match.kind == FaldMatch::NOT_FOUND)
        return faldError(404, "no route " + req.path);
    if (match.kind == FaldMatch::WRONG_METHOD)
        return notAllowed(req, match.allow);
    if (req.body.size() > options_.limits.maxBody)
        return faldError(413, "request body over " + std::to_string(options_.limits.maxBody) + " bytes");

    bool login = strcmp(match.route->op->name, "GatewayLogin") == 0;
    std::string loginUser = login ? loginUserOf(req.body) : "";
    Caller caller = authorize(req, *match.route, loginUser);
    if (caller.refusal) {
        FaldHttpReply reply = faldError(caller.refusal, caller.why);
        reply.headers = std::move(caller.refusalHeaders);
        return reply;
    }
    FalCall call;
    FaldHttpReply refusal;
    if (!buildCall(req, match, caller, call, refusal))
        return refusal;
    _FAL_RSP_T* rsp = falExecute(*objects_[call.family->apiType], call);
    FaldHttpReply reply = finish(req, call, caller, rsp);
    freeFalResponse(rsp);
    return reply;
}

// Who asks, and whether they may: the session (none for a login), the permission table, the
// login back-off.
FaldServer::Caller FaldServer::authorize(const FaldHttpRequest& req, const FaldBoundRoute& route,
                                         const std::string& loginUser)
{
    Caller c;
    bool login = strcmp(route.op->name, "GatewayLogin") == 0;
    bool logout = strcmp(route.op->name, "GatewayLogout") == 0;
    c.token = tokenOf(req);
    c.hasSession = !login && !c.token.empty() && sessions_.use(c.token, c.session);
    if (options_.auth && !login) {
        if (!c.hasSession) {
            c.refusal = 401;
            c.why = "login required";
        } else if (!logout && !faldAllows(c.session, route.family->name, route.route->method)) {
            c.refusal = 403;
            c.why = std::string("no permission to ") + (req.method == "GET" || req.method == "HEAD" ? "read " : "change ") +
                    route.family->name;
        }
        c.redact = c.hasSession && !faldAllows(c.session, "gateway", "PUT");
    }
    if (login) {
        auto wait = sessions_.loginWait(req.client, loginUser);
        if (wait > std::chrono::steady_clock::duration::zero()) {
            auto seconds = std::chrono::duration_cast<std::chrono::seconds>(wait).count() + 1;
            c.refusal = 429;
            c.why = "too many failed logins; retry later";
            c.refusalHeaders.emplace_back("Retry-After", std::to_string(seconds));
        }
    }
    return c;
}

// The request as the operation receives it: path variables, then the query, the requester and
// the checked body.
bool FaldServer::buildCall(const FaldHttpRequest& req, FaldMatch& match, const Caller& caller, FalCall& call,
                           FaldHttpReply& refusal)
{
    const FaldBoundRoute& route = *match.route;
    call.family = route.family;
    call.op = route.op;
    call.msgId = route.op->requestId;
    call.params = std::move(match.params);
    for (const auto& q : req.query)
        if (!q.first.empty())
            call.params.emplace_back("!" + q.first, q.second);
    call.requester = caller.hasSession ? caller.session.user : kAnonymous;
    if (!req.body.empty()) {
        std::string why;
        json_object* body = faldParseBody(req.body, why);
        if (!body) {
            refusal = faldError(400, why);
            return false;
        }
        call.body.reset(TreeMapObject::adopt(body));
    }
    return true;
}

// The reply: the operation's answer (without secrets for a caller that may not see them), and
// for a login or logout the session that starts or ends.
FaldHttpReply FaldServer::finish(const FaldHttpRequest& req, const FalCall& call, const Caller& caller,
                                 _FAL_RSP_T* rsp)
{
    FaldHttpReply reply;
    bool login = strcmp(call.op->name, "GatewayLogin") == 0;
    bool logout = strcmp(call.op->name, "GatewayLogout") == 0;
    bool redact = caller.redact;
    std::string newToken;
    if (login) {
        const char* user = call.body ? call.body->get<const char*>("userName") : nullptr;
        if (rsp && rsp->status <= FAL_DELETED) {
            sessions_.loginSucceeded(req.client, user ? user : "");
            FaldSession session = sessionOf(user ? user : "", rsp);
            redact = options_.auth && !faldAllows(session, "gateway", "PUT");
            newToken = sessions_.open(std::move(session));
            if (newToken.empty())
                return faldError(503, "no session can be opened now");
            reply.headers.emplace_back("Set-Cookie", sessionCookie(newToken, false));
        } else {
            sessions_.loginFailed(req.client, user ? user : "");
        }
    } else if (logout && caller.hasSession) {
        sessions_.close(caller.token);
        reply.headers.emplace_back("Set-Cookie", sessionCookie("", true));
    }
    json_object* out = replyOf(rsp, redact);
    if (!newToken.empty())
        json_object_object_add(out, "token", json_object_new_string(newToken.c_str()));
    reply.status = httpStatusOf(rsp);
    reply.body = falJsonText(out, false);
    json_object_put(out);
    Logger::print(LOG_TYPE_PROGRESS, kFaldLog, "fald: %s %s by %s from %s: %d\n", req.method.c_str(),
                  req.path.c_str(), call.requester.c_str(), req.client.c_str(), reply.status);
    return reply;
}

FaldHttpReply FaldServer::serveStatic(const FaldHttpRequest& req)
{
    if (req.method != "GET" && req.method != "HEAD")
        return notAllowed(req, "GET");
    // The file must lie inside the www directory once every link is resolved.
    char base[PATH_MAX];
    char file[PATH_MAX];
    std::string wanted = options_.wwwDir + req.path + (!req.path.empty() && req.path.back() == '/' ? "index.html" : "");
    if (req.path.find('\0') != std::string::npos || !realpath(options_.wwwDir.c_str(), base) ||
        !realpath(wanted.c_str(), file))
        return faldError(404, "no file " + req.path);
    size_t baseLen = strlen(base);
    struct stat st;
    if (strncmp(file, base, baseLen) != 0 || file[baseLen] != '/' || stat(file, &st) != 0 || !S_ISREG(st.st_mode) ||
        st.st_size > kMaxStaticFile)
        return faldError(404, "no file " + req.path);
    FaldHttpReply reply;
    if (!readFile(file, reply.body))
        return faldError(404, "no file " + req.path);
    reply.contentType = contentTypeOf(wanted);
    return reply;
}
