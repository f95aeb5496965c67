// Fixture of the family tests: runs operations by name, checks their answers and what is stored.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "support/FalTest.h"

using OpRsp = std::unique_ptr<_FAL_RSP_T, RspDeleter>;

constexpr const char* kFine = "FAL processed fine!";

template <class Family, unsigned ApiType>
class FamilyTest : public FalDbTest {
protected:
    OpRsp call(const char* op, const FAL_PARAMS_T& params = {}, const char* body = nullptr)
    {
        return OpRsp(run(family_, requestId(op), params, body));
    }

    // The request id of an operation of the family (0, with a failure, for an unknown name).
    static unsigned requestId(const char* op)
    {
        const FalOpInfo* info = falFamilyByApiType(ApiType)->findOp(op);
        EXPECT_NE(info, nullptr) << op;
        return info ? info->requestId : 0;
    }

    // The response id of an operation that answers its request id + 1.
    static unsigned replyTo(const char* op) { return requestId(op) + 1; }

    // Status, message and response id of an answer.
    static void expectAnswer(const OpRsp& rsp, unsigned status, const char* message, unsigned msgId)
    {
        ASSERT_NE(rsp, nullptr);
        EXPECT_EQ(rsp->apiType, ApiType);
        EXPECT_EQ(rsp->status, status);
        EXPECT_STREQ(rsp->message, message);
        EXPECT_EQ(rsp->msgId, msgId);
    }

    // The same, for an operation that answers with its request id + 1.
    static void expectAnswer(const OpRsp& rsp, unsigned status, const char* message, const char* op)
    {
        expectAnswer(rsp, status, message, replyTo(op));
    }

    // JSON text of a tree in the form canon() gives ("null" for null).
    static std::string text(TreeMapObject* tree) { return canon(json(tree)); }

    // The stored member `path` of the family document, or of the document `apiType` (canonical
    // JSON; "null" when absent).
    std::string stored(const char* path, unsigned apiType = ApiType)
    {
        TreeMapObject* doc = LocalDbCtrl::copyDocument(apiType);
        TreeMapObject* node = doc ? doc->get(path) : nullptr;
        std::string text = this->text(node);
        delete node;
        delete doc;
        return text;
    }

    Family family_;
};
