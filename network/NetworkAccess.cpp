// Access modes: xDSL line information and DSL modes, operation mode, MAC clone, Q-mode, dual WAN,
// mobile connection and LAN ports.
#include <vector>

#include "network/FalNetworkLdb.h"
#include "network/NetworkHelpers.h"

namespace {

const char* const kNoMemoryBang = "Cannot create response due to some memory issue!\n";

// The Q-mode connection members, in the order they are copied.
const std::vector<const char*> kQmodeConnection = {"connection.index",        "connection.ssid",
                                                   "connection.securityType", "connection.encryption",
                                                   "connection.radio",        "connection.bssid"};

// The dual-WAN interface members, in the order they are copied.
const std::vector<const char*> kDualwanInterfaces = {"primary.interface", "primary.name", "secondary.interface",
                                                     "secondary.name"};

// The text members of the mobile configuration.
const std::vector<const char*> kMobileTexts = {"location", "ispType",  "dialNumber", "userName", "password",
                                               "authenticationType", "pinCode", "apnType", "apn"};

// A read of a whole object that answers with a fixed id and 4 when the object cannot be locked.
_FAL_RSP_T* fixedObjectGet(_FAL_REQ_T* req, const char* key, unsigned apiType, unsigned msgId)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(msgId, false, NET_NO_MEMORY, apiType);
    if (!rsp)
        return nullptr;
    FalLock object(API_TYPE_NETWORK, key, req->requester);
    if (!object) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "No object found in txt repo\n");
        rsp->status = FAL_FAILED;
    } else {
        rsp->status = FAL_OK;
        rsp->data = object->clone(nullptr);
    }
    return rsp;
}

// Locks the object of a Q-mode, dual-WAN or mobile update; on failure answers 8 with the message
// from creation.
FalLock lockSetting(_FAL_RSP_T* rsp, const char* key, const char* requester)
{
    FalLock object(API_TYPE_NETWORK, key, requester);
    if (!object) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "No object found in txt Repo!\n");
        rsp->status = FAL_DB_ERROR;
    }
    return object;
}

// Saves: status 0 on success, 4 otherwise.
void saveSetting(_FAL_RSP_T* rsp, FalLock& object)
{
    rsp->status = object.save() ? FAL_OK : FAL_FAILED;
}

}  // namespace

_FAL_RSP_T* FalNetworkLdb::NetworkXdslGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkXdslGet");
    _FAL_RSP_T* rsp = networkObjectGet(req, "xdsl");
    if (rsp && rsp->data) {
        rsp->data->del("modulationType");
        rsp->data->del("adsl");
    }
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkDslmodeGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDslmodeGet");
    return networkObjectGet(req, "dslMode");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDslmodeSet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDslmodeSet");
    _FAL_RSP_T* rsp = networkChangeResponse(req);
    if (!rsp)
        return nullptr;
    FalLock modes = networkLockOrFail(rsp, "dslMode", req->requester, NET_LOCAL_LOAD_FAILED);
    if (!modes)
        return rsp;
    for (unsigned i = 0; i < req->body->len(); ++i) {
        FalTree wanted(req->body->at(i));
        const char* type = wanted->get<const char*>("type");
        for (unsigned j = 0; type && j < modes->len(); ++j) {
            FalTree mode(modes->at(j));
            if (sameText(mode->get<const char*>("type"), type)) {
                mode->set("active", wanted->get<bool>("active"));
                break;
            }
        }
    }
    saveSetting(rsp, modes);
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkOperationGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkOperationGet");
    return networkObjectGet(req, "operation");
}

_FAL_RSP_T* FalNetworkLdb::NetworkOperationUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkOperationUpdate");
    _FAL_RSP_T* rsp = networkChangeResponse(req);
    if (!rsp)
        return nullptr;
    FalLock operation = networkLockOrFail(rsp, "operation", req->requester, NET_KEY_LOAD_FAILED);
    if (!operation)
        return rsp;
    networkCopyPresent(operation.get(), "", req->body, "", {"mode"});
    saveSetting(rsp, operation);
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkMaccloneGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkMaccloneGet");
    return networkObjectGet(req, "macClone");
}

_FAL_RSP_T* FalNetworkLdb::NetworkMaccloneSet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkMaccloneSet");
    _FAL_RSP_T* rsp = networkChangeResponse(req);
    if (!rsp)
        return nullptr;
    FalLock macClone = networkLockOrFail(rsp, "macClone", req->requester, NET_LOCAL_LOAD_FAILED);
    if (!macClone)
        return rsp;
    macClone->set("active", req->body->get<bool>("active"));
    networkCopyTexts(macClone.get(), req->body, {"mac"});
    saveSetting(rsp, macClone);
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkQmodeGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkQmodeGet");
    return networkObjectGet(req, "qMode");
}

_FAL_RSP_T* FalNetworkLdb::NetworkQmodeUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkQmodeUpdate", FAL_TRACE_WORD_FIRST);
    if (networkWrongRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(43, false, kNoMemoryBang);
    if (!rsp)
        return nullptr;
    rsp->status = FAL_FAILED;
    FalLock qMode = lockSetting(rsp, "qMode", req->requester);
    if (!qMode)
        return rsp;
    networkCopyTexts(qMode.get(), req->body, {"operation", "qmode"});
    networkCopyPresent(qMode.get(), "", req->body, "", kQmodeConnection);
    saveSetting(rsp, qMode);
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkDualwanGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDualwanGet", FAL_TRACE_NAME_EXIT_ONLY);
    // Answers with the service family's API type.
    return fixedObjectGet(req, "dualwan", API_TYPE_SERVICE, 45);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDualwanUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDualwanUpdate", FAL_TRACE_WORD_FIRST);
    if (networkWrongRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(47, false, kNoMemoryBang);
    if (!rsp)
        return nullptr;
    FalLock dualwan = lockSetting(rsp, "dualwan", req->requester);
    if (!dualwan)
        return rsp;
    dualwan->set("active", req->body->get<bool>("active"));
    dualwan->set("mode", req->body->get<int>("mode"));
    networkCopyPresent(dualwan.get(), "", req->body, "", kDualwanInterfaces);
    if (!dualwan.save())
        falAnswer(rsp, FAL_DB_ERROR, "Save databse error");
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkMobileStatusGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkMobileStatusGet");
    return networkObjectGet(req, "mobile");
}

_FAL_RSP_T* FalNetworkLdb::NetworkMobileConfigurationGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkMobileConfigurationGet");
    return networkObjectGet(req, "mobileConfiguration");
}

_FAL_RSP_T* FalNetworkLdb::NetworkMobileUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkMobileUpdate", FAL_TRACE_WORD_EXIT_ONLY);
    if (networkWrongRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(53, false, kNoMemoryBang);
    if (!rsp)
        return nullptr;
    FalLock configuration = lockSetting(rsp, "mobileConfiguration", req->requester);
    if (!configuration)
        return rsp;
    networkCopyTexts(configuration.get(), req->body, kMobileTexts);
    configuration->set("profileID", req->body->get<int>("profileID"));
    saveSetting(rsp, configuration);
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkLanPortGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkLanPortGet", FAL_TRACE_NAME_EXIT_ONLY);
    return fixedObjectGet(req, "lanPort", API_TYPE_NETWORK, 55);
}
