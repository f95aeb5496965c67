#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "frame/FalTree.h"
#include "host/TreeMapObject.h"

namespace {

using Tree = FalTree;

Tree parse(const char* text)
{
    Tree t(TreeMapObject::parse(text));
    EXPECT_NE(t, nullptr) << "bad test JSON: " << text;
    return t;
}

std::string text(TreeMapObject* t) { return t ? t->toJsonString() : "<none>"; }
std::string text(const Tree& t) { return text(t.get()); }

// Every test must delete every handle it obtained.
class TreeMapTest : public ::testing::Test {
protected:
    void SetUp() override { handles_ = TreeMapObject::liveHandles(); }
    void TearDown() override { EXPECT_EQ(TreeMapObject::liveHandles(), handles_) << "handles leaked"; }
    long handles_ = 0;
};

const char* const kDoc =
    R"({"a":{"b":[10,{"c":"x"},null]},"retryAfter[1]":5,"n":null,"s":"str","i":12,"d":1.5,)"
    R"("t":true,"f":false,"st":"true","num":"42","zero":0})";

TEST_F(TreeMapTest, GetResolvesPaths)
{
    Tree doc = parse(kDoc);
    struct Case {
        const char* path;
        const char* expected;  // JSON of the handle, "<none>" for no handle
    } cases[] = {
        {"a.b.[0]", "10"},
        {"a.b.[1].c", R"("x")"},
        {"a.b.[2]", "null"},  // an item that is JSON null exists
        {"a.b.[3]", "<none>"},
        {"a.[0]", "<none>"},       // index step on an object
        {"a.b.c", "<none>"},       // member step on an array
        {"s.x", "<none>"},         // member step through a string
        {"a.b.[x]", "<none>"},     // "[x]" is a member name, not an index
        {"retryAfter[1]", "5"},    // brackets inside a name
        {"n", "null"},             // a member holding JSON null exists
        {"n.x", "<none>"},
        {"missing", "<none>"},
        {"[0]", "<none>"},
    };
    for (const Case& c : cases) {
        Tree h(doc->get(c.path));
        EXPECT_EQ(text(h), c.expected) << c.path;
    }
    Tree self(doc->get(""));
    Tree selfNull(doc->get(nullptr));
    EXPECT_EQ(text(self), text(doc));
    EXPECT_EQ(text(selfNull), text(doc));
}

TEST_F(TreeMapTest, TypedReads)
{
    Tree doc = parse(kDoc);
    struct Case {
        const char* path;
        const char* str;  // get<const char*>, nullptr for none
        int i;
        bool b;
    } cases[] = {
        {"s", "str", 0, false},   {"i", "12", 12, true},    {"d", "1.5", 1, true},
        {"t", "true", 1, true},   {"f", "false", 0, false}, {"zero", "0", 0, false},
        {"st", "true", 0, true},  {"num", "42", 42, false}, {"n", nullptr, 0, false},
        {"a", nullptr, 0, false}, {"a.b", nullptr, 0, false}, {"missing", nullptr, 0, false},
        {"a.b.[1].c", "x", 0, false},
    };
    for (const Case& c : cases) {
        const char* s = doc->get<const char*>(c.path);
        if (c.str)
            EXPECT_STREQ(s, c.str) << c.path;
        else
            EXPECT_EQ(s, nullptr) << c.path;
        EXPECT_EQ(doc->get<int>(c.path), c.i) << c.path;
        EXPECT_EQ(doc->get<bool>(c.path), c.b) << c.path;
        // get_ex reads integers only and leaves its output alone otherwise.
        int out = -7;
        const bool integer = std::string(c.path) == "i" || std::string(c.path) == "zero";
        EXPECT_EQ(doc->get_ex<int>(c.path, out), integer) << c.path;
        EXPECT_EQ(out, integer ? c.i : -7) << c.path;
    }
}

TEST_F(TreeMapTest, BorrowedTextAndHandlesOutliveTheirSource)
{
    Tree doc = parse(R"({"dev":{"mac":"aa:bb","port":8080}})");
    TreeMapObject* dev = doc->get("dev");
    const char* mac = dev->get<const char*>("mac");
    const char* port = dev->get<const char*>("port");
    delete dev;
    EXPECT_STREQ(mac, "aa:bb");
    EXPECT_STREQ(port, "8080");

    // A handle stays usable after its node left the tree; it no longer changes the tree.
    Tree detached(doc->get("dev"));
    doc->del("dev");
    detached->set("y", 2);
    EXPECT_EQ(text(doc), "{}");
    EXPECT_EQ(text(detached), R"({"mac":"aa:bb","port":8080,"y":2})");
}

TEST_F(TreeMapTest, EmptyValue)
{
    Tree empties[] = {Tree(new TreeMapObject()), parse("null")};
    for (Tree& empty : empties) {
        EXPECT_EQ(empty->toJsonString(true), "null");
        Tree self(empty->get(""));
        ASSERT_NE(self, nullptr);
        EXPECT_TRUE(self->isNull());
        EXPECT_EQ(Tree(empty->get("x")), nullptr);
        empty->set("x", 1);
        EXPECT_LT(empty->setArrayItem(0, nullptr), 0);
        EXPECT_TRUE(empty->isNull());
        Tree copy(empty->clone(nullptr));
        ASSERT_NE(copy, nullptr);
        EXPECT_TRUE(copy->isNull());
    }
}

TEST_F(TreeMapTest, SetFollowsAndCreatesPaths)
{
    struct Case {
        const char* start;
        const char* path;
        const char* value;  // JSON
        const char* expected;
    } cases[] = {
        {"{}", "system.timer", "5", R"({"system":{"timer":5}})"},
        {"{}", "a.b.c", R"("x")", R"({"a":{"b":{"c":"x"}}})"},
        {R"({"a":{"k":1}})", "a.k", "2", R"({"a":{"k":2}})"},
        {R"({"a":null})", "a.b", "1", R"({"a":{"b":1}})"},
        {R"({"a":"x"})", "a.b", "1", R"({"a":"x"})"},          // through a string: nothing
        {R"({"a":[1]})", "a.b", "1", R"({"a":[1]})"},          // member of an array: nothing
        {R"({"a":[1]})", "a.[0]", "7", R"({"a":[7]})"},        // index: replace
        {R"({"a":[1]})", "a.[1]", "7", R"({"a":[1,7]})"},      // index == len: append
        {R"({"a":[1]})", "a.[3]", "7", R"({"a":[1]})"},        // beyond len: nothing
        {R"({"a":[{"x":1}]})", "a.[0].y", "2", R"({"a":[{"x":1,"y":2}]})"},
        {R"({"a":[]})", "a.[0].y", "2", R"({"a":[]})"},        // no item to enter
        {"{}", "x.[0]", "1", "{}"},                            // nothing created on failure
        {"{}", "x.y.[0]", "1", "{}"},
        {"{}", "retryAfter[1]", "3", R"({"retryAfter[1]":3})"},
        {R"({"k":1})", "", "2", R"({"k":1})"},                 // a handle cannot replace its node
        {"{}", "v", "null", R"({"v":null})"},
        {"[1,2]", "[0]", R"({"o":true})", R"([{"o":true},2])"},
    };
    for (const Case& c : cases) {
        Tree doc = parse(c.start);
        Tree value = parse(c.value);
        doc->set(c.path, value.get());
        EXPECT_EQ(text(doc), c.expected) << c.start << " set " << c.path;
    }
}

TEST_F(TreeMapTest, TypedSetters)
{
    Tree doc = parse("{}");
    std::string owned = "temporary";
    doc->set("s", owned.c_str());
    owned.assign("overwritten");  // the text was copied in
    doc->set("z", static_cast<const char*>(nullptr));
    doc->set("i", 5000000000LL);
    doc->set("b", false);
    doc->set("t", nullptr);
    EXPECT_EQ(text(doc), R"({"s":"temporary","z":null,"i":5000000000,"b":false,"t":null})");
}

TEST_F(TreeMapTest, SetStoresACopy)
{
    Tree doc = parse("{}");
    Tree value = parse(R"({"k":[1]})");
    doc->set("v", value.get());
    value->set("k.[0]", 9);
    value->set("extra", true);
    EXPECT_EQ(text(doc), R"({"v":{"k":[1]}})");
    value.reset();
    EXPECT_EQ(text(doc), R"({"v":{"k":[1]}})");

    // A handle onto the tree itself is copied too, so the tree does not contain itself.
    doc->set("self", doc.get());
    EXPECT_EQ(text(doc), R"({"v":{"k":[1]},"self":{"v":{"k":[1]}}})");

    // While another handle into the value's tree lives, the value is copied all the same.
    Tree shared = parse(R"({"n":1})");
    Tree inner(shared->get(""));
    doc->set("w", shared.get());
    inner->set("n", 5);
    EXPECT_EQ(text(Tree(doc->get("w"))), R"({"n":1})");

    Tree list = parse("[]");
    Tree item = parse(R"({"a":1})");
    list->addArrayItem(item.get());
    EXPECT_GT(list->setArrayItem(1, item.get()), 0);
    item->set("a", 2);
    EXPECT_EQ(text(list), R"([{"a":1},{"a":1}])");
}

TEST_F(TreeMapTest, Del)
{
    struct Case {
        const char* path;
        const char* expected;
    } cases[] = {
        {"a.x", R"({"a":{"y":2},"l":[1,2,3]})"},
        {"l.[1]", R"({"a":{"x":1,"y":2},"l":[1,3]})"},
        {"l.[3]", R"({"a":{"x":1,"y":2},"l":[1,2,3]})"},
        {"q.x", R"({"a":{"x":1,"y":2},"l":[1,2,3]})"},
        {"", R"({"a":{"x":1,"y":2},"l":[1,2,3]})"},
    };
    for (const Case& c : cases) {
        Tree doc = parse(R"({"a":{"x":1,"y":2},"l":[1,2,3]})");
        doc->del(c.path);
        EXPECT_EQ(text(doc), c.expected) << c.path;
    }
}

TEST_F(TreeMapTest, ArrayItems)
{
    Tree list = parse(R"([1,null,"c"])");
    ASSERT_EQ(list->len(), 3u);
    EXPECT_EQ(Tree(list->at(3)), nullptr);
    Tree nullItem(list->at(1));
    ASSERT_NE(nullItem, nullptr);
    EXPECT_TRUE(nullItem->isNull());

    Tree item = parse(R"({"id":4})");
    EXPECT_GT(list->setArrayItem(3, item.get()), 0);  // append
    EXPECT_GT(list->setArrayItem(0, item.get()), 0);  // replace
    EXPECT_LT(list->setArrayItem(5, item.get()), 0);
    list->addArrayItem(nullptr);
    EXPECT_EQ(text(list), R"([{"id":4},null,"c",{"id":4},null])");

    EXPECT_LT(list->delArrayItem(5), 0);
    EXPECT_GT(list->delArrayItem(2), 0);
    EXPECT_EQ(text(list), R"([{"id":4},null,{"id":4},null])");
    while (list->len() > 0)
        ASSERT_GT(list->delArrayItem(0), 0);
    EXPECT_EQ(text(list), "[]");
    EXPECT_LT(list->delArrayItem(0), 0);

    Tree full = parse("[1,2,3]");
    full->clearArrayItems();
    EXPECT_EQ(text(full), "[]");

    // Array members on a node that is not an array.
    Tree obj = parse(R"({"a":1})");
    EXPECT_EQ(obj->len(), 0u);
    EXPECT_EQ(Tree(obj->at(0)), nullptr);
    EXPECT_LT(obj->setArrayItem(0, item.get()), 0);
    EXPECT_LT(obj->delArrayItem(0), 0);
    obj->addArrayItem(item.get());
    obj->clearArrayItems();
    EXPECT_EQ(text(obj), R"({"a":1})");
}

TEST_F(TreeMapTest, CloneIsIndependent)
{
    Tree doc = parse(R"({"a":{"l":[1]},"n":null})");
    Tree copy(doc->clone("a"));
    copy->set("l.[1]", 2);
    copy->set("k", "v");
    EXPECT_EQ(text(doc), R"({"a":{"l":[1]},"n":null})");
    doc->set("a.l.[0]", 5);
    EXPECT_EQ(text(copy), R"({"l":[1,2],"k":"v"})");

    Tree whole(doc->clone(nullptr));
    EXPECT_EQ(text(whole), text(doc));
    EXPECT_EQ(Tree(doc->clone("missing")), nullptr);
    Tree nullCopy(doc->clone("n"));
    ASSERT_NE(nullCopy, nullptr);
    EXPECT_TRUE(nullCopy->isNull());
}

TEST_F(TreeMapTest, FindAtAnyDepth)
{
    Tree doc = parse(R"({"name":"x","devs":[{"name":"x","active":true},{"name":"y"},)"
                     R"({"sub":{"name":"x","active":false}},[{"name":"x"}]],)"
                     R"("num":{"name":1},"deep":{"a":{"b":{"name":"x"}}}})");
    std::list<TreeMapObject*> found = doc->find<const char*>("name", "x");
    EXPECT_EQ(found.size(), 5u);  // the root, two in the list, one in a nested array, one deep
    for (TreeMapObject* h : found)
        EXPECT_STREQ(h->get<const char*>("name"), "x");
    // The items are views onto the tree.
    found.front()->set("seen", true);
    EXPECT_TRUE(doc->get<bool>("seen"));
    for (TreeMapObject* h : found)
        delete h;

    EXPECT_TRUE(doc->find<const char*>("name", "1").empty());  // numbers do not match strings
    EXPECT_TRUE(doc->find<const char*>("name", "z").empty());
    EXPECT_TRUE(doc->find<const char*>(nullptr, "x").empty());
    EXPECT_TRUE(doc->find<const char*>("name", nullptr).empty());
}

TEST_F(TreeMapTest, ParseAndPrint)
{
    EXPECT_EQ(Tree(TreeMapObject::parse(nullptr)), nullptr);
    for (const char* bad : {"", "{", "{\"a\":}", "{} x"})
        EXPECT_EQ(Tree(TreeMapObject::parse(bad)), nullptr) << bad;
    EXPECT_EQ(text(parse(" 12 ")), "12");
    EXPECT_EQ(text(parse(R"({"u":"a/b"})")), R"({"u":"a/b"})");  // slashes are not escaped
}

}  // namespace
