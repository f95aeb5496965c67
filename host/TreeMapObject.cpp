#include "host/TreeMapObject.h"

#include <json-c/json.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "host/FalDocState.h"

std::atomic<long> TreeMapObject::liveHandles_{0};

namespace {

// One step of a path: a member name, or an array index.
struct Step {
    const char* begin;
    size_t length;
    bool isIndex;
    size_t index;
};

// Reads the step that starts at *cursor and moves the cursor past it and its dot.
bool nextStep(const char*& cursor, Step& step)
{
    if (!*cursor)
        return false;
    const char* end = strchr(cursor, '.');
    size_t length = end ? size_t(end - cursor) : strlen(cursor);
    step = {cursor, length, false, 0};
    if (length >= 3 && cursor[0] == '[' && cursor[length - 1] == ']') {
        size_t value = 0;
        bool digits = true;
        for (size_t i = 1; i + 1 < length; ++i) {
            if (cursor[i] < '0' || cursor[i] > '9') {
                digits = false;
                break;
            }
            value = value * 10 + size_t(cursor[i] - '0');
        }
        if (digits) {
            step.isIndex = true;
            step.index = value;
        }
    }
    cursor += length;
    if (*cursor == '.')
        ++cursor;
    return true;
}

// The child of node for one step: true when it exists (the child may be JSON null).
bool child(json_object* node, const Step& step, json_object** out)
{
    if (step.isIndex) {
        if (!json_object_is_type(node, json_type_array) || step.index >= json_object_array_length(node))
            return false;
        *out = json_object_array_get_idx(node, step.index);
        return true;
    }
    if (!json_object_is_type(node, json_type_object))
        return false;
    // Short names are terminated in a stack buffer: lookups on the lock path do not allocate.
    char buffer[128];
    if (step.length < sizeof(buffer)) {
        memcpy(buffer, step.begin, step.length);
        buffer[step.length] = '\0';
        return json_object_object_get_ex(node, buffer, out);
    }
    std::string name(step.begin, step.length);
    return json_object_object_get_ex(node, name.c_str(), out);
}

json_object* copyOf(json_object* node)
{
    json_object* copy = nullptr;
    if (node)
        json_object_deep_copy(node, &copy, nullptr);
    return copy;
}

std::string joinPath(const std::string& base, const char* path)
{
    if (!path || !*path)
        return base;
    if (base.empty())
        return path;
    std::string out;
    out.reserve(base.size() + 1 + strlen(path));
    out += base;
    out += '.';
    out += path;
    return out;
}

std::string indexStep(unsigned i) { return "[" + std::to_string(i) + "]"; }

// Collects the matching nodes below `node`, with their paths when `path` (the path of `node`) is
// given.
void collect(json_object* node, const std::string* path, const char* key, const char* value,
             std::list<std::pair<json_object*, std::string>>& found)
{
    if (json_object_is_type(node, json_type_object)) {
        json_object* member = nullptr;
        if (json_object_object_get_ex(node, key, &member) && json_object_is_type(member, json_type_string) &&
            strcmp(json_object_get_string(member), value) == 0)
            found.emplace_back(node, path ? *path : std::string());
        json_object_object_foreach(node, name, item)
        {
            if (!json_object_is_type(item, json_type_object) && !json_object_is_type(item, json_type_array))
                continue;
            if (path) {
                std::string inner = joinPath(*path, name);
                collect(item, &inner, key, value, found);
            } else {
                collect(item, nullptr, key, value, found);
            }
        }
    } else if (json_object_is_type(node, json_type_array)) {
        size_t n = json_object_array_length(node);
        for (size_t i = 0; i < n; ++i) {
            json_object* item = json_object_array_get_idx(node, i);
            if (path) {
                std::string inner = joinPath(*path, indexStep(unsigned(i)).c_str());
                collect(item, &inner, key, value, found);
            } else {
                collect(item, nullptr, key, value, found);
            }
        }
    }
}

bool resolveFrom(json_object* node, const char* path, json_object** out)
{
    const char* cursor = path ? path : "";
    Step step;
    while (nextStep(cursor, step)) {
        if (!node || !child(node, step, &node))
            return false;
    }
    *out = node;
    return true;
}

}  // namespace

struct TreeMapObject::Family {
    std::atomic<long> handles{1};
};

TreeMapObject::TreeMapObject() : top_(true) { ++liveHandles_; }

TreeMapObject::TreeMapObject(bool isArray)
    : node_(isArray ? json_object_new_array() : json_object_new_object()), top_(true)
{
    ++liveHandles_;
}

TreeMapObject::TreeMapObject(unsigned, unsigned) : node_(json_object_new_object()), top_(true) { ++liveHandles_; }

TreeMapObject::TreeMapObject(json_object* node, FalDocState* doc, std::string path)
    : node_(json_object_get(node)), doc_(doc), path_(doc ? std::move(path) : std::string())
{
    ++liveHandles_;
}

TreeMapObject::~TreeMapObject()
{
    json_object_put(node_);
    if (family_ && --family_->handles == 0)
        delete family_;
    --liveHandles_;
}

TreeMapObject* TreeMapObject::handleOnto(json_object* node, std::string path)
{
    if (doc_)
        return new TreeMapObject(node, doc_, std::move(path));
    // A handle into a tree of its own: counted, so that the tree's node is never lent while
    // another handle could change it.
    if (!family_)
        family_ = new Family;
    ++family_->handles;
    TreeMapObject* h = new TreeMapObject(node, nullptr, std::string());
    h->family_ = family_;
    return h;
}

void TreeMapObject::ownNode()
{
    if (!lent_)
        return;
    json_object* copy = copyOf(node_);
    json_object_put(node_);
    node_ = copy;
    lent_ = false;
}

json_object* TreeMapObject::take(TreeMapObject* value)
{
    if (!value || !value->node_)
        return nullptr;
    bool lend = value != this && value->top_ && !value->doc_ && !value->lent_ &&
                (!value->family_ || value->family_->handles == 1);
    if (!lend)
        return copyOf(value->node_);
    value->lent_ = true;
    return json_object_get(value->node_);
}

long TreeMapObject::liveHandles() { return liveHandles_.load(); }

std::string TreeMapObject::pathTo(const char* path) const { return joinPath(path_, path); }

void TreeMapObject::changed(const char* path)
{
    if (!doc_)
        return;
    doc_->dirty = true;
    // The handle's path is where its node was when the handle was made; the change can be placed
    // by path only while the node is still there.
    json_object* here = nullptr;
    if (!doc_->rewrite && resolveFrom(doc_->root, path_.c_str(), &here) && here == node_)
        doc_->changes.push_back(pathTo(path));
    else
        doc_->rewrite = true;
}

bool TreeMapObject::resolveExisting(const char* path, json_object** out) const
{
    return resolveFrom(node_, path, out);
}

json_object* TreeMapObject::resolve(const char* path) const
{
    json_object* node = nullptr;
    return resolveExisting(path, &node) ? node : nullptr;
}

TreeMapObject* TreeMapObject::get(const char* path)
{
    json_object* node = nullptr;
    ownNode();
    if (!resolveExisting(path, &node))
        return nullptr;
    return handleOnto(node, doc_ ? pathTo(path) : std::string());
}

template <>
const char* TreeMapObject::get<const char*>(const char* path)
{
    json_object* node = resolve(path);
    switch (json_object_get_type(node)) {
    case json_type_string:
    case json_type_int:
    case json_type_double:
    case json_type_boolean:
        return json_object_get_string(node);
    default:
        return nullptr;
    }
}

template <>
int TreeMapObject::get<int>(const char* path)
{
    return json_object_get_int(resolve(path));
}

template <>
bool TreeMapObject::get<bool>(const char* path)
{
    json_object* node = resolve(path);
    switch (json_object_get_type(node)) {
    case json_type_boolean:
        return json_object_get_boolean(node);
    case json_type_int:
        return json_object_get_int64(node) != 0;
    case json_type_double:
        return json_object_get_double(node) != 0;
    case json_type_string:
        return strcmp(json_object_get_string(node), "true") == 0;
    default:
        return false;
    }
}

template <>
bool TreeMapObject::get_ex<int>(const char* path, int& out)
{
    json_object* node = resolve(path);
    if (!json_object_is_type(node, json_type_int))
        return false;
    out = json_object_get_int(node);
    return true;
}

namespace {

// Whether every step from cursor on is a member name.
bool onlyNames(const char* cursor)
{
    Step step;
    while (nextStep(cursor, step))
        if (step.isIndex)
            return false;
    return true;
}

// Puts `owned` under `parent` for the last step of a path; false (and nothing changed) when the
// parent cannot take it. Takes over `owned` only on success.
bool store(json_object* parent, const Step& step, json_object* owned)
{
    if (step.isIndex) {
        if (!json_object_is_type(parent, json_type_array))
            return false;
        size_t n = json_object_array_length(parent);
        if (step.index > n)
            return false;
        return (step.index == n ? json_object_array_add(parent, owned)
                                : json_object_array_put_idx(parent, step.index, owned)) == 0;
    }
    if (!json_object_is_type(parent, json_type_object))
        return false;
    return json_object_object_add(parent, std::string(step.begin, step.length).c_str(), owned) == 0;
}

}  // namespace

// Stores `owned` (one reference, taken over) at path, creating missing objects on the way. When
// the path cannot be completed, nothing changes and `owned` is released.
void TreeMapObject::setNode(const char* path, json_object* owned)
{
    ownNode();
    const char* cursor = path ? path : "";
    Step step;
    json_object* parent = node_;
    if (!parent || !nextStep(cursor, step)) {
        json_object_put(owned);
        return;
    }
    // Follow the steps that exist; `cursor` is just past `step`.
    while (*cursor) {
        json_object* inner = nullptr;
        if (!child(parent, step, &inner) || !inner)
            break;
        parent = inner;
        nextStep(cursor, step);
    }
    if (*cursor) {
        // `step` is missing (or JSON null) and more steps follow: only a member of an object can be
        // created, and a new object has no array items for the steps below it.
        if (step.isIndex || !json_object_is_type(parent, json_type_object) || !onlyNames(cursor)) {
            json_object_put(owned);
            return;
        }
        while (*cursor) {
            json_object* inner = json_object_new_object();
            json_object_object_add(parent, std::string(step.begin, step.length).c_str(), inner);
            parent = inner;
            nextStep(cursor, step);
        }
    }
    if (!store(parent, step, owned)) {
        json_object_put(owned);
        return;
    }
    changed(path);
}

void TreeMapObject::set(const char* path, TreeMapObject* value) { setNode(path, take(value)); }

void TreeMapObject::setInt(const char* path, long long v) { setNode(path, json_object_new_int64(v)); }

void TreeMapObject::setBool(const char* path, bool v) { setNode(path, json_object_new_boolean(v)); }

void TreeMapObject::setString(const char* path, const char* v)
{
    setNode(path, v ? json_object_new_string(v) : nullptr);
}

void TreeMapObject::del(const char* path)
{
    if (!path || !*path)
        return;
    ownNode();
    // Split off the last step; the parent is the rest.
    const char* lastDot = strrchr(path, '.');
    std::string parentPath = lastDot ? std::string(path, lastDot - path) : std::string();
    const char* lastText = lastDot ? lastDot + 1 : path;
    json_object* parent = resolve(parentPath.c_str());
    if (!parent)
        return;
    Step step;
    const char* cursor = lastText;
    if (!nextStep(cursor, step))
        return;
    if (step.isIndex) {
        if (json_object_is_type(parent, json_type_array) && step.index < json_object_array_length(parent)) {
            json_object_array_del_idx(parent, step.index, 1);
            changed(parentPath.c_str());  // the items behind it moved: the whole array changed
        }
    } else if (json_object_is_type(parent, json_type_object)) {
        std::string name(step.begin, step.length);
        if (json_object_object_get_ex(parent, name.c_str(), nullptr)) {
            json_object_object_del(parent, name.c_str());
            changed(path);
        }
    }
}

unsigned TreeMapObject::len()
{
    return json_object_is_type(node_, json_type_array) ? unsigned(json_object_array_length(node_)) : 0;
}

TreeMapObject* TreeMapObject::at(unsigned i)
{
    if (i >= len())
        return nullptr;
    ownNode();
    return handleOnto(json_object_array_get_idx(node_, i), doc_ ? pathTo(indexStep(i).c_str()) : std::string());
}

void TreeMapObject::addArrayItem(TreeMapObject* item)
{
    if (!json_object_is_type(node_, json_type_array))
        return;
    ownNode();
    json_object_array_add(node_, take(item));
    changed(indexStep(unsigned(json_object_array_length(node_) - 1)).c_str());
}

int TreeMapObject::setArrayItem(unsigned i, TreeMapObject* item)
{
    if (!json_object_is_type(node_, json_type_array) || i > json_object_array_length(node_))
        return -1;
    ownNode();
    json_object* copy = take(item);
    int rc = i == json_object_array_length(node_) ? json_object_array_add(node_, copy)
                                                  : json_object_array_put_idx(node_, i, copy);
    if (rc != 0) {
        json_object_put(copy);
        return -1;
    }
    changed(indexStep(i).c_str());
    return 1;
}

int TreeMapObject::delArrayItem(unsigned i)
{
    if (i >= len())
        return -1;
    ownNode();
    if (json_object_array_del_idx(node_, i, 1) != 0)
        return -1;
    changed("");
    return 1;
}

void TreeMapObject::clearArrayItems()
{
    size_t n = len();
    if (!n)
        return;
    ownNode();
    json_object_array_del_idx(node_, 0, n);
    changed("");
}

TreeMapObject* TreeMapObject::clone(const char* path)
{
    json_object* node = nullptr;
    if (!resolveExisting(path, &node))
        return nullptr;
    json_object* copy = nullptr;
    if (node && json_object_deep_copy(node, &copy, nullptr) != 0)
        return nullptr;
    return adopt(copy);
}

template <>
std::list<TreeMapObject*> TreeMapObject::find<const char*>(const char* key, const char* value)
{
    std::list<TreeMapObject*> handles;
    if (!key || !value || !node_)
        return handles;
    ownNode();
    std::list<std::pair<json_object*, std::string>> nodes;
    collect(node_, doc_ ? &path_ : nullptr, key, value, nodes);
    for (auto& found : nodes)
        handles.push_back(handleOnto(found.first, std::move(found.second)));
    return handles;
}

void TreeMapObject::dump(const char* text)
{
    std::string out = text ? text : "";
    out += toJsonString(true);
    out += '\n';
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fflush(stdout);
}

TreeMapObject* TreeMapObject::parse(const char* text)
{
    if (!text)
        return nullptr;
    json_tokener* tok = json_tokener_new();
    // -1: the text ends at its terminator, which also ends a bare number or literal ("12", "null").
    json_object* node = json_tokener_parse_ex(tok, text, -1);
    bool ok = json_tokener_get_error(tok) == json_tokener_success;
    // Only blanks may follow the value.
    if (ok) {
        for (const char* rest = text + json_tokener_get_parse_end(tok); *rest; ++rest)
            if (!strchr(" \t\r\n", *rest))
                ok = false;
    }
    json_tokener_free(tok);
    if (!ok) {
        json_object_put(node);
        return nullptr;
    }
    return adopt(node);
}

TreeMapObject* TreeMapObject::adopt(json_object* node)
{
    TreeMapObject* handle = new TreeMapObject();  // a tree of its own
    handle->node_ = node;
    return handle;
}

std::string TreeMapObject::toJsonString(bool pretty) const
{
    if (!node_)
        return "null";
    int flags = (pretty ? JSON_C_TO_STRING_PRETTY : JSON_C_TO_STRING_PLAIN) | JSON_C_TO_STRING_NOSLASHESCAPE;
    return json_object_to_json_string_ext(node_, flags);
}

bool TreeMapObject::isArray() const { return json_object_is_type(node_, json_type_array); }

bool TreeMapObject::isObject() const { return json_object_is_type(node_, json_type_object); }
