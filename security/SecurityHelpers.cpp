#include "security/SecurityHelpers.h"

#include <cstring>

#include "frame/BeHelpers.h"
#include "frame/FalResponse.h"

bool securityHasObjectBody(const _FAL_REQ_T* req)
{
    return req && req->body && req->body->isObject();
}

bool securityLacksBody(const _FAL_REQ_T* req, _FAL_RSP_T* rsp)
{
    if (securityHasObjectBody(req))
        return false;
    falAnswer(rsp, FAL_BAD_REQUEST, "Bad request");
    return true;
}

bool securityOpenWithBody(_FAL_RSP_T*& rsp, const _FAL_REQ_T* req)
{
    rsp = nullptr;
    if (!req)
        return false;
    rsp = newFalResponse(API_TYPE_SECURITY, req->msgId + 1, false);
    return !securityLacksBody(req, rsp);
}

void securityCopyAndSave(_FAL_RSP_T* rsp, FalLock& lock, TreeMapObject* target, TreeMapObject* body,
                         std::initializer_list<const char*> paths)
{
    if (!lock || !target) {
        falAnswer(rsp, FAL_DB_ERROR, "fail to load database");
    } else if (!body) {
        falAnswer(rsp, FAL_FAILED, "Unexpected error");
    } else {
        copyPresent(target, body, paths);
        if (!lock.save()) {
            Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Fail to save database\n");
            falAnswer(rsp, FAL_DB_ERROR, "fail to save database");
        }
    }
}

bool securityIntParam(const _FAL_REQ_T* req, const char* name, int& value)
{
    std::unique_ptr<char[]> text(BE_PairVal2(req->params, name));
    if (!text)
        return false;
    value = BE_StrTo<int>(text.get());
    return true;
}

bool securityBlank(const char* text)
{
    return !text || !*text;
}

int securityRemoveItems(TreeMapObject* array, const char* member, int value, const char* who)
{
    int removed = 0;
    for (unsigned i = 0; array && i < array->len();) {
        if (!itemHasId(array, i, member, value)) {
            ++i;
            continue;
        }
        // The item behind moves up: the same position is examined again.
        if (array->delArrayItem(i) < 0) {
            Logger::print(LOG_TYPE_INFO, SEC_LOG, "%s: [%d] Failed to delete array item\n", who, static_cast<int>(i));
            return -1;
        }
        ++removed;
    }
    return removed;
}

