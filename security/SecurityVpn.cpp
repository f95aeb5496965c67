// VPN: the mode, the server switch with its client range, the client settings and the IPsec
// tunnels.
#include <initializer_list>
#include <string>

#include "fal/FalMsgIds.h"
#include "frame/FalPolicy.h"
#include "frame/FalResponse.h"
#include "security/FalSecurityLdb.h"
#include "security/SecurityHelpers.h"

namespace {

// One end of a tunnel as the update checks it: an address unless the type is "single", an
// identifier unless its type is "auto".
struct TunnelField {
    const char* typePath;
    const char* openType;  // the type that needs no value
    const char* valuePath;
    const char* refusal;
};

const TunnelField kTunnelFields[] = {
    {"local.addressType", "single", "local.address.second", "Received wrong local update"},
    {"local.identifierType", "auto", "local.identifier", "Received wrong local indentifier"},
    {"remote.addressType", "single", "remote.address.second", "Received wrong remote update"},
    {"remote.identifierType", "auto", "remote.identifier", "Received wrong remote indentifier"},
};

// The refusal of the first field the tunnel fails, or null when it passes.
const char* tunnelRefusal(TreeMapObject* tunnel)
{
    for (const TunnelField& field : kTunnelFields) {
        const char* type = tunnel->get<const char*>(field.typePath);
        if (!type || (!sameText(type, field.openType) && securityBlank(tunnel->get<const char*>(field.valuePath))))
            return field.refusal;
    }
    return nullptr;
}

// Where the new tunnel has the open type and no value, it keeps the stored tunnel's value.
void keepStoredValues(TreeMapObject* tunnel, TreeMapObject* stored)
{
    for (const TunnelField& field : kTunnelFields) {
        if (!sameText(tunnel->get<const char*>(field.typePath), field.openType) ||
            !securityBlank(tunnel->get<const char*>(field.valuePath)))
            continue;
        FalTree value(stored->get(field.valuePath));
        if (value)
            tunnel->set(field.valuePath, value.get());
    }
}

// The checks shared by the tunnel update and delete: a request with a body, and an "@id". False,
// with the answer set, when one is missing.
bool readTunnelRequest(_FAL_REQ_T* req, _FAL_RSP_T* rsp, int& id)
{
    if (!req->body || req->body->isNull()) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Received wrong request");
        return false;
    }
    if (!securityIntParam(req, "@id", id)) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Received wrong @id request");
        return false;
    }
    return true;
}

// Locks the tunnel table; null, with the answer set, when it cannot be had.
FalLock lockTunnels(_FAL_REQ_T* req, _FAL_RSP_T* rsp)
{
    FalLock tunnels(API_TYPE_SECURITY, "vpn.ipsec", req->requester);
    if (!tunnels) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Cannot lock the database\n");
        falAnswer(rsp, FAL_DB_ERROR, "Database error");
    }
    return tunnels;
}

// Position of the tunnel `id`; -1, with the answer set, when there is none.
int findTunnel(TreeMapObject* tunnels, int id, _FAL_RSP_T* rsp)
{
    int at = findItem(tunnels, "id", id);
    if (at < 0) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Requested id is wrong\n");
        falAnswer(rsp, FAL_BAD_REQUEST, "Requested id is wrong");
    }
    return at;
}

}  // namespace

_FAL_RSP_T* FalSecurityLdb::SecurityVpnModeGet(_FAL_REQ_T* req)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(API_TYPE_SECURITY, req->msgId + 1, true);
    FalLock vpn(API_TYPE_SECURITY, "vpn", req->requester);
    if (!vpn) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "failed to load database \n");
        falAnswer(rsp, FAL_DB_ERROR, "failed to load database");
    } else {
        rsp->data->set("mode", vpn->get<const char*>("mode"));
        Logger::print(LOG_TYPE_PROGRESS, SEC_LOG, "%s: clone database object\n", "SecurityVpnModeGet");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnServerGet(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, API_TYPE_SECURITY, FalMsg::SecurityVpnServerGet, true);
    if (!rsp)
        return nullptr;
    FalLock vpn(API_TYPE_SECURITY, "vpn", req->requester);
    if (!vpn) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else {
        rsp->data->set("active", vpn->get<bool>("active"));
        copyPresent(rsp->data, vpn.get(), {"connected", "client"});
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnServerUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = nullptr;
    if (!securityOpenWithBody(rsp, req))
        return rsp;
    FalLock vpn(API_TYPE_SECURITY, "vpn", req->requester);
    FalTree client(vpn ? vpn->get("client") : nullptr);
    FalTree body(req->body->clone(nullptr));
    if (vpn)
        vpn->set("active", req->body->get<bool>("active"));
    // The range lands inside "vpn.client": "client.startIP" there, as in the body.
    securityCopyAndSave(rsp, vpn, client.get(), body.get(), {"client.startIP", "client.endIP"});
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnClientUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = nullptr;
    if (!securityOpenWithBody(rsp, req))
        return rsp;
    FalLock client(API_TYPE_SECURITY, "vpn.client", req->requester);
    FalTree body(client ? req->body->clone(nullptr) : nullptr);
    securityCopyAndSave(rsp, client, client.get(), body.get(),
                        {"active", "protocol", "server", "username", "password", "option"});
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnIpsecGet(_FAL_REQ_T* req)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(API_TYPE_SECURITY, req->msgId + 1, false);
    FalTree list(new TreeMapObject(true));
    FalLock tunnels(API_TYPE_SECURITY, "vpn.ipsec", req->requester);
    if (!tunnels) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Cannot get database for %s\n", "vpn.ipsec");
        falAnswer(rsp, FAL_DB_ERROR, "database error");
    } else {
        for (unsigned i = 0; i < tunnels->len(); ++i) {
            FalTree tunnel(tunnels->clone(("[" + std::to_string(i) + "]").c_str()));
            list->setArrayItem(list->len(), tunnel.get());
        }
        rsp->data = list.release();
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnIpsecGetOne(_FAL_REQ_T* req)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(API_TYPE_SECURITY, req->msgId + 1, false);
    int id = 0;
    if (!securityIntParam(req, "@id", id)) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Wrong parameter\n");
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong parameter");
        return rsp;
    }
    FalLock tunnels(API_TYPE_SECURITY, "vpn.ipsec", req->requester);
    int at = tunnels ? findItem(tunnels.get(), "id", id) : -1;
    if (!tunnels) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Cannot get database for %s\n", "vpn.ipsec");
        falAnswer(rsp, FAL_DB_ERROR, "database error");
    } else if (at < 0) {
        falAnswer(rsp, FAL_BAD_REQUEST, "No record found");
    } else {
        rsp->data = tunnels->clone(("[" + std::to_string(at) + "]").c_str());
        rsp->data->del("id");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnIpsecUpdate(_FAL_REQ_T* req)
{
    if (!req)
        return falRefusal(API_TYPE_SECURITY, FalMsg::SecurityVpnIpsecUpdate);
    _FAL_RSP_T* rsp = falNewResponse(API_TYPE_SECURITY, FalMsg::SecurityVpnIpsecUpdate, false);
    int id = 0;
    if (!readTunnelRequest(req, rsp, id))
        return rsp;
    if (const char* refusal = tunnelRefusal(req->body)) {
        falAnswer(rsp, FAL_BAD_REQUEST, refusal);
        return rsp;
    }
    FalLock tunnels = lockTunnels(req, rsp);
    int at = tunnels ? findTunnel(tunnels.get(), id, rsp) : -1;
    if (at >= 0) {
        // Only a successful save turns the answer to FAL_OK; the text stays as created.
        rsp->status = FAL_FAILED;
        FalTree stored(tunnels->at(static_cast<unsigned>(at)));
        FalTree tunnel(req->body->clone(nullptr));
        if (!tunnel) {
            Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Not enough memory for create new object\n");
        } else {
            keepStoredValues(tunnel.get(), stored.get());
            tunnel->set("id", id);
            tunnels->setArrayItem(static_cast<unsigned>(at), tunnel.get());
            if (tunnels.save())
                rsp->status = FAL_OK;
        }
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnIpsecCreate(_FAL_REQ_T* req)
{
    // A null request leaves after its entry trace, without an exit trace.
    FalTrace trace(SEC_LOG, "SecurityVpnIpsecCreate", req ? FAL_TRACE_NAME_FIRST : FAL_TRACE_NAME_ENTRY_ONLY);
    if (!req) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "A null request has been received\n");
        return nullptr;
    }
    _FAL_RSP_T* rsp = falNewResponse(API_TYPE_SECURITY, FalMsg::SecurityVpnIpsecCreate, true);
    if (!securityHasObjectBody(req)) {
        Logger::print(LOG_TYPE_ERROR, SEC_LOG, "A null message request received\n");
        falAnswer(rsp, FAL_BAD_REQUEST, "A null message request received");
    } else {
        rsp->status = FAL_FAILED;
        FalTree tunnel(req->body->clone(nullptr));
        FalLock tunnels(API_TYPE_SECURITY, "vpn.ipsec", req->requester);
        if (!tunnels) {
            Logger::print(LOG_TYPE_ERROR, SEC_LOG, "Cannot read network object from file\n");
            falAnswer(rsp, FAL_DB_ERROR, "Database error");
        } else {
            int id = nextItemId(tunnels.get(), "id", 0);
            tunnel->set("id", id);
            tunnels->setArrayItem(tunnels->len(), tunnel.get());
            // A failed save still answers with the id, as FAL_FAILED "FAL processed fine!".
            if (tunnels.save())
                falAnswer(rsp, FAL_CREATED, "New Created");
            rsp->data->set("id", id);
        }
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnIpsecDelete(_FAL_REQ_T* req)
{
    if (!req)
        return falRefusal(API_TYPE_SECURITY, FalMsg::SecurityVpnIpsecDelete);
    _FAL_RSP_T* rsp = falNewResponse(API_TYPE_SECURITY, FalMsg::SecurityVpnIpsecDelete, false);
    int id = 0;
    if (!readTunnelRequest(req, rsp, id))
        return rsp;
    FalLock tunnels = lockTunnels(req, rsp);
    int at = tunnels ? findTunnel(tunnels.get(), id, rsp) : -1;
    if (at >= 0) {
        tunnels->delArrayItem(static_cast<unsigned>(at));
        // A failed save leaves the answer as created.
        if (tunnels.save())
            rsp->status = FAL_DELETED;
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnIpsecDeleteAll(_FAL_REQ_T* req)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(API_TYPE_SECURITY, req->msgId + 1, false);
    FalLock tunnels(API_TYPE_SECURITY, "vpn.ipsec", req->requester);
    if (tunnels) {
        tunnels->clearArrayItems();
        // A failed lock or save leaves the answer as created.
        if (tunnels.save())
            falAnswer(rsp, FAL_OK, "Table is deleted");
    }
    return rsp;
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnIpsecConnect(_FAL_REQ_T*)
{
    return falNewResponse(API_TYPE_SECURITY, FalMsg::SecurityVpnIpsecConnect, false);
}

_FAL_RSP_T* FalSecurityLdb::SecurityVpnIpsecDisconnect(_FAL_REQ_T*)
{
    return falNewResponse(API_TYPE_SECURITY, FalMsg::SecurityVpnIpsecDisconnect, false);
}
