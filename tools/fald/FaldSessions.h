// Sessions of fald: random tokens handed out at login, the user and permission table behind each,
// idle and absolute expiry, a cap per user, and the back-off that slows down repeated failed
// logins.
#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <utility>

struct FaldSession {
    std::string user;
    std::string role;  // "admin", "user", ... as the login reply gives it
    // Family name -> "rw" or "r", as the role's permission table gives it.
    std::map<std::string, std::string> permissions;
    std::chrono::seconds idleTimeout{0};
    std::chrono::seconds lifetime{0};  // from the login on, whatever the use; 0: no limit
    std::chrono::steady_clock::time_point opened;
    std::chrono::steady_clock::time_point lastUsed;
};

// Whether a session's table lets it use `family` with `method`: GET needs "r" or "rw", every
// other method "rw".
bool faldAllows(const FaldSession& session, const std::string& family, const std::string& method);

// A new session token: 128 bits from the OS's CSPRNG as 32 hex digits; "" when none can be had.
std::string faldNewToken();

class FaldSessions {
public:
    using Clock = std::chrono::steady_clock;
    using Now = std::function<Clock::time_point()>;

    // Sessions of one user beyond this number push out that user's least recently used one.
    static constexpr size_t kMaxSessionsPerUser = 16;
    // Sessions of all users together; a login beyond it is refused unless the same user has a
    // session to give up. Another user's session is never ended to make room.
    static constexpr size_t kMaxSessions = 256;

    explicit FaldSessions(Now now = Clock::now);

    // Opens a session and returns its token; "" when no token can be made or every place is
    // taken by other users.
    std::string open(FaldSession session);
    // The session of a token, refreshed as used now; false when there is none, it has been idle
    // longer than its idle time-out or it has outlived its lifetime (it is then ended).
    bool use(const std::string& token, FaldSession& out);
    void close(const std::string& token);
    size_t count();

    // Login back-off, by client address and user name: how long that client must still wait
    // before it may try that user again, or anyone may try any login when the failures of the
    // last minute reached the global ceiling (zero: it may try now).
    Clock::duration loginWait(const std::string& client, const std::string& user);
    void loginFailed(const std::string& client, const std::string& user);
    // Clears the back-off of this client for this user only.
    void loginSucceeded(const std::string& client, const std::string& user);

    // Failures a client may have in a row on one user before it has to wait; the wait then
    // doubles with each further failure, from one second up to a minute.
    static constexpr unsigned kFreeFailures = 3;
    // Failed logins of all clients together in any minute.
    static constexpr unsigned kMaxFailuresPerMinute = 60;

private:
    struct Failures {
        unsigned count = 0;
        Clock::time_point last;
    };
    using Key = std::pair<std::string, std::string>;  // client, user

    bool expired(const FaldSession& s, Clock::time_point now) const;
    void dropExpired(Clock::time_point now);

    Now now_;
    std::mutex mutex_;
    std::map<std::string, FaldSession> sessions_;
    std::map<Key, Failures> failures_;
    std::deque<Clock::time_point> recentFailures_;  // of the last minute, oldest first
};
