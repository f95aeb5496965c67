// The radios: interface list, radio settings, switching a radio, its defaults and network types.
#include <algorithm>
#include <iterator>

#include "frame/FalResponse.h"
#include "wifi/FalWifiLdb.h"
#include "wifi/WifiHelpers.h"

namespace {

const char* const NO_RADIO = "failed to get radio object";
const char* const NO_NETWORK_TYPE = "failed to get network type";

// The settings a radio change may carry, in the order they are applied.
const char kRadioSettings[17][64] = {
    "active",
    "basic.channel",
    "basic.wirelessMode",
    "basic.bandwidth",
    "basic.sideband",
    "basic.outputPower",
    "basic.hideSSID",
    "advanced.obssCoexistence",
    "advanced.802dot11Protection",
    "advanced.regulatoryMode",
    "advanced.beamforming",
    "advanced.shortGuardInterval",
    "advanced.beaconInterval",
    "advanced.dtimInterval",
    "advanced.fragmentationThreshold",
    "advanced.rstThreshold",
    "advanced.countryCode",
};

// The sections of a radio that a read may be narrowed to.
const char* const kRadioSections[] = {"active", "basic", "advanced", "channelList"};

// The restored part of a radio.
const char* const kRestoredMembers[] = {"active", "basic", "advanced"};

// Gateway connectivity level of an output power: 1 high, 2 medium, 3 low, 0 for anything else.
int powerLevel(const char* outputPower)
{
    if (sameText(outputPower, "high"))
        return 1;
    if (sameText(outputPower, "medium"))
        return 2;
    return sameText(outputPower, "low") ? 3 : 0;
}

// Sets the gateway's connectivity of the radio from its output power; unknown powers change nothing.
void followOutputPower(int interfaceId, const char* outputPower, const char* requester)
{
    int level = powerLevel(outputPower);
    if (level)
        FalWifiLdb::UpdateGatewayConnectivity(interfaceId, level, requester);
}

// Sets "active" on the first `count` items of the array.
void setActiveOnFirst(TreeMapObject* array, unsigned count, bool active)
{
    for (unsigned i = 0; i < count; ++i) {
        FalTree item(array->at(i));
        if (item)
            item->set("active", active);
    }
}

// Switches a radio's SSIDs and network types on, and its connectivity to its output power. False
// when the radio lacks either list (nothing more is done).
bool radioOn(TreeMapObject* doc, TreeMapObject* radio, int interfaceId, const char* requester)
{
    FalTree ssids = wifiBand(doc, "ssid", interfaceId);
    if (!ssids)
        return false;
    setActiveOnFirst(ssids.get(), 1, true);
    FalTree networkTypes = wifiBand(doc, "networkType", interfaceId);
    if (!networkTypes)
        return false;
    setActiveOnFirst(networkTypes.get(), 2, true);
    followOutputPower(interfaceId, radio->get<const char*>("basic.outputPower"), requester);
    return true;
}

// Switches off every SSID of a radio (disconnecting their devices), its network types and its
// connectivity. False when the radio has no network-type list.
bool radioOff(TreeMapObject* doc, int interfaceId, const char* requester)
{
    FalTree ssids = wifiBand(doc, "ssid", interfaceId);
    unsigned n = ssids ? ssids->len() : 0;
    for (unsigned i = 0; i < n; ++i) {
        FalTree ssid(ssids->at(i));
        if (ssid)
            FalWifiLdb::TurnOffSpecificSsid(ssids.get(), ssid->get<int>("index"), requester);
    }
    FalTree networkTypes = wifiBand(doc, "networkType", interfaceId);
    if (!networkTypes)
        return false;
    setActiveOnFirst(networkTypes.get(), 2, false);
    FalWifiLdb::UpdateGatewayConnectivity(interfaceId, 0, requester);
    return true;
}

}  // namespace

_FAL_RSP_T* FalWifiLdb::WifiInterfaceGet(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(apiType, falResponseId(API_TYPE_WIFI, req->msgId), true);
    FalLock interfaces(apiType, "interfaces", req->requester, rsp, WIFI_LOAD_FAILED);
    if (interfaces) {
        rsp->data->set("interfaces", interfaces.get());
        falAnswer(rsp, FAL_OK, "");
    }
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiRadioGet(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    WifiBandCycle how{1, false, "radio", nullptr, FAL_NOT_FOUND, NO_RADIO};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock&, TreeMapObject* radio, int) {
        const char* section = wifiParamAt(req, 1);
        const char* const* known = std::find_if(std::begin(kRadioSections), std::end(kRadioSections),
                                                [&](const char* name) { return sameText(name, section); });
        if (known != std::end(kRadioSections)) {
            rsp->data = new TreeMapObject(false);
            FalTree member(radio->get(section));
            if (member)
                rsp->data->set(section, member.get());
        } else {
            rsp->data = radio->clone(nullptr);
        }
        falAnswer(rsp, FAL_OK, "");
    });
}

_FAL_RSP_T* FalWifiLdb::WifiRadioChange(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    WifiBandCycle how{1, true, "", "radio", FAL_NOT_FOUND, NO_RADIO};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& doc, TreeMapObject* radio, int interfaceId) {
        falAnswer(rsp, FAL_FAILED, "");
        FalTree actualUsed(doc->get("actualUsed"));
        for (const char* path : kRadioSettings) {
            FalTree value(req->body->get(path));
            if (value)
                radio->set(path, value.get());
        }
        if (!actualUsed) {
            falAnswer(rsp, FAL_NOT_FOUND, "failed to get 'actualUsed'");
            return;
        }
        rsp->data = actualUsed->clone(nullptr);
        if (doc.saveOrAnswer(rsp, WIFI_SAVE_FAILED)) {
            falAnswer(rsp, FAL_OK, "");
            const char* outputPower = req->body->get<const char*>("basic.outputPower");
            if (!outputPower)
                Logger::print(LOG_TYPE_INFO, WIFI_LOG, "No outputPower parameter found\n");
            followOutputPower(interfaceId, outputPower, req->requester);
        }
    });
}

_FAL_RSP_T* FalWifiLdb::WifiRadioActive(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    WifiBandCycle how{1, true, "", "radio", FAL_DB_ERROR, WIFI_LOAD_FAILED};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& doc, TreeMapObject* radio, int interfaceId) {
        bool active = req->body->get<bool>("active");
        radio->set("active", active);
        bool switched = active ? radioOn(doc.get(), radio, interfaceId, req->requester)
                               : radioOff(doc.get(), interfaceId, req->requester);
        if (switched && doc.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, FAL_OK, "");
    });
}

_FAL_RSP_T* FalWifiLdb::WifiRadioRestoreDefault(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    WifiBandCycle how{1, false, "", "radio", FAL_DB_ERROR, WIFI_LOAD_FAILED};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& doc, TreeMapObject* radio, int interfaceId) {
        FalTree factory =
            wifiLockedBand(rsp, doc.get(), "radioDefault", interfaceId, FAL_DB_ERROR, WIFI_LOAD_FAILED);
        if (!factory)
            return;
        rsp->data = new TreeMapObject(false);
        for (const char* member : kRestoredMembers) {
            FalTree value(factory->get(member));
            if (!value)
                continue;
            radio->set(member, value.get());
            rsp->data->set(member, value.get());
        }
        if (doc.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, FAL_OK, "");
    });
}

_FAL_RSP_T* FalWifiLdb::WifiNetworkTypeGet(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    const char* fn = __func__;
    WifiBandCycle how{1, false, "", "networkType", FAL_NOT_FOUND, NO_NETWORK_TYPE};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& doc, TreeMapObject* types, int interfaceId) {
        FalTree reply(types->clone(nullptr));
        if (!reply) {
            Logger::print(LOG_TYPE_ERROR, WIFI_LOG, "%s: memory allocation error\n", fn);
            return;
        }
        // The guest entry lists every SSID of the radio but the primary one.
        FalTree guest(reply->at(1));
        FalTree guestSsids(guest ? guest->get("ssid") : nullptr);
        FalTree ssids = wifiBand(doc.get(), "ssid", interfaceId);
        for (unsigned i = 1; guestSsids && ssids && i < ssids->len(); ++i) {
            FalTree ssid(ssids->at(i));
            FalTree index(ssid ? ssid->get("index") : nullptr);
            guestSsids->addArrayItem(index.get());
        }
        rsp->data = reply.release();
        falAnswer(rsp, FAL_OK, "OK");
    });
}

_FAL_RSP_T* FalWifiLdb::WifiNetworkTypeChange(_FAL_REQ_T* req)
{
    FalTrace trace(WIFI_LOG, __func__, FAL_TRACE_NAME_ENTRY_ONLY);
    WifiBandCycle how{2, true, "", "networkType", FAL_NOT_FOUND, NO_NETWORK_TYPE};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& doc, TreeMapObject* types, int interfaceId) {
        const char* name = wifiParamAt(req, 1);
        bool active = req->body->get<bool>("active");
        if (sameText(name, "primary")) {
            setActiveOnFirst(types, 1, active);
            FalTree ssids = wifiBand(doc.get(), "ssid", interfaceId);
            if (ssids)
                setActiveOnFirst(ssids.get(), 1, active);
        } else if (sameText(name, "guest")) {
            FalTree guest(types->at(1));
            if (guest)
                guest->set("active", active);
        }
        if (doc.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, FAL_OK, "");
    });
}
