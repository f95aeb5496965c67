// Access modes: xDSL line information and DSL modes, operation mode, MAC clone, Q-mode, dual WAN,
// mobile connection and LAN ports.
#include <vector>

#include "network/FalNetworkLdb.h"
#include "network/NetworkHelpers.h"

namespace {

const char* const kNoMemoryBang = "Cannot create response due to some memory issue!\n";

// The Q-mode connection members, in the order they are copied.
const std::initializer_list<const char*> kQmodeConnection = {
    "connection.index", "connection.ssid", "connection.securityType", "connection.encryption", "connection.radio",
    "connection.bssid"};

// The dual-WAN interface members, in the order they are copied.
const std::initializer_list<const char*> kDualwanInterfaces = {"primary.interface", "primary.name",
                                                               "secondary.interface", "secondary.name"};

// The text members of the mobile configuration.
const std::vector<const char*> kMobileTexts = {"location", "ispType",  "dialNumber", "userName", "password",
                                               "authenticationType", "pinCode", "apnType", "apn"};

// A read of a whole object that answers with a fixed id and 4 when the object cannot be locked.
_FAL_RSP_T* fixedObjectGet(_FAL_REQ_T* req, const char* key, unsigned apiType, unsigned requestId)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(requestId, false, NET_NO_MEMORY, apiType);
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

// The Q-mode, dual-WAN and mobile updates: without a body no response; a failed lock of `key`
// answers 8 with the message from creation. `change(object, body)` changes the object, then it is
// saved: status 0; a failed save answers 8 with `saveFailed`, or 4 when that is null.
template <class Change>
_FAL_RSP_T* updateSetting(_FAL_REQ_T* req, unsigned requestId, const char* key, const char* saveFailed,
                          Change change)
{
    if (networkWrongRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(requestId, false, kNoMemoryBang);
    if (!rsp)
        return nullptr;
    FalLock object(API_TYPE_NETWORK, key, req->requester);
    if (!object) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "No object found in txt Repo!\n");
        rsp->status = FAL_DB_ERROR;
        return rsp;
    }
    change(object.get(), req->body);
    if (object.save())
        rsp->status = FAL_OK;
    else if (saveFailed)
        falAnswer(rsp, FAL_DB_ERROR, saveFailed);
    else
        rsp->status = FAL_FAILED;
    return rsp;
}

// Sets "active" of each stored mode to that of the first wanted mode of its type.
bool setModesActive(_FAL_RSP_T*, TreeMapObject* modes, TreeMapObject* body, int)
{
    for (unsigned i = 0; i < body->len(); ++i) {
        FalTree wanted(body->at(i));
        const char* type = wanted->get<const char*>("type");
        for (unsigned j = 0; type && j < modes->len(); ++j) {
            FalTree mode(modes->at(j));
            if (sameText(mode->get<const char*>("type"), type)) {
                mode->set("active", wanted->get<bool>("active"));
                break;
            }
        }
    }
    return true;
}

}  // namespace

_FAL_RSP_T* FalNetworkLdb::NetworkXdslGet(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = networkObjectGet(req, __func__, "xdsl");
    if (rsp && rsp->data) {
        rsp->data->del("modulationType");
        rsp->data->del("adsl");
    }
    return rsp;
}

_FAL_RSP_T* FalNetworkLdb::NetworkDslmodeGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "dslMode");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDslmodeSet(_FAL_REQ_T* req)
{
    return networkChange(req, __func__, "dslMode", NET_LOCAL_LOAD_FAILED, false, setModesActive);
}

_FAL_RSP_T* FalNetworkLdb::NetworkOperationGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "operation");
}

_FAL_RSP_T* FalNetworkLdb::NetworkOperationUpdate(_FAL_REQ_T* req)
{
    return networkChange(req, __func__, "operation", NET_KEY_LOAD_FAILED, false,
                         [](_FAL_RSP_T*, TreeMapObject* operation, TreeMapObject* body, int) {
                             copyPresent(operation, body, {"mode"});
                             return true;
                         });
}

_FAL_RSP_T* FalNetworkLdb::NetworkMaccloneGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "macClone");
}

_FAL_RSP_T* FalNetworkLdb::NetworkMaccloneSet(_FAL_REQ_T* req)
{
    return networkChange(req, __func__, "macClone", NET_LOCAL_LOAD_FAILED, false,
                         [](_FAL_RSP_T*, TreeMapObject* macClone, TreeMapObject* body, int) {
                             macClone->set("active", body->get<bool>("active"));
                             networkCopyTexts(macClone, body, {"mac"});
                             return true;
                         });
}

_FAL_RSP_T* FalNetworkLdb::NetworkQmodeGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "qMode");
}

_FAL_RSP_T* FalNetworkLdb::NetworkQmodeUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkQmodeUpdate", FAL_TRACE_WORD_FIRST);
    return updateSetting(req, FalMsg::NetworkQmodeUpdate, "qMode", nullptr,
                         [](TreeMapObject* qMode, TreeMapObject* body) {
                             networkCopyTexts(qMode, body, {"operation", "qmode"});
                             copyPresent(qMode, body, kQmodeConnection);
                         });
}

_FAL_RSP_T* FalNetworkLdb::NetworkDualwanGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDualwanGet", FAL_TRACE_NAME_EXIT_ONLY);
    // Answers with the service family's API type.
    return fixedObjectGet(req, "dualwan", API_TYPE_SERVICE, FalMsg::NetworkDualwanGet);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDualwanUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDualwanUpdate", FAL_TRACE_WORD_FIRST);
    return updateSetting(req, FalMsg::NetworkDualwanUpdate, "dualwan", "Save databse error",
                         [](TreeMapObject* dualwan, TreeMapObject* body) {
                             dualwan->set("active", body->get<bool>("active"));
                             dualwan->set("mode", body->get<int>("mode"));
                             copyPresent(dualwan, body, kDualwanInterfaces);
                         });
}

_FAL_RSP_T* FalNetworkLdb::NetworkMobileStatusGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "mobile");
}

_FAL_RSP_T* FalNetworkLdb::NetworkMobileConfigurationGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "mobileConfiguration");
}

_FAL_RSP_T* FalNetworkLdb::NetworkMobileUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkMobileUpdate", FAL_TRACE_WORD_EXIT_ONLY);
    return updateSetting(req, FalMsg::NetworkMobileUpdate, "mobileConfiguration", nullptr,
                         [](TreeMapObject* configuration, TreeMapObject* body) {
                             networkCopyTexts(configuration, body, kMobileTexts);
                             configuration->set("profileID", body->get<int>("profileID"));
                         });
}

_FAL_RSP_T* FalNetworkLdb::NetworkLanPortGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkLanPortGet", FAL_TRACE_NAME_EXIT_ONLY);
    return fixedObjectGet(req, "lanPort", API_TYPE_NETWORK, FalMsg::NetworkLanPortGet);
}
