#include "host/LocalDbCtrl.h"

#include <fcntl.h>
#include <json-c/json.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <mutex>

#include "host/FalDocState.h"
#include "host/Logger.h"

namespace {

const char* const kNames[LocalDbCtrl::kDocuments] = {"gateway", "wifi",       "network", "security",
                                                     "service", "mediashare", "qos"};

// The lock table: one entry per document, kept for the life of the process.
struct Table {
    std::mutex mutex;
    FalDocState docs[LocalDbCtrl::kDocuments];
    std::string root = ".";
    unsigned timeoutMs = 10000;
};

Table& table()
{
    static Table* t = new Table;
    return *t;
}

// What each thread waits for, for deadlock detection (guarded by the table mutex).
struct Waiter {
    std::thread::id thread;
    int document;
};
std::vector<Waiter>& waiters()
{
    static std::vector<Waiter>* w = new std::vector<Waiter>;
    return *w;
}

int waitingFor(std::thread::id thread)
{
    for (const Waiter& w : waiters())
        if (w.thread == thread)
            return w.document;
    return -1;
}

// Whether `self` waiting for `document` would close a cycle of waiting threads.
bool wouldDeadlock(std::thread::id self, unsigned document)
{
    Table& t = table();
    int next = int(document);
    for (unsigned hops = 0; next >= 0 && hops <= LocalDbCtrl::kDocuments; ++hops) {
        const FalDocState& d = t.docs[next];
        if (d.depth == 0)
            return false;
        if (d.owner == self)
            return true;
        next = waitingFor(d.owner);
    }
    return false;
}

void removeWaiter(std::thread::id thread)
{
    auto& w = waiters();
    for (auto it = w.begin(); it != w.end(); ++it)
        if (it->thread == thread) {
            w.erase(it);
            return;
        }
}

std::string pathOf(unsigned apiType)
{
    return table().root + "/db/" + kNames[apiType] + ".json";
}

// Loads the document if needed; true when it is in memory.
bool ensureLoaded(unsigned apiType)
{
    FalDocState& d = table().docs[apiType];
    if (d.root)
        return true;
    d.root = json_object_from_file(pathOf(apiType).c_str());
    d.dirty = false;
    return d.root != nullptr;
}

void drop(FalDocState& d)
{
    json_object_put(d.root);
    d.root = nullptr;
    d.dirty = false;
}

// Releases one level of the calling thread's lock; at the last level unsaved changes are dropped.
// Called with the table mutex held.
void releaseLevel(FalDocState& d)
{
    if (--d.depth > 0)
        return;
    if (d.dirty)
        drop(d);
    d.owner = std::thread::id();
    d.requester = nullptr;
    d.released.notify_all();
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

}  // namespace

// Writes text to path atomically and durably: temporary file, fsync, rename, fsync of the directory.
int falWriteFileAtomic(const std::string& path, const char* text, size_t size)
{
    std::string tmp = path + ".tmp";
    int fd = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd < 0)
        return -1;
    bool ok = writeAll(fd, text, size) && ::fsync(fd) == 0;
    ok = (::close(fd) == 0) && ok;
    if (!ok || ::rename(tmp.c_str(), path.c_str()) != 0) {
        ::unlink(tmp.c_str());
        return -1;
    }
    size_t slash = path.rfind('/');
    std::string dir = slash == std::string::npos ? "." : path.substr(0, slash ? slash : 1);
    int dfd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (dfd >= 0) {
        ::fsync(dfd);
        ::close(dfd);
    }
    return 0;
}

namespace {

int writeDocument(unsigned apiType)
{
    FalDocState& d = table().docs[apiType];
    const char* text =
        json_object_to_json_string_ext(d.root, JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_NOSLASHESCAPE);
    if (!text)
        return -1;
    if (falWriteFileAtomic(pathOf(apiType), text, strlen(text)) != 0)
        return -1;
    d.dirty = false;
    return 0;
}

// Takes one level of the document's lock for the calling thread. False when the wait would deadlock
// or time out. Called with the table mutex held through `lock`.
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
            if (wouldDeadlock(self, apiType)) {
                Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK,
                              "lockDbObject: %s held by %s; waiting would deadlock, lock refused for %s\n",
                              kNames[apiType], d.requester ? d.requester : "?", requester ? requester : "?");
                return false;
            }
            waiters().push_back({self, int(apiType)});
            bool timedOut = d.released.wait_until(lock, deadline) == std::cv_status::timeout;
            removeWaiter(self);
            if (timedOut && d.depth > 0) {
                Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK,
                              "lockDbObject: %s held by %s for too long, lock refused for %s\n", kNames[apiType],
                              d.requester ? d.requester : "?", requester ? requester : "?");
                return false;
            }
        }
    }
    d.owner = self;
    d.depth = 1;
    d.requester = requester;
    return true;
}

bool holds(const FalDocState& d)
{
    return d.depth > 0 && d.owner == std::this_thread::get_id();
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
    if (!ensureLoaded(apiType))
        return nullptr;
    TreeMapObject root(d.root, &d);
    return root.get(key);
}

int LocalDbCtrl::saveDbObject(unsigned apiType, const char* requester)
{
    if (apiType >= kDocuments)
        return -1;
    Table& t = table();
    std::lock_guard<std::mutex> lock(t.mutex);
    FalDocState& d = t.docs[apiType];
    if (!holds(d)) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK, "saveDbObject: %s is not locked by %s\n", kNames[apiType],
                      requester ? requester : "?");
        return -1;
    }
    if (d.failSaves > 0) {
        --d.failSaves;
        return 1;
    }
    if (!d.root)
        return -1;
    return writeDocument(apiType);
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
    return apiType < kDocuments ? pathOf(apiType) : std::string();
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
    Table& t = table();
    std::unique_lock<std::mutex> lock(t.mutex);
    if (!acquire(lock, apiType, "replaceDocument"))
        return -1;
    FalDocState& d = t.docs[apiType];
    json_object* copy = nullptr;
    if (document->node())
        json_object_deep_copy(document->node(), &copy, nullptr);
    json_object_put(d.root);
    d.root = copy;
    int rc = writeDocument(apiType);
    if (rc != 0)
        d.dirty = true;  // dropped when the lock is released
    releaseLevel(d);
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
    TreeMapObject* copy = nullptr;
    if (ensureLoaded(apiType)) {
        json_object* node = nullptr;
        json_object_deep_copy(d.root, &node, nullptr);
        copy = TreeMapObject::adopt(node);
    }
    releaseLevel(d);
    return copy;
}

unsigned LocalDbCtrl::heldLocks(unsigned apiType)
{
    std::lock_guard<std::mutex> lock(table().mutex);
    return apiType < kDocuments && holds(table().docs[apiType]) ? table().docs[apiType].depth : 0;
}

unsigned LocalDbCtrl::heldLocks()
{
    unsigned total = 0;
    for (unsigned i = 0; i < kDocuments; ++i)
        total += heldLocks(i);
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
    }
}
