// Single service objects: dynamic DNS, DMZ, RIP, UPnP with its port mappings, application-level
// gateways and network options. Updates copy chosen members of the body into the stored object.
#include "service/FalServiceLdb.h"
#include "service/ServiceHelpers.h"

namespace {

// The read of a single object: a failed lock answers 4.
_FAL_RSP_T* readSingle(_FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId)
{
    return serviceReadObject(req, requestId,
                         {fn, key, FAL_FAILED, nullptr, FAL_TRACE_WORD_FIRST, SVC_NO_OBJECT, SVC_NO_RESPONSE});
}

// The DDNS and DMZ reads trace and log in the other style.
_FAL_RSP_T* readSingleNameFirst(_FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId)
{
    return serviceReadObject(req, requestId,
                         {fn, key, FAL_FAILED, nullptr, FAL_TRACE_NAME_FIRST, SVC_NO_OBJECT_PLAIN,
                          SVC_NO_RESPONSE_PLAIN});
}

// Copies the members present in the body into the object and saves: 0, or 4 when the save
// failed; a failed lock answers 4.
_FAL_RSP_T* copyMembers(_FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId,
                        std::initializer_list<const char*> members)
{
    FalTrace trace(SVC_LOG, fn, FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, requestId, false);
    if (!rsp || serviceLacksBody(rsp, req))
        return rsp;
    FalLock lock(API_TYPE_SERVICE, key, req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_FAILED);
    copyPresent(lock.get(), req->body, members);
    falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    return rsp;
}

}  // namespace

// ---- DDNS -------------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceDdnsGet(_FAL_REQ_T* req)
{
    return readSingleNameFirst(req, "ServiceDdnsGet", "ddns", FalMsg::ServiceDdnsGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceDdnsUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(SVC_LOG, "ServiceDdnsUpdate", FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceDdnsUpdate, false);
    if (!rsp || serviceLacksBody(rsp, req))
        return rsp;
    FalLock lock(API_TYPE_SERVICE, "ddns", req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_DB_ERROR);
    lock->set("active", req->body->get<bool>("active"));
    copyPresent(lock.get(), req->body,
                   {"configuration.currentProvider", "configuration.username", "configuration.password",
                    "configuration.hostname", "configuration.token"});
    rsp->data = lock->clone("result");
    falAnswer(rsp, rsp->data ? FAL_OK : FAL_FAILED);
    lock.save();
    return rsp;
}

// ---- DMZ --------------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceDmzGet(_FAL_REQ_T* req)
{
    return readSingleNameFirst(req, "ServiceDmzGet", "dmz", FalMsg::ServiceDmzGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceDmzUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(SVC_LOG, "ServiceDmzUpdate", FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceDmzUpdate, false);
    if (!rsp || serviceLacksBody(rsp, req))
        return rsp;
    FalLock lock(API_TYPE_SERVICE, "dmz", req->requester);
    if (!lock)
        return serviceLockFailed(rsp, FAL_FAILED);
    lock->set("active", req->body->get<bool>("active"));
    lock->set("destination", req->body->get<const char*>("destination"));
    falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    return rsp;
}

// ---- RIP --------------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceRipGet(_FAL_REQ_T* req)
{
    return readSingle(req, "ServiceRipGet", "rip", FalMsg::ServiceRipGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceRipUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceRipUpdate, false);
    if (!rsp || serviceLacksBody(rsp, req))
        return rsp;
    FalLock document(API_TYPE_SERVICE, "", req->requester);
    if (!document)
        return serviceLockFailed(rsp, FAL_DB_ERROR, "failed to load database");
    document->set("rip", req->body);
    if (!document.save())
        falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
    return rsp;
}

// ---- UPnP -------------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceUpnpGet(_FAL_REQ_T* req)
{
    return readSingle(req, "ServiceUpnpGet", "upnp", FalMsg::ServiceUpnpGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceUpnpUpdate(_FAL_REQ_T* req)
{
    const char* fn = "ServiceUpnpUpdate";
    FalTrace trace(SVC_LOG, fn, FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceUpnpUpdate, false);
    if (!rsp || serviceLacksBody(rsp, req))
        return rsp;
    FalLock upnp(API_TYPE_SERVICE, "upnp", req->requester);
    if (!upnp)
        return serviceLockFailed(rsp, FAL_FAILED);
    bool active = req->body->get<bool>("active");
    copyPresent(upnp.get(), req->body, {"active", "interval", "ttl"});
    if (!upnp.save()) {
        falAnswer(rsp, FAL_FAILED);
        return rsp;
    }
    falAnswer(rsp, FAL_OK);
    // Switching UPnP off drops its port mappings.
    FalLock mappings(API_TYPE_SERVICE, "upnpPortmapping", req->requester);
    if (!mappings) {
        Logger::print(LOG_TYPE_ERROR, SVC_LOG, "%s: Cannot get port mapping from database\n", fn);
        return rsp;
    }
    if (!active) {
        Logger::print(LOG_TYPE_TRACE, SVC_LOG, "%s: Found port mapping entries, clearing\n", fn);
        mappings->clearArrayItems();
    }
    mappings.save();
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceUpnpPortmappingGet(_FAL_REQ_T* req)
{
    return readSingle(req, "ServiceUpnpPortmappingGet", "upnpPortmapping", FalMsg::ServiceUpnpPortmappingGet);
}

// ---- Application-level gateways ---------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceAlgGet(_FAL_REQ_T* req)
{
    return readSingle(req, "ServiceAlgGet", "alg", FalMsg::ServiceAlgGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceAlgUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(SVC_LOG, "ServiceAlgUpdate", FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceAlgUpdate, false);
    if (!rsp || serviceLacksBody(rsp, req) || serviceRefusesEntries(rsp, req->body))
        return rsp;
    FalLock gateways(API_TYPE_SERVICE, "alg", req->requester);
    if (!gateways)
        return serviceLockFailed(rsp, FAL_FAILED);
    // Matched entries are replaced whole but keep their stored name; unknown ids are dropped.
    for (unsigned i = 0; i < req->body->len(); ++i) {
        FalTree entry(req->body->at(i));
        int index = handleFindArrayItemById(gateways.get(), "id", entry->get<int>("id"));
        if (index < 0)
            continue;
        FalTree stored(gateways->at(unsigned(index)));
        entry->set("displayName", stored->get<const char*>("displayName"));
        gateways->setArrayItem(unsigned(index), entry.get());
    }
    falAnswer(rsp, gateways.save() ? FAL_OK : FAL_FAILED);
    return rsp;
}

// ---- Network options --------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceNetworkOptionGet(_FAL_REQ_T* req)
{
    return readSingle(req, "ServiceNetworkOptionGet", "networkOption", FalMsg::ServiceNetworkOptionGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceNetworkOptionUpdate(_FAL_REQ_T* req)
{
    return copyMembers(req, "ServiceNetworkOptionUpdate", "networkOption", FalMsg::ServiceNetworkOptionUpdate,
                       {"wanBlocking", "ipsecPassthrough", "pptpPassthrough", "multicast", "remoteAccess"});
}
