// The file services FTP and Samba, each sharing one network folder, and the DLNA media server.
#include <unistd.h>

#include <string>

#include "fal/FalMsgIds.h"
#include "frame/BeHelpers.h"
#include "host/TreeMapObject.h"
#include "mediashare/FalMediaShareLdb.h"
#include "mediashare/MediashareHelpers.h"

namespace {

// What tells the FTP update from the Samba update.
struct FileService {
    unsigned requestId;
    const char* key;                // the service object, also the word in folder statuses
    const char* members[4];         // copied from the body
    const char* lockFailLog;
    const char* lockFailMessage;
    const char* copyFailLog;        // null: nothing logged
};

const FileService kFtp = {FalMsg::MediashareFtpUpdate,
                          "ftp",
                          {"active", "port", "account", "networkFolder"},
                          "No object found for key ftp\n",
                          "No object found for key",
                          nullptr};

const FileService kSamba = {FalMsg::MediashareSambaUpdate,
                            "samba",
                            {"active", "connectionName", "account", "networkFolder"},
                            "Found no object for key samba\n",
                            "Found no object for key",
                            "Memory issue has been occurred\n"};

// `status` without the word `word`: the other words are kept without separators, and the word
// leaves one blank in its place.
std::string withoutWord(const std::string& status, const std::string& word)
{
    std::string rebuilt;
    for (const std::string& part : BE_StrSplit(status.c_str(), ' '))
        rebuilt += part == word ? " " : part;
    return rebuilt;
}

// The "status" text of a network folder after the service `word` was switched on or off, sharing
// the folder `sharedId`.
std::string rebuildStatus(TreeMapObject* folder, const std::string& word, int sharedId, bool active)
{
    const char* stored = folder->get<const char*>("status");
    std::string status = stored ? stored : "";
    if (status.find('-') != std::string::npos)
        status.clear();
    if (mediashareHasId(folder, "id", sharedId) && active) {
        if (status.find(word) == std::string::npos)
            status += " " + word;
    } else {
        std::string rebuilt = withoutWord(status, word);
        if (!rebuilt.empty())
            status = rebuilt;
    }
    if (status.find("samba") == std::string::npos && status.find("ftp") == std::string::npos)
        status = "-";
    return status;
}

// Rewrites the status of every network folder; logs when the folders cannot be locked.
void rewriteFolderStatuses(_FAL_REQ_T* req, const std::string& word, int sharedId, bool active)
{
    FalLock object(API_TYPE_MEDIASHARE, "networkFolder", req->requester);
    if (!object) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_MEDIASHARE, "No object found for key networkFolder\n");
    } else {
        TreeMapObject* folders = mediashareArray(object.get(), "networkFolder");
        for (unsigned i = 0; folders && i < folders->len(); ++i) {
            TreeMapObject* folder = folders->at(i);
            folder->set("status", rebuildStatus(folder, word, sharedId, active));
            delete folder;
        }
        delete folders;
    }
}

// The FTP and Samba update: stores the service settings, then rewrites the folder statuses and
// saves both.
_FAL_RSP_T* updateFileService(_FAL_REQ_T* req, const FileService& service)
{
    _FAL_RSP_T* rsp =
        mediashareBegin(req, service.requestId, false, "Cannot create response due to some memory issue\n");
    if (!rsp || mediashareLacksBody(req, rsp, "A null message request received", false))
        return rsp;
    rsp->status = FAL_FAILED;
    TreeMapObject* body = req->body->clone(nullptr);
    if (!body) {
        if (service.copyFailLog)
            Logger::print(LOG_TYPE_ERROR, LOG_GROUP_MEDIASHARE, "%s", service.copyFailLog);
        return rsp;
    }
    FalLock settings(API_TYPE_MEDIASHARE, service.key, req->requester);
    if (!settings) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_MEDIASHARE, "%s", service.lockFailLog);
        falAnswer(rsp, FAL_DB_ERROR, service.lockFailMessage);
    } else {
        for (const char* member : service.members) {
            TreeMapObject* value = body->get(member);
            settings->set(member, value);
            delete value;
        }
        int sharedId = -1;
        body->get_ex<int>("networkFolder.id", sharedId);
        // The service lock stays held until the save below, so that its changes are saved with
        // the folder statuses.
        rewriteFolderStatuses(req, service.key, sharedId, body->get<bool>("active"));
        if (settings.save())
            rsp->status = FAL_OK;
    }
    delete body;
    return rsp;
}

}  // namespace

_FAL_RSP_T* FalMediaShareLdb::MediashareFtpGet(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    return mediashareObjectGet(req, "ftp");
}

_FAL_RSP_T* FalMediaShareLdb::MediashareFtpUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    return updateFileService(req, kFtp);
}

_FAL_RSP_T* FalMediaShareLdb::MediashareSambaGet(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    return mediashareObjectGet(req, "samba");
}

_FAL_RSP_T* FalMediaShareLdb::MediashareSambaUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    return updateFileService(req, kSamba);
}

_FAL_RSP_T* FalMediaShareLdb::MediashareDlnaGet(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    return mediashareObjectGet(req, "dlna");
}

_FAL_RSP_T* FalMediaShareLdb::MediashareDlnaUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(LOG_GROUP_MEDIASHARE, __func__);
    _FAL_RSP_T* rsp =
        mediashareBegin(req, FalMsg::MediashareDlnaUpdate, false,
                        "Cannot create response due to some memory issue\n");
    if (!rsp || mediashareLacksBody(req, rsp, "A null message request received", false))
        return rsp;
    FalLock document(API_TYPE_MEDIASHARE, "", req->requester);
    if (!document) {
        mediashareFail(rsp, FAL_DB_ERROR, "Cannot load database for key", "Cannot load database for key");
    } else {
        document->set("dlna", req->body);
        rsp->status = FAL_FAILED;
        if (document.save())
            rsp->status = FAL_OK;
    }
    return rsp;
}

_FAL_RSP_T* FalMediaShareLdb::MediashareDlnaScan(_FAL_REQ_T* req)
{
    if (mediashareNullRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = mediashareResponse(req->msgId + 1, false, "Cannot create response due to some memory issue\n");
    if (!rsp)
        return nullptr;
    rsp->status = FAL_OK;
    // The scan of the media folders takes its time.
    sleep(3);
    return rsp;
}
