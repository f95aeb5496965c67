// The family-generic database operations.
#pragma once

#include "frame/FalTypes.h"
#include "host/Logger.h"

// A copy of the object under `key`: status 8 "failed to load database" when it cannot be locked,
// "failed to clone database" when it cannot be copied.
_FAL_RSP_T* falGeneralDbGet(unsigned apiType, LOG_GROUP_T group, _FAL_REQ_T* req, const char* key);

// Replaces the member `key` of the family document by the request body (null stores null):
// status 8 "fail to load database" or "failed to save database" on failure.
_FAL_RSP_T* falGeneralDbUpdate(unsigned apiType, LOG_GROUP_T group, _FAL_REQ_T* req, const char* key);

// The file-local object read of the network and media-share families; the two differ in the
// message of a failed lock.
enum FAL_DB_OBJECT_FORM_T {
    FAL_FORM_NETWORK,     // failed lock: "Cannot load network database"
    FAL_FORM_MEDIASHARE,  // failed lock: the message from creation
};
_FAL_RSP_T* falDbObjectResponse(FAL_DB_OBJECT_FORM_T form, unsigned apiType, unsigned msgId,
                                const char* key, const char* requester);
