// The MAC access-control list of each SSID ("accessControl" of the SSID entry).
#include "frame/FalResponse.h"
#include "wifi/FalWifiLdb.h"
#include "wifi/WifiHelpers.h"

namespace {

const char* const NO_SSID_ARRAY = "failed to get ssid array";

// Every list keeps at most this many rules.
constexpr int kMaxRules = 64;

// How one list change is requested and answered.
struct ListChange {
    const char* name;       // operation name for the trace
    unsigned params;        // positional parameters required: interface, SSID index, rule id
    bool needsBody;
    FAL_STATUS_T okStatus;  // answer after a successful save
    const char* okMessage;
};

// The cycle every list change runs: lock "ssid", find the SSID numbered by the second parameter,
// change it (change(ssid) is not called when there is no such SSID), save in any case, release.
template <class Change>
_FAL_RSP_T* changeList(FalWifiLdb& wifi, _FAL_REQ_T* req, const ListChange& how, Change change)
{
    FalTrace trace(WIFI_LOG, how.name, FAL_TRACE_NAME_ENTRY_ONLY);
    WifiBandCycle cycle{how.params, how.needsBody, "ssid", nullptr, FAL_NOT_FOUND, NO_SSID_ARRAY};
    return wifiBandCycle(wifi.apiType, req, cycle, [&](_FAL_RSP_T* rsp, FalLock& list, TreeMapObject* ssids, int) {
        FalTree ssid = wifiFindItem(ssids, "index", wifiIdAt(req, 1));
        if (ssid)
            change(ssid.get());
        if (list.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, how.okStatus, how.okMessage);
    });
}

// A copy of the request body numbered `id`.
FalTree numberedRule(_FAL_REQ_T* req, int id)
{
    FalTree rule(req->body->clone(nullptr));
    rule->set("id", id);
    return rule;
}

}  // namespace

_FAL_RSP_T* FalWifiLdb::WifiSsidAccesscontrolGet(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    _FAL_RSP_T* rsp = nullptr;
    if (!wifiOpen(rsp, apiType, false, req, 2))
        return rsp;
    FalLock ssidObject(apiType, "ssid", req->requester, rsp, "failed to load database");
    FalTree ssids;
    FalTree ssid = wifiRequestedSsid(ssidObject.get(), req, &ssids);
    TreeMapObject* list = ssid ? ssid->clone("accessControl") : nullptr;
    if (ssidObject && !ssids)
        falAnswer(rsp, FAL_NOT_FOUND, NO_SSID_ARRAY);
    else if (ssids && !list)
        falAnswer(rsp, FAL_NOT_FOUND, "No requested ssid");
    rsp->data = list;
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiSsidAccesscontrolUpdate(_FAL_REQ_T* req)
{
    return changeList(*this, req, {__func__, 2, true, FAL_OK, ""}, [&](TreeMapObject* ssid) {
        FalTree list(req->body->clone(nullptr));
        list->set("maxRules", kMaxRules);
        ssid->set("accessControl", list.get());
    });
}

_FAL_RSP_T* FalWifiLdb::WifiSsidAccesscontrolPatch(_FAL_REQ_T* req)
{
    return changeList(*this, req, {__func__, 3, true, FAL_OK, ""}, [&](TreeMapObject* ssid) {
        int ruleId = wifiIdAt(req, 2);
        FalTree rules(ssid->get("accessControl.rules"));
        unsigned position = 0;
        if (wifiFindItem(rules.get(), "id", ruleId, &position))
            rules->setArrayItem(position, numberedRule(req, ruleId).get());
    });
}

_FAL_RSP_T* FalWifiLdb::WifiSsidAccesscontrolCreate(_FAL_REQ_T* req)
{
    int id = 0;
    _FAL_RSP_T* rsp = changeList(*this, req, {__func__, 2, true, FAL_OK, ""}, [&](TreeMapObject* ssid) {
        int maxRules = ssid->get<int>("accessControl.maxRules");
        FalTree rules(ssid->get("accessControl.rules"));
        if (!rules || int(rules->len()) >= maxRules)
            return;
        id = nextItemId(rules.get(), "id");
        rules->addArrayItem(numberedRule(req, id).get());
    });
    if (rsp && rsp->status == FAL_OK)
        rsp->data = wifiIdReply(id);
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiSsidAccesscontrolDeleteOne(_FAL_REQ_T* req)
{
    return changeList(*this, req, {__func__, 3, false, FAL_DELETED, "Record Deleted"}, [&](TreeMapObject* ssid) {
        FalTree rules(ssid->get("accessControl.rules"));
        unsigned position = 0;
        if (wifiFindItem(rules.get(), "id", wifiIdAt(req, 2), &position))
            rules->delArrayItem(position);
    });
}

_FAL_RSP_T* FalWifiLdb::WifiSsidAccesscontrolDeleteAll(_FAL_REQ_T* req)
{
    return changeList(*this, req, {__func__, 2, false, FAL_DELETED, "Record Deleted"}, [](TreeMapObject* ssid) {
        TreeMapObject noRules(true);
        ssid->set("accessControl.rules", &noRules);
    });
}

_FAL_RSP_T* FalWifiLdb::WifiSsidAccesscontrolActive(_FAL_REQ_T* req)
{
    return changeList(*this, req, {__func__, 2, true, FAL_OK, ""}, [&](TreeMapObject* ssid) {
        ssid->set("accessControl.active", req->body->get<bool>("active"));
    });
}
