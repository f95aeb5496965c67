// Users, login and permissions: the member "users" of the gateway document.
#include <cstdio>
#include <cstring>

#include "fal/FalMsgIds.h"
#include "frame/BeHelpers.h"
#include "frame/FalPolicy.h"
#include "frame/FalResponse.h"
#include "gateway/FalGatewayLdb.h"
#include "gateway/GatewayHelpers.h"
#include "host/JsonData.h"
#include "host/TreeMapObject.h"
#include "host/base64.h"

namespace {

const char* const USERS = "users";
const char* const LOGIN_REQUESTER = "default";

// Whether the record is of the class `type` and named `userName`.
bool userMatches(TreeMapObject* rec, const char* type, const char* userName)
{
    return sameText(rec->get<const char*>("type"), type) && sameText(rec->get<const char*>("userName"), userName);
}

const char* bodyText(_FAL_REQ_T* req, const char* path)
{
    return req->body ? req->body->get<const char*>(path) : nullptr;
}

// The web user's extras of a login reply: the role and the timer settings of the system
// configuration.
void addWebLoginSettings(TreeMapObject* reply, TreeMapObject* rec)
{
    reply->set("role", rec->get<const char*>("role"));
    TreeMapObject* cnf = JsonData::createObjectFromFile("./system.cnf");
    TreeMapObject* timer = cnf ? cnf->get("system.timer") : nullptr;
    if (timer)
        reply->set("system.timer", timer);
    delete timer;
    delete cnf;
}

// The login reply's "permissions": the role's table from its permission file.
void addPermissions(TreeMapObject* reply)
{
    const char* role = reply->get<const char*>("role");
    TreeMapObject* file = nullptr;
    TreeMapObject* table = nullptr;
    if (!role) {
        table = new TreeMapObject();
    } else {
        char path[128];
        snprintf(path, sizeof(path), "%s%s%s", "./auth_config/", role, "_qr451_perm.json");
        file = JsonData::createObjectFromFile(path);
        if (!file) {
            Logger::print(LOG_TYPE_ERROR, GW_LOG, "Cannot get permissions from configuration file : %s\n", path);
        } else {
            table = file->get("permission");
            if (!table)
                table = new TreeMapObject();
        }
    }
    reply->set("permissions", table);
    delete table;
    delete file;
}

// The "@type" check and the lock of "users" that the user operations start with: the locked list,
// holding nothing when the answer is made.
FalLock lockUsersOfType(_FAL_REQ_T* req, _FAL_RSP_T* rsp, unsigned apiType, const GatewayParam& type)
{
    if (gatewayLacksType(rsp, type.get()))
        return FalLock();
    return FalLock(apiType, USERS, req->requester, rsp, "failed to get database");
}

// The reads that look for one user of the class: the "@type" check, the lock of "users", a walk
// until `visit` stops it, 4 "user is not found" when nothing did, the release.
template <typename Visit>
void findUserOfType(_FAL_REQ_T* req, _FAL_RSP_T* rsp, unsigned apiType, const GatewayParam& type, Visit visit)
{
    FalLock users = lockUsersOfType(req, rsp, apiType, type);
    if (users && !gatewayWalk(users.get(), visit))
        falAnswer(rsp, FAL_FAILED, "user is not found");
}

void logMissingUser(const char* fn, unsigned i, unsigned n)
{
    Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: failed to get user at %d usr_len=%d\n", fn, static_cast<int>(i),
                  static_cast<int>(n));
}

void logNullObject(const char* fn, unsigned i)
{
    Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] null object\n", fn, static_cast<int>(i));
}

// The "type" and "userName" texts of user record `i` and its text `member`; false, after logging
// the null record or which of the three are missing (the third as `label`), when one is.
bool userTexts(const char* fn, unsigned i, TreeMapObject* rec, const char* member, const char* label,
               const char*& usrType, const char*& usrName, const char*& value)
{
    if (!rec) {
        logNullObject(fn, i);
        return false;
    }
    usrType = rec->get<const char*>("type");
    usrName = rec->get<const char*>("userName");
    value = rec->get<const char*>(member);
    if (usrType && usrName && value)
        return true;
    Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] usrtype=%p usrname=%p %s=%p\n", fn, static_cast<int>(i),
                  static_cast<const void*>(usrType), static_cast<const void*>(usrName), label,
                  static_cast<const void*>(value));
    return false;
}

// Switches off the media-share service `key` when it runs under the account `id`.
void switchOffServiceOfAccount(_FAL_REQ_T* req, const char* key, int id)
{
    FalLock service(API_TYPE_MEDIASHARE, key, req->requester);
    int accountId = 0;
    if (service && service->get_ex<int>("account.id", accountId) && accountId == id) {
        service->set("active", false);
        if (!service.save())
            Logger::print(LOG_TYPE_ERROR, GW_LOG, "%s: Failed to update dependency\n", "GatewayUserDelete");
    }
}

}  // namespace

_FAL_RSP_T* FalGatewayLdb::GatewayLogin(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayLogin, true);
    if (!rsp)
        return nullptr;
    const char* userName = bodyText(req, "userName");
    const char* password = bodyText(req, "password");
    FalLock users(apiType, USERS, LOGIN_REQUESTER, rsp, "failed to get database");
    if (users) {
        unsigned n = users->len();
        bool found = gatewayWalk(users.get(), [&](unsigned i, TreeMapObject* rec) {
            if (!rec) {
                logMissingUser("GatewayLogin", i, n);
                return true;
            }
            if (!sameText(rec->get<const char*>("userName"), userName))
                return true;
            std::string encoded = password ? base64_encode(reinterpret_cast<const unsigned char*>(password),
                                                           static_cast<unsigned>(strlen(password)))
                                           : std::string();
            if (!password || !sameText(encoded.c_str(), rec->get<const char*>("password")))
                falAnswer(rsp, FAL_FAILED, "incorrect password");
            else if (sameText(rec->get<const char*>("type"), "web"))
                addWebLoginSettings(rsp->data, rec);
            return false;
        });
        if (!found)
            falAnswer(rsp, FAL_NOT_FOUND, "incorrect user name");
    }
    if (rsp->status < FAL_FAILED)
        addPermissions(rsp->data);
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayLogout(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = gatewayReply(req, apiType);
    if (rsp)
        falAnswer(rsp, FAL_OK, "Logged out successfully !");
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserList(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayUserList, false);
    if (!rsp)
        return nullptr;
    GatewayParam type(req, "@type");
    FalLock users = lockUsersOfType(req, rsp, apiType, type);
    if (users) {
        unsigned n = users->len();
        gatewayWalk(users.get(), [&](unsigned i, TreeMapObject* rec) {
            if (!rec) {
                logMissingUser("GatewayUserList", i, n);
                return true;
            }
            if (!sameText(rec->get<const char*>("type"), type.get()))
                return true;
            if (!rsp->data)
                rsp->data = new TreeMapObject(true);
            TreeMapObject* copy = rec->clone(nullptr);
            copy->del("type");
            rsp->data->setArrayItem(rsp->data->len(), copy);
            delete copy;
            return true;
        });
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserSecurityLevelPasswordGet(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayUserSecurityLevelPasswordGet, true);
    if (!rsp)
        return nullptr;
    GatewayParam type(req, "@type");
    const char* fn = "GatewayUserSecurityLevelPasswordGet";
    findUserOfType(req, rsp, apiType, type, [&](unsigned i, TreeMapObject* rec) {
        const char *usrType, *usrName, *level;
        if (!userTexts(fn, i, rec, "level", "level", usrType, usrName, level))
            return true;
        Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: [%d] check user type=%s name=%s level=%s\n", fn,
                      static_cast<int>(i), usrType, usrName, level);
        if (!sameText(usrType, type.get()) || !sameText(usrName, "admin"))
            return true;
        rsp->data->set("level", level);
        return false;
    });
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayUserUpdate, false);
    if (!rsp)
        return nullptr;
    GatewayParam type(req, "@type");
    FalLock users = lockUsersOfType(req, rsp, apiType, type);
    if (users) {
        const char* fn = "GatewayUserUpdate";
        bool changed = false;
        unsigned items = req->body ? req->body->len() : 0;
        for (unsigned k = 0; k < items; ++k) {
            TreeMapObject* item = req->body->at(k);
            if (!item) {
                Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: failed to get user at %d usr_len=%d\n", fn,
                              static_cast<int>(k), static_cast<int>(items));
                continue;
            }
            const char* userName = item->get<const char*>("userName");
            const char* newPassword = item->get<const char*>("newPassword");
            const char* oldPassword = item->get<const char*>("oldPassword");
            unsigned n = users->len();
            gatewayWalk(users.get(), [&](unsigned i, TreeMapObject* rec) {
                if (!rec) {
                    Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: failed to get user at %d dbusr_len=%d\n", fn,
                                  static_cast<int>(i), static_cast<int>(n));
                    return true;
                }
                if (!userMatches(rec, type.get(), userName))
                    return true;
                if (oldPassword && !sameText(oldPassword, rec->get<const char*>("password"))) {
                    Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: wrong password uname=%s type=%s\n", fn, userName,
                                  type.get());
                    falAnswer(rsp, FAL_FAILED, "wrong old password");
                    return true;
                }
                rec->set("id", item->get<int>("id"));
                rec->set("userName", userName);
                rec->set("password", newPassword);
                changed = true;
                return true;
            });
            delete item;
        }
        if (changed)
            users.saveOrAnswer(rsp, "fail to update database");
        else
            falAnswer(rsp, FAL_DB_ERROR, "incorrect request, nothing to update");
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayChangePassword(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayChangePassword, false);
    if (!rsp)
        return nullptr;
    const char* userName = bodyText(req, "userName");
    const char* newPassword = bodyText(req, "newPassword");
    const char* oldPassword = bodyText(req, "oldPassword");
    const char* level = bodyText(req, "level");
    GatewayParam type(req, "@type");
    FalLock users = lockUsersOfType(req, rsp, apiType, type);
    if (users) {
        const char* fn = "GatewayChangePassword";
        unsigned n = users->len();
        bool found = gatewayWalk(users.get(), [&](unsigned i, TreeMapObject* rec) {
            if (!rec) {
                logMissingUser(fn, i, n);
                return true;
            }
            bool defaultUsed = rec->get<bool>("defaultUsed");
            const char* usrType = rec->get<const char*>("type");
            const char* usrName = rec->get<const char*>("userName");
            const char* passw = rec->get<const char*>("password");
            if (!usrType || !usrName || !passw) {
                Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] failed to get user info type=%p uname=%p passw=%p\n",
                              fn, static_cast<int>(i), static_cast<const void*>(usrType),
                              static_cast<const void*>(usrName), static_cast<const void*>(passw));
                return true;
            }
            Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] user info type=%s uname=%s passw=%s\n", fn,
                          static_cast<int>(i), usrType, usrName, passw);
            if (!sameText(usrType, type.get()) || !sameText(usrName, userName))
                return true;
            if (oldPassword && !sameText(oldPassword, passw)) {
                falAnswer(rsp, FAL_FAILED, "wrong password");
                return false;
            }
            rec->set("password", newPassword);
            rec->set("level", level);
            if (defaultUsed)
                rec->set("defaultUsed", false);
            users.saveOrAnswer(rsp, "fail to update database");
            return false;
        });
        if (!found)
            falAnswer(rsp, FAL_NOT_FOUND, "user is not found");
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserCreate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayUserCreate, true);
    if (!rsp)
        return nullptr;
    GatewayParam type(req, "@type");
    if (gatewayLacksType(rsp, type.get()))
        return rsp;
    if (!req->body || !req->body->isObject()) {
        falAnswer(rsp, FAL_BAD_REQUEST, "invalid request body");
        return rsp;
    }
    // The new record: the body with the class of the request.
    TreeMapObject* record = req->body->clone(nullptr);
    record->set("type", type.get());
    falAnswer(rsp, FAL_CREATED, "New Created");
    FalLock users(apiType, USERS, req->requester, rsp, "failed to get database");
    if (users) {
        const char* userName = record->get<const char*>("userName");
        int newId = 0;
        bool duplicate = gatewayWalk(users.get(), [&](unsigned, TreeMapObject* rec) {
            if (!rec) {
                falAnswer(rsp, FAL_DB_ERROR, "failed to get database object");
                return true;
            }
            if (userMatches(rec, type.get(), userName))
                return false;
            int id = 0;
            if (rec->get_ex<int>("id", id) && id + 1 > newId)
                newId = id + 1;
            return true;
        });
        unsigned at = users->len();
        TreeMapObject* added = nullptr;
        if (duplicate) {
            falAnswer(rsp, FAL_FAILED, "user already exists");
        } else if (users->setArrayItem(at, record) <= 0) {
            falAnswer(rsp, FAL_DB_ERROR, "failed to add new user");
        } else if (!(added = users->at(at))) {
            falAnswer(rsp, FAL_DB_ERROR, "failed to get database object");
        } else {
            added->set("id", newId);
            rsp->data->set("id", newId);
            users.saveOrAnswer(rsp, "fail to update database");
        }
        delete added;
    }
    delete record;
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserDelete(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayUserDelete, false);
    if (!rsp)
        return nullptr;
    falAnswer(rsp, FAL_DELETED, "Record Deleted");
    GatewayParam type(req, "@type");
    GatewayParam idText(req, "@id");
    if (gatewayLacksType(rsp, type.get()))
        return rsp;
    // "@id" is a user number, or else a user name.
    bool byNumber = !idText.get() || BE_StrIsNum(idText.get());
    int id = !idText.get() ? -1 : byNumber ? BE_StrTo<int>(idText.get()) : -1;
    Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: req_type=%s req_id=%d\n", "GatewayUserDelete", type.get(), id);
    FalLock users(apiType, USERS, req->requester, rsp, "failed to get database");
    if (users) {
        int victim = -1;
        gatewayWalk(users.get(), [&](unsigned i, TreeMapObject* rec) {
            if (!rec) {
                falAnswer(rsp, FAL_DB_ERROR, "failed to get database object");
                return true;
            }
            int recId = 0;
            bool hit = byNumber ? rec->get_ex<int>("id", recId) && recId == id
                                : sameText(rec->get<const char*>("userName"), idText.get());
            if (!hit || !sameText(rec->get<const char*>("type"), type.get()))
                return true;
            victim = static_cast<int>(i);
            return false;
        });
        if (victim >= 0) {
            users->delArrayItem(static_cast<unsigned>(victim));
            if (users.saveOrAnswer(rsp, "fail to update database") && byNumber) {
                switchOffServiceOfAccount(req, "ftp", id);
                switchOffServiceOfAccount(req, "samba", id);
            }
        }
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserDeleteAll(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayUserDeleteAll, false);
    if (!rsp)
        return nullptr;
    falAnswer(rsp, FAL_OK, "Records Deleted");
    GatewayParam type(req, "@type");
    FalLock users = lockUsersOfType(req, rsp, apiType, type);
    if (users) {
        // After a removal the record that moves up into place i is not examined.
        for (unsigned i = 0; i < users->len(); ++i) {
            TreeMapObject* rec = users->at(i);
            if (!rec)
                falAnswer(rsp, FAL_DB_ERROR, "failed to get database object");
            else if (sameText(rec->get<const char*>("type"), type.get()))
                users->delArrayItem(i);
            delete rec;
        }
        users.saveOrAnswer(rsp, "fail to update database");
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserValidate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayUserValidate, false);
    if (!rsp)
        return nullptr;
    GatewayParam type(req, "@type");
    const char* fn = "GatewayUserValidate";
    const char* userName = bodyText(req, "userName");
    const char* password = bodyText(req, "password");
    Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: request uname=%s password=%s type=%s\n", fn, printable(userName),
                  printable(password), printable(type.get()));
    findUserOfType(req, rsp, apiType, type, [&](unsigned i, TreeMapObject* rec) {
        const char *usrType, *usrName, *passwrd;
        if (!userTexts(fn, i, rec, "password", "passwrd", usrType, usrName, passwrd))
            return true;
        Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: [%d] check user type=%s name=%s\n", fn,
                      static_cast<int>(i), usrType, usrName);
        if (!sameText(usrType, type.get()) || !sameText(usrName, userName))
            return true;
        if (!sameText(passwrd, password))
            falAnswer(rsp, FAL_FAILED, "incorrect password");
        return false;
    });
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserRefresh(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayUserRefresh, true);
    if (!rsp)
        return nullptr;
    const char* userName = bodyText(req, "userName");
    GatewayParam type(req, "@type");
    findUserOfType(req, rsp, apiType, type, [&](unsigned i, TreeMapObject* rec) {
        if (!rec) {
            logNullObject("GatewayUserRefresh", i);
            return true;
        }
        const char* token = rec->get<const char*>("accessToken");
        if (!userMatches(rec, type.get(), userName) || !token)
            return true;
        rsp->data->set("accessToken", token);
        return false;
    });
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserCheckDefault(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayUserCheckDefault, true);
    if (!rsp)
        return nullptr;
    const char* userName = bodyText(req, "userName");
    GatewayParam type(req, "@type");
    const char* fn = "GatewayUserCheckDefault";
    findUserOfType(req, rsp, apiType, type, [&](unsigned i, TreeMapObject* rec) {
        if (!rec)
            return true;
        bool defaultUsed = rec->get<bool>("defaultUsed");
        const char* usrType = rec->get<const char*>("type");
        const char* usrName = rec->get<const char*>("userName");
        if (!usrType || !usrName) {
            Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] usrtype=%p usrname=%p\n", fn, static_cast<int>(i),
                          static_cast<const void*>(usrType), static_cast<const void*>(usrName));
            return true;
        }
        Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: [%d] check user type=%s name=%s defaultUsed=%d\n", fn,
                      static_cast<int>(i), usrType, usrName, defaultUsed ? 1 : 0);
        if (!sameText(usrType, type.get()) || !sameText(usrName, userName))
            return true;
        rsp->data->set("defaultUsed", defaultUsed);
        return false;
    });
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUserHideWizard(_FAL_REQ_T*)
{
    return falProbe(apiType, falResponseId(apiType, FalMsg::GatewayUserHideWizard), apiType);
}
