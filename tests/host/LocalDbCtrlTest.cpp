#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

#include "frame/FalTree.h"
#include "support/FalTest.h"

namespace {

using Tree = FalTree;

constexpr unsigned kGateway = 0;
constexpr unsigned kWifi = 1;
constexpr unsigned kService = 4;

class LocalDbTest : public FalDbTest {
protected:
    void TearDown() override
    {
        LocalDbCtrlTesting::setLockTimeout(10000);
        FalDbTest::TearDown();
    }
};

TEST_F(LocalDbTest, LockResolvesKey)
{
    seed(kGateway, R"({"users":[{"name":"admin"}],"led":{"on":true},"none":null})");
    struct Case {
        const char* key;
        const char* expected;  // "<none>" when the lock returns null
    } cases[] = {
        {nullptr, R"({"users":[{"name":"admin"}],"led":{"on":true},"none":null})"},
        {"", R"({"users":[{"name":"admin"}],"led":{"on":true},"none":null})"},
        {"led", R"({"on":true})"},
        {"users.[0].name", R"("admin")"},
        {"users.[1]", "<none>"},
        {"missing", "<none>"},
        {"none", "null"},
    };
    for (const Case& c : cases) {
        Tree obj(LocalDbCtrl::lockDbObject(kGateway, c.key, "test"));
        EXPECT_EQ(obj ? obj->toJsonString() : "<none>", c.expected) << (c.key ? c.key : "(null)");
        EXPECT_EQ(LocalDbCtrl::heldLocks(kGateway), 1u) << "a failed key still takes the lock";
        LocalDbCtrl::unlockDbObject(kGateway, "test");
    }
}

TEST_F(LocalDbTest, UnloadableDocumentStillTakesTheLock)
{
    // A truncated document last: the next load must not go on from where its parse stopped.
    for (const char* content : {"", "not json", "{"}) {
        seed(kWifi, content);
        EXPECT_EQ(Tree(LocalDbCtrl::lockDbObject(kWifi, "", "test")), nullptr) << content;
        EXPECT_EQ(LocalDbCtrl::heldLocks(kWifi), 1u);
        EXPECT_NE(LocalDbCtrl::saveDbObject(kWifi, "test"), 0);
        LocalDbCtrl::unlockDbObject(kWifi, "test");
        EXPECT_EQ(LocalDbCtrl::copyDocument(kWifi), nullptr);
    }
    seed(kGateway, R"({"ok":1})");
    EXPECT_EQ(inMemory(kGateway), R"({"ok":1})");
    ASSERT_EQ(unlink(LocalDbCtrl::documentPath(kWifi).c_str()), 0);
    LocalDbCtrl::reset();
    EXPECT_EQ(Tree(LocalDbCtrl::lockDbObject(kWifi, "", "test")), nullptr);
    LocalDbCtrl::unlockDbObject(kWifi, "test");
}

TEST_F(LocalDbTest, UnknownApiType)
{
    EXPECT_EQ(LocalDbCtrl::documentName(7), nullptr);
    EXPECT_EQ(LocalDbCtrl::lockDbObject(7, "", "test"), nullptr);
    EXPECT_NE(LocalDbCtrl::saveDbObject(7, "test"), 0);
    LocalDbCtrl::unlockDbObject(7, "test");
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
}

TEST_F(LocalDbTest, DocumentIsCachedAfterFirstLoad)
{
    seed(kGateway, R"({"led":1})");
    delete LocalDbCtrl::lockDbObject(kGateway, "", "test");
    LocalDbCtrl::unlockDbObject(kGateway, "test");
    ASSERT_EQ(unlink(LocalDbCtrl::documentPath(kGateway).c_str()), 0);
    Tree led(LocalDbCtrl::lockDbObject(kGateway, "led", "test"));
    EXPECT_EQ(json(led.get()), "1");
    LocalDbCtrl::unlockDbObject(kGateway, "test");
}

TEST_F(LocalDbTest, ReentrantLockCountsLevels)
{
    delete LocalDbCtrl::lockDbObject(kGateway, "", "a");
    delete LocalDbCtrl::lockDbObject(kGateway, "", "b");  // the thread, not the requester, owns it
    delete LocalDbCtrl::lockDbObject(kService, "", "a");
    EXPECT_EQ(LocalDbCtrl::heldLocks(kGateway), 2u);
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 3u);
    LocalDbCtrl::unlockDbObject(kGateway, "a");
    EXPECT_EQ(LocalDbCtrl::heldLocks(kGateway), 1u);
    EXPECT_EQ(LocalDbCtrl::releaseAllHeld(), 2u);
    EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
    LocalDbCtrl::unlockDbObject(kGateway, "a");  // more unlocks than locks: no-op
    EXPECT_EQ(LocalDbCtrl::releaseAllHeld(), 0u);
}

TEST_F(LocalDbTest, SecondThreadWaitsForTheHolder)
{
    seed(kGateway, R"({"n":0})");
    Tree doc(LocalDbCtrl::lockDbObject(kGateway, "", "first"));
    ASSERT_NE(doc, nullptr);
    std::atomic<bool> acquired{false};
    std::string seen;
    std::thread second([&] {
        Tree other(LocalDbCtrl::lockDbObject(kGateway, "n", "second"));
        acquired = true;
        seen = json(other.get());
        other.reset();
        LocalDbCtrl::unlockDbObject(kGateway, "second");
    });
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_FALSE(acquired.load());
    doc->set("n", 1);
    EXPECT_EQ(LocalDbCtrl::saveDbObject(kGateway, "first"), 0);
    doc.reset();
    LocalDbCtrl::unlockDbObject(kGateway, "first");
    second.join();
    EXPECT_TRUE(acquired.load());
    EXPECT_EQ(seen, "1");
}

TEST_F(LocalDbTest, UnlockByAnotherThreadIsIgnored)
{
    LocalDbCtrlTesting::setLockTimeout(20);
    delete LocalDbCtrl::lockDbObject(kGateway, "", "owner");
    std::thread([] {
        LocalDbCtrl::unlockDbObject(kGateway, "owner");
        EXPECT_EQ(LocalDbCtrl::heldLocks(kGateway), 0u);
        // Still held by the main thread: this lock times out.
        EXPECT_EQ(LocalDbCtrl::lockDbObject(kGateway, "", "other"), nullptr);
        EXPECT_EQ(LocalDbCtrl::heldLocks(kGateway), 0u);
        LocalDbCtrl::unlockDbObject(kGateway, "other");
    }).join();
    EXPECT_EQ(LocalDbCtrl::heldLocks(kGateway), 1u);
    LocalDbCtrl::unlockDbObject(kGateway, "owner");
}

TEST_F(LocalDbTest, OppositeOrderLocksDoNotDeadlock)
{
    std::atomic<int> holdingFirst{0};
    std::atomic<int> failures{0};
    auto worker = [&](unsigned first, unsigned second) {
        Tree a(LocalDbCtrl::lockDbObject(first, "", "worker"));
        EXPECT_NE(a, nullptr);
        for (++holdingFirst; holdingFirst < 2;)
            std::this_thread::yield();
        Tree b(LocalDbCtrl::lockDbObject(second, "", "worker"));
        if (!b) {
            ++failures;
            EXPECT_EQ(LocalDbCtrl::heldLocks(second), 0u);
        }
        b.reset();
        a.reset();
        LocalDbCtrl::unlockDbObject(second, "worker");
        LocalDbCtrl::unlockDbObject(first, "worker");
        EXPECT_EQ(LocalDbCtrl::heldLocks(), 0u);
    };
    std::thread t1(worker, kGateway, kWifi);
    std::thread t2(worker, kWifi, kGateway);
    t1.join();
    t2.join();
    EXPECT_EQ(failures.load(), 1);
}

TEST_F(LocalDbTest, SaveWritesTheWholeDocument)
{
    seed(kService, R"({"dmz":{"on":false},"rip":1})");
    {
        Tree dmz(LocalDbCtrl::lockDbObject(kService, "dmz", "test"));
        dmz->set("on", true);
        dmz->set("host", "10.0.0.2/32");
    }
    EXPECT_EQ(LocalDbCtrl::saveDbObject(kService, "test"), 0);
    LocalDbCtrl::unlockDbObject(kService, "test");
    const std::string expected = R"({"dmz":{"on":true,"host":"10.0.0.2/32"},"rip":1})";
    EXPECT_EQ(onDisk(kService), canon(expected));
    EXPECT_EQ(inMemory(kService), expected);
    LocalDbCtrl::setRoot(root_);  // a clean close folds the journal into the JSON file
    std::ifstream in(LocalDbCtrl::documentPath(kService));
    std::string raw((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    EXPECT_NE(raw.find("\"10.0.0.2/32\""), std::string::npos) << "slashes are written as they are";

    EXPECT_EQ(LocalDbCtrl::saveDbObject(kService, "test"), -1);  // not locked
}

TEST_F(LocalDbTest, FailedSaveLeavesFileAndDropsChange)
{
    seed(kService, R"({"rip":1})");
    LocalDbCtrl::failNextSaves(kService, 1);
    {
        Tree doc(LocalDbCtrl::lockDbObject(kService, "", "test"));
        doc->set("rip", 2);
    }
    EXPECT_NE(LocalDbCtrl::saveDbObject(kService, "test"), 0);
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(kService), 0u);
    EXPECT_EQ(onDisk(kService), R"({"rip":1})");
    LocalDbCtrl::unlockDbObject(kService, "test");
    EXPECT_EQ(inMemory(kService), R"({"rip":1})");

    // A real write failure: a directory stands where the journal goes.
    const std::string tmp = root_ + "/db/service.journal";
    ASSERT_EQ(mkdir(tmp.c_str(), 0700), 0);
    Tree doc(LocalDbCtrl::lockDbObject(kService, "", "test"));
    doc->set("rip", 3);
    EXPECT_NE(LocalDbCtrl::saveDbObject(kService, "test"), 0);
    doc.reset();
    LocalDbCtrl::unlockDbObject(kService, "test");
    ASSERT_EQ(rmdir(tmp.c_str()), 0);
    EXPECT_EQ(onDisk(kService), R"({"rip":1})");
    EXPECT_EQ(inMemory(kService), R"({"rip":1})");
}

TEST_F(LocalDbTest, UnsavedChangesAreDroppedAtTheLastUnlock)
{
    seed(kGateway, R"({"a":1,"list":[{"id":1}]})");
    Tree doc(LocalDbCtrl::lockDbObject(kGateway, "", "test"));
    delete LocalDbCtrl::lockDbObject(kGateway, "", "test");
    // Changes through handles derived from the locked one count as well.
    Tree first(doc->get("list.[0]"));
    first->set("id", 9);
    LocalDbCtrl::unlockDbObject(kGateway, "test");
    EXPECT_EQ(inMemory(kGateway), R"({"a":1,"list":[{"id":9}]})") << "still held: nothing dropped";
    LocalDbCtrl::unlockDbObject(kGateway, "test");
    EXPECT_EQ(inMemory(kGateway), R"({"a":1,"list":[{"id":1}]})");
    // The handles outlive the dropped document safely.
    EXPECT_EQ(first->get<int>("id"), 9);
    first.reset();
    doc.reset();

    // A saved change stays; a later unsaved one is dropped.
    doc.reset(LocalDbCtrl::lockDbObject(kGateway, "", "test"));
    doc->set("a", 2);
    ASSERT_EQ(LocalDbCtrl::saveDbObject(kGateway, "test"), 0);
    doc->set("b", 3);
    doc.reset();
    LocalDbCtrl::unlockDbObject(kGateway, "test");
    EXPECT_EQ(inMemory(kGateway), R"({"a":2,"list":[{"id":1}]})");
    EXPECT_EQ(onDisk(kGateway), inMemory(kGateway));

    // Changes to a clone never touch the document.
    doc.reset(LocalDbCtrl::lockDbObject(kGateway, "", "test"));
    Tree copy(doc->clone("list"));
    copy->clearArrayItems();
    doc.reset();
    LocalDbCtrl::unlockDbObject(kGateway, "test");
    EXPECT_EQ(inMemory(kGateway), R"({"a":2,"list":[{"id":1}]})");
}

TEST_F(LocalDbTest, InjectedLockFailures)
{
    seed(kWifi, R"({"wps":1})");
    LocalDbCtrl::failNextLocks(kWifi, 2);
    // Tooling and queries do not consume injected failures.
    EXPECT_EQ(inMemory(kWifi), R"({"wps":1})");
    EXPECT_EQ(LocalDbCtrl::heldLocks(kWifi), 0u);
    EXPECT_EQ(LocalDbCtrlTesting::pendingLockFailures(kWifi), 2u);

    // Not held yet: the failed lock takes nothing.
    EXPECT_EQ(LocalDbCtrl::lockDbObject(kWifi, "wps", "test"), nullptr);
    EXPECT_EQ(LocalDbCtrl::heldLocks(kWifi), 0u);
    LocalDbCtrl::unlockDbObject(kWifi, "test");
    EXPECT_EQ(LocalDbCtrlTesting::pendingLockFailures(kWifi), 1u);

    // Already held: the failed lock counts one more level, balanced by its unlock.
    LocalDbCtrl::failNextLocks(kWifi, 0);
    delete LocalDbCtrl::lockDbObject(kWifi, "", "test");
    LocalDbCtrl::failNextLocks(kWifi, 1);
    EXPECT_EQ(LocalDbCtrl::lockDbObject(kWifi, "", "test"), nullptr);
    EXPECT_EQ(LocalDbCtrl::heldLocks(kWifi), 2u);
    LocalDbCtrl::unlockDbObject(kWifi, "test");
    LocalDbCtrl::unlockDbObject(kWifi, "test");
    EXPECT_EQ(LocalDbCtrl::heldLocks(kWifi), 0u);

    // Saves: the replacement tool does not consume them, an unlocked save is refused first.
    LocalDbCtrl::failNextSaves(kWifi, 1);
    Tree replacement(TreeMapObject::parse(R"({"wps":2})"));
    EXPECT_EQ(LocalDbCtrl::replaceDocument(kWifi, replacement.get()), 0);
    EXPECT_EQ(LocalDbCtrl::saveDbObject(kWifi, "test"), -1);
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(kWifi), 1u);
    EXPECT_EQ(onDisk(kWifi), R"({"wps":2})");

    LocalDbCtrl::failNextLocks(kWifi, 3);
    LocalDbCtrl::reset();
    EXPECT_EQ(LocalDbCtrlTesting::pendingLockFailures(kWifi), 0u);
    EXPECT_EQ(LocalDbCtrlTesting::pendingSaveFailures(kWifi), 0u);
}

TEST_F(LocalDbTest, ToolingWorksWhileTheThreadHoldsTheLock)
{
    Tree doc(LocalDbCtrl::lockDbObject(kGateway, "", "test"));
    Tree replacement(TreeMapObject::parse(R"({"fresh":true})"));
    EXPECT_EQ(LocalDbCtrl::replaceDocument(kGateway, replacement.get()), 0);
    replacement->set("fresh", false);  // the database keeps its own copy
    EXPECT_EQ(inMemory(kGateway), R"({"fresh":true})");
    EXPECT_EQ(LocalDbCtrl::heldLocks(kGateway), 1u);
    doc.reset();
    LocalDbCtrl::unlockDbObject(kGateway, "test");
    EXPECT_EQ(onDisk(kGateway), R"({"fresh":true})");
}

}  // namespace
