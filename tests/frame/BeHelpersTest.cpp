// Parameter and string helpers.
#include <gtest/gtest.h>

#include <memory>

#include "fal.h"

namespace {
std::string pair(const FAL_PARAMS_T& params, const char* name)
{
    std::unique_ptr<char[]> value(BE_PairVal2(params, name));
    return value ? value.get() : "<null>";
}
}  // namespace

TEST(BeHelpers, PairValTakesTheFirstNonEmptyMatch)
{
    FAL_PARAMS_T params = {{"@id", "3"}, {"@id", "4"}, {"!name", ""}, {"@type", "web"}};
    EXPECT_EQ(pair(params, "@id"), "3");
    EXPECT_EQ(pair(params, "@type"), "web");
    EXPECT_EQ(pair(params, "!name"), "<null>");
    EXPECT_EQ(pair(params, "@ruleId"), "<null>");
    EXPECT_EQ(pair({}, "@id"), "<null>");
    EXPECT_EQ(pair(params, nullptr), "<null>");
}

TEST(BeHelpers, DuplicateStr)
{
    EXPECT_EQ(BE_DuplicateStr(""), nullptr);
    std::unique_ptr<char[]> copy(BE_DuplicateStr("abc"));
    EXPECT_STREQ(copy.get(), "abc");
}

TEST(BeHelpers, SplitKeepsInnerEmptyFieldsOnly)
{
    using V = std::vector<std::string>;
    EXPECT_EQ(BE_StrSplit("a,,b", ','), (V{"a", "", "b"}));
    EXPECT_EQ(BE_StrSplit("a,", ','), (V{"a"}));
    EXPECT_EQ(BE_StrSplit(",a", ','), (V{"", "a"}));
    EXPECT_EQ(BE_StrSplit("", ','), V{});
    EXPECT_EQ(BE_StrSplit("a:b:c", ':'), (V{"a", "b", "c"}));
    EXPECT_EQ(BE_StrSplit("abc", ','), (V{"abc"}));
}

TEST(BeHelpers, StrIsNumReadsOneNumberWithBlanksAround)
{
    for (const char* yes : {"12", "-3.5", "1e5", " 12 ", "", "   ", "+7", ".5"})
        EXPECT_TRUE(BE_StrIsNum(yes)) << '"' << yes << '"';
    for (const char* no : {"12a", "0x10", "abc", "1 2", "--1"})
        EXPECT_FALSE(BE_StrIsNum(no)) << '"' << no << '"';
    EXPECT_FALSE(BE_StrIsNum(nullptr));
}

TEST(BeHelpers, StrToIntReadsTheLeadingIntegerAndComplainsOnStdout)
{
    struct Case {
        const char* text;
        int value;
        bool complains;
    };
    for (const Case& c : {Case{"7", 7, false}, Case{" -12 ", -12, false}, Case{"7x", 7, true}, Case{"3.7", 3, true},
                          Case{"x", 0, true}, Case{"", 0, false}}) {
        testing::internal::CaptureStdout();
        int value = BE_StrTo<int>(c.text);
        std::string out = testing::internal::GetCapturedStdout();
        EXPECT_EQ(value, c.value) << c.text;
        EXPECT_EQ(out, c.complains ? "EXCEPTION: BE_StrTo: something unexpected happened" : "") << c.text;
    }
}

TEST(BeHelpers, ClearPointerListDeletesAndKeepsTheLength)
{
    long before = TreeMapObject::liveHandles();
    std::list<TreeMapObject*> list = {new TreeMapObject(false), nullptr, new TreeMapObject(true)};
    clearPointerList(list);
    EXPECT_EQ(list.size(), 3u);
    for (auto* item : list)
        EXPECT_EQ(item, nullptr);
    EXPECT_EQ(TreeMapObject::liveHandles(), before);
}
