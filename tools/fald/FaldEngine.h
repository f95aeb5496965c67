// fald's HTTP engine: libmicrohttpd in epoll mode on a few event threads, with a pool of worker
// threads for the operations (a request that may block suspends its connection until a worker
// has the reply, so other connections go on), and the limits that keep it standing on a LAN:
// connections in all and per client, header count and size, deadlines for the header section and
// for the body, the keep-alive idle time-out, the body size, and ambiguous framing refused.
#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <microhttpd.h>

#include "tools/fald/FaldHttp.h"
#include "tools/fald/FaldServer.h"

class FaldEngine {
public:
    // `delay`: every reply the handler gives goes out no sooner than this after its request came
    // in (a simulated slow gateway); the connection waits suspended, no thread waits for it.
    FaldEngine(FaldHttpHandler& handler, const FaldLimits& limits,
               std::chrono::milliseconds delay = std::chrono::milliseconds(0));
    ~FaldEngine();  // stops
    FaldEngine(const FaldEngine&) = delete;
    FaldEngine& operator=(const FaldEngine&) = delete;

    // Listens on host:port (port 0: any free one; "[::1]" or "::1" for IPv6) and serves. The
    // bound port, or -1 with a message in `error`.
    int start(const std::string& host, int port, std::string& error);
    // Answers new connections 503 "fald is stopping", lets the requests that run finish and their
    // replies go out (up to a second for slow readers), then closes every connection and the
    // listening socket. Idempotent.
    void stop();
    // Requests queued for or running on a worker.
    unsigned inFlight() const { return inFlight_.load(); }

    struct Conn;
    struct Req;

private:
    static MHD_Result onAccess(void* cls, MHD_Connection* c, const char* url, const char* method,
                               const char* version, const char* upload, size_t* uploadSize, void** reqCls);
    static void onCompleted(void* cls, MHD_Connection* c, void** reqCls, MHD_RequestTerminationCode toe);
    static void onConnection(void* cls, MHD_Connection* c, void** socketCtx, MHD_ConnectionNotificationCode code);

    MHD_Result access(MHD_Connection* c, const char* url, const char* method, const char* upload,
                      size_t* uploadSize, void** reqCls);
    bool refuseBeforeBody(Req& r);
    MHD_Result queue(MHD_Connection* c, Req& r);
    void opened(MHD_Connection* c, void** socketCtx);
    void closed(void** socketCtx);
    void setPhase(Conn* conn, int phase);
    void work();
    void reap();
    void hold(Req* r);
    void release(Req* r);
    void delayReplies();

    FaldHttpHandler& handler_;
    FaldLimits limits_;
    MHD_Daemon* daemon_ = nullptr;
    std::atomic<bool> stopping_{false};

    // Connections: their phase and deadline, counts per client.
    std::mutex connMutex_;
    std::set<Conn*> conns_;
    std::map<std::string, unsigned> perClient_;
    std::atomic<unsigned> busy_{0};  // requests read whole and not yet answered
    std::atomic<unsigned> handling_{0};  // calls of the access handler under way

    // The worker pool.
    std::mutex jobMutex_;
    std::condition_variable jobReady_;
    std::deque<Req*> jobs_;
    bool quit_ = false;
    std::vector<std::thread> workers_;
    std::atomic<unsigned> inFlight_{0};
    std::atomic<unsigned> resuming_{0};  // workers handing a reply back

    // Replies held back by the delay, by the time they are due.
    std::chrono::milliseconds delay_;
    std::mutex heldMutex_;
    std::condition_variable heldWake_;
    std::multimap<std::chrono::steady_clock::time_point, Req*> held_;
    bool heldQuit_ = false;
    std::thread delayer_;

    std::thread reaper_;
    std::mutex reapMutex_;
    std::condition_variable reapWake_;
    bool reapQuit_ = false;
};
