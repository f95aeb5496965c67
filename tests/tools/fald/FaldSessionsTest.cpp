// What HTTP cannot show in a test's time: session expiry, the growing login back-off and the
// full session table, on a clock the test moves.

#include <gtest/gtest.h>

#include "tools/fald/FaldSessions.h"

namespace {

using Clock = FaldSessions::Clock;
using std::chrono::seconds;

struct FaldSessionsTest : ::testing::Test {
    Clock::time_point now = Clock::time_point() + std::chrono::hours(1);
    FaldSessions sessions{[this] { return now; }};
    FaldSession s;

    std::string open(const std::string& user, seconds idle, seconds lifetime = seconds(0))
    {
        FaldSession session;
        session.user = user;
        session.idleTimeout = idle;
        session.lifetime = lifetime;
        return sessions.open(session);
    }
};

}  // namespace

TEST_F(FaldSessionsTest, SessionsEndWhenIdleOrAtTheirLifetime)
{
    std::string idle = open("admin", seconds(300));
    std::string busy = open("admin", seconds(300), seconds(600));
    for (int i = 0; i < 6; ++i) {
        now += seconds(100);
        EXPECT_TRUE(sessions.use(busy, s)) << "each use restarts the idle time " << i;
    }
    EXPECT_FALSE(sessions.use(idle, s));
    now += seconds(1);
    EXPECT_FALSE(sessions.use(busy, s)) << "however busy";
    EXPECT_EQ(sessions.count(), 0u);
}

TEST_F(FaldSessionsTest, FailedLoginsWaitLongerEachTimeUpToAMinute)
{
    const std::string a = "10.0.0.1";
    for (unsigned i = 0; i < FaldSessions::kFreeFailures; ++i)
        sessions.loginFailed(a, "admin");
    EXPECT_EQ(sessions.loginWait(a, "admin"), seconds(1));
    EXPECT_EQ(sessions.loginWait("10.0.0.2", "admin"), Clock::duration::zero()) << "other clients are not held up";
    now += seconds(1);
    EXPECT_EQ(sessions.loginWait(a, "admin"), Clock::duration::zero());
    sessions.loginFailed(a, "admin");
    EXPECT_EQ(sessions.loginWait(a, "admin"), seconds(2));
    for (int i = 0; i < 20; ++i)
        sessions.loginFailed(a, "admin");
    EXPECT_EQ(sessions.loginWait(a, "admin"), seconds(60));
    sessions.loginSucceeded(a, "admin");
    EXPECT_EQ(sessions.loginWait(a, "admin"), Clock::duration::zero());
}

TEST_F(FaldSessionsTest, AFullTableRefusesANewUserAndPushesNobodyOut)
{
    std::string first = open("user0", seconds(3600));
    for (size_t i = 1; i < FaldSessions::kMaxSessions; ++i)
        ASSERT_FALSE(open("user" + std::to_string(i), seconds(3600)).empty());
    EXPECT_EQ(open("late", seconds(3600)), "");
    EXPECT_EQ(sessions.count(), FaldSessions::kMaxSessions);
    EXPECT_TRUE(sessions.use(first, s));
}
