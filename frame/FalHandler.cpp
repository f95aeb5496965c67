#include "frame/FalHandler.h"

#include <cstring>

#include "frame/FalResponse.h"
#include "frame/FalTree.h"
#include "host/LocalDbCtrl.h"
#include "host/TreeMapObject.h"

void falAnswer(_FAL_RSP_T* rsp, FAL_STATUS_T status, const char* message)
{
    rsp->status = status;
    if (message)
        rsp->message = message;
}

void finishIdReply(_FAL_RSP_T* rsp, const char* member, int id)
{
    if (!rsp->data)
        return;
    if (rsp->status > FAL_DELETED) {
        delete rsp->data;
        rsp->data = nullptr;
    } else {
        rsp->data->set(member, id);
    }
}

bool sameText(const char* a, const char* b)
{
    return a && b && strcmp(a, b) == 0;
}

void copyPresent(TreeMapObject* to, TreeMapObject* from, std::initializer_list<const char*> paths)
{
    for (const char* path : paths) {
        FalTree value(from->get(path));
        if (value)
            to->set(path, value.get());
    }
}

bool itemHasId(TreeMapObject* array, unsigned i, const char* member, int value)
{
    FalTree item(array->at(i));
    int own = 0;
    return item && item->get_ex<int>(member, own) && own == value;
}

int findItem(TreeMapObject* array, const char* member, int value)
{
    for (unsigned i = 0; array && i < array->len(); ++i)
        if (itemHasId(array, i, member, value))
            return static_cast<int>(i);
    return -1;
}

int findLastItem(TreeMapObject* array, const char* member, int value)
{
    for (unsigned i = array ? array->len() : 0; i > 0; --i)
        if (itemHasId(array, i - 1, member, value))
            return static_cast<int>(i - 1);
    return -1;
}

int nextItemId(TreeMapObject* array, const char* member, int first)
{
    int next = first;
    for (unsigned i = 0; array && i < array->len(); ++i) {
        FalTree item(array->at(i));
        int own = 0;
        if (item && item->get_ex<int>(member, own) && own >= next)
            next = own + 1;
    }
    return next;
}

_FAL_RSP_T* newFalResponseLogged(LOG_GROUP_T group, unsigned apiType, unsigned msgId, bool withData,
                                 const char* failLog)
{
    _FAL_RSP_T* rsp = newFalResponse(apiType, msgId, withData);
    if (!rsp)
        Logger::print(LOG_TYPE_ERROR, group, "%s", failLog);
    return rsp;
}

_FAL_RSP_T* falProbe(unsigned apiType, unsigned rspId, unsigned probedType)
{
    _FAL_RSP_T* rsp = newFalResponse(apiType, rspId, false);
    if (!rsp)
        return nullptr;
    FalLock doc(probedType, "", "default");
    if (!doc)
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    return rsp;
}

FalTrace::FalTrace(LOG_GROUP_T group, const char* name, FAL_TRACE_T style) : group_(group), name_(name), style_(style)
{
    if (style_ == FAL_TRACE_NAME_FIRST || style_ == FAL_TRACE_NAME_ENTRY_ONLY)
        Logger::print(LOG_TYPE_TRACE, group_, "%s Enter\n", name_);
    else if (style_ == FAL_TRACE_WORD_FIRST)
        Logger::print(LOG_TYPE_TRACE, group_, "Enter %s\n", name_);
}

FalTrace::~FalTrace()
{
    if (style_ == FAL_TRACE_NAME_FIRST || style_ == FAL_TRACE_NAME_EXIT_ONLY)
        Logger::print(LOG_TYPE_TRACE, group_, "%s Exit\n", name_);
    else if (style_ == FAL_TRACE_WORD_FIRST || style_ == FAL_TRACE_WORD_EXIT_ONLY)
        Logger::print(LOG_TYPE_TRACE, group_, "Exit %s\n", name_);
}

FalLock::FalLock(unsigned apiType, const char* key, const char* requester)
    : apiType_(apiType), requester_(requester), obj_(LocalDbCtrl::lockDbObject(apiType, key, requester))
{
}

FalLock::FalLock(unsigned apiType, const char* key, const char* requester, _FAL_RSP_T* rsp,
                 const char* failMessage)
    : FalLock(apiType, key, requester)
{
    if (!obj_ && failMessage)
        falAnswer(rsp, FAL_DB_ERROR, failMessage);
}

FalLock::FalLock(FalLock&& other) noexcept
    : apiType_(other.apiType_), requester_(other.requester_), obj_(other.obj_), held_(other.held_)
{
    other.obj_ = nullptr;
    other.held_ = false;
}

FalLock::~FalLock()
{
    if (!held_)
        return;
    delete obj_;
    LocalDbCtrl::unlockDbObject(apiType_, requester_);
}

bool FalLock::save()
{
    return LocalDbCtrl::saveDbObject(apiType_, requester_) == 0;
}

bool FalLock::saveOrAnswer(_FAL_RSP_T* rsp, const char* failMessage)
{
    if (save())
        return true;
    falAnswer(rsp, FAL_DB_ERROR, failMessage);
    return false;
}
