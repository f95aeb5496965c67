// The SSIDs of each radio: the primary network at position 0, guest networks behind it.
#include <string>

#include "frame/FalResponse.h"
#include "wifi/FalWifiLdb.h"
#include "wifi/WifiHelpers.h"

namespace {

const char* const NO_SSID_ARRAY = "failed to get ssid array";

// Guest SSIDs take the numbers 1 to 7; 0 is the primary network.
constexpr int kLastSsidIndex = 7;

// The members of an SSID that an update replaces, in order.
const char* const kSsidSettings[] = {"active",     "name",      "security",    "webUIAccess",
                                     "hiddenSSID", "APIsolate", "internetOnly"};

// The password shown for an SSID: the personal one for the WPA types, the WEP key for WEP.
const char* listedPassword(TreeMapObject* ssid, const char* securityType)
{
    for (const char* wpa : {"WPA-PSK", "WPA2-PSK", "WPA2/WPA-PSK"}) {
        if (sameText(securityType, wpa))
            return ssid->get<const char*>("security.personal.password");
    }
    if (sameText(securityType, "WEP"))
        return ssid->get<const char*>("security.wep.password");
    return "";
}

// The summary of an SSID in the list.
TreeMapObject* ssidSummary(TreeMapObject* ssid, const char* securityType)
{
    TreeMapObject* summary = new TreeMapObject(false);
    summary->set("index", ssid->get<int>("index"));
    summary->set("type", ssid->get<const char*>("type"));
    summary->set("active", ssid->get<bool>("active"));
    summary->set("name", ssid->get<const char*>("name"));
    summary->set("securityType", securityType);
    summary->set("password", listedPassword(ssid, securityType));
    summary->set("macAddress", "ab:ed:ef:01:10:02");
    return summary;
}

// Puts `item` at position `at` of `array`, filling the positions before it with JSON null.
void placeAt(TreeMapObject* array, unsigned at, TreeMapObject* item)
{
    TreeMapObject gap;
    while (array->len() < at)
        array->addArrayItem(&gap);
    array->setArrayItem(at, item);
}

// The lowest guest number that no SSID of the array uses, or -1 when all are taken.
int freeGuestIndex(TreeMapObject* ssids)
{
    for (int index = 1; index <= kLastSsidIndex; ++index) {
        if (!wifiFindItem(ssids, "index", index))
            return index;
    }
    return -1;
}

// The access-control list a new guest SSID starts with: off, empty, 64 rules at most.
TreeMapObject* newAccessControl()
{
    TreeMapObject* list = new TreeMapObject(false);
    TreeMapObject rules(true);
    list->set("active", false);
    list->set("maxRules", 64);
    list->set("allow", false);
    list->set("rules", &rules);
    return list;
}

}  // namespace

_FAL_RSP_T* FalWifiLdb::WifiSsidListAll(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    const char* fn = __func__;
    WifiBandCycle how{1, false, "ssid", nullptr, FAL_NOT_FOUND, "failed to get ssid"};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock&, TreeMapObject* ssids, int) {
        rsp->data = new TreeMapObject(true);
        unsigned n = ssids->len();
        for (unsigned i = 0; i < n; ++i) {
            FalTree ssid(ssids->at(i));
            const char* securityType = ssid ? ssid->get<const char*>("security.type") : nullptr;
            if (!securityType) {
                Logger::print(LOG_TYPE_INFO, WIFI_LOG, "%s: [%d] security.type=null\n", fn, int(i));
                continue;
            }
            FalTree summary(ssidSummary(ssid.get(), securityType));
            placeAt(rsp->data, i, summary.get());
        }
    });
}

_FAL_RSP_T* FalWifiLdb::WifiSsidGet(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    _FAL_RSP_T* rsp = nullptr;
    if (!wifiOpen(rsp, apiType, false, req, 2))
        return rsp;
    FalLock ssidObject(apiType, "ssid", req->requester, rsp, WIFI_LOAD_FAILED);
    FalTree ssid = wifiRequestedSsid(ssidObject.get(), req);
    if (ssidObject && !ssid)
        falAnswer(rsp, FAL_NOT_FOUND, "No record found");
    if (ssid) {
        rsp->data = ssid->clone(nullptr);
        rsp->data->set("accessControl", ssid->get<bool>("accessControl.active"));
        rsp->data->set("macAddress", "11:22:33:44:55:66");
    }
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiSsidUpdate(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    WifiBandCycle how{2, true, "ssid", nullptr, FAL_NOT_FOUND, NO_SSID_ARRAY};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& ssidObject, TreeMapObject* ssids, int) {
        FalTree ssid = wifiFindItem(ssids, "index", wifiIdAt(req, 1));
        if (!ssid) {
            falAnswer(rsp, FAL_NOT_FOUND, "failed to get ssid");
            return;
        }
        for (const char* member : kSsidSettings) {
            FalTree value(req->body->get(member));
            ssid->set(member, value.get());
        }
        if (ssidObject.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, FAL_OK, "");
    });
}

_FAL_RSP_T* FalWifiLdb::WifiSsidCreate(_FAL_REQ_T* req)
{
    WifiBandCycle how{1, false, "ssid", nullptr, FAL_NOT_FOUND, NO_SSID_ARRAY};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& ssidObject, TreeMapObject* ssids, int) {
        int index = freeGuestIndex(ssids);
        if (index < 0) {
            falAnswer(rsp, FAL_FAILED, "unable to add more ssid");
            return;
        }
        if (!wifiNeedsBody(rsp, req))
            return;
        FalTree ssid(req->body->clone(nullptr));
        FalTree accessControl(newAccessControl());
        ssid->set("index", index);
        ssid->set("type", "guest");
        ssid->set("accessControl", accessControl.get());
        ssids->addArrayItem(ssid.get());
        if (ssidObject.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, FAL_CREATED, "New Created");
        rsp->data = wifiIdReply(index);
    });
}

_FAL_RSP_T* FalWifiLdb::WifiSsidGuestDelete(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = nullptr;
    if (!wifiOpen(rsp, apiType, false, req, 2))
        return rsp;
    int interfaceId = wifiIdAt(req, 0);
    int index = wifiIdAt(req, 1);
    if (index == 0) {
        falAnswer(rsp, FAL_BAD_REQUEST, "wrong ssidId");
        return rsp;
    }
    FalLock doc(apiType, "", req->requester, rsp, WIFI_LOAD_FAILED);
    FalTree ssids = wifiLockedBand(rsp, doc.get(), "ssid", interfaceId, FAL_NOT_FOUND, "cannot get ssid array");
    if (ssids) {
        unsigned position = 0;
        if (wifiFindItem(ssids.get(), "index", index, &position))
            ssids->delArrayItem(position);
        if (doc.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, FAL_DELETED, "Record Deleted");
    }
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiSsidGuestDeleteAll(_FAL_REQ_T* req)
{
    WifiBandCycle how{1, false, "", "ssid", FAL_NOT_FOUND, NO_SSID_ARRAY};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& doc, TreeMapObject* ssids, int interfaceId) {
        TreeMapObject primaryOnly(true);
        FalTree primary(ssids->at(0));
        if (primary)
            primaryOnly.addArrayItem(primary.get());
        const char* band = GetInterfaceNameById(doc.get(), interfaceId);
        if (band)
            doc->set((std::string("ssid.") + band).c_str(), &primaryOnly);
        if (doc.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, FAL_OK, "");
    });
}

_FAL_RSP_T* FalWifiLdb::WifiSsidActive(_FAL_REQ_T* req)
{
    WifiBandCycle how{2, true, "", "ssid", FAL_NOT_FOUND, NO_SSID_ARRAY};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& doc, TreeMapObject* ssids, int) {
        bool active = req->body->get<bool>("active");
        FalTree ssid = wifiFindItem(ssids, "index", wifiIdAt(req, 1));
        if (ssid) {
            ssid->set("active", active);
            if (!active)
                TurnOffConnectedDevices(ssid->get<const char*>("name"), req->requester);
        }
        if (doc.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, FAL_OK, "");
    });
}
