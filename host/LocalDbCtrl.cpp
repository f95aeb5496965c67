#include "host/LocalDbCtrl.h"
#include "host/LocalDbCtrlTesting.h"

#include <fcntl.h>
#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <cstdlib>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "host/FalDocState.h"
#include "host/FalFile.h"
#include "host/FalJournal.h"
#include "host/FalRootLock.h"
#include "host/Logger.h"

namespace {

const char* const kNames[LocalDbCtrl::kDocuments] = {"gateway", "wifi",       "network", "security",
                                                     "service", "mediashare", "qos"};

// The lock table: one entry per document, kept for the life of the process (tree handles keep
// raw pointers to their document's entry).
struct Table {
    std::mutex mutex;
    FalDocState docs[LocalDbCtrl::kDocuments];
    std::string root = ".";
    bool rootOpened = false;  // leftovers of dead writers were removed from this root
    bool exitHook = false;    // the compaction at exit is registered
    unsigned timeoutMs = 10000;
    // What each waiting thread waits for, for deadlock detection.
    struct Waiter {
        std::thread::id thread;
        int document;
    };
    std::vector<Waiter> waiters;
};

Table& table()
{
    static Table* t = new Table;
    return *t;
}

const char* nameOr(const char* text) { return text && *text ? text : "?"; }

int waitingFor(const Table& t, std::thread::id thread)
{
    for (const Table::Waiter& w : t.waiters)
        if (w.thread == thread)
            return w.document;
    return -1;
}

void removeWaiter(Table& t, std::thread::id thread)
{
    for (auto it = t.waiters.begin(); it != t.waiters.end(); ++it)
        if (it->thread == thread) {
            t.waiters.erase(it);
            return;
        }
}

// Whether `self` waiting for `document` would close a cycle: the document's holder waits for a
// document whose holder waits ... for a document that `self` holds.
bool wouldDeadlock(const Table& t, std::thread::id self, unsigned document)
{
    int next = int(document);
    for (unsigned hops = 0; next >= 0 && hops <= LocalDbCtrl::kDocuments; ++hops) {
        const FalDocState& d = t.docs[next];
        if (d.depth == 0)
            return false;
        if (d.owner == self)
            return true;
        next = waitingFor(t, d.owner);
    }
    return false;
}

std::string pathOf(const std::string& root, unsigned apiType)
{
    return root + "/db/" + kNames[apiType] + ".json";
}

std::string pathOf(const Table& t, unsigned apiType) { return pathOf(t.root, apiType); }

// Step in which the journal file is extended (a record padded with zeros ahead of it).
constexpr off_t kJournalStep = 4 * 1024;

// The journal may grow to the snapshot's size (at least this much) before it is folded into it.
constexpr uint64_t kJournalFloor = 64 * 1024;

uint64_t journalLimit(const FalDocState& d)
{
    // FAL_JOURNAL_LIMIT (bytes) fixes the limit instead: the crash test folds often with it.
    static const uint64_t fixed = [] {
        const char* text = std::getenv("FAL_JOURNAL_LIMIT");
        return text ? std::strtoull(text, nullptr, 10) : 0ull;
    }();
    if (fixed)
        return fixed;
    return d.base.size > kJournalFloor ? d.base.size : kJournalFloor;
}

void closeJournal(FalDocState& d)
{
    if (d.journalFd >= 0)
        ::close(d.journalFd);
    d.journalFd = -1;
}

void compactAtExit();
pid_t exitHookPid = 0;  // the process that registered the compaction at exit

bool holds(const FalDocState& d) { return d.depth > 0 && d.owner == std::this_thread::get_id(); }

void setRequester(FalDocState& d, const char* requester)
{
    size_t n = 0;
    if (requester)
        for (; n + 1 < sizeof(d.requester) && requester[n]; ++n)
            d.requester[n] = requester[n];
    d.requester[n] = '\0';
}

// Loads the document if needed; true when it is in memory. Called with the table mutex held.
bool ensureLoaded(Table& t, unsigned apiType)
{
    FalDocState& d = t.docs[apiType];
    if (d.root)
        return true;
    if (!falHoldRootLock(t.root))
        return false;
    if (!t.rootOpened) {
        t.rootOpened = true;
        falRemoveStaleTemporaries(t.root + "/db");
    }
    if (!t.exitHook) {
        t.exitHook = true;
        exitHookPid = getpid();
        std::atexit(compactAtExit);
    }
    const std::string path = pathOf(t, apiType);
    const std::string journal = falJournalPath(path);
    FalStoredDocument stored = falLoadStored(path, journal);
    d.root = stored.root;
    d.base = stored.base;
    d.journalOk = stored.journalOk;
    d.journalBytes = stored.journalBytes;
    d.dirty = false;
    d.changes.clear();
    d.rewrite = false;
    // A record torn by a crash is cut off, so that the next record follows the last whole one;
    // when that fails, the next save writes the snapshot instead.
    d.fold = stored.journalOk && stored.journalFileBytes > stored.journalBytes &&
             ::truncate(journal.c_str(), off_t(stored.journalBytes)) != 0;
    return d.root != nullptr;
}

void drop(FalDocState& d)
{
    json_object_put(d.root);
    d.root = nullptr;
    d.dirty = false;
    d.changes.clear();
    d.rewrite = false;
    closeJournal(d);
    d.journalOk = false;
    d.journalBytes = 0;
    d.fold = false;
}

// Releases one level of the calling thread's lock; at the last level, changes that were not saved
// are dropped so that the next lock reads the file again. Called with the table mutex held.
void releaseLevel(FalDocState& d)
{
    if (--d.depth > 0)
        return;
    if (d.dirty)
        drop(d);
    d.owner = std::thread::id();
    d.requester[0] = '\0';
    // One waiter is enough: the lock goes to one thread, and a woken waiter that finds it taken
    // again waits for that holder's release. Waking them all would make every release cost a
    // context switch per waiting thread.
    d.released.notify_one();
}

// Takes one level of the document's lock for the calling thread. False when waiting would
// deadlock or time out. `lock` holds the table mutex.
bool acquire(std::unique_lock<std::mutex>& lock, unsigned apiType, const char* requester)
{
    Table& t = table();
    FalDocState& d = t.docs[apiType];
    std::thread::id self = std::this_thread::get_id();
    if (d.depth > 0 && d.owner == self) {
        ++d.depth;
        return true;
    }
    if (d.depth > 0) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(t.timeoutMs);
        while (d.depth > 0) {
            if (wouldDeadlock(t, self, apiType)) {
                Logger::print(LOG_TYPE_ERROR, LOG_GROUP_STORE,
                              "lockDbObject: deadlock avoided on %s for %s (held by %s)\n", kNames[apiType],
                              nameOr(requester), nameOr(d.requester));
                return false;
            }
            t.waiters.push_back({self, int(apiType)});
            bool timedOut = d.released.wait_until(lock, deadline) == std::cv_status::timeout;
            removeWaiter(t, self);
            if (timedOut && d.depth > 0) {
                Logger::print(LOG_TYPE_ERROR, LOG_GROUP_STORE,
                              "lockDbObject: time-out on %s for %s (held by %s)\n", kNames[apiType],
                              nameOr(requester), nameOr(d.requester));
                return false;
            }
        }
    }
    d.owner = self;
    d.depth = 1;
    setRequester(d, requester);
    return true;
}

// --- the files of a document. Called without the table mutex by the thread that holds the
// document's lock (or with the mutex held when nothing can be locked).

// Writes the whole document as its snapshot; the journal then starts afresh (`keepJournal`) or
// is removed. 0 on success.
int writeSnapshot(FalDocState& d, const std::string& path, json_object* root, bool keepJournal)
{
    const char* text = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE);
    if (!text)
        return -1;
    std::string content(text);
    content += '\n';
    if (falWriteFileAtomic(path, content.data(), content.size()) != 0)
        return -1;
    // The old journal continues the old snapshot: from here on it is ignored, whatever happens.
    struct stat st {};
    ::stat(path.c_str(), &st);
    d.base = falSnapshotId(content, int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec);
    closeJournal(d);
    d.journalOk = false;
    d.journalBytes = 0;
    d.fold = false;
    const std::string journal = falJournalPath(path);
    if (keepJournal) {
        std::string start;
        falJournalRecord(falJournalStart(d.base), start);
        if (falWriteFileAtomic(journal, start.data(), start.size()) == 0) {
            d.journalOk = true;
            d.journalBytes = start.size();
        }
    } else if (::unlink(journal.c_str()) == 0) {
        falSyncParentDir(journal);
    }
    return 0;
}

// Whether the files are still the ones this process continues: the snapshot it loaded (or wrote)
// and the journal it appends to. Another process that wrote the root meanwhile breaks that; the
// whole document is then written, as it stands here.
bool filesAreOurs(const FalDocState& d, const std::string& path, const std::string& journal)
{
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0 || uint64_t(st.st_size) != d.base.size ||
        int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec != d.base.mtimeNs)
        return false;
    if (!d.journalOk)
        return true;  // a new journal is written whole
    if (::stat(journal.c_str(), &st) != 0 || uint64_t(st.st_size) < d.journalBytes)
        return false;
    struct stat open {};
    return d.journalFd < 0 ||
           (::fstat(d.journalFd, &open) == 0 && open.st_ino == st.st_ino && open.st_dev == st.st_dev);
}

// Appends one encoded record to the journal: one write and one fdatasync. A journal that does
// not exist yet (or continues an older snapshot) is written whole, starting with the snapshot's
// identity. 0 on success; on failure the journal is as it was.
int appendRecord(FalDocState& d, const std::string& path, const std::string& record)
{
    const std::string journal = falJournalPath(path);
    if (!d.journalOk) {
        std::string all;
        falJournalRecord(falJournalStart(d.base), all);
        all += record;
        if (falWriteFileAtomic(journal, all.data(), all.size()) != 0)
            return -1;
        d.journalOk = true;
        d.journalBytes = all.size();
        return 0;
    }
    if (d.journalFd < 0)
        d.journalFd = ::open(journal.c_str(), O_RDWR | O_CLOEXEC);
    struct stat st {};
    if (d.journalFd < 0 || ::fstat(d.journalFd, &st) != 0)
        return -1;
    const off_t at = off_t(d.journalBytes);
    bool ok;
    if (at + off_t(record.size()) > st.st_size && record.size() < size_t(kJournalStep)) {
        // The journal grows by a step at a time, the record padded with zeros: later saves
        // overwrite blocks that exist, and their fdatasync has no file size or block allocation
        // to commit. Still one write of at most a step.
        std::string padded = record;
        padded.resize(size_t(kJournalStep), '\0');
        ok = falWriteAll(d.journalFd, padded.data(), padded.size(), at);
    } else {
        ok = falWriteAll(d.journalFd, record.data(), record.size(), at);
    }
    ok = ok && ::fdatasync(d.journalFd) == 0;
    if (!ok) {
        // The record may be in the file: clear its mark, so that replay ends before it.
        static const char none[4] = {};
        if (!falWriteAll(d.journalFd, none, sizeof none, at))
            d.fold = true;  // unknown tail: the next save writes the snapshot
        closeJournal(d);
        return -1;
    }
    d.journalBytes += record.size();
    return 0;
}

// The changed paths worth writing, in order: each once, and none below another changed path
// (whose value holds it).
std::vector<std::string> coalesce(const std::vector<std::string>& changes)
{
    std::unordered_set<std::string> all(changes.begin(), changes.end());
    std::unordered_set<std::string> kept;
    std::vector<std::string> out;
    for (const std::string& path : changes) {
        if (kept.count(path))
            continue;
        bool covered = !path.empty() && all.count(std::string());
        for (size_t dot = path.find('.'); !covered && dot != std::string::npos; dot = path.find('.', dot + 1))
            covered = all.count(path.substr(0, dot)) > 0;
        if (covered)
            continue;
        kept.insert(path);
        out.push_back(path);
    }
    return out;
}

// Makes the document's changes durable: a journal record of the changed values, or the whole
// snapshot when the changes cannot be placed by path or the journal has outgrown the snapshot.
int storeChanges(FalDocState& d, const std::string& path, json_object* root)
{
    if (!d.rewrite && d.changes.empty())
        return 0;  // nothing changed since the last save
    if (!d.rewrite && !d.fold && filesAreOurs(d, path, falJournalPath(path))) {
        std::vector<std::string> paths = coalesce(d.changes);
        if (!(paths.size() == 1 && paths[0].empty())) {
            std::string record;
            falJournalRecord(falJournalChanges(root, paths), record);
            if (d.journalBytes + record.size() <= journalLimit(d))
                return appendRecord(d, path, record);
        }
    }
    return writeSnapshot(d, path, root, true);
}

// Folds the journals of the documents nobody holds into their snapshots and removes them, so the
// JSON files are current while no process uses the root. Called with the table mutex held.
void compactIdle(Table& t)
{
    for (unsigned i = 0; i < LocalDbCtrl::kDocuments; ++i) {
        FalDocState& d = t.docs[i];
        if (!d.root || d.depth > 0 || d.dirty || !d.journalOk)
            continue;
        std::string start;
        falJournalRecord(falJournalStart(d.base), start);
        const std::string path = pathOf(t, i);
        if (d.journalBytes > start.size()) {
            writeSnapshot(d, path, d.root, false);
        } else {
            closeJournal(d);
            const std::string journal = falJournalPath(path);
            if (::unlink(journal.c_str()) == 0)
                falSyncParentDir(journal);
            d.journalOk = false;
            d.journalBytes = 0;
        }
    }
}

void compactAtExit()
{
    if (getpid() != exitHookPid)
        return;  // a forked child: the root is its parent's
    Table& t = table();
    std::unique_lock<std::mutex> lock(t.mutex, std::try_to_lock);
    if (lock)
        compactIdle(t);
}

}  // namespace

TreeMapObject* LocalDbCtrl::lockDbObject(unsigned apiType, const char* key, const char* requester)
{
    if (apiType >= kDocuments)
        return nullptr;
    Table& t = table();
    std::unique_lock<std::mutex> lock(t.mutex);
    FalDocState& d = t.docs[apiType];
    if (d.failLocks > 0) {
        --d.failLocks;
        if (holds(d))
            ++d.depth;  // balanced by the caller's unlock
        return nullptr;
    }
    if (!acquire(lock, apiType, requester))
        return nullptr;
    // From here the lock is held even when nothing is returned: the caller's unlock balances it.
    if (!ensureLoaded(t, apiType))
        return nullptr;
    TreeMapObject root(d.root, &d, std::string());
    return root.get(key);
}

int LocalDbCtrl::saveDbObject(unsigned apiType, const char* requester)
{
    if (apiType >= kDocuments)
        return -1;
    Table& t = table();
    FalDocState& d = t.docs[apiType];
    std::string path;
    json_object* root = nullptr;
    {
        std::lock_guard<std::mutex> lock(t.mutex);
        if (!holds(d)) {
            Logger::print(LOG_TYPE_ERROR, LOG_GROUP_STORE, "saveDbObject: %s is not locked by %s\n", kNames[apiType],
                          nameOr(requester));
            return -1;
        }
        if (d.failSaves > 0) {
            --d.failSaves;
            return 1;
        }
        if (!d.root)
            return -1;
        path = pathOf(t, apiType);
        root = json_object_get(d.root);
    }
    // The calling thread holds the document, so nobody else changes it (or its change list) while
    // it is written; other documents stay available meanwhile.
    int rc = storeChanges(d, path, root);
    json_object_put(root);
    if (rc != 0) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_STORE, "saveDbObject: cannot write %s for %s\n", path.c_str(),
                      nameOr(requester));
        return rc;
    }
    // Only the holder changes the document, its flag and its change list.
    d.dirty = false;
    d.changes.clear();
    d.rewrite = false;
    return 0;
}

void LocalDbCtrl::unlockDbObject(unsigned apiType, const char*)
{
    if (apiType >= kDocuments)
        return;
    Table& t = table();
    std::lock_guard<std::mutex> lock(t.mutex);
    FalDocState& d = t.docs[apiType];
    if (holds(d))
        releaseLevel(d);
}

const char* LocalDbCtrl::documentName(unsigned apiType)
{
    return apiType < kDocuments ? kNames[apiType] : nullptr;
}

int LocalDbCtrl::apiTypeOf(const char* name)
{
    for (unsigned i = 0; name && i < kDocuments; ++i)
        if (strcmp(kNames[i], name) == 0)
            return int(i);
    return -1;
}

void LocalDbCtrl::setRoot(const std::string& root)
{
    {
        // Leaving a root is a clean close: its journals are folded into the snapshots.
        std::lock_guard<std::mutex> lock(table().mutex);
        compactIdle(table());
    }
    reset();
    falReleaseRootLock();
    std::lock_guard<std::mutex> lock(table().mutex);
    table().root = root.empty() ? "." : root;
    table().rootOpened = false;
}

std::string LocalDbCtrl::root()
{
    std::lock_guard<std::mutex> lock(table().mutex);
    return table().root;
}

std::string LocalDbCtrl::documentPath(unsigned apiType)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    return apiType < kDocuments ? pathOf(table(), apiType) : std::string();
}

void LocalDbCtrlTesting::setLockTimeout(unsigned ms)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    table().timeoutMs = ms;
}

void LocalDbCtrl::failNextLocks(unsigned apiType, unsigned count)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    if (apiType < kDocuments)
        table().docs[apiType].failLocks = count;
}

void LocalDbCtrl::failNextSaves(unsigned apiType, unsigned count)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    if (apiType < kDocuments)
        table().docs[apiType].failSaves = count;
}

unsigned LocalDbCtrlTesting::pendingLockFailures(unsigned apiType)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    return apiType < LocalDbCtrl::kDocuments ? table().docs[apiType].failLocks : 0;
}

unsigned LocalDbCtrlTesting::pendingSaveFailures(unsigned apiType)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    return apiType < LocalDbCtrl::kDocuments ? table().docs[apiType].failSaves : 0;
}

int LocalDbCtrl::replaceDocument(unsigned apiType, TreeMapObject* document)
{
    if (apiType >= kDocuments || !document)
        return -1;
    json_object* copy = nullptr;
    if (document->node() && json_object_deep_copy(document->node(), &copy, nullptr) != 0)
        return -1;
    Table& t = table();
    FalDocState& d = t.docs[apiType];
    std::unique_lock<std::mutex> lock(t.mutex);
    if (!acquire(lock, apiType, "replaceDocument")) {
        json_object_put(copy);
        return -1;
    }
    // The new document is written whole as the snapshot, which also starts a new journal.
    json_object_put(d.root);
    d.root = copy;
    d.dirty = true;  // until it is on disk
    d.changes.clear();
    d.rewrite = true;
    std::string path = pathOf(t, apiType);
    json_object* root = json_object_get(d.root);
    lock.unlock();
    int rc = storeChanges(d, path, root);
    json_object_put(root);
    lock.lock();
    if (rc == 0) {
        d.dirty = false;
        d.rewrite = false;
    }
    releaseLevel(d);  // a failed write is dropped with the last level
    return rc;
}

TreeMapObject* LocalDbCtrl::storedDocument(unsigned apiType, const char* root)
{
    if (apiType >= kDocuments)
        return nullptr;
    const std::string path = root ? pathOf(std::string(root), apiType) : documentPath(apiType);
    FalStoredDocument stored = falLoadStored(path, falJournalPath(path));
    return stored.root ? TreeMapObject::adopt(stored.root) : nullptr;
}

TreeMapObject* LocalDbCtrl::copyDocument(unsigned apiType)
{
    if (apiType >= kDocuments)
        return nullptr;
    Table& t = table();
    std::unique_lock<std::mutex> lock(t.mutex);
    if (!acquire(lock, apiType, "copyDocument"))
        return nullptr;
    FalDocState& d = t.docs[apiType];
    json_object* node = nullptr;
    bool ok = ensureLoaded(t, apiType) && json_object_deep_copy(d.root, &node, nullptr) == 0;
    releaseLevel(d);
    return ok ? TreeMapObject::adopt(node) : nullptr;
}

unsigned LocalDbCtrl::heldLocks(unsigned apiType)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    return apiType < kDocuments && holds(table().docs[apiType]) ? table().docs[apiType].depth : 0;
}

unsigned LocalDbCtrl::heldLocks()
{
    std::lock_guard<std::mutex> lock(table().mutex);
    unsigned total = 0;
    for (const FalDocState& d : table().docs)
        if (holds(d))
            total += d.depth;
    return total;
}

unsigned LocalDbCtrl::releaseAllHeld()
{
    std::lock_guard<std::mutex> lock(table().mutex);
    unsigned released = 0;
    for (FalDocState& d : table().docs) {
        while (holds(d)) {
            releaseLevel(d);
            ++released;
        }
    }
    return released;
}

void LocalDbCtrl::reset()
{
    std::lock_guard<std::mutex> lock(table().mutex);
    for (FalDocState& d : table().docs) {
        drop(d);
        d.failLocks = 0;
        d.failSaves = 0;
        // Nothing should be locked now; a lock left behind (say by a thread that ended without
        // unlocking) is forgotten rather than blocking every later lock.
        if (d.depth > 0) {
            d.depth = 0;
            d.owner = std::thread::id();
            d.requester[0] = '\0';
            d.released.notify_all();
        }
    }
}
