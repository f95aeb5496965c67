// Single service objects: dynamic DNS, DMZ, RIP, UPnP with its port mappings, application-level
// gateways and network options. Updates copy chosen members of the body into the stored object.
#include "service/FalServiceLdb.h"
#include "service/ServiceHelpers.h"

namespace {

// The read of a single object: a failed lock answers 4.
_FAL_RSP_T* readSingle(_FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId)
{
    return serviceReadObject(req, {fn, requestId, key, false, FAL_FAILED});
}

// The DDNS and DMZ reads trace and log in the other style.
_FAL_RSP_T* readSingleNameFirst(_FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId)
{
    return serviceReadObject(req, {fn, requestId, key, false, FAL_FAILED, nullptr, false, SVC_NO_OBJECT_PLAIN,
                                   FAL_TRACE_NAME_FIRST, SVC_NO_RESPONSE_PLAIN});
}

// Copies the members present in the body into the object and saves: 0, or 4 when the save
// failed; a failed lock answers 4.
_FAL_RSP_T* copyMembers(_FAL_REQ_T* req, const char* fn, const char* key, unsigned requestId,
                        std::initializer_list<const char*> members)
{
    SvcCycle how{fn, requestId, key, true, FAL_FAILED};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        copyPresent(lock.get(), req->body, members);
        falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    });
}

}  // namespace

// ---- DDNS -------------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceDdnsGet(_FAL_REQ_T* req)
{
    return readSingleNameFirst(req, "ServiceDdnsGet", "ddns", FalMsg::ServiceDdnsGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceDdnsUpdate(_FAL_REQ_T* req)
{
    SvcCycle how{__func__, FalMsg::ServiceDdnsUpdate, "ddns", true, FAL_DB_ERROR};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        lock->set("active", req->body->get<bool>("active"));
        copyPresent(lock.get(), req->body,
                       {"configuration.currentProvider", "configuration.username", "configuration.password",
                        "configuration.hostname", "configuration.token"});
        rsp->data = lock->clone("result");
        falAnswer(rsp, rsp->data ? FAL_OK : FAL_FAILED);
        lock.save();
    });
}

// ---- DMZ --------------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceDmzGet(_FAL_REQ_T* req)
{
    return readSingleNameFirst(req, "ServiceDmzGet", "dmz", FalMsg::ServiceDmzGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceDmzUpdate(_FAL_REQ_T* req)
{
    SvcCycle how{__func__, FalMsg::ServiceDmzUpdate, "dmz", true, FAL_FAILED};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        lock->set("active", req->body->get<bool>("active"));
        lock->set("destination", req->body->get<const char*>("destination"));
        falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    });
}

// ---- RIP --------------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceRipGet(_FAL_REQ_T* req)
{
    return readSingle(req, "ServiceRipGet", "rip", FalMsg::ServiceRipGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceRipUpdate(_FAL_REQ_T* req)
{
    SvcCycle how{nullptr, FalMsg::ServiceRipUpdate, "", true, FAL_DB_ERROR, "failed to load database"};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& document) {
        document->set("rip", req->body);
        if (!document.save())
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
    });
}

// ---- UPnP -------------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceUpnpGet(_FAL_REQ_T* req)
{
    return readSingle(req, "ServiceUpnpGet", "upnp", FalMsg::ServiceUpnpGet);
}

_FAL_RSP_T* FalServiceLdb::ServiceUpnpUpdate(_FAL_REQ_T* req)
{
    const char* fn = "ServiceUpnpUpdate";
    SvcCycle how{fn, FalMsg::ServiceUpnpUpdate, "upnp", true, FAL_FAILED};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& upnp) {
        bool active = req->body->get<bool>("active");
        copyPresent(upnp.get(), req->body, {"active", "interval", "ttl"});
        if (!upnp.save()) {
            falAnswer(rsp, FAL_FAILED);
            return;
        }
        falAnswer(rsp, FAL_OK);
        // Switching UPnP off drops its port mappings.
        FalLock mappings(API_TYPE_SERVICE, "upnpPortmapping", req->requester);
        if (!mappings) {
            Logger::print(LOG_TYPE_ERROR, SVC_LOG, "%s: Cannot get port mapping from database\n", fn);
            return;
        }
        if (!active) {
            Logger::print(LOG_TYPE_TRACE, SVC_LOG, "%s: Found port mapping entries, clearing\n", fn);
            mappings->clearArrayItems();
        }
        mappings.save();
    });
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
