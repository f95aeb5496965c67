// The handler steps shared by every family: item lookups, numbered replies and traces.
#include <gtest/gtest.h>

#include "frame/FalHandler.h"
#include "frame/FalResponse.h"
#include "frame/FalTree.h"
#include "support/FalTest.h"

using HandlerTest = FalDbTest;

TEST_F(HandlerTest, ItemLookupsSkipItemsWithoutAnIntegerMember)
{
    FalTree list(TreeMapObject::parse(R"([{"id": 2}, null, {"id": "5"}, {"id": 7}, {"other": 9}, {"id": 2}])"));
    ASSERT_TRUE(list);
    EXPECT_EQ(findItem(list.get(), "id", 2), 0);
    EXPECT_EQ(findLastItem(list.get(), "id", 2), 5);
    EXPECT_EQ(findItem(list.get(), "id", 5), -1);  // a text is not a number
    EXPECT_EQ(findItem(list.get(), "id", 9), -1);
    EXPECT_EQ(findItem(nullptr, "id", 2), -1);
    EXPECT_EQ(findLastItem(nullptr, "id", 2), -1);
    EXPECT_EQ(nextItemId(list.get(), "id"), 8);
    EXPECT_EQ(nextItemId(list.get(), "id", 20), 20);
    EXPECT_EQ(nextItemId(nullptr, "id", 1), 1);
}

TEST_F(HandlerTest, NumberedReplyKeepsItsDataOnlyOnSuccess)
{
    struct Row {
        FAL_STATUS_T status;
        const char* data;
    };
    for (const Row& row : {Row{FAL_OK, R"({"index":4})"}, Row{FAL_DELETED, R"({"index":4})"},
                           Row{FAL_FAILED, "null"}, Row{FAL_NOT_FOUND, "null"}}) {
        _FAL_RSP_T* rsp = newFalResponse(API_TYPE_QOS, 5, true);
        falAnswer(rsp, row.status, "m");
        finishIdReply(rsp, "index", 4);
        EXPECT_EQ(json(rsp->data), canon(row.data)) << row.status;
        freeFalResponse(rsp);
    }
}

TEST_F(HandlerTest, TraceStylesWriteTheirEntryAndExitLines)
{
    struct Row {
        FAL_TRACE_T style;
        std::vector<std::string> lines;
    };
    const std::vector<Row> rows = {
        {FAL_TRACE_NAME_FIRST, {"Op Enter\n", "Op Exit\n"}},
        {FAL_TRACE_WORD_FIRST, {"Enter Op\n", "Exit Op\n"}},
        {FAL_TRACE_NAME_EXIT_ONLY, {"Op Exit\n"}},
        {FAL_TRACE_WORD_EXIT_ONLY, {"Exit Op\n"}},
        {FAL_TRACE_NONE, {}},
    };
    for (const Row& row : rows) {
        logs_.clear();
        { FalTrace trace(LOG_GROUP_NETWORK, "Op", row.style); }
        std::vector<std::string> lines;
        for (const CapturedLog& log : logs_) {
            EXPECT_EQ(log.type, LOG_TYPE_TRACE);
            EXPECT_EQ(log.group, LOG_GROUP_NETWORK);
            lines.push_back(log.text);
        }
        EXPECT_EQ(lines, row.lines) << row.style;
    }
}
