// LocalDbCtrl: the gateway's database, one JSON document per API type.
//
// Documents live in <root>/db/<family>.json and are loaded on first use and kept in memory.
//
// Locking: a document is held by one thread at a time. The holder may lock it again (every lock
// is matched by one unlock) and may hold several documents. An unlock by a thread that does not
// hold the document is a no-op. A lock that would close a cycle of waiting threads, or that waits
// longer than the lock time-out, fails (null) instead of hanging.
//
// Saving writes a temporary file, flushes and fsyncs it, renames it over the document and fsyncs
// the directory, so a crash leaves either the old or the new document whole. When a thread's last
// lock on a document is released, changes that were not saved successfully are dropped: memory
// always equals disk between operations.
#pragma once

#include <string>

#include "host/TreeMapObject.h"

class LocalDbCtrl {
public:
    // The operations' interface.
    static TreeMapObject* lockDbObject(unsigned apiType, const char* key, const char* requester);
    static int saveDbObject(unsigned apiType, const char* requester);
    static void unlockDbObject(unsigned apiType, const char* requester);

    // --- host configuration and tooling -------------------------------------------------------

    // Number of document slots (API types 0 .. kDocuments-1).
    static constexpr unsigned kDocuments = 7;
    // File stem of a document ("gateway", "wifi", ...), or null for an unknown API type.
    static const char* documentName(unsigned apiType);
    // API type of a document name, or -1.
    static int apiTypeOf(const char* name);

    // Directory that holds db/ ("." by default). Changing it drops every cached document; no
    // document may be locked at that moment.
    static void setRoot(const std::string& root);
    static std::string root();
    // Path of a document's file under the root.
    static std::string documentPath(unsigned apiType);

    // How long a lock waits for another thread before it fails (milliseconds).
    static void setLockTimeout(unsigned ms);

    // Fault injection: the next `count` locks (or saves) of the document fail. 0 clears.
    static void failNextLocks(unsigned apiType, unsigned count);
    static void failNextSaves(unsigned apiType, unsigned count);
    static unsigned pendingLockFailures(unsigned apiType);
    static unsigned pendingSaveFailures(unsigned apiType);

    // Replaces a document in memory and on disk (waits for its lock). 0 on success.
    static int replaceDocument(unsigned apiType, TreeMapObject* document);
    // Copy of a document as it stands (waits for its lock); null when it cannot be loaded.
    static TreeMapObject* copyDocument(unsigned apiType);

    // Locks the calling thread holds: on one document, and on all of them.
    static unsigned heldLocks(unsigned apiType);
    static unsigned heldLocks();
    // Releases every lock the calling thread holds (dropping unsaved changes); returns how many
    // lock levels were released.
    static unsigned releaseAllHeld();

    // Drops every cached document and clears fault injection; no document may be locked.
    static void reset();
};
