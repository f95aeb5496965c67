// The WDS peer table of each radio ("wds": per band "active", "master" and the peers in "rules").
#include <cstdlib>
#include <memory>

#include "frame/BeHelpers.h"
#include "frame/FalResponse.h"
#include "wifi/FalWifiLdb.h"
#include "wifi/WifiHelpers.h"

namespace {

// A table never grows past this many peers through slaves.
constexpr unsigned kMaxPeers = 4;

// What a WDS operation insists on before its cycle.
enum WdsNeeds { WDS_NEEDS_BODY, WDS_NEEDS_REQUEST };

// The opening every WDS operation shares; yields whether the operation goes on, and `rsp` is the
// answer to return either way. A request without what `needs` asks for gets no answer at all
// (null); a body that is not a JSON object counts as none. A missing "@interfaceId" gets 10
// "Wrong URI". Otherwise the status is preset to 4.
bool openWds(FalWifiLdb& wifi, _FAL_REQ_T* req, WdsNeeds needs, bool withData, _FAL_RSP_T*& rsp,
             int& interfaceId)
{
    rsp = nullptr;
    if (!req || (needs == WDS_NEEDS_BODY && !(req->body && req->body->isObject()))) {
        Logger::print(LOG_TYPE_ERROR, WIFI_LOG, "Error received null request\n");
        return false;
    }
    rsp = newFalResponse(wifi.apiType, falResponseId(API_TYPE_WIFI, req->msgId), withData);
    std::unique_ptr<char[]> id(BE_PairVal2(req->params, "@interfaceId"));
    if (!id) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong URI");
        return false;
    }
    interfaceId = atoi(id.get());
    rsp->status = FAL_FAILED;
    return true;
}

// Logged when "wds" cannot be locked.
const char* const WDS_NOT_LOADED = "Cannot load object wds in local database\n";

// Answers 10 with `message` after logging `logged`.
void refuse(_FAL_RSP_T* rsp, const char* logged, const char* message)
{
    Logger::print(LOG_TYPE_ERROR, WIFI_LOG, "%s", logged);
    falAnswer(rsp, FAL_BAD_REQUEST, message);
}

// Whether a peer of the table already carries the MAC address.
bool macTaken(TreeMapObject* rules, const char* mac)
{
    unsigned n = rules->len();
    for (unsigned i = 0; i < n; ++i) {
        FalTree peer(rules->at(i));
        if (peer && sameText(peer->get<const char*>("mac"), mac))
            return true;
    }
    return false;
}

// The structure rules of a new peer of type `type` on a table of `peers` peers. False, with the
// refusal answered, when the peer does not fit.
bool fitsStructure(_FAL_RSP_T* rsp, const char* type, unsigned peers, bool master)
{
    bool isMaster = sameText(type, "master");
    bool isSlave = sameText(type, "slave");
    if (isMaster && master && peers >= 1) {
        refuse(rsp, "Child type is master but parent type is also master.\n", "failed to get master");
        return false;
    }
    if (isSlave && !master && peers >= 1) {
        refuse(rsp, "Child type is slave but parent type is not master.\n", "failed to get slave");
        return false;
    }
    if (isMaster && peers >= 1) {
        refuse(rsp, "Exceed limit of child type master.\n", "incorrect structure");
        return false;
    }
    if (isSlave && peers >= kMaxPeers) {
        refuse(rsp, "Exceed limit of child type slave.\n", "incorrect structure");
        return false;
    }
    return true;
}

// Adds the peer of the request to the radio's table, within the structure rules.
void addPeer(_FAL_RSP_T* rsp, FalLock& wds, _FAL_REQ_T* req, TreeMapObject* radio)
{
    FalTree rules(radio->get("rules"));
    if (!rules) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get rules");
        return;
    }
    const char* type = req->body->get<const char*>("type");
    unsigned peers = rules->len();
    if (!fitsStructure(rsp, type, peers, radio->get<bool>("master")))
        return;
    FalTree peer(req->body->clone(nullptr));
    int index = nextItemId(rules.get(), "index");
    peer->set("index", index);
    bool isSlave = sameText(type, "slave");
    if (peers == 0 && (isSlave || sameText(type, "master")))
        radio->set("master", isSlave);
    if (peers > 0 && isSlave && macTaken(rules.get(), req->body->get<const char*>("mac"))) {
        refuse(rsp, "Mac address is duplicated.\n", "Mac address is duplicated");
        return;
    }
    rules->addArrayItem(peer.get());
    if (wds.saveOrAnswer(rsp, WIFI_SAVE_FAILED)) {
        rsp->status = FAL_CREATED;
        rsp->data->set("id", index);
    }
}

}  // namespace

_FAL_RSP_T* FalWifiLdb::WifiWdsGet(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__);
    _FAL_RSP_T* rsp = nullptr;
    int interfaceId = 0;
    if (!openWds(*this, req, WDS_NEEDS_BODY, false, rsp, interfaceId))
        return rsp;
    FalLock wds(apiType, "wds", req->requester, rsp, nullptr);
    if (!wds)
        Logger::print(LOG_TYPE_ERROR, WIFI_LOG, "%s", WDS_NOT_LOADED);
    FalTree radio(GetTreeMapObjectByInterface(wds.get(), interfaceId));
    if (radio) {
        rsp->data = radio->clone(nullptr);
        rsp->status = FAL_OK;
    }
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiWdsUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__);
    _FAL_RSP_T* rsp = nullptr;
    int interfaceId = 0;
    if (!openWds(*this, req, WDS_NEEDS_BODY, false, rsp, interfaceId))
        return rsp;
    FalLock wds(apiType, "wds", req->requester, rsp, "failed to load database");
    if (!wds)
        Logger::print(LOG_TYPE_ERROR, WIFI_LOG, "%s", WDS_NOT_LOADED);
    FalTree radio(GetTreeMapObjectByInterface(wds.get(), interfaceId));
    if (radio)
        radio->set("active", req->body->get<bool>("active"));
    if (wds && wds.save())
        rsp->status = FAL_OK;
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiWdsCreate(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__);
    _FAL_RSP_T* rsp = nullptr;
    int interfaceId = 0;
    if (!openWds(*this, req, WDS_NEEDS_BODY, true, rsp, interfaceId))
        return rsp;
    FalTree ext(req->body->get("ext"));
    if (sameText(req->body->get<const char*>("type"), "slave") && !ext) {
        refuse(rsp, "ext field should not be NULL.\n", "failed to get slave");
        return rsp;
    }
    FalLock wds(apiType, "wds", req->requester, rsp, "failed to get wds");
    if (!wds)
        Logger::print(LOG_TYPE_ERROR, WIFI_LOG, "%s", WDS_NOT_LOADED);
    FalTree radio(GetTreeMapObjectByInterface(wds.get(), interfaceId));
    if (radio)
        addPeer(rsp, wds, req, radio.get());
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiWdsDelete(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__);
    _FAL_RSP_T* rsp = nullptr;
    int interfaceId = 0;
    if (!openWds(*this, req, WDS_NEEDS_REQUEST, false, rsp, interfaceId))
        return rsp;
    std::unique_ptr<char[]> ruleId(BE_PairVal2(req->params, "@ruleId"));
    if (!ruleId) {
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong URI");
        return rsp;
    }
    FalLock wds(apiType, "wds", req->requester, rsp, "Failed to load database");
    if (!wds)
        Logger::print(LOG_TYPE_ERROR, WIFI_LOG, "%s", WDS_NOT_LOADED);
    FalTree radio(GetTreeMapObjectByInterface(wds.get(), interfaceId));
    FalTree rules(radio ? radio->get("rules") : nullptr);
    if (rules) {
        unsigned position = 0;
        if (wifiFindItem(rules.get(), "index", atoi(ruleId.get()), &position))
            rules->delArrayItem(position);
        if (wds.save())
            rsp->status = FAL_DELETED;
    }
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiWdsDeleteAll(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__);
    _FAL_RSP_T* rsp = nullptr;
    int interfaceId = 0;
    if (!openWds(*this, req, WDS_NEEDS_REQUEST, false, rsp, interfaceId))
        return rsp;
    FalLock wds(apiType, "wds", req->requester, rsp, "failed to load database");
    if (!wds)
        Logger::print(LOG_TYPE_ERROR, WIFI_LOG, "%s", WDS_NOT_LOADED);
    FalTree radio = wifiLockedBand(rsp, wds.get(), nullptr, interfaceId, FAL_NOT_FOUND, "cannot find object");
    if (radio) {
        TreeMapObject noPeers(true);
        radio->set("rules", &noPeers);
        if (wds.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            rsp->status = FAL_OK;
    }
    return rsp;
}
