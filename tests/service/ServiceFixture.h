// Shared fixture of the service tests: a service object, requests by operation name, and rows
// that seed one service object, run one request and check the answer and the stored object.
#pragma once

#include <memory>
#include <string>

#include "support/FamilyFixture.h"

using SvcRsp = OpRsp;

enum SvcFault { NO_FAULT, FAIL_LOCK, FAIL_SAVE };

// A status that stands for "the operation gives no response".
constexpr unsigned NO_RESPONSE = 99;

struct SvcRow {
    const char* name;
    const char* op;
    FAL_PARAMS_T params;
    const char* body;     // JSON text, or null for no body
    const char* before;   // the stored object (JSON text)
    SvcFault fault;
    unsigned status;      // NO_RESPONSE: null response
    const char* message;  // null: "FAL processed fine!"
    unsigned msgId;       // response id
    const char* data;     // expected data as JSON text ("null": none)
    const char* after;    // the stored object afterwards, null when unchanged
};

class ServiceTest : public FamilyTest<FalServiceLdb, API_TYPE_SERVICE> {
protected:

    static std::string doc(const char* key, const char* object)
    {
        return canon(std::string("{\"") + key + "\":" + object + "}");
    }

    // Seeds {key: row.before}, runs the row's request and checks it.
    void check(const char* key, const SvcRow& row)
    {
        SCOPED_TRACE(row.name);
        seed(API_TYPE_SERVICE, doc(key, row.before));
        if (row.fault == FAIL_LOCK)
            LocalDbCtrl::failNextLocks(API_TYPE_SERVICE, 1);
        if (row.fault == FAIL_SAVE)
            LocalDbCtrl::failNextSaves(API_TYPE_SERVICE, 1);
        SvcRsp rsp = call(row.op, row.params, row.body);
        LocalDbCtrl::failNextLocks(API_TYPE_SERVICE, 0);
        LocalDbCtrl::failNextSaves(API_TYPE_SERVICE, 0);
        EXPECT_EQ(onDisk(API_TYPE_SERVICE), doc(key, row.after ? row.after : row.before));
        EXPECT_EQ(inMemory(API_TYPE_SERVICE), onDisk(API_TYPE_SERVICE));
        if (row.status == NO_RESPONSE) {
            EXPECT_EQ(rsp, nullptr);
            return;
        }
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(rsp->apiType, unsigned(API_TYPE_SERVICE));
        EXPECT_EQ(rsp->status, row.status);
        EXPECT_STREQ(rsp->message, row.message ? row.message : "FAL processed fine!");
        EXPECT_EQ(rsp->msgId, row.msgId);
        EXPECT_EQ(canon(json(rsp->data)), canon(row.data));
    }

    void checkAll(const char* key, const std::vector<SvcRow>& rows)
    {
        for (const SvcRow& row : rows)
            check(key, row);
    }

};
