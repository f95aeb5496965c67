// State of one stored document, shared by the tree handles onto it and the database controller.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <string>
#include <thread>
#include <vector>

struct json_object;

// Which snapshot file a journal continues: its size, CRC-32 and modification time. A journal
// whose first record names another snapshot is stale (the snapshot was rewritten after it).
struct FalSnapshotId {
    uint64_t size = 0;
    uint32_t crc = 0;
    int64_t mtimeNs = 0;
    bool operator==(const FalSnapshotId& o) const { return size == o.size && crc == o.crc && mtimeNs == o.mtimeNs; }
};

struct FalDocState {
    json_object* root = nullptr;  // the document, or null when not loaded
    bool dirty = false;           // changed through a handle since the last load or save

    // Changes since the last save, for the journal: the paths (from the document's root) whose
    // value changed, in order. `rewrite` when a change cannot be placed by path (a handle onto a
    // node that moved or left the tree): the next save writes the whole document.
    std::vector<std::string> changes;
    bool rewrite = false;

    // The files: the snapshot the document was loaded from and its journal.
    FalSnapshotId base;
    bool journalOk = false;       // the journal exists and continues `base`
    uint64_t journalBytes = 0;    // valid length of the journal
    int journalFd = -1;           // open for appending once the first record was written
    bool fold = false;            // the journal cannot be continued: the next save writes the snapshot

    // Lock state, guarded by the controller's table mutex.
    std::thread::id owner;
    unsigned depth = 0;
    char requester[48] = {};      // who took the lock first (for log messages; truncated)
    std::condition_variable released;

    unsigned failLocks = 0;
    unsigned failSaves = 0;
};
