// Test support: a fresh database root per test, and the checks every test ends with.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "fal.h"
#include "host/LocalDbCtrlTesting.h"

// One log record as the Logger handed it to the capture.
struct CapturedLog {
    int type;
    int group;
    std::string text;
};

// Each test runs against its own temporary root. After the test body, the fixture checks that
// the thread holds no lock, that no TreeMapObject handle is alive beyond those the test still
// owns, and that the dispatcher never had to release a lock left held.
class FalDbTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;

    // Writes a document (JSON text) to disk and drops the cache so the next lock reads it.
    void seed(unsigned apiType, const std::string& json);
    // The document as it stands on disk (parsed and printed canonically), "" when unreadable.
    std::string onDisk(unsigned apiType);
    // The document as the database hands it out (canonical JSON).
    std::string inMemory(unsigned apiType);

    // Runs a request through the family's dispatcher and checks the no-lock/no-handle rule.
    _FAL_RSP_T* run(IFal& family, unsigned msgId, const FAL_PARAMS_T& params = {},
                    const char* bodyJson = nullptr, const char* requester = "test");

    // Canonical JSON text of a tree, "null" for null.
    static std::string json(TreeMapObject* tree);
    // Canonical form of JSON text.
    static std::string canon(const std::string& json);

    std::string root_;
    std::vector<CapturedLog> logs_;
    long handlesAtStart_ = 0;
    unsigned long leftLocksAtStart_ = 0;
};

// Frees a response and its data.
struct RspDeleter {
    void operator()(_FAL_RSP_T* r) const { freeFalResponse(r); }
};
