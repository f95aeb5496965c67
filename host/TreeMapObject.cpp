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

json_object* copyOf(const TreeMapObject* value)
{
    json_object* copy = nullptr;
    if (value && value->node())
        json_object_deep_copy(value->node(), &copy, nullptr);
    return copy;
}

void collect(json_object* node, const char* key, const char* value, std::list<json_object*>& found)
{
    if (json_object_is_type(node, json_type_object)) {
        json_object* member = nullptr;
        if (json_object_object_get_ex(node, key, &member) && json_object_is_type(member, json_type_string) &&
            strcmp(json_object_get_string(member), value) == 0)
            found.push_back(node);
        json_object_object_foreach(node, name, item)
        {
            (void)name;
            collect(item, key, value, found);
        }
    } else if (json_object_is_type(node, json_type_array)) {
        size_t n = json_object_array_length(node);
        for (size_t i = 0; i < n; ++i)
            collect(json_object_array_get_idx(node, i), key, value, found);
    }
}

}  // namespace

TreeMapObject::TreeMapObject() { ++liveHandles_; }

TreeMapObject::TreeMapObject(bool isArray)
    : node_(isArray ? json_object_new_array() : json_object_new_object())
{
    ++liveHandles_;
}

TreeMapObject::TreeMapObject(unsigned, unsigned) : node_(json_object_new_object()) { ++liveHandles_; }

TreeMapObject::TreeMapObject(json_object* node, FalDocState* doc) : node_(json_object_get(node)), doc_(doc)
{
    ++liveHandles_;
}

TreeMapObject::~TreeMapObject()
{
    json_object_put(node_);
    --liveHandles_;
}

long TreeMapObject::liveHandles() { return liveHandles_.load(); }

void TreeMapObject::touch()
{
    if (doc_)
        doc_->dirty = true;
}

bool TreeMapObject::resolveExisting(const char* path, json_object** out) const
{
    json_object* node = node_;
    const char* cursor = path ? path : "";
    Step step;
    while (nextStep(cursor, step)) {
        if (!node || !child(node, step, &node))
            return false;
    }
    *out = node;
    return true;
}

json_object* TreeMapObject::resolve(const char* path) const
{
    json_object* node = nullptr;
    return resolveExisting(path, &node) ? node : nullptr;
}

TreeMapObject* TreeMapObject::get(const char* path)
{
    json_object* node = nullptr;
    if (!resolveExisting(path, &node))
        return nullptr;
    return new TreeMapObject(node, doc_);
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
    touch();
}

void TreeMapObject::set(const char* path, TreeMapObject* value) { setNode(path, copyOf(value)); }

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
            touch();
        }
    } else if (json_object_is_type(parent, json_type_object)) {
        std::string name(step.begin, step.length);
        if (json_object_object_get_ex(parent, name.c_str(), nullptr)) {
            json_object_object_del(parent, name.c_str());
            touch();
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
    return new TreeMapObject(json_object_array_get_idx(node_, i), doc_);
}

void TreeMapObject::addArrayItem(TreeMapObject* item)
{
    if (!json_object_is_type(node_, json_type_array))
        return;
    json_object_array_add(node_, copyOf(item));
    touch();
}

int TreeMapObject::setArrayItem(unsigned i, TreeMapObject* item)
{
    if (!json_object_is_type(node_, json_type_array) || i > json_object_array_length(node_))
        return -1;
    json_object* copy = copyOf(item);
    int rc = i == json_object_array_length(node_) ? json_object_array_add(node_, copy)
                                                  : json_object_array_put_idx(node_, i, copy);
    if (rc != 0) {
        json_object_put(copy);
        return -1;
    }
    touch();
    return 1;
}

int TreeMapObject::delArrayItem(unsigned i)
{
    if (i >= len())
        return -1;
    if (json_object_array_del_idx(node_, i, 1) != 0)
        return -1;
    touch();
    return 1;
}

void TreeMapObject::clearArrayItems()
{
    size_t n = len();
    if (!n)
        return;
    json_object_array_del_idx(node_, 0, n);
    touch();
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
    std::list<json_object*> nodes;
    collect(node_, key, value, nodes);
    for (json_object* node : nodes)
        handles.push_back(new TreeMapObject(node, doc_));
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
    TreeMapObject* handle = new TreeMapObject();
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
