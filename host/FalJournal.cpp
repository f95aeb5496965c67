#include "host/FalJournal.h"

#include <json-c/json.h>
#include <sys/stat.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "host/FalFile.h"
#include "host/TreeMapObject.h"

namespace {

const unsigned char kMagic[4] = {'F', 'J', 0x01, 0x0A};
constexpr size_t kHeader = 12;
// Replay refuses records above this size (a corrupt length field).
constexpr uint32_t kMaxPayload = 1u << 30;

void putU32(std::string& out, uint32_t v)
{
    for (int i = 0; i < 4; ++i)
        out += char((v >> (8 * i)) & 0xFF);
}

uint32_t getU32(const unsigned char* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24; }

// Nesting the parser accepts: whatever the document holds (its values may come from deep request
// bodies), with a change record's two levels above it.
constexpr int kMaxDepth = 16384;

json_object* parseText(const char* text, size_t size)
{
    // One parser per thread, kept: its nesting stack is large.
    struct Parser {
        json_tokener* tok = json_tokener_new_ex(kMaxDepth);
        ~Parser() { json_tokener_free(tok); }
    };
    thread_local Parser parser;
    if (!parser.tok)
        return nullptr;
    json_tokener_reset(parser.tok);
    json_object* node = json_tokener_parse_ex(parser.tok, text, int(size));
    if (json_tokener_get_error(parser.tok) != json_tokener_success) {
        json_object_put(node);
        node = nullptr;
    }
    return node;
}

bool parseStart(const char* payload, size_t size, FalSnapshotId& id)
{
    std::string text(payload, size);
    unsigned long long length = 0, mtime = 0;
    unsigned crc = 0;
    if (std::sscanf(text.c_str(), "snapshot %llu %u %llu", &length, &crc, &mtime) != 3)
        return false;
    id.size = length;
    id.crc = crc;
    id.mtimeNs = int64_t(mtime);
    return true;
}

// Applies one change record to the document; false when the record is not a change record.
bool applyChanges(json_object*& root, const char* payload, size_t size)
{
    json_object* ops = parseText(payload, size);
    if (!json_object_is_type(ops, json_type_array)) {
        json_object_put(ops);
        return false;
    }
    std::unique_ptr<TreeMapObject> doc(TreeMapObject::adopt(root));
    bool ok = true;
    for (size_t i = 0, n = json_object_array_length(ops); ok && i < n; ++i) {
        json_object* op = json_object_array_get_idx(ops, i);
        const char* kind = json_object_get_string(json_object_array_get_idx(op, 0));
        const char* path = json_object_get_string(json_object_array_get_idx(op, 1));
        if (!json_object_is_type(op, json_type_array) || !kind || !path) {
            ok = false;
        } else if (strcmp(kind, "s") == 0 && json_object_array_length(op) == 3) {
            json_object* value = json_object_array_get_idx(op, 2);
            if (!*path) {
                doc.reset(TreeMapObject::adopt(json_object_get(value)));
            } else {
                std::unique_ptr<TreeMapObject> handle(TreeMapObject::adopt(json_object_get(value)));
                doc->set(path, handle.get());
            }
        } else if (strcmp(kind, "d") == 0) {
            doc->del(path);
        } else {
            ok = false;
        }
    }
    root = json_object_get(doc->node());
    json_object_put(ops);
    return ok;
}

}  // namespace

FalSnapshotId falSnapshotId(const std::string& text, int64_t mtimeNs)
{
    FalSnapshotId id;
    id.size = text.size();
    id.crc = falCrc32(text.data(), text.size());
    id.mtimeNs = mtimeNs;
    return id;
}

void falJournalRecord(const std::string& payload, std::string& out)
{
    out.append(reinterpret_cast<const char*>(kMagic), sizeof kMagic);
    putU32(out, uint32_t(payload.size()));
    putU32(out, falCrc32(payload.data(), payload.size()));
    out += payload;
}

std::string falJournalStart(const FalSnapshotId& base)
{
    char text[96];
    std::snprintf(text, sizeof text, "snapshot %llu %u %llu", (unsigned long long)base.size, unsigned(base.crc),
                  (unsigned long long)base.mtimeNs);
    return text;
}

std::string falJournalChanges(json_object* root, const std::vector<std::string>& paths)
{
    std::unique_ptr<TreeMapObject> doc(TreeMapObject::adopt(json_object_get(root)));
    json_object* ops = json_object_new_array_ext(int(paths.size()));
    for (const std::string& path : paths) {
        json_object* op = json_object_new_array_ext(3);
        std::unique_ptr<TreeMapObject> value(doc->get(path.c_str()));
        json_object_array_add(op, json_object_new_string(value ? "s" : "d"));
        json_object_array_add(op, json_object_new_string_len(path.data(), int(path.size())));
        if (value)
            json_object_array_add(op, json_object_get(value->node()));
        json_object_array_add(ops, op);
    }
    std::string text = json_object_to_json_string_ext(ops, JSON_C_TO_STRING_PLAIN | JSON_C_TO_STRING_NOSLASHESCAPE);
    json_object_put(ops);
    return text;
}

std::string falJournalPath(const std::string& snapshotPath)
{
    size_t dot = snapshotPath.rfind('.');
    size_t slash = snapshotPath.rfind('/');
    std::string stem = dot != std::string::npos && (slash == std::string::npos || dot > slash)
                           ? snapshotPath.substr(0, dot)
                           : snapshotPath;
    return stem + ".journal";
}

FalStoredDocument falLoadStored(const std::string& snapshotPath, const std::string& journalPath)
{
    FalStoredDocument out;
    std::string text;
    struct stat st {};
    if (!falReadFile(snapshotPath, text) || ::stat(snapshotPath.c_str(), &st) != 0)
        return out;
    out.root = parseText(text.data(), text.size());
    if (!out.root)
        return out;  // not JSON, or JSON null: no document
    out.base = falSnapshotId(text, int64_t(st.st_mtim.tv_sec) * 1000000000 + st.st_mtim.tv_nsec);

    std::string journal;
    if (!falReadFile(journalPath, journal))
        return out;
    out.journalFileBytes = journal.size();
    const unsigned char* bytes = reinterpret_cast<const unsigned char*>(journal.data());
    size_t at = 0;
    bool first = true;
    while (journal.size() - at >= kHeader && memcmp(bytes + at, kMagic, sizeof kMagic) == 0) {
        uint32_t length = getU32(bytes + at + 4);
        if (length > kMaxPayload || journal.size() - at - kHeader < length)
            break;
        const char* payload = journal.data() + at + kHeader;
        if (falCrc32(payload, length) != getU32(bytes + at + 8))
            break;
        if (first) {
            FalSnapshotId id;
            if (!parseStart(payload, length, id) || !(id == out.base))
                return out;  // the journal of an older snapshot
            out.journalOk = true;
            first = false;
        } else if (!applyChanges(out.root, payload, length)) {
            break;
        }
        at += kHeader + length;
    }
    out.journalBytes = out.journalOk ? at : 0;
    return out;
}
