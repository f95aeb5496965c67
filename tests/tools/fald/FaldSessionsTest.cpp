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

TEST(FaldSessions, TheOldestSessionMakesRoomWhenFull)
{
    FakeClock clock;
    FaldSessions sessions(clock.fn());
    std::string first = sessions.open(sessionOf("u", std::chrono::hours(1)));
    for (size_t i = 1; i < FaldSessions::kMaxSessions; ++i) {
        clock.now += std::chrono::seconds(1);
        sessions.open(sessionOf("u", std::chrono::hours(1)));
    }
    clock.now += std::chrono::seconds(1);
    std::string last = sessions.open(sessionOf("u", std::chrono::hours(1)));
    FaldSession s;
    EXPECT_EQ(sessions.count(), FaldSessions::kMaxSessions);
    EXPECT_FALSE(sessions.use(first, s));
    EXPECT_TRUE(sessions.use(last, s));
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

TEST(FaldSessions, FailedLoginsBackOffPerClient)
{
    FakeClock clock;
    FaldSessions sessions(clock.fn());
    for (unsigned i = 0; i < FaldSessions::kFreeFailures; ++i) {
        EXPECT_EQ(sessions.loginWait("10.0.0.1"), Clock::duration::zero()) << i;
        sessions.loginFailed("10.0.0.1");
    }
    EXPECT_EQ(sessions.loginWait("10.0.0.1"), std::chrono::seconds(1));
    EXPECT_EQ(sessions.loginWait("10.0.0.2"), Clock::duration::zero()) << "other clients are not held up";
    clock.now += std::chrono::seconds(1);
    EXPECT_EQ(sessions.loginWait("10.0.0.1"), Clock::duration::zero());
    sessions.loginFailed("10.0.0.1");
    EXPECT_EQ(sessions.loginWait("10.0.0.1"), std::chrono::seconds(2)) << "each failure doubles the wait";
    for (int i = 0; i < 20; ++i)
        sessions.loginFailed("10.0.0.1");
    EXPECT_EQ(sessions.loginWait("10.0.0.1"), std::chrono::seconds(60));
    sessions.loginSucceeded("10.0.0.1");
    EXPECT_EQ(sessions.loginWait("10.0.0.1"), Clock::duration::zero());
}

TEST(FaldSessions, TokensAreFreshEachTime)
{
    std::string a = faldNewToken();
    std::string b = faldNewToken();
    EXPECT_EQ(a.size(), 32u);
    EXPECT_NE(a, b);
}
