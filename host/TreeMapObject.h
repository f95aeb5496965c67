// TreeMapObject: a handle onto one node of a JSON tree.
//
// Several handles may refer to nodes of the same tree; deleting a handle releases that handle
// only. Every member that returns a TreeMapObject* returns a new handle that the caller deletes.
//
// Paths address a node below the handle's node: "" or null is the node itself, member names are
// joined by dots ("system.timer"), and a step made only of a decimal index in square brackets
// ("interfaces.[0].connectivity") enters an array. A member name may carry brackets when it is not
// a step of its own ("retryAfter[1]").
#pragma once

#include <atomic>
#include <cstddef>
#include <list>
#include <string>
#include <type_traits>

struct json_object;
struct FalDocState;

class TreeMapObject {
public:
    // The empty value: serialises as JSON null.
    TreeMapObject();
    // A new empty array (true) or object (false).
    explicit TreeMapObject(bool isArray);
    // The response body of an operation: a new empty object.
    TreeMapObject(unsigned apiType, unsigned msgId);
    ~TreeMapObject();

    TreeMapObject(const TreeMapObject&) = delete;
    TreeMapObject& operator=(const TreeMapObject&) = delete;

    // New handle onto the node at path (a JSON null member included), or null when there is none.
    TreeMapObject* get(const char* path);

    // Typed reads: see the specialisations below.
    template <typename T>
    T get(const char* path);

    // true and out set when an integer is at path; false and out untouched otherwise.
    template <typename T>
    bool get_ex(const char* path, T& out);

    // Makes the member at path hold a copy of the value's node (JSON null for a null value),
    // creating missing objects on the path. The caller keeps and deletes its handle.
    //
    // Copy on write: when the value is the only handle onto a tree of its own (a clone, a parsed or
    // a new tree), its node is shared instead of copied, and the handle takes a copy of its own
    // only if it is changed or asked for a handle into it afterwards. The same holds for
    // addArrayItem and setArrayItem.
    void set(const char* path, TreeMapObject* value);
    void set(const char* path, std::nullptr_t) { set(path, static_cast<TreeMapObject*>(nullptr)); }

    // Stores a string (copied; null stores JSON null), an integer or a boolean.
    template <typename T>
    void set(const char* path, T value)
    {
        using V = std::decay_t<T>;
        if constexpr (std::is_same_v<V, bool>) {
            setBool(path, value);
        } else if constexpr (std::is_integral_v<V>) {
            setInt(path, static_cast<long long>(value));
        } else if constexpr (std::is_same_v<V, const char*> || std::is_same_v<V, char*>) {
            setString(path, value);
        } else if constexpr (std::is_same_v<V, std::string>) {
            setString(path, value.c_str());
        } else {
            static_assert(sizeof(V) == 0, "TreeMapObject::set takes a string, an integer, a boolean or a tree");
        }
    }

    // Removes the member (or array item) at path; nothing when absent.
    void del(const char* path);

    // Number of items of an array node; 0 for any other node.
    unsigned len();
    // New handle onto item i, or null when i is out of range or the node is not an array.
    TreeMapObject* at(unsigned i);
    // Appends a copy of the item's node.
    void addArrayItem(TreeMapObject* item);
    // Puts a copy of the item's node at i (i == len() appends). Positive on success, negative on
    // failure.
    int setArrayItem(unsigned i, TreeMapObject* item);
    // Removes item i; the items behind it move up. Positive on success, negative on failure.
    int delArrayItem(unsigned i);
    // Removes every item of an array node.
    void clearArrayItems();

    // New independent deep copy of the node at path (null: the whole node), or null when none.
    TreeMapObject* clone(const char* path);

    // Handles onto every object node in this node's subtree (this node included) whose member
    // `key` is a string equal to `value`.
    template <typename T>
    std::list<TreeMapObject*> find(const char* key, T value);

    // Diagnostic print of the tree to standard output, after the given text.
    void dump(const char* text);

    // --- host-side helpers (not used by the operations) -----------------------------------------

    // Parses JSON text into a new tree; null when the text is not valid JSON.
    static TreeMapObject* parse(const char* text);
    // Takes over one reference to a json-c node (may be null: the empty value).
    static TreeMapObject* adopt(json_object* node);
    // JSON text of the node; "null" for the empty value.
    std::string toJsonString(bool pretty = false) const;
    // The json-c node this handle refers to (borrowed; null for the empty value).
    json_object* node() const { return node_; }
    bool isNull() const { return node_ == nullptr; }
    bool isArray() const;
    bool isObject() const;

    // Number of handles alive in the process; tests use it to find handles that were not deleted.
    static long liveHandles();

private:
    friend class LocalDbCtrl;
    struct Family;  // the handles onto one tree of its own, counted
    TreeMapObject(json_object* node, FalDocState* doc, std::string path);

    // The path of a node below this one, from the document's root.
    std::string pathTo(const char* path) const;

    json_object* resolve(const char* path) const;
    bool resolveExisting(const char* path, json_object** out) const;
    void setNode(const char* path, json_object* owned);
    void setInt(const char* path, long long v);
    void setBool(const char* path, bool v);
    void setString(const char* path, const char* v);
    // Records a change at `path` below this node in the stored document, if any.
    void changed(const char* path);
    // A new handle onto a node of this handle's tree.
    TreeMapObject* handleOnto(json_object* node, std::string path);
    // The value's node to store: shared when the value can lend it, else a deep copy (one reference).
    json_object* take(TreeMapObject* value);
    // Before this handle changes its tree or hands out a handle into it: stop sharing its node.
    void ownNode();

    json_object* node_ = nullptr;  // one reference held by this handle
    FalDocState* doc_ = nullptr;    // the stored document the node belongs to, if any
    std::string path_;              // where the node was in that document when the handle was made
    Family* family_ = nullptr;      // for a tree of its own once handles into it exist
    bool top_ = false;              // the handle made with the tree (new, clone, parse, adopt)
    bool lent_ = false;             // its node is shared with another tree (copy on write)

    static std::atomic<long> liveHandles_;
};

template <>
const char* TreeMapObject::get<const char*>(const char* path);
template <>
int TreeMapObject::get<int>(const char* path);
template <>
bool TreeMapObject::get<bool>(const char* path);
template <>
bool TreeMapObject::get_ex<int>(const char* path, int& out);
template <>
std::list<TreeMapObject*> TreeMapObject::find<const char*>(const char* key, const char* value);
