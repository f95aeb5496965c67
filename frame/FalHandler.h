// Steps every family's handlers share: answering, comparing texts, copying members, finding
// items by number, probing a document, tracing entry and exit, and the one database cycle:
// FalLock locks, saves (with an answer on failure) and releases for the length of an operation.
#pragma once

#include <initializer_list>

#include "frame/FalTypes.h"
#include "host/Logger.h"

class TreeMapObject;

// Log group of the dispatcher and of the frame's own steps.
constexpr LOG_GROUP_T LOG_GROUP_FRAME = static_cast<LOG_GROUP_T>(2);

// Sets the status and, when one is given, the message of a response.
void falAnswer(_FAL_RSP_T* rsp, FAL_STATUS_T status, const char* message = nullptr);

// Finishes a reply that carries a number: sets `member` on its data when the operation
// succeeded (status up to FAL_DELETED), drops the data when it failed.
void finishIdReply(_FAL_RSP_T* rsp, const char* member, int id);

// True when both texts are present and equal.
bool sameText(const char* a, const char* b);

// Copies each path present in `from` into `to` (deep copies); absent paths are left alone.
void copyPresent(TreeMapObject* to, TreeMapObject* from, std::initializer_list<const char*> paths);

// Whether item `i` of `array` has the integer `member` `value`.
bool itemHasId(TreeMapObject* array, unsigned i, const char* member, int value);
// Index of the first item of `array` whose integer `member` is `value`, or -1 (also without an
// array).
int findItem(TreeMapObject* array, const char* member, int value);
// Index of the last such item, or -1.
int findLastItem(TreeMapObject* array, const char* member, int value);
// One more than the largest integer `member` among the items, and at least `first`.
int nextItemId(TreeMapObject* array, const char* member, int first = 0);

// The answer of a database probe: a response (`apiType`, `rspId`, no data) after locking the whole
// document `probedType` as "default" and releasing it again; a failed lock answers FAL_DB_ERROR
// "failed to get database". Null when the response cannot be made.
_FAL_RSP_T* falProbe(unsigned apiType, unsigned rspId, unsigned probedType);

// A new response; null, after logging `failLog` (log type 3) in `group`, when it cannot be made.
_FAL_RSP_T* newFalResponseLogged(LOG_GROUP_T group, unsigned apiType, unsigned msgId, bool withData,
                                 const char* failLog);


// How an operation writes its entry and exit traces (log type 0).
enum FAL_TRACE_T {
    FAL_TRACE_NAME_FIRST,      // "<name> Enter", "<name> Exit"
    FAL_TRACE_WORD_FIRST,      // "Enter <name>", "Exit <name>"
    FAL_TRACE_NAME_EXIT_ONLY,  // "<name> Exit"
    FAL_TRACE_WORD_EXIT_ONLY,  // "Exit <name>"
    FAL_TRACE_NAME_ENTRY_ONLY,  // "<name> Enter"
    FAL_TRACE_NONE,            // nothing
};

// Writes the entry trace when made and the exit trace when it goes out of scope.
class FalTrace {
public:
    FalTrace(LOG_GROUP_T group, const char* name, FAL_TRACE_T style = FAL_TRACE_NAME_FIRST);
    ~FalTrace();
    FalTrace(const FalTrace&) = delete;
    FalTrace& operator=(const FalTrace&) = delete;

private:
    LOG_GROUP_T group_;
    const char* name_;
    FAL_TRACE_T style_;
};

// One lock of a family object as the request's requester: the handle is deleted and the lock
// released when the guard goes out of scope, also after a failed lock.
class FalLock {
public:
    // Holds nothing.
    FalLock() : apiType_(0), requester_(nullptr), obj_(nullptr), held_(false) {}
    FalLock(unsigned apiType, const char* key, const char* requester);
    // The same; a failed lock answers FAL_DB_ERROR with `failMessage` (unless it is null).
    FalLock(unsigned apiType, const char* key, const char* requester, _FAL_RSP_T* rsp, const char* failMessage);
    ~FalLock();
    FalLock(const FalLock&) = delete;
    FalLock& operator=(const FalLock&) = delete;
    // The moved-from guard neither frees nor releases anything.
    FalLock(FalLock&& other) noexcept;
    FalLock& operator=(FalLock&&) = delete;

    explicit operator bool() const { return obj_ != nullptr; }
    TreeMapObject* operator->() const { return obj_; }
    TreeMapObject* get() const { return obj_; }
    // Saves the document; true when saved.
    bool save();
    // Saves the document; on failure answers FAL_DB_ERROR with `failMessage` and yields false.
    bool saveOrAnswer(_FAL_RSP_T* rsp, const char* failMessage);

private:
    unsigned apiType_;
    const char* requester_;
    TreeMapObject* obj_;
    bool held_ = true;  // whether this guard still releases the lock
};
