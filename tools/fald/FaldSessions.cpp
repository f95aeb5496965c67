#include "tools/fald/FaldSessions.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>

namespace {

const std::chrono::seconds kFirstWait{1};
const std::chrono::seconds kLongestWait{60};
// A client's failures are forgotten after this long without another one.
const std::chrono::minutes kForgetFailures{10};

std::chrono::steady_clock::duration waitAfter(unsigned failures)
{
    if (failures < FaldSessions::kFreeFailures)
        return std::chrono::steady_clock::duration::zero();
    unsigned doublings = std::min(failures - FaldSessions::kFreeFailures, 6u);
    return std::min<std::chrono::steady_clock::duration>(kFirstWait * (1 << doublings), kLongestWait);
}

}  // namespace

bool faldAllows(const FaldSession& session, const std::string& family, const std::string& method)
{
    auto it = session.permissions.find(family);
    if (it == session.permissions.end())
        return false;
    if (it->second == "rw")
        return true;
    return it->second == "r" && (method == "GET" || method == "HEAD");
}

std::string faldNewToken()
{
    unsigned char bytes[16];
    size_t got = 0;
    while (got < sizeof bytes) {
        ssize_t n = getrandom(bytes + got, sizeof bytes - got, 0);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return "";
        got += static_cast<size_t>(n);
    }
    static const char hex[] = "0123456789abcdef";
    std::string token;
    for (unsigned char b : bytes) {
        token += hex[b >> 4];
        token += hex[b & 15];
    }
    return token;
}

FaldSessions::FaldSessions(Now now) : now_(std::move(now)) {}

void FaldSessions::dropIdle(Clock::time_point now)
{
    for (auto it = sessions_.begin(); it != sessions_.end();)
        it = now - it->second.lastUsed > it->second.idleTimeout ? sessions_.erase(it) : std::next(it);
}

std::string FaldSessions::open(FaldSession session)
{
    std::string token = faldNewToken();
    if (token.empty())
        return token;
    std::lock_guard<std::mutex> lock(mutex_);
    Clock::time_point now = now_();
    dropIdle(now);
    if (sessions_.size() >= kMaxSessions) {
        auto oldest = std::min_element(sessions_.begin(), sessions_.end(), [](const auto& a, const auto& b) {
            return a.second.lastUsed < b.second.lastUsed;
        });
        sessions_.erase(oldest);
    }
    session.lastUsed = now;
    sessions_[token] = std::move(session);
    return token;
}

bool FaldSessions::use(const std::string& token, FaldSession& out)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = sessions_.find(token);
    if (it == sessions_.end())
        return false;
    Clock::time_point now = now_();
    if (now - it->second.lastUsed > it->second.idleTimeout) {
        sessions_.erase(it);
        return false;
    }
    it->second.lastUsed = now;
    out = it->second;
    return true;
}

void FaldSessions::close(const std::string& token)
{
    std::lock_guard<std::mutex> lock(mutex_);
    sessions_.erase(token);
}

size_t FaldSessions::count()
{
    std::lock_guard<std::mutex> lock(mutex_);
    return sessions_.size();
}

FaldSessions::Clock::duration FaldSessions::loginWait(const std::string& client)
{
    std::lock_guard<std::mutex> lock(mutex_);
    auto it = failures_.find(client);
    if (it == failures_.end())
        return Clock::duration::zero();
    Clock::time_point allowed = it->second.last + waitAfter(it->second.count);
    Clock::time_point now = now_();
    return now < allowed ? allowed - now : Clock::duration::zero();
}

void FaldSessions::loginFailed(const std::string& client)
{
    std::lock_guard<std::mutex> lock(mutex_);
    Clock::time_point now = now_();
    for (auto it = failures_.begin(); it != failures_.end();)
        it = now - it->second.last > kForgetFailures ? failures_.erase(it) : std::next(it);
    Failures& f = failures_[client];
    ++f.count;
    f.last = now;
}

void FaldSessions::loginSucceeded(const std::string& client)
{
    std::lock_guard<std::mutex> lock(mutex_);
    failures_.erase(client);
}
