// Network folders: the shared folders that FTP and Samba point at.
#include <cstdlib>

#include "fal/FalMsgIds.h"
#include "host/TreeMapObject.h"
#include "mediashare/FalMediaShareLdb.h"
#include "mediashare/MediashareHelpers.h"

namespace {

// One more than the largest id of `folders`; 0 for an empty list.
int nextFolderId(TreeMapObject* folders)
{
    int next = 0;
    for (unsigned i = 0; i < folders->len(); ++i) {
        TreeMapObject* folder = folders->at(i);
        int id = 0;
        if (folder && folder->get_ex<int>("id", id) && id >= next)
            next = id + 1;
        delete folder;
    }
    return next;
}

// Switches off the file service under `key` when it shares the folder `id`; in a cycle of its own.
void stopServiceOfFolder(_FAL_REQ_T* req, const char* key, int id)
{
    FalLock service(API_TYPE_MEDIASHARE, key, req->requester);
    if (service && mediashareHasId(service.get(), "networkFolder.id", id)) {
        service->set("active", false);
        if (!service.save())
            Logger::print(LOG_TYPE_ERROR, LOG_GROUP_MEDIASHARE, "%s: Failed to update ftp status\n",
                          "MediashareNetworkfolderDelete");
    }
}

// How a folder operation answers when the object or its folder list cannot be had.
struct FolderFailures {
    const char* dbLog;
    const char* dbMessage;     // answered with FAL_DB_ERROR
    const char* listLog;
    FAL_STATUS_T listStatus;
    const char* listMessage;
};

const char kReadObjectFailed[] = "Cannot read network object from file";
const char kReadListFailed[] = "Cannot read child object of network object";
// Delete and delete-all answer alike when there is nothing to delete from.
const FolderFailures kDeleteFailures = {kReadObjectFailed, kReadObjectFailed, kReadListFailed, FAL_OK,
                                        "Nothing to be deleted"};

// The folder list of the locked "networkFolder" object; null, after logging and answering as
// `failures` says, when the object or the list is missing (or empty, when `emptyIsMissing`).
TreeMapObject* lockedFolders(const FalLock& object, _FAL_RSP_T* rsp, const FolderFailures& failures,
                             bool emptyIsMissing)
{
    if (!object) {
        mediashareFail(rsp, FAL_DB_ERROR, failures.dbLog, failures.dbMessage);
        return nullptr;
    }
    TreeMapObject* folders = mediashareArray(object.get(), "networkFolder");
    if (!folders || (emptyIsMissing && folders->len() == 0)) {
        mediashareFail(rsp, failures.listStatus, failures.listLog, failures.listMessage);
        delete folders;
        return nullptr;
    }
    return folders;
}

}  // namespace

_FAL_RSP_T* FalMediaShareLdb::MediashareNetworkfolderGet(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    return mediashareObjectGet(req, "networkFolder");
}

_FAL_RSP_T* FalMediaShareLdb::MediashareNetworkfolderUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediashareNetworkfolderUpdate, false,
                        "Cannot create response due to some memory issue occurred\n");
    if (!rsp || mediashareLacksBody(req, rsp, "A null message request received", true))
        return rsp;
    auto idText = mediashareParam(req, "@id");
    if (!idText) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong URI");
        return rsp;
    }
    int id = atoi(idText.get());
    FalLock object(API_TYPE_MEDIASHARE, "networkFolder", req->requester);
    TreeMapObject* folders =
        lockedFolders(object, rsp, {"Cannot load database", "Database error", "Memory error occurred",
                                    FAL_FAILED, "Cannot load child objects or memory issue"}, false);
    if (folders) {
        int at = findItem(folders, "id", id);
        if (at < 0) {
            falAnswer(rsp, FAL_NOT_FOUND, "Found no object to be updated");
        } else {
            // The record is replaced whole; only its id stays.
            TreeMapObject* record = req->body->clone(nullptr);
            record->set("id", id);
            folders->setArrayItem(static_cast<unsigned>(at), record);
            delete record;
            if (object.save())
                rsp->status = FAL_OK;
            else
                falAnswer(rsp, FAL_FAILED, "Error in saving");
        }
    }
    delete folders;
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediashareNetworkfolderCreate(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediashareNetworkfolderCreate, true,
                        "Cannot create a response due to memory error\n");
    if (!rsp || mediashareLacksBody(req, rsp, "A null message request received", true))
        return rsp;
    rsp->status = FAL_FAILED;
    FalLock object(API_TYPE_MEDIASHARE, "networkFolder", req->requester);
    TreeMapObject* folders =
        lockedFolders(object, rsp, {kReadObjectFailed, "Database error", kReadListFailed, FAL_FAILED,
                                    "Cannot load child object"}, false);
    if (folders) {
        int id = nextFolderId(folders);
        TreeMapObject* record = req->body->clone(nullptr);
        record->set("id", id);
        folders->addArrayItem(record);
        delete record;
        if (object.save())
            falAnswer(rsp, FAL_CREATED, "New Created");
        rsp->data->set("id", id);
    }
    delete folders;
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediashareNetworkfolderDelete(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediashareNetworkfolderDelete, false,
                        "Cannot create a response due to memory error\n");
    if (!rsp)
        return nullptr;
    auto idText = mediashareParam(req, "@id");
    if (!idText) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong URI");
        return rsp;
    }
    int id = atoi(idText.get());
    rsp->status = FAL_FAILED;
    FalLock object(API_TYPE_MEDIASHARE, "networkFolder", req->requester);
    TreeMapObject* folders = lockedFolders(object, rsp, kDeleteFailures, true);
    if (folders) {
        int at = findItem(folders, "id", id);
        if (at >= 0)
            folders->delArrayItem(static_cast<unsigned>(at));
        if (object.save()) {
            falAnswer(rsp, FAL_DELETED, "Record Deleted");
            // A service that shared the folder goes off with it.
            stopServiceOfFolder(req, "ftp", id);
            stopServiceOfFolder(req, "samba", id);
        }
    }
    delete folders;
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediashareNetworkfolderDeleteAll(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediashareNetworkfolderDeleteAll, false,
                        "Cannot create a response due to memory error\n");
    if (!rsp)
        return nullptr;
    rsp->status = FAL_FAILED;
    FalLock object(API_TYPE_MEDIASHARE, "networkFolder", req->requester);
    TreeMapObject* folders = lockedFolders(object, rsp, kDeleteFailures, false);
    if (folders) {
        folders->clearArrayItems();
        if (object.save())
            falAnswer(rsp, FAL_OK, "Records Deleted");
    }
    delete folders;
    return rsp;
}
