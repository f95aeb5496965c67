// LocalDbCtrl: the gateway's database, one JSON document per API type.
//
// Documents are loaded on first use and kept in memory. On disk a document is its snapshot,
// <root>/db/<family>.json, and its journal, <root>/db/<family>.journal (see FalJournal.h).
//
// Locking: a document is held by one thread at a time. The holder may lock it again (every lock
// is matched by one unlock) and may hold several documents. An unlock by a thread that does not
// hold the document is a no-op. A lock that would close a cycle of waiting threads, or that waits
// longer than the lock time-out, fails (null) instead of hanging.
//
// Saving appends the values that changed since the last save to the journal, as one checksummed
// record, with one write and one fdatasync; a save with nothing changed writes nothing. When the
// journal outgrows the snapshot (or a change cannot be placed by path), the save writes the whole
// snapshot instead (temporary file, fsync, rename, fsync of the directory) and starts a new
// journal. Loading replays the journal over the snapshot and ignores a record torn by a crash.
// Leaving a root (setRoot, process exit) folds the journals of idle documents into the snapshots
// and removes them. When a thread's last lock on a document is released, changes that were not
// saved successfully are dropped: memory always equals disk between operations.
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

    // Fault injection: the next `count` locks (or saves) of the document fail. 0 clears. (What is
    // left to come, and the lock time-out, are in LocalDbCtrlTesting.h.)
    static void failNextLocks(unsigned apiType, unsigned count);
    static void failNextSaves(unsigned apiType, unsigned count);

    // Replaces a document in memory and on disk (waits for its lock). 0 on success.
    static int replaceDocument(unsigned apiType, TreeMapObject* document);
    // Copy of a document as it stands (waits for its lock); null when it cannot be loaded.
    static TreeMapObject* copyDocument(unsigned apiType);
    // The document as stored on disk (snapshot and journal), read afresh, under this root or the
    // given one; no lock taken. Null when it cannot be read.
    static TreeMapObject* storedDocument(unsigned apiType, const char* root = nullptr);

    // Locks the calling thread holds: on one document, and on all of them.
    static unsigned heldLocks(unsigned apiType);
    static unsigned heldLocks();
    // Releases every lock the calling thread holds (dropping unsaved changes); returns how many
    // lock levels were released.
    static unsigned releaseAllHeld();

    // Drops every cached document and clears fault injection; no document may be locked.
    static void reset();
};
