// The custom folder tree: nodes addressed by their full paths.
#include <cstring>
#include <string>

#include "fal/FalMsgIds.h"
#include "frame/BeHelpers.h"
#include "host/TreeMapObject.h"
#include "mediashare/FalMediaShareLdb.h"
#include "mediashare/MediashareHelpers.h"

namespace {

// Whether the "path" text of `node` is `path`; a node without one matches nothing.
bool hasPath(TreeMapObject* node, const char* path)
{
    const char* own = node ? node->get<const char*>("path") : nullptr;
    return sameText(own, path);
}

// Index of the first child in `children` whose path is `path`, or -1.
int findChild(TreeMapObject* children, const char* path)
{
    for (unsigned i = 0; i < children->len(); ++i) {
        TreeMapObject* child = children->at(i);
        bool match = hasPath(child, path);
        delete child;
        if (match)
            return static_cast<int>(i);
    }
    return -1;
}

// Releases a node that the walk returned, unless it is the root the walk started from.
void releaseFolder(TreeMapObject* node, TreeMapObject* root)
{
    if (node != root)
        delete node;
}

// Gives `node`'s sub-tree below `depth` levels the empty value as "children".
void cutAtDepth(TreeMapObject* node, int depth)
{
    if (depth == 0) {
        TreeMapObject empty;
        node->set("children", &empty);
        return;
    }
    TreeMapObject* children = mediashareArray(node, "children");
    for (unsigned i = 0; children && i < children->len(); ++i) {
        TreeMapObject* child = children->at(i);
        cutAtDepth(child, depth - 1);
        delete child;
    }
    delete children;
}

// The folder of the locked custom folder tree named by the "parent" of `node` (null when there is
// none). A tree that could not be locked is answered with status 8.
TreeMapObject* parentFolder(_FAL_RSP_T* rsp, TreeMapObject* node, const FalLock& tree)
{
    if (!tree) {
        mediashareFail(rsp, FAL_DB_ERROR, "No object found in txt repo", "No object found in txt repo");
        return nullptr;
    }
    return GetJsonObjectByFolderPath(tree.get(), node->get<const char*>("parent"));
}

}  // namespace

TreeMapObject* GetJsonObjectByFolderPath(TreeMapObject* root, const char* path)
{
    Logger::print(LOG_TYPE_PROGRESS, LOG_GROUP_MEDIASHARE, "The path is: %s\n", path ? path : "(null)");
    if (!root || !path)
        return nullptr;
    if (strcmp(path, "/") == 0)
        return root;
    if (strlen(path) < 2)
        return nullptr;
    std::vector<std::string> parts = BE_StrSplit(path, '/');
    std::string prefix;
    TreeMapObject* current = root;
    for (size_t i = 0; i < parts.size(); ++i) {
        if (!parts[i].empty())
            prefix += "/" + parts[i];
        if (prefix.empty())
            continue;
        Logger::print(LOG_TYPE_PROGRESS, LOG_GROUP_MEDIASHARE, "i=%d, tmp=%s", static_cast<int>(i), prefix.c_str());
        TreeMapObject* children = mediashareArray(current, "children");
        int at = children ? findChild(children, prefix.c_str()) : -1;
        TreeMapObject* next = at >= 0 ? children->at(static_cast<unsigned>(at)) : nullptr;
        delete children;
        releaseFolder(current, root);
        if (!next)
            return nullptr;
        current = next;
    }
    return current;
}

_FAL_RSP_T* FalMediaShareLdb::MediashareCustomfolderGet(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp = mediashareQuietReply(req);
    if (!rsp || mediashareLacksBody(req, rsp, "invalid request body", true))
        return rsp;
    auto name = mediashareParam(req, "!name");
    auto depthText = mediashareParam(req, "!depth");
    int depth = BE_StrIsNum(depthText.get()) ? BE_StrTo<int>(depthText.get()) : 0;
    FalLock tree(API_TYPE_MEDIASHARE, "customFolder", req->requester);
    if (!tree) {
        mediashareFail(rsp, FAL_DB_ERROR, "Cannot get database for customFolder", "database error");
    } else {
        if (name) {
            Logger::print(LOG_TYPE_PROGRESS, LOG_GROUP_MEDIASHARE, "%s: path name is %s\n",
                          "MediashareCustomfolderGet", name.get());
            std::list<TreeMapObject*> found = tree->find<const char*>("path", name.get());
            if (!found.empty())
                rsp->data = found.front()->clone(nullptr);
            clearPointerList(found);
            found.clear();
        } else {
            rsp->data = tree->clone(nullptr);
        }
        if (depth != 0 && rsp->data)
            cutAtDepth(rsp->data, depth);
        if (!rsp->data)
            rsp->data = new TreeMapObject(false);
    }
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediashareCustomfolderCreate(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediashareCustomfolderCreate, false,
                        "Cannot create response due to some memory issue\n");
    if (!rsp || mediashareLacksBody(req, rsp, "A null message request received", false))
        return rsp;
    // A new folder has no sub-folders.
    TreeMapObject* folder = req->body->clone(nullptr);
    TreeMapObject empty;
    folder->set("children", &empty);
    rsp->status = FAL_FAILED;
    FalLock tree(API_TYPE_MEDIASHARE, "customFolder", req->requester);

    TreeMapObject* parent = parentFolder(rsp, folder, tree);
    if (tree && !parent) {
        mediashareFail(rsp, FAL_BAD_REQUEST, "Request information wrong", "A null message request received");
    } else if (parent) {
        TreeMapObject* children = mediashareArray(parent, "children");
        if (children) {
            children->addArrayItem(folder);
        } else {
            TreeMapObject list(true);
            list.addArrayItem(folder);
            parent->set("children", &list);
        }
        delete children;
        if (tree.save())
            falAnswer(rsp, FAL_CREATED, "New Created");
    }
    releaseFolder(parent, tree.get());
    delete folder;
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediashareCustomfolderDelete(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediashareCustomfolderDelete, false,
                        "Cannot create response due to some memory issue\n");
    if (!rsp || mediashareLacksBody(req, rsp, "A null message request received", false))
        return rsp;
    rsp->status = FAL_FAILED;
    FalLock tree(API_TYPE_MEDIASHARE, "customFolder", req->requester);

    TreeMapObject* parent = parentFolder(rsp, req->body, tree);
    if (tree && !parent) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_MEDIASHARE, "No parent folder is found\n");
        rsp->status = FAL_OK;
    } else if (parent) {
        // A leaf's "children" holds the empty value: it has no child to remove, and is saved as it is.
        TreeMapObject* children = parent->get("children");
        if (children) {
            int at = findChild(children, req->body->get<const char*>("path"));
            if (at >= 0)
                children->delArrayItem(static_cast<unsigned>(at));
            if (children->len() == 0) {
                TreeMapObject empty;
                parent->set("children", &empty);
            }
            if (tree.save())
                rsp->status = FAL_OK;
        }
        delete children;
    }
    releaseFolder(parent, tree.get());
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediashareCustomfolderChange(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediashareCustomfolderChange, false,
                        "Cannot create response due to some memory issue\n");
    if (!rsp || mediashareLacksBody(req, rsp, "A null message request received", false))
        return rsp;
    // A folder keeps its parent: "old" and "new" must name the same one.
    TreeMapObject* oldNode = req->body->get("old");
    TreeMapObject* newNode = req->body->get("new");
    const char* oldParent = oldNode ? oldNode->get<const char*>("parent") : nullptr;
    const char* newParent = newNode ? newNode->get<const char*>("parent") : nullptr;
    if (!oldNode || !newNode || !oldNode->isObject() || !newNode->isObject() || !oldParent || !newParent ||
        strcmp(oldParent, newParent) != 0) {
        falAnswer(rsp, FAL_BAD_REQUEST, "A wrong message request received");
        delete oldNode;
        delete newNode;
        return rsp;
    }
    rsp->status = FAL_FAILED;
    FalLock tree(API_TYPE_MEDIASHARE, "customFolder", req->requester);

    TreeMapObject* parent = parentFolder(rsp, oldNode, tree);
    if (tree && !parent) {
        mediashareFail(rsp, FAL_NOT_FOUND, "No parent folder is found", "No parent folder is found");
    } else if (parent) {
        TreeMapObject* children = mediashareArray(parent, "children");
        int at = children ? findChild(children, oldNode->get<const char*>("path")) : -1;
        if (at >= 0) {
            children->setArrayItem(static_cast<unsigned>(at), newNode);
            if (tree.save())
                rsp->status = FAL_OK;
        }
        delete children;
    }
    releaseFolder(parent, tree.get());
    delete oldNode;
    delete newNode;
    return rsp;
}
