// Session expiry, permission checks and the login back-off, on a clock the test moves.

#include <gtest/gtest.h>

#include "tools/fald/FaldSessions.h"

namespace {

using Clock = FaldSessions::Clock;

struct FakeClock {
    Clock::time_point now = Clock::time_point() + std::chrono::hours(1);
    FaldSessions::Now fn()
    {
        return [this] { return now; };
    }
};

FaldSession sessionOf(const char* user, std::chrono::seconds idle)
{
    FaldSession s;
    s.user = user;
    s.idleTimeout = idle;
    s.permissions = {{"gateway", "rw"}, {"wifi", "r"}, {"qos", "-"}};
    return s;
}

}  // namespace

TEST(FaldSessions, IdleSessionsExpireAndUseKeepsThemAlive)
{
    FakeClock clock;
    FaldSessions sessions(clock.fn());
    std::string token = sessions.open(sessionOf("admin", std::chrono::seconds(300)));
    ASSERT_EQ(token.size(), 32u);
    FaldSession s;
    clock.now += std::chrono::seconds(299);
    ASSERT_TRUE(sessions.use(token, s));
    EXPECT_EQ(s.user, "admin");
    clock.now += std::chrono::seconds(299);
    EXPECT_TRUE(sessions.use(token, s)) << "each use restarts the idle time";
    clock.now += std::chrono::seconds(301);
    EXPECT_FALSE(sessions.use(token, s));
    EXPECT_EQ(sessions.count(), 0u);

    std::string other = sessions.open(sessionOf("admin", std::chrono::seconds(300)));
    sessions.close(other);
    EXPECT_FALSE(sessions.use(other, s));
}

TEST(FaldSessions, AUsersOldestSessionMakesRoomButNeverAnotherUsers)
{
    FakeClock clock;
    FaldSessions sessions(clock.fn());
    std::string admin = sessions.open(sessionOf("admin", std::chrono::hours(1)));
    std::string first = sessions.open(sessionOf("u", std::chrono::hours(1)));
    for (size_t i = 0; i < 300; ++i) {
        clock.now += std::chrono::seconds(1);
        ASSERT_FALSE(sessions.open(sessionOf("u", std::chrono::hours(1))).empty());
    }
    FaldSession s;
    EXPECT_EQ(sessions.count(), FaldSessions::kMaxSessionsPerUser + 1);
    EXPECT_FALSE(sessions.use(first, s)) << "the user's oldest went";
    EXPECT_TRUE(sessions.use(admin, s)) << "another user's session stays";

    // All places taken by others: a new user's login is refused, nobody is pushed out.
    FaldSessions full(clock.fn());
    for (size_t i = 0; i < FaldSessions::kMaxSessions; ++i)
        ASSERT_FALSE(full.open(sessionOf(("user" + std::to_string(i)).c_str(), std::chrono::hours(1))).empty());
    EXPECT_EQ(full.open(sessionOf("late", std::chrono::hours(1))), "");
    EXPECT_EQ(full.count(), FaldSessions::kMaxSessions);
}

TEST(FaldSessions, TheLifetimeEndsASessionHoweverBusy)
{
    FakeClock clock;
    FaldSessions sessions(clock.fn());
    FaldSession with = sessionOf("admin", std::chrono::seconds(300));
    with.lifetime = std::chrono::seconds(600);
    std::string token = sessions.open(with);
    FaldSession s;
    for (int i = 0; i < 6; ++i) {
        clock.now += std::chrono::seconds(100);
        ASSERT_TRUE(sessions.use(token, s)) << i;
    }
    clock.now += std::chrono::seconds(1);
    EXPECT_FALSE(sessions.use(token, s));
}

TEST(FaldSessions, PermissionTableGatesMethods)
{
    FaldSession s = sessionOf("u", std::chrono::seconds(1));
    EXPECT_TRUE(faldAllows(s, "gateway", "GET"));
    EXPECT_TRUE(faldAllows(s, "gateway", "DELETE"));
    EXPECT_TRUE(faldAllows(s, "wifi", "GET"));
    EXPECT_FALSE(faldAllows(s, "wifi", "PUT"));
    EXPECT_FALSE(faldAllows(s, "qos", "GET"));
    EXPECT_FALSE(faldAllows(s, "service", "GET"));
}

TEST(FaldSessions, FailedLoginsBackOffPerClientAndUser)
{
    FakeClock clock;
    FaldSessions sessions(clock.fn());
    const std::string a = "10.0.0.1";
    for (unsigned i = 0; i < FaldSessions::kFreeFailures; ++i) {
        EXPECT_EQ(sessions.loginWait(a, "admin"), Clock::duration::zero()) << i;
        sessions.loginFailed(a, "admin");
    }
    EXPECT_EQ(sessions.loginWait(a, "admin"), std::chrono::seconds(1));
    EXPECT_EQ(sessions.loginWait("10.0.0.2", "admin"), Clock::duration::zero()) << "other clients are not held up";
    EXPECT_EQ(sessions.loginWait(a, "viewer"), Clock::duration::zero()) << "nor other users";
    // Another account's success does not clear the back-off.
    sessions.loginSucceeded(a, "viewer");
    EXPECT_EQ(sessions.loginWait(a, "admin"), std::chrono::seconds(1));
    clock.now += std::chrono::seconds(1);
    EXPECT_EQ(sessions.loginWait(a, "admin"), Clock::duration::zero());
    sessions.loginFailed(a, "admin");
    EXPECT_EQ(sessions.loginWait(a, "admin"), std::chrono::seconds(2)) << "each failure doubles the wait";
    for (int i = 0; i < 20; ++i)
        sessions.loginFailed(a, "admin");
    EXPECT_EQ(sessions.loginWait(a, "admin"), std::chrono::seconds(60));
    sessions.loginSucceeded(a, "admin");
    EXPECT_EQ(sessions.loginWait(a, "admin"), Clock::duration::zero());
}

TEST(FaldSessions, FailedLoginsHaveAGlobalCeilingPerMinute)
{
    FakeClock clock;
    FaldSessions sessions(clock.fn());
    // Spread over many addresses and names, each below its own back-off.
    for (unsigned i = 0; i < FaldSessions::kMaxFailuresPerMinute; ++i) {
        ASSERT_EQ(sessions.loginWait("10.1.0." + std::to_string(i % 200), "u" + std::to_string(i)),
                  Clock::duration::zero());
        sessions.loginFailed("10.1.0." + std::to_string(i % 200), "u" + std::to_string(i));
        clock.now += std::chrono::milliseconds(500);
    }
    Clock::duration wait = sessions.loginWait("10.9.9.9", "admin");
    EXPECT_GT(wait, Clock::duration::zero()) << "a fresh client waits too";
    clock.now += wait;
    EXPECT_EQ(sessions.loginWait("10.9.9.9", "admin"), Clock::duration::zero()) << "the window slid on";
}

TEST(FaldSessions, TokensAreFreshEachTime)
{
    std::string a = faldNewToken();
    std::string b = faldNewToken();
    EXPECT_EQ(a.size(), 32u);
    EXPECT_NE(a, b);
}
