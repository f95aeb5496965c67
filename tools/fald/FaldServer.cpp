#include "tools/fald/FaldServer.h"

#include <httplib.h>
#include <limits.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <chrono>
#include <cstring>
#include <fstream>
#include <sstream>

#include "tools/common/FalRequest.h"

const char* const kFaldCookie = "fald_session";

namespace {

// Requester of the calls made without a session (--no-auth).
const char kAnonymous[] = "fald";
// Idle time-out of a session when the login reply names none.
const std::chrono::seconds kDefaultIdle{300};
// Static files larger than this are not served.
const off_t kMaxStaticFile = 16 * 1024 * 1024;

const char kJson[] = "application/json";
// Log group of fald's own records (the families use 0, 12, 14, 15 and 17).
const LOG_GROUP_T kFaldLog = static_cast<LOG_GROUP_T>(1);

class InFlight {
public:
    explicit InFlight(std::atomic<unsigned>& count) : count_(count) { ++count_; }
    ~InFlight() { --count_; }

private:
    std::atomic<unsigned>& count_;
};

void answerError(httplib::Response& res, int httpStatus, const std::string& text)
{
    json_object* o = json_object_new_object();
    json_object_object_add(o, "error", json_object_new_string(text.c_str()));
    res.status = httpStatus;
    res.set_content(falJsonText(o, false), kJson);
    json_object_put(o);
}

void answerWith(httplib::Response& res, const FaldHttpAnswer& answer)
{
    res.status = answer.status;
    for (const auto& header : answer.headers)
        res.set_header(header.first, header.second);
    if (!answer.body.empty())
        res.set_content(answer.body, kJson);
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

// {"status", "message", "data"} of a response; for a null response (an operation this gateway
// does not support) status and message are null too.
json_object* replyOf(const _FAL_RSP_T* rsp)
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
    return out;
}

void answerReply(httplib::Response& res, const _FAL_RSP_T* rsp, const std::string& token = "")
{
    json_object* reply = replyOf(rsp);
    if (!token.empty())
        json_object_object_add(reply, "token", json_object_new_string(token.c_str()));
    res.status = httpStatusOf(rsp);
    res.set_content(falJsonText(reply, false), kJson);
    json_object_put(reply);
}

// The session token of a request: "Authorization: Bearer T", else the session cookie.
std::string tokenOf(const httplib::Request& req)
{
    std::string auth = req.get_header_value("Authorization");
    const char bearer[] = "Bearer ";
    if (auth.compare(0, sizeof bearer - 1, bearer) == 0)
        return auth.substr(sizeof bearer - 1);
    std::string cookies = req.get_header_value("Cookie");
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

// The query parameters in the order of the request, as "!name" pairs.
void addQuery(const std::string& target, FAL_PARAMS_T& params)
{
    size_t q = target.find('?');
    if (q == std::string::npos)
        return;
    std::string query = target.substr(q + 1);
    size_t pos = 0;
    while (pos <= query.size()) {
        size_t end = query.find('&', pos);
        std::string pair = query.substr(pos, end == std::string::npos ? std::string::npos : end - pos);
        if (!pair.empty()) {
            size_t eq = pair.find('=');
            std::string name = httplib::detail::decode_url(pair.substr(0, eq), true);
            std::string value =
                eq == std::string::npos ? "" : httplib::detail::decode_url(pair.substr(eq + 1), true);
            if (!name.empty())
                params.emplace_back("!" + name, value);
        }
        if (end == std::string::npos)
            break;
        pos = end + 1;
    }
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

// The idle time-out the login reply's timer settings give ("system.timer.idleTimeout").
std::chrono::seconds idleTimeoutOf(TreeMapObject* reply)
{
    int seconds = 0;
    if (reply && reply->get_ex<int>("system.timer.idleTimeout", seconds) && seconds > 0)
        return std::chrono::seconds(seconds);
    return kDefaultIdle;
}

// The session a successful login opens: the user named in the request, the role's table and
// idle time-out from the reply.
FaldSession sessionOf(const FalCall& login, const _FAL_RSP_T* rsp)
{
    FaldSession session;
    const char* user = login.body ? login.body->get<const char*>("userName") : nullptr;
    session.user = user ? user : "";
    const char* role = rsp->data ? rsp->data->get<const char*>("role") : nullptr;
    session.role = role ? role : "";
    session.permissions = permissionsOf(rsp->data);
    session.idleTimeout = idleTimeoutOf(rsp->data);
    return session;
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
        {".html", "text/html"}, {".htm", "text/html"},   {".js", "text/javascript"}, {".css", "text/css"},
        {".json", kJson},       {".txt", "text/plain"},  {".log", "text/plain"},     {".svg", "image/svg+xml"},
        {".png", "image/png"},  {".ico", "image/x-icon"},
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

}  // namespace

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
}

FaldServer::~FaldServer()
{
    stop();
}

bool FaldServer::start(std::string& error)
{
    http_ = std::make_unique<httplib::Server>();
    int workers = options_.workers;
    http_->new_task_queue = [workers] { return new httplib::ThreadPool(static_cast<size_t>(workers)); };
    http_->set_payload_max_length(kFaldMaxBody);
    http_->set_keep_alive_max_count(1000);
    http_->set_keep_alive_timeout(3);
    http_->set_tcp_nodelay(true);  // headers and body go out in separate writes
    auto handler = [this](const httplib::Request& req, httplib::Response& res) { handle(req, res); };
    http_->Get(".*", handler);
    http_->Post(".*", handler);
    http_->Put(".*", handler);
    http_->Patch(".*", handler);
    http_->Delete(".*", handler);
    http_->Options(".*", handler);
    // The layer's own refusals (413 for a body over the limit, 400 for a broken request) get a
    // JSON error like every other.
    http_->set_error_handler(httplib::Server::HandlerWithResponse(
        [](const httplib::Request&, httplib::Response& res) {
            if (!res.body.empty())
                return httplib::Server::HandlerResponse::Unhandled;
            answerError(res, res.status, res.status == 413 ? "request body over 64 KiB" : "malformed request");
            return httplib::Server::HandlerResponse::Handled;
        }));
    http_->set_exception_handler([](const httplib::Request&, httplib::Response& res, std::exception_ptr) {
        answerError(res, 500, "internal error");
    });

    if (options_.port == 0) {
        port_ = http_->bind_to_any_port(options_.host);
    } else {
        port_ = http_->bind_to_port(options_.host, options_.port) ? options_.port : -1;
    }
    if (port_ <= 0) {
        error = "cannot listen on " + options_.host + ":" + std::to_string(options_.port) + ": " + strerror(errno);
        http_.reset();
        return false;
    }
    thread_ = std::thread([this] { http_->listen_after_bind(); });
    // stop() only takes effect once the server runs.
    while (!http_->is_running())
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    return true;
}

void FaldServer::stop()
{
    if (!thread_.joinable())
        return;
    http_->stop();
    thread_.join();
}

void FaldServer::handle(const httplib::Request& req, httplib::Response& res)
{
    InFlight counted(inFlight_);
    faldSimDelay(options_.latencyMs);
    std::string origin = req.get_header_value("Origin");
    FaldHttpAnswer preflight;
    if (cors_.preflight(req.method, origin, req.get_header_value("Access-Control-Request-Method"), preflight))
        return answerWith(res, preflight);
    for (const auto& header : cors_.headers(origin))
        res.set_header(header.first, header.second);
    const std::string& path = req.path;
    size_t prefix = strlen(kFaldApiPrefix);
    if (path.compare(0, prefix, kFaldApiPrefix) == 0 && (path.size() == prefix || path[prefix] == '/'))
        api(req, res, path.substr(prefix));
    else
        serveStatic(req, res);
}

void FaldServer::api(const httplib::Request& req, httplib::Response& res, const std::string& path)
{
    bool read = req.method == "GET" || req.method == "HEAD";
    if (path.empty() || path == "/" || path == "/openapi.json") {
        if (!read) {
            res.set_header("Allow", "GET");
            return answerError(res, 405, "method " + req.method + " not allowed on " + req.path);
        }
        res.set_content(path == "/openapi.json" ? openApi_ : listing_, kJson);
        return;
    }

    if (options_.sim && faldIsSimPath(path)) {
        FaldSession who;
        if (options_.auth && !sessions_.use(tokenOf(req), who))
            return answerError(res, 401, "login required");
        return answerWith(res, faldSimHandle(req.method, path, req.body, !options_.auth || who.role == "admin"));
    }

    FaldMatch match = router_.match(req.method, path);
    if (match.kind == FaldMatch::NOT_FOUND)
        return answerError(res, 404, "no route " + req.path);
    if (match.kind == FaldMatch::WRONG_METHOD) {
        res.set_header("Allow", match.allow);
        return answerError(res, 405, "method " + req.method + " not allowed on " + req.path);
    }
    if (req.body.size() > kFaldMaxBody)
        return answerError(res, 413, "request body over 64 KiB");

    const FaldBoundRoute& route = *match.route;
    bool login = strcmp(route.op->name, "GatewayLogin") == 0;
    bool logout = strcmp(route.op->name, "GatewayLogout") == 0;

    // Who asks, and whether they may.
    FaldSession session;
    std::string token = tokenOf(req);
    bool hasSession = !login && !token.empty() && sessions_.use(token, session);
    if (options_.auth && !login) {
        if (!hasSession)
            return answerError(res, 401, "login required");
        if (!logout && !faldAllows(session, route.family->name, route.route->method))
            return answerError(res, 403, std::string("no permission to ") + (read ? "read " : "change ") +
                                             route.family->name);
    }
    if (login) {
        auto wait = sessions_.loginWait(req.remote_addr);
        if (wait > std::chrono::steady_clock::duration::zero()) {
            auto seconds = std::chrono::duration_cast<std::chrono::seconds>(wait).count() + 1;
            res.set_header("Retry-After", std::to_string(seconds));
            return answerError(res, 429, "too many failed logins; retry later");
        }
    }

    // The request as the operation receives it.
    FalCall call;
    call.family = route.family;
    call.op = route.op;
    call.msgId = route.op->requestId;
    call.params = std::move(match.params);
    addQuery(req.target, call.params);
    call.requester = hasSession ? session.user : kAnonymous;
    if (!req.body.empty()) {
        std::string why;
        json_object* body = falParseJson(req.body, why);
        if (!why.empty())
            return answerError(res, 400, "request body is not JSON: " + why);
        if (body)
            call.body.reset(TreeMapObject::adopt(body));
    }

    _FAL_RSP_T* rsp = falExecute(*objects_[route.family->apiType], call);
    std::string newToken;
    if (login) {
        if (rsp && rsp->status <= FAL_DELETED) {
            sessions_.loginSucceeded(req.remote_addr);
            newToken = sessions_.open(sessionOf(call, rsp));
            if (newToken.empty()) {
                freeFalResponse(rsp);
                return answerError(res, 500, "cannot make a session token");
            }
            res.set_header("Set-Cookie", sessionCookie(newToken, false));
        } else {
            sessions_.loginFailed(req.remote_addr);
        }
    } else if (logout && hasSession) {
        sessions_.close(token);
        res.set_header("Set-Cookie", sessionCookie("", true));
    }
    answerReply(res, rsp, newToken);
    freeFalResponse(rsp);
    Logger::print(LOG_TYPE_PROGRESS, kFaldLog, "fald: %s %s by %s from %s: %d\n", req.method.c_str(),
                  req.path.c_str(), call.requester.c_str(), req.remote_addr.c_str(), res.status);
}

void FaldServer::serveStatic(const httplib::Request& req, httplib::Response& res)
{
    if (req.method != "GET" && req.method != "HEAD") {
        res.set_header("Allow", "GET");
        return answerError(res, 405, "method " + req.method + " not allowed on " + req.path);
    }
    // The file must lie inside the www directory once every link is resolved.
    char base[PATH_MAX];
    char file[PATH_MAX];
    std::string wanted = options_.wwwDir + req.path + (!req.path.empty() && req.path.back() == '/' ? "index.html" : "");
    if (req.path.find('\0') != std::string::npos || !realpath(options_.wwwDir.c_str(), base) ||
        !realpath(wanted.c_str(), file))
        return answerError(res, 404, "no file " + req.path);
    size_t baseLen = strlen(base);
    struct stat st;
    if (strncmp(file, base, baseLen) != 0 || file[baseLen] != '/' || stat(file, &st) != 0 || !S_ISREG(st.st_mode) ||
        st.st_size > kMaxStaticFile)
        return answerError(res, 404, "no file " + req.path);
    std::string content;
    if (!readFile(file, content))
        return answerError(res, 404, "no file " + req.path);
    res.set_content(std::move(content), contentTypeOf(wanted));
}
