// Shared fixture of the gateway tests: a gateway object, requests by operation name, and the
// host's working directory moved into the test root (the login and backup use relative paths).
#pragma once

#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>

#include "support/FamilyFixture.h"

using GwRsp = OpRsp;

// One request and what it must answer.
struct GwCase {
    const char* name;
    const char* op;
    FAL_PARAMS_T params;
    const char* body;     // JSON text, or null for no body
    unsigned status;
    const char* message;
    const char* data;     // expected data as JSON text, or null when the response has none
    const char* stored;   // expected gateway document afterwards, or null when it must not change
    int failLock = -1;    // API type whose next lock fails
    int failSave = -1;    // API type whose next save fails
};

inline std::ostream& operator<<(std::ostream& os, const GwCase& c)
{
    return os << c.name;
}

class GatewayTest : public FamilyTest<FalGatewayLdb, API_TYPE_GATEWAY> {
protected:
    void SetUp() override
    {
        FalDbTest::SetUp();
        char buf[4096];
        ASSERT_NE(getcwd(buf, sizeof(buf)), nullptr);
        cwd_ = buf;
        ASSERT_EQ(chdir(root_.c_str()), 0);
    }

    void TearDown() override
    {
        EXPECT_EQ(chdir(cwd_.c_str()), 0);
        FalDbTest::TearDown();
    }

    // Writes a file below the test root.
    void writeFile(const std::string& path, const std::string& text)
    {
        std::string dir = path.substr(0, path.rfind('/'));
        if (dir != path) {
            ASSERT_EQ(system(("mkdir -p " + root_ + "/" + dir).c_str()), 0);
        }
        std::ofstream(root_ + "/" + path, std::ios::trunc) << text;
    }

    // Runs a case against a seeded gateway document and checks every part of the answer.
    void check(const GwCase& c, const std::string& seeded)
    {
        SCOPED_TRACE(c.name);
        if (c.failLock >= 0)
            LocalDbCtrl::failNextLocks(static_cast<unsigned>(c.failLock), 1);
        if (c.failSave >= 0)
            LocalDbCtrl::failNextSaves(static_cast<unsigned>(c.failSave), 1);
        GwRsp rsp = call(c.op, c.params, c.body);
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(rsp->msgId, requestId(c.op) + 1);
        EXPECT_EQ(rsp->status, c.status);
        EXPECT_STREQ(rsp->message, c.message);
        if (c.data)
            EXPECT_EQ(canon(json(rsp->data)), canon(c.data));
        else
            EXPECT_EQ(rsp->data, nullptr) << json(rsp->data);
        EXPECT_EQ(onDisk(API_TYPE_GATEWAY), canon(c.stored ? c.stored : seeded));
        if (c.failLock >= 0)
            LocalDbCtrl::failNextLocks(static_cast<unsigned>(c.failLock), 0);
        if (c.failSave >= 0)
            LocalDbCtrl::failNextSaves(static_cast<unsigned>(c.failSave), 0);
    }

    std::string cwd_;
};
