#include "tools/fald/FaldEngine.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include "fal.h"

namespace {

using Clock = std::chrono::steady_clock;

// Connections the event threads take beyond the limit, only to tell them so.
const unsigned kRefusalRoom = 16;
// How long a stop waits for replies that are ready to reach slow readers.
const std::chrono::milliseconds kFlushGrace{1000};

enum Phase { AWAITING_HEADERS, READING_BODY, BUSY };

// A reply written straight to a socket the engine gives up on: the connection is over the
// limits, or a deadline passed while no reply was being written.
void refuseRaw(int fd, int status, const char* reason, const char* text)
{
    std::string body = std::string("{\"error\":\"") + text + "\"}";
    std::string head = "HTTP/1.1 " + std::to_string(status) + " " + reason +
                       "\r\nContent-Type: application/json\r\nConnection: close\r\nContent-Length: " +
                       std::to_string(body.size()) + "\r\n\r\n";
    std::string all = head + body;
    (void)!send(fd, all.data(), all.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
    shutdown(fd, SHUT_RDWR);  // the event thread sees the end and closes it
}

std::string addressText(const sockaddr* sa)
{
    char text[INET6_ADDRSTRLEN] = "?";
    if (!sa)
        return text;
    if (sa->sa_family == AF_INET) {
        inet_ntop(AF_INET, &reinterpret_cast<const sockaddr_in*>(sa)->sin_addr, text, sizeof text);
    } else if (sa->sa_family == AF_INET6) {
        inet_ntop(AF_INET6, &reinterpret_cast<const sockaddr_in6*>(sa)->sin6_addr, text, sizeof text);
        if (strncmp(text, "::ffff:", 7) == 0 && strchr(text + 7, '.'))
            return text + 7;
    }
    return text;
}

MHD_Result collect(void* cls, MHD_ValueKind, const char* key, const char* value)
{
    static_cast<FaldPairs*>(cls)->emplace_back(key ? key : "", value ? value : "");
    return MHD_YES;
}

void logFromEngine(void*, const char* fmt, va_list ap)
{
    char line[512];
    vsnprintf(line, sizeof line, fmt, ap);
    Logger::print(LOG_TYPE_INFO, kFaldLog, "fald: http: %s", line);
}

// A listening socket of our own: no port sharing, the backlog we want.
int listenOn(const std::string& host, int port, unsigned backlog, int& boundPort, std::string& error)
{
    std::string name = host;
    if (name.size() >= 2 && name.front() == '[' && name.back() == ']')
        name = name.substr(1, name.size() - 2);
    std::string where = (name.find(':') != std::string::npos ? "[" + name + "]" : name) + ":" + std::to_string(port);
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_PASSIVE | AI_NUMERICSERV;
    addrinfo* found = nullptr;
    int rc = getaddrinfo(name.empty() ? nullptr : name.c_str(), std::to_string(port).c_str(), &hints, &found);
    if (rc != 0 || !found) {
        error = "cannot listen on " + where + ": " + (rc ? gai_strerror(rc) : "no such address");
        return -1;
    }
    int fd = socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    int why = errno;
    if (fd >= 0) {
        int on = 1;
        // Rebinding over connections in TIME_WAIT; a listening socket on the address still makes
        // bind fail (no SO_REUSEPORT: two daemons never share a port).
        setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
        if (found->ai_family == AF_INET6)
            setsockopt(fd, IPPROTO_IPV6, IPV6_V6ONLY, &on, sizeof on);
        if (bind(fd, found->ai_addr, found->ai_addrlen) != 0 || listen(fd, static_cast<int>(backlog)) != 0) {
            why = errno;
            close(fd);
            fd = -1;
        }
    }
    freeaddrinfo(found);
    if (fd < 0) {
        error = "cannot listen on " + where + ": " +
                (why == EADDRINUSE ? std::string("address already in use") : std::string(strerror(why)));
        return -1;
    }
    sockaddr_storage bound{};
    socklen_t len = sizeof bound;
    getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &len);
    boundPort = ntohs(bound.ss_family == AF_INET6 ? reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port
                                                  : reinterpret_cast<sockaddr_in*>(&bound)->sin_port);
    return fd;
}

}  // namespace

// One connection: who it is from, and the deadline it runs against.
struct FaldEngine::Conn {
    int fd = -1;
    std::string client;
    Phase phase = AWAITING_HEADERS;
    Clock::time_point since;
    bool refused = false;  // over a limit or a deadline: closing
    unsigned served = 0;   // requests answered on it
};

// One request, from its headers to the end of its reply.
struct FaldEngine::Req {
    enum State { RECEIVING, QUEUED, READY };
    std::atomic<int> state{RECEIVING};
    MHD_Connection* connection = nullptr;
    Conn* conn = nullptr;
    FaldHttpRequest request;
    FaldHttpReply reply;
    bool overLimit = false;  // the body outgrew the limit: only the refusal is left
    size_t maxBody = 0;      // the body limit of this request
    bool busy = false;       // counted in busy_
    Clock::time_point due;   // the earliest time the reply may go out
};

FaldEngine::FaldEngine(FaldHttpHandler& handler, const FaldLimits& limits, std::chrono::milliseconds delay)
    : handler_(handler), limits_(limits), delay_(delay)
{
    if (limits_.threads == 0)
        limits_.threads = 1;
    if (limits_.workers == 0)
        limits_.workers = 1;
}

FaldEngine::~FaldEngine()
{
    stop();
}

int FaldEngine::start(const std::string& host, int port, std::string& error)
{
    int boundPort = -1;
    int fd = listenOn(host, port, limits_.backlog, boundPort, error);
    if (fd < 0)
        return -1;
    // The per-connection memory: the header section, with room for MHD's own buffers.
    size_t pool = std::max<size_t>(32 * 1024, limits_.maxHeaderBytes * 2 + 8 * 1024);
    unsigned flags = MHD_USE_EPOLL_INTERNAL_THREAD | MHD_ALLOW_SUSPEND_RESUME | MHD_USE_ERROR_LOG | MHD_USE_TURBO;
    daemon_ = MHD_start_daemon(
        flags, 0, nullptr, nullptr, &FaldEngine::onAccess, this, MHD_OPTION_LISTEN_SOCKET, fd,
        MHD_OPTION_THREAD_POOL_SIZE, limits_.threads > 1 ? limits_.threads : 0u, MHD_OPTION_CONNECTION_LIMIT,
        limits_.maxConnections + kRefusalRoom * limits_.threads, MHD_OPTION_CONNECTION_TIMEOUT, limits_.idleTimeout,
        MHD_OPTION_CONNECTION_MEMORY_LIMIT, pool, MHD_OPTION_STRICT_FOR_CLIENT, 1, MHD_OPTION_NOTIFY_COMPLETED,
        &FaldEngine::onCompleted, this, MHD_OPTION_NOTIFY_CONNECTION, &FaldEngine::onConnection, this,
        MHD_OPTION_EXTERNAL_LOGGER, &logFromEngine, this, MHD_OPTION_END);
    if (!daemon_) {
        close(fd);
        error = "cannot start the HTTP engine on port " + std::to_string(boundPort);
        return -1;
    }
    for (unsigned i = 0; i < limits_.workers; ++i)
        workers_.emplace_back([this] { work(); });
    reaper_ = std::thread([this] { reap(); });
    if (delay_.count() > 0)
        delayer_ = std::thread([this] { delayReplies(); });
    return boundPort;
}

void FaldEngine::stop()
{
    if (!daemon_)
        return;
    stopping_ = true;
    // Replies held back by the delay go out now.
    {
        std::lock_guard<std::mutex> lock(heldMutex_);
        heldQuit_ = true;
    }
    heldWake_.notify_all();
    if (delayer_.joinable())
        delayer_.join();
    // From here on a new connection is told that fald is stopping (see opened()); the listening
    // socket stays with the event threads until MHD_stop_daemon closes it. No quiesce: it takes
    // the socket out of the event threads' epoll sets from this thread while they may be doing
    // the same, and the loser of that race aborts the process.
    // The operations that run finish (they are bounded by the library's own time-outs)... A call
    // of the access handler that began before the flag was seen may still queue one: wait for
    // those calls too.
    while (inFlight_.load() > 0 || handling_.load() > 0 || resuming_.load() > 0)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    // ...and their replies get a moment to go out.
    Clock::time_point flushEnd = Clock::now() + kFlushGrace;
    while (busy_.load() > 0 && Clock::now() < flushEnd)
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    MHD_stop_daemon(daemon_);
    daemon_ = nullptr;
    {
        std::lock_guard<std::mutex> lock(jobMutex_);
        quit_ = true;
    }
    jobReady_.notify_all();
    for (std::thread& t : workers_)
        t.join();
    workers_.clear();
    {
        std::lock_guard<std::mutex> lock(reapMutex_);
        reapQuit_ = true;
    }
    reapWake_.notify_all();
    if (reaper_.joinable())
        reaper_.join();
}

MHD_Result FaldEngine::onAccess(void* cls, MHD_Connection* c, const char* url, const char* method, const char*,
                                const char* upload, size_t* uploadSize, void** reqCls)
{
    return static_cast<FaldEngine*>(cls)->access(c, url, method, upload, uploadSize, reqCls);
}

void FaldEngine::onCompleted(void* cls, MHD_Connection*, void** reqCls, MHD_RequestTerminationCode)
{
    auto* self = static_cast<FaldEngine*>(cls);
    auto* r = static_cast<Req*>(*reqCls);
    *reqCls = nullptr;
    if (!r)
        return;
    if (r->busy)
        --self->busy_;
    self->setPhase(r->conn, AWAITING_HEADERS);
    delete r;
}

void FaldEngine::onConnection(void* cls, MHD_Connection* c, void** socketCtx, MHD_ConnectionNotificationCode code)
{
    auto* self = static_cast<FaldEngine*>(cls);
    if (code == MHD_CONNECTION_NOTIFY_STARTED)
        self->opened(c, socketCtx);
    else
        self->closed(socketCtx);
}

void FaldEngine::opened(MHD_Connection* c, void** socketCtx)
{
    auto* conn = new Conn;
    const MHD_ConnectionInfo* fd = MHD_get_connection_info(c, MHD_CONNECTION_INFO_CONNECTION_FD);
    const MHD_ConnectionInfo* addr = MHD_get_connection_info(c, MHD_CONNECTION_INFO_CLIENT_ADDRESS);
    conn->fd = fd ? fd->connect_fd : -1;
    conn->client = addressText(addr ? addr->client_addr : nullptr);
    conn->since = Clock::now();
    *socketCtx = conn;
    std::lock_guard<std::mutex> lock(connMutex_);
    conns_.insert(conn);
    unsigned mine = ++perClient_[conn->client];
    if (stopping_ || conns_.size() > limits_.maxConnections || mine > limits_.maxPerClient) {
        conn->refused = true;
        refuseRaw(conn->fd, 503, "Service Unavailable",
                  stopping_                     ? "fald is stopping"
                  : mine > limits_.maxPerClient ? "too many connections from this client"
                                                : "too many connections");
    }
}

void FaldEngine::closed(void** socketCtx)
{
    auto* conn = static_cast<Conn*>(*socketCtx);
    if (!conn)
        return;
    *socketCtx = nullptr;
    std::lock_guard<std::mutex> lock(connMutex_);
    conns_.erase(conn);
    auto it = perClient_.find(conn->client);
    if (it != perClient_.end() && --it->second == 0)
        perClient_.erase(it);
    delete conn;
}

void FaldEngine::setPhase(Conn* conn, int phase)
{
    if (!conn)
        return;
    std::lock_guard<std::mutex> lock(connMutex_);
    if (phase == AWAITING_HEADERS)
        ++conn->served;
    conn->phase = static_cast<Phase>(phase);
    conn->since = Clock::now();
}

// Refusals that need no body: the header limits and ambiguous framing. The connection closes
// after them, since the body (if any) is not read.
bool FaldEngine::refuseBeforeBody(Req& r)
{
    const FaldHttpRequest& q = r.request;
    size_t headerBytes = q.method.size() + q.path.size();
    unsigned lengths = 0;
    bool chunked = false, otherCoding = false;
    unsigned long long declared = 0;
    for (const auto& h : q.headers) {
        headerBytes += h.first.size() + h.second.size() + 4;
        if (strcasecmp(h.first.c_str(), "Content-Length") == 0) {
            ++lengths;
            declared = strtoull(h.second.c_str(), nullptr, 10);
        } else if (strcasecmp(h.first.c_str(), "Transfer-Encoding") == 0) {
            (strcasecmp(h.second.c_str(), "chunked") == 0 ? chunked : otherCoding) = true;
        }
    }
    for (const auto& p : q.query)
        headerBytes += p.first.size() + p.second.size() + 2;
    if (stopping_)
        r.reply = faldError(503, "fald is stopping");
    else if (q.headers.size() > limits_.maxHeaders)
        r.reply = faldError(431, "more than " + std::to_string(limits_.maxHeaders) + " header fields");
    else if (headerBytes > limits_.maxHeaderBytes)
        r.reply = faldError(431, "header section over " + std::to_string(limits_.maxHeaderBytes) + " bytes");
    else if (lengths > 1)
        r.reply = faldError(400, "more than one Content-Length header");
    else if (lengths && (chunked || otherCoding))
        r.reply = faldError(400, "both Content-Length and Transfer-Encoding");
    else if (otherCoding)
        r.reply = faldError(400, "unsupported Transfer-Encoding");
    else if (declared > r.maxBody)
        r.reply = faldError(413, "request body over " + std::to_string(r.maxBody) + " bytes");
    else
        return false;
    r.reply.close = true;
    FaldPairs extra = handler_.replyHeaders(q);
    r.reply.headers.insert(r.reply.headers.end(), extra.begin(), extra.end());
    return true;
}

MHD_Result FaldEngine::access(MHD_Connection* c, const char* url, const char* method, const char* upload,
                              size_t* uploadSize, void** reqCls)
{
    struct Handling {
        std::atomic<unsigned>& n;
        explicit Handling(std::atomic<unsigned>& count) : n(count) { ++n; }
        ~Handling() { --n; }
    } handling(handling_);
    auto* r = static_cast<Req*>(*reqCls);
    if (!r) {
        // The header section is in: the deadline now runs for the body.
        r = new Req;
        *reqCls = r;
        r->connection = c;
        const MHD_ConnectionInfo* info = MHD_get_connection_info(c, MHD_CONNECTION_INFO_SOCKET_CONTEXT);
        r->conn = info ? static_cast<Conn*>(info->socket_context) : nullptr;
        setPhase(r->conn, READING_BODY);
        r->request.method = method ? method : "";
        r->request.path = url ? url : "";
        r->request.client = r->conn ? r->conn->client : "";
        MHD_get_connection_values(c, MHD_HEADER_KIND, &collect, &r->request.headers);
        MHD_get_connection_values(c, MHD_GET_ARGUMENT_KIND, &collect, &r->request.query);
        r->maxBody = handler_.bodyLimit(r->request, limits_.maxBody);
        if (refuseBeforeBody(*r)) {
            r->state = Req::READY;
            return queue(c, *r);
        }
        return MHD_YES;
    }
    if (*uploadSize > 0) {
        if (r->request.body.size() + *uploadSize > r->maxBody) {
            r->overLimit = true;  // a chunked body that outgrew the limit: drained, then refused
            r->request.body.clear();
        } else if (!r->overLimit) {
            r->request.body.append(upload, *uploadSize);
        }
        *uploadSize = 0;
        return MHD_YES;
    }
    if (r->state == Req::READY)
        return queue(c, *r);
    if (r->state == Req::QUEUED)
        return MHD_YES;

    // The whole request is in.
    r->busy = true;
    ++busy_;
    setPhase(r->conn, BUSY);
    r->due = Clock::now() + delay_;
    if (r->overLimit || stopping_) {
        r->reply = r->overLimit ? faldError(413, "request body over " + std::to_string(r->maxBody) + " bytes")
                                : faldError(503, "fald is stopping");
        r->reply.close = true;
        FaldPairs extra = handler_.replyHeaders(r->request);
        r->reply.headers.insert(r->reply.headers.end(), extra.begin(), extra.end());
    } else if (!handler_.mayBlock(r->request)) {
        r->reply = handler_.respond(r->request);
        if (delay_.count() > 0) {
            r->state = Req::QUEUED;
            ++inFlight_;
            MHD_suspend_connection(c);
            hold(r);
            return MHD_YES;
        }
    } else {
        r->state = Req::QUEUED;
        ++inFlight_;
        MHD_suspend_connection(c);
        {
            std::lock_guard<std::mutex> lock(jobMutex_);
            jobs_.push_back(r);
        }
        jobReady_.notify_one();
        return MHD_YES;
    }
    r->state = Req::READY;
    return queue(c, *r);
}

MHD_Result FaldEngine::queue(MHD_Connection* c, Req& r)
{
    FaldHttpReply& reply = r.reply;
    MHD_Response* response = MHD_create_response_from_buffer(reply.body.size(), const_cast<char*>(reply.body.data()),
                                                             MHD_RESPMEM_PERSISTENT);
    if (!response)
        return MHD_NO;
    MHD_add_response_header(response, "Content-Type", reply.contentType.c_str());
    for (const auto& h : reply.headers)
        MHD_add_response_header(response, h.first.c_str(), h.second.c_str());
    if (reply.close)
        MHD_add_response_header(response, "Connection", "close");
    MHD_Result rc = MHD_queue_response(c, static_cast<unsigned>(reply.status), response);
    MHD_destroy_response(response);
    return rc;
}

void FaldEngine::work()
{
    for (;;) {
        Req* r = nullptr;
        {
            std::unique_lock<std::mutex> lock(jobMutex_);
            jobReady_.wait(lock, [this] { return quit_ || !jobs_.empty(); });
            if (jobs_.empty())
                return;
            r = jobs_.front();
            jobs_.pop_front();
        }
        r->reply = handler_.respond(r->request);
        if (delay_.count() > 0 && Clock::now() < r->due) {
            hold(r);
            continue;
        }
        release(r);
    }
}

// Hands a reply that a worker or the delay held back to its connection's event thread.
void FaldEngine::release(Req* r)
{
    r->state = Req::READY;
    // The count drops before the reply can go out (a client that has its answer sees the request
    // done); stop() waits for resuming_ too, so the daemon is still there for the resume. r
    // belongs to the event thread from the resume on.
    MHD_Connection* c = r->connection;
    ++resuming_;
    --inFlight_;
    MHD_resume_connection(c);
    --resuming_;
}

// Keeps a reply (its connection suspended) until it is due.
void FaldEngine::hold(Req* r)
{
    {
        std::lock_guard<std::mutex> lock(heldMutex_);
        if (!heldQuit_) {
            held_.emplace(r->due, r);
            heldWake_.notify_all();
            return;
        }
    }
    release(r);  // stopping: it goes out now
}

// Releases the held replies as they fall due, and every one of them when the engine stops.
void FaldEngine::delayReplies()
{
    std::unique_lock<std::mutex> lock(heldMutex_);
    for (;;) {
        if (heldQuit_ && held_.empty())
            return;
        if (held_.empty()) {
            heldWake_.wait(lock);
            continue;
        }
        auto first = held_.begin();
        if (!heldQuit_ && Clock::now() < first->first) {
            heldWake_.wait_until(lock, first->first);
            continue;
        }
        Req* r = first->second;
        held_.erase(first);
        lock.unlock();
        release(r);
        lock.lock();
    }
}

// Ends the connections whose header section or body takes longer than its deadline.
void FaldEngine::reap()
{
    auto shortest = std::min(limits_.headerTimeout, limits_.bodyTimeout);
    auto tick = std::max(std::chrono::milliseconds(20), std::min(shortest / 4, std::chrono::milliseconds(500)));
    std::unique_lock<std::mutex> wait(reapMutex_);
    while (!reapWake_.wait_for(wait, tick, [this] { return reapQuit_; })) {
        Clock::time_point now = Clock::now();
        std::lock_guard<std::mutex> lock(connMutex_);
        for (Conn* conn : conns_) {
            if (conn->refused || conn->phase == BUSY)
                continue;
            bool late = conn->phase == AWAITING_HEADERS ? now - conn->since > limits_.headerTimeout
                                                        : now - conn->since > limits_.bodyTimeout;
            if (!late)
                continue;
            conn->refused = true;
            if (conn->phase == AWAITING_HEADERS && conn->served > 0) {
                shutdown(conn->fd, SHUT_RDWR);  // a kept-alive connection: closed without a word
            } else {
                refuseRaw(conn->fd, 408, "Request Timeout",
                          conn->phase == AWAITING_HEADERS ? "header section not received in time"
                                                          : "request body not received in time");
            }
        }
    }
}
