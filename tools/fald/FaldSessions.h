// Sessions of fald: random tokens handed out at login, the user and permission table behind each,
// idle expiry, and the back-off that slows down repeated failed logins from one client.
#pragma once

#include <chrono>
#include <functional>
#include <map>
#include <mutex>
#include <string>

struct FaldSession {
    std::string user;
    std::string role;  // "admin", "user", ... as the login reply gives it
    // Family name -> "rw" or "r", as the role's permission table gives it.
    std::map<std::string, std::string> permissions;
    std::chrono::seconds idleTimeout{0};
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

    // Sessions beyond this number push out the least recently used.
    static constexpr size_t kMaxSessions = 256;

    explicit FaldSessions(Now now = Clock::now);

    // Opens a session and returns its token; "" when no token can be made.
    std::string open(FaldSession session);
    // The session of a token, refreshed as used now; false when there is none or it has been
    // idle longer than its time-out (it is then ended).
    bool use(const std::string& token, FaldSession& out);
    void close(const std::string& token);
    size_t count();

    // Login back-off, by client address. How long the client must still wait before its next
    // login attempt (zero: it may try now).
    Clock::duration loginWait(const std::string& client);
    void loginFailed(const std::string& client);
    void loginSucceeded(const std::string& client);

    // Failures a client may have in a row before it has to wait; the wait then doubles with each
    // further failure, from one second up to a minute.
    static constexpr unsigned kFreeFailures = 3;

private:
    struct Failures {
        unsigned count = 0;
        Clock::time_point last;
    };

    void dropIdle(Clock::time_point now);

    Now now_;
    std::mutex mutex_;
    std::map<std::string, FaldSession> sessions_;
    std::map<std::string, Failures> failures_;
};
