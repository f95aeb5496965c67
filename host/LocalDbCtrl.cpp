#include "host/LocalDbCtrl.h"

#include <fcntl.h>
#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "host/FalDocState.h"
#include "host/FalFile.h"
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

std::string pathOf(const Table& t, unsigned apiType)
{
    return t.root + "/db/" + kNames[apiType] + ".json";
}

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
    d.root = json_object_from_file(pathOf(t, apiType).c_str());
    d.dirty = false;
    return d.root != nullptr;
}

void drop(FalDocState& d)
{
    json_object_put(d.root);
    d.root = nullptr;
    d.dirty = false;
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
                Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK,
                              "lockDbObject: deadlock avoided on %s for %s (held by %s)\n", kNames[apiType],
                              nameOr(requester), nameOr(d.requester));
                return false;
            }
            t.waiters.push_back({self, int(apiType)});
            bool timedOut = d.released.wait_until(lock, deadline) == std::cv_status::timeout;
            removeWaiter(t, self);
            if (timedOut && d.depth > 0) {
                Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK,
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

bool writeAll(int fd, const char* data, size_t size)
{
    while (size > 0) {
        ssize_t n = ::write(fd, data, size);
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += n;
        size -= size_t(n);
    }
    return true;
}

// Writes a document's JSON text to its file. Called without the table mutex, by a thread that
// holds the document's lock; `root` is a reference of the caller's.
int writeDocument(const std::string& path, json_object* root)
{
    const char* text = json_object_to_json_string_ext(root, JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE);
    if (!text)
        return -1;
    std::string content(text);
    content += '\n';
    return falWriteFileAtomic(path, content.data(), content.size());
}

std::atomic<unsigned long> tempCounter{0};

}  // namespace

int falWriteFileAtomic(const std::string& path, const char* text, size_t size, bool uniqueTemp)
{
    std::string tmp = path + ".tmp";
    if (uniqueTemp)
        tmp += "." + std::to_string(getpid()) + "." + std::to_string(++tempCounter);
    int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return -1;
    bool ok = writeAll(fd, text, size) && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (!ok || ::rename(tmp.c_str(), path.c_str()) != 0) {
        ::unlink(tmp.c_str());
        return -1;
    }
    // Make the rename itself durable. Some file systems refuse fsync on a directory; the file is
    // in place by now either way.
    size_t slash = path.rfind('/');
    std::string dir = slash == std::string::npos ? "." : path.substr(0, slash ? slash : 1);
    int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
    return 0;
}

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
    TreeMapObject root(d.root, &d);
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
            Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK, "saveDbObject: %s is not locked by %s\n", kNames[apiType],
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
    // The calling thread holds the document, so nobody else changes it while it is written; other
    // documents stay available meanwhile.
    int rc = writeDocument(path, root);
    json_object_put(root);
    if (rc != 0) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK, "saveDbObject: cannot write %s for %s\n", path.c_str(),
                      nameOr(requester));
        return rc;
    }
    d.dirty = false;  // only the holder changes the document and its flag
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
    reset();
    falReleaseRootLock();
    std::lock_guard<std::mutex> lock(table().mutex);
    table().root = root.empty() ? "." : root;
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

void LocalDbCtrl::setLockTimeout(unsigned ms)
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

unsigned LocalDbCtrl::pendingLockFailures(unsigned apiType)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    return apiType < kDocuments ? table().docs[apiType].failLocks : 0;
}

unsigned LocalDbCtrl::pendingSaveFailures(unsigned apiType)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    return apiType < kDocuments ? table().docs[apiType].failSaves : 0;
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
    json_object_put(d.root);
    d.root = copy;
    d.dirty = true;  // until it is on disk
    std::string path = pathOf(t, apiType);
    json_object* root = json_object_get(d.root);
    lock.unlock();
    int rc = writeDocument(path, root);
    json_object_put(root);
    lock.lock();
    if (rc == 0)
        d.dirty = false;
    releaseLevel(d);  // a failed write is dropped with the last level
    return rc;
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
