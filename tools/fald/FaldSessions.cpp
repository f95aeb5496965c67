#include "tools/fald/FaldSessions.h"

#include <sys/random.h>

#include <algorithm>
#include <cerrno>

namespace {

const std::chrono::seconds kFirstWait{1};
const std::chrono::seconds kLongestWait{60};
const std::chrono::seconds kFailureWindow{60};
// A client's failures on a user are forgotten after this long without another one.
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

bool FaldSessions::expired(const FaldSession& s, Clock::time_point now) const
{
    return now - s.lastUsed > s.idleTimeout || (s.lifetime.count() > 0 && now - s.opened > s.lifetime);
}

void FaldSessions::dropExpired(Clock::time_point now)
{
    for (auto it = sessions_.begin(); it != sessions_.end();)
        it = expired(it->second, now) ? sessions_.erase(it) : std::next(it);
}

std::string FaldSessions::open(FaldSession session)
{
    std::string token = faldNewToken();
    if (token.empty())
        return token;
    std::lock_guard<std::mutex> lock(mutex_);
    Clock::time_point now = now_();
    dropExpired(now);
    // Room is only ever made among the same user's sessions.
    size_t mine = 0;
    auto oldest = sessions_.end();
    for (auto it = sessions_.begin(); it != sessions_.end(); ++it) {
        if (it->second.user != session.user)
            continue;
        ++mine;
        if (oldest == sessions_.end() || it->second.lastUsed < oldest->second.lastUsed)
            oldest = it;
    }
    if (mine >= kMaxSessionsPerUser || (sessions_.size() >= kMaxSessions && oldest != sessions_.end()))
        sessions_.erase(oldest);
    else if (sessions_.size() >= kMaxSessions)
        return "";
    session.opened = now;
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
    if (expired(it->second, now)) {
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

FaldSessions::Clock::duration FaldSessions::loginWait(const std::string& client, const std::string& user)
{
    std::lock_guard<std::mutex> lock(mutex_);
    Clock::time_point now = now_();
    while (!recentFailures_.empty() && now - recentFailures_.front() >= kFailureWindow)
        recentFailures_.pop_front();
    Clock::duration wait = Clock::duration::zero();
    if (recentFailures_.size() >= kMaxFailuresPerMinute)
        wait = recentFailures_.front() + kFailureWindow - now;
    auto it = failures_.find(Key(client, user));
    if (it != failures_.end()) {
        Clock::time_point allowed = it->second.last + waitAfter(it->second.count);
        if (now < allowed)
            wait = std::max<Clock::duration>(wait, allowed - now);
    }
    return wait;
}

void FaldSessions::loginFailed(const std::string& client, const std::string& user)
{
    std::lock_guard<std::mutex> lock(mutex_);
    Clock::time_point now = now_();
    for (auto it = failures_.begin(); it != failures_.end();)
        it = now - it->second.last > kForgetFailures ? failures_.erase(it) : std::next(it);
    Failures& f = failures_[Key(client, user)];
    ++f.count;
    f.last = now;
    recentFailures_.push_back(now);
    while (recentFailures_.size() > kMaxFailuresPerMinute)
        recentFailures_.pop_front();
}

void FaldSessions::loginSucceeded(const std::string& client, const std::string& user)
{
    std::lock_guard<std::mutex> lock(mutex_);
    failures_.erase(Key(client, user));
}
