// The document files: journal records per save, replay at load, torn tails, stale journals,
// folding into the JSON file.

#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <memory>
#include <string>

#include "frame/FalTree.h"
#include "host/FalFile.h"
#include "support/FalTest.h"

namespace {

using Tree = FalTree;
constexpr unsigned kGateway = 0;

class LocalDbJournalTest : public FalDbTest {
protected:
    std::string journal() { return root_ + "/db/gateway.journal"; }
    // Bytes of the journal in use: the file grows ahead of its records in steps of zeros.
    long used()
    {
        std::string text;
        if (!falReadFile(journal(), text))
            return -1;
        return long(text.find_last_not_of('\0') + 1);
    }
    long size(const std::string& path)
    {
        struct stat st {};
        return stat(path.c_str(), &st) == 0 ? long(st.st_size) : -1;
    }
    std::string rawSnapshot()
    {
        std::ifstream in(LocalDbCtrl::documentPath(kGateway));
        return canon(std::string((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()));
    }
    // Locks the gateway document, applies a change to it, saves and unlocks; the save's result.
    template <typename F>
    int change(F&& f)
    {
        int rc;
        {
            Tree doc(LocalDbCtrl::lockDbObject(kGateway, "", "test"));
            f(doc.get());
            rc = LocalDbCtrl::saveDbObject(kGateway, "test");
        }
        LocalDbCtrl::unlockDbObject(kGateway, "test");
        return rc;
    }
public:
    // What another process might do to the files.
    void replaceSnapshot()
    {
        usleep(20000);  // a modification time of its own
        std::ofstream(LocalDbCtrl::documentPath(kGateway), std::ios::trunc) << R"({"name":"other","n":0})";
    }
    void removeJournal() { unlink(journal().c_str()); }

protected:
    std::string devices(int n)
    {
        std::string text = R"({"name":"gw","list":[)";
        for (int i = 0; i < n; ++i)
            text += (i ? "," : "") + std::string(R"({"id":)") + std::to_string(i) + R"(,"name":"device-)" +
                    std::to_string(i) + R"(","pad":"..............................................."})";
        return text + "]}";
    }
};

// Every kind of change reaches the disk through the journal, costs what it changes, and a reload
// (snapshot + journal) gives what memory holds.
TEST_F(LocalDbJournalTest, ChangesReplayOverTheSnapshot)
{
    struct Case {
        const char* what;
        void (*apply)(TreeMapObject*);
        bool whole = false;  // the change cannot be placed by path: the snapshot is rewritten
    } cases[] = {
        {"member set", [](TreeMapObject* d) { d->set("list.[3].name", "renamed"); }},
        {"new nested member", [](TreeMapObject* d) { d->set("system.timer.on", true); }},
        {"member removed", [](TreeMapObject* d) { d->del("list.[1].pad"); }},
        {"item appended", [](TreeMapObject* d) {
             Tree item(new TreeMapObject(false));
             item->set("id", 99);
             Tree list(d->get("list"));
             list->addArrayItem(item.get());
             list->setArrayItem(list->len(), item.get());
         }},
        {"item removed", [](TreeMapObject* d) { Tree list(d->get("list")); list->delArrayItem(2); }},
        {"item removed by path", [](TreeMapObject* d) { d->del("list.[0]"); }},
        {"through a found handle", [](TreeMapObject* d) {
             std::list<TreeMapObject*> found = d->find<const char*>("name", "device-5");
             for (TreeMapObject* h : found) {
                 h->set("seen", 1);
                 delete h;
             }
         }},
        {"through a moved handle", [](TreeMapObject* d) {
             Tree item(d->get("list.[6]"));
             d->del("list.[0]");  // item 6 is now item 5
             item->set("name", "moved");
         },
         true},
        {"member replaced by a tree", [](TreeMapObject* d) {
             Tree value(TreeMapObject::parse(R"({"a":[1,2],"b":"x/y"})"));
             d->set("extra", value.get());
         }},
        {"list cleared", [](TreeMapObject* d) { Tree list(d->get("list")); list->clearArrayItems(); }},
    };
    seed(kGateway, devices(8));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        const long before = used();
        ASSERT_EQ(change(c.apply), 0);
        if (c.whole)
            EXPECT_LT(used(), before) << "a new journal starts after the rewrite";
        else
            EXPECT_GT(used(), before) << "the save wrote no record";
        const std::string memory = canon(inMemory(kGateway));
        EXPECT_EQ(onDisk(kGateway), memory);
        LocalDbCtrl::reset();  // reload from the files
        EXPECT_EQ(canon(inMemory(kGateway)), memory);
    }
    // A save with nothing changed writes nothing.
    const long before = used();
    ASSERT_EQ(change([](TreeMapObject*) {}), 0);
    EXPECT_EQ(used(), before);
}

TEST_F(LocalDbJournalTest, OneFieldSaveWritesOneSmallRecord)
{
    seed(kGateway, devices(200));
    const std::string snapshot = rawSnapshot();
    ASSERT_EQ(change([](TreeMapObject* d) { d->set("list.[150].name", "kitchen"); }), 0);
    const long first = used();
    ASSERT_EQ(change([](TreeMapObject* d) { d->set("list.[150].name", "hall"); }), 0);
    EXPECT_LT(used() - first, 100) << "a one-field record";
    EXPECT_EQ(rawSnapshot(), snapshot) << "the JSON file waits for the fold";

    // Leaving the root folds the journal into the JSON file and removes it.
    const std::string expected = inMemory(kGateway);
    LocalDbCtrl::setRoot(root_);
    EXPECT_EQ(rawSnapshot(), expected);
    EXPECT_EQ(size(journal()), -1);
    EXPECT_EQ(inMemory(kGateway), expected);
}

TEST_F(LocalDbJournalTest, JournalFoldsWhenItOutgrowsTheSnapshot)
{
    seed(kGateway, devices(4));
    const long snapshot = size(LocalDbCtrl::documentPath(kGateway));
    const std::string filler(400, 'x');
    for (int i = 0; i < 300; ++i) {
        ASSERT_EQ(change([&](TreeMapObject* d) { d->set("list.[1].name", (std::to_string(i) + filler).c_str()); }), 0);
        ASSERT_LE(used(), std::max(snapshot, 64L * 1024) + 500);
    }
    EXPECT_EQ(onDisk(kGateway), canon(inMemory(kGateway)));
    EXPECT_NE(rawSnapshot(), canon(devices(4))) << "the JSON file was rewritten on the way";
}

TEST_F(LocalDbJournalTest, TornTailIsIgnoredAndCutOff)
{
    seed(kGateway, devices(3));
    ASSERT_EQ(change([](TreeMapObject* d) { d->set("name", "one"); }), 0);
    const std::string durable = inMemory(kGateway);
    const long whole = used();
    ASSERT_EQ(change([](TreeMapObject* d) { d->set("name", "two"); }), 0);
    const long two = used();

    struct Case {
        const char* what;
        long keep;           // bytes of the journal kept
        std::string append;  // then appended
    } cases[] = {
        {"record cut in its payload", two - 3, ""},
        {"record cut in its header", whole + 5, ""},
        {"garbage after the last record", whole, "\x13garbage"},
        {"zeros after the last record", whole, std::string(100, '\0')},
        {"payload changed under its checksum", two - 5, "XXXXX"},
    };
    std::string full;
    ASSERT_TRUE(falReadFile(journal(), full));
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        std::ofstream(journal(), std::ios::trunc | std::ios::binary) << full.substr(0, size_t(c.keep)) << c.append;
        LocalDbCtrl::reset();
        EXPECT_EQ(inMemory(kGateway), durable);
        EXPECT_EQ(size(journal()), whole) << "the torn tail is cut off at load";
        // The next record follows the last whole one.
        ASSERT_EQ(change([](TreeMapObject* d) { d->set("name", "three"); }), 0);
        LocalDbCtrl::reset();
        EXPECT_NE(inMemory(kGateway).find("three"), std::string::npos);
    }
}

TEST_F(LocalDbJournalTest, JournalOfAnotherSnapshotIsIgnored)
{
    seed(kGateway, R"({"name":"a"})");
    ASSERT_EQ(change([](TreeMapObject* d) { d->set("name", "b"); }), 0);
    ASSERT_GT(used(), 0);
    seed(kGateway, R"({"name":"c"})");  // the JSON file rewritten by hand
    EXPECT_EQ(inMemory(kGateway), R"({"name":"c"})");
    ASSERT_EQ(change([](TreeMapObject* d) { d->set("other", 1); }), 0);
    LocalDbCtrl::reset();
    EXPECT_EQ(inMemory(kGateway), R"({"name":"c","other":1})");
}

// Another process wrote the root behind this one's back: the next save writes the whole document
// as it stands here, never a record onto files that no longer continue it.
TEST_F(LocalDbJournalTest, FilesChangedByAnotherWriterAreRewrittenWhole)
{
    seed(kGateway, R"({"name":"a","n":0})");
    ASSERT_EQ(change([](TreeMapObject* d) { d->set("n", 1); }), 0);
    struct Case {
        const char* what;
        void (LocalDbJournalTest::*other)();
    } cases[] = {
        {"snapshot replaced", &LocalDbJournalTest::replaceSnapshot},
        {"journal removed", &LocalDbJournalTest::removeJournal},
    };
    int n = 1;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        (this->*c.other)();
        ++n;
        ASSERT_EQ(change([n](TreeMapObject* d) { d->set("n", n); }), 0);
        const std::string memory = canon(inMemory(kGateway));
        EXPECT_EQ(onDisk(kGateway), memory);
        EXPECT_EQ(rawSnapshot(), memory) << "written whole";
    }
}

TEST_F(LocalDbJournalTest, LeftoversOfDeadWritersAreRemovedWhenTheRootOpens)
{
    const std::string dead = LocalDbCtrl::documentPath(kGateway) + ".tmp.999999999.1";
    const std::string live = LocalDbCtrl::documentPath(kGateway) + ".tmp." + std::to_string(getppid()) + ".1";
    const std::string other = root_ + "/db/notes.tmp.txt";
    for (const std::string& p : {dead, live, other})
        std::ofstream(p) << "x";
    LocalDbCtrl::setRoot(root_);
    delete LocalDbCtrl::copyDocument(kGateway);
    EXPECT_NE(access(dead.c_str(), F_OK), 0);
    EXPECT_EQ(access(live.c_str(), F_OK), 0) << "its writer still runs";
    EXPECT_EQ(access(other.c_str(), F_OK), 0) << "not a name the store writes";
    unlink(live.c_str());
}

}  // namespace
