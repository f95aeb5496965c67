// The document journal: an append-only file of checksummed records beside a document's snapshot.
//
// <root>/db/<family>.json     the snapshot: plain JSON, the document as of the last compaction
// <root>/db/<family>.journal  records: first the snapshot it continues, then one record per save
//                             holding the values that changed (path and new value, or removal)
//
// Record: "FJ" 0x01 0x0A, payload length (u32 little-endian), CRC-32 of the payload (u32), payload.
// A record that is cut short or fails its checksum ends the journal (a write torn by a crash), and
// so do the zeros the file is extended with ahead of its records. The magic's 0x01 never occurs
// in a payload (JSON text escapes control characters), so what is left of an older record after
// a shorter one is written over it never reads as a record.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "host/FalDocState.h"

struct json_object;

// The identity of a snapshot from its text and its file's modification time.
FalSnapshotId falSnapshotId(const std::string& text, int64_t mtimeNs);

// Appends one encoded record with the given payload to `out`.
void falJournalRecord(const std::string& payload, std::string& out);
// The first record of a journal: the snapshot it continues.
std::string falJournalStart(const FalSnapshotId& base);
// Payload of a change record: for each path, its value in `root` or its removal.
std::string falJournalChanges(json_object* root, const std::vector<std::string>& paths);

// A document as stored: the snapshot with its journal replayed.
struct FalStoredDocument {
    json_object* root = nullptr;  // owned by the caller; null when the snapshot cannot be read
    FalSnapshotId base;
    bool journalOk = false;       // the journal continues this snapshot
    uint64_t journalBytes = 0;    // length of its whole, valid records
    uint64_t journalFileBytes = 0;
};

// Reads a snapshot and replays its journal (when it continues that snapshot).
FalStoredDocument falLoadStored(const std::string& snapshotPath, const std::string& journalPath);

// The journal path beside a snapshot ("x/db/gateway.json" -> "x/db/gateway.journal").
std::string falJournalPath(const std::string& snapshotPath);
