#include "frame/FalGeneric.h"

#include "frame/FalHandler.h"
#include "frame/FalResponse.h"
#include "host/TreeMapObject.h"

_FAL_RSP_T* falGeneralDbGet(unsigned apiType, LOG_GROUP_T group, _FAL_REQ_T* req, const char* key)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(apiType, req->msgId + 1, false);
    if (!rsp)
        return nullptr;
    FalLock obj(apiType, key, req->requester);
    if (!obj) {
        Logger::print(LOG_TYPE_PROGRESS, group, "%s: failed to load database %s\n", "handleGeneralDbGet",
                      key ? key : "");
        falAnswer(rsp, FAL_DB_ERROR, "failed to load database");
        return rsp;
    }
    Logger::print(LOG_TYPE_PROGRESS, group, "%s: clone database object\n", "handleGeneralDbGet");
    rsp->data = obj->clone(nullptr);
    if (!rsp->data)
        falAnswer(rsp, FAL_DB_ERROR, "failed to clone database");
    return rsp;
}

// The whole-document write cycle: lock the document, replace the member, save, unlock.
_FAL_RSP_T* falGeneralDbUpdate(unsigned apiType, LOG_GROUP_T, _FAL_REQ_T* req, const char* key)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(apiType, req->msgId + 1, false);
    if (!rsp)
        return nullptr;
    FalLock doc(apiType, "", req->requester);
    if (!doc) {
        falAnswer(rsp, FAL_DB_ERROR, "fail to load database");
        return rsp;
    }
    doc->set(key, req->body);
    doc.saveOrAnswer(rsp, "failed to save database");
    return rsp;
}

_FAL_RSP_T* falDbObjectResponse(FAL_DB_OBJECT_FORM_T form, unsigned apiType, unsigned msgId,
                                const char* key, const char* requester)
{
    _FAL_RSP_T* rsp = newFalResponse(apiType, msgId + 1, false);
    if (!rsp) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK, "Cannot create response due to some memory issue\n");
        return nullptr;
    }
    FalLock obj(apiType, key, requester);
    if (!obj) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_NETWORK,
                      "Found no object or database is being corrupted for path %s \n", key ? key : "");
        rsp->status = FAL_DB_ERROR;
        if (form == FAL_FORM_NETWORK)
            rsp->message = "Cannot load network database";
    } else {
        rsp->status = FAL_OK;
        rsp->data = obj->clone(nullptr);
    }
    return rsp;
}
