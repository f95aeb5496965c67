// Connected devices and the connectivity summary: the members "connectedDevices" and
// "connectivity" of the gateway document, with live figures from the other families' documents.
#include <cstdint>
#include <cstring>
#include <list>
#include <string>
#include <vector>

#include "fal/FalMsgIds.h"
#include "frame/BeHelpers.h"
#include "frame/FalPolicy.h"
#include "frame/FalResponse.h"
#include "gateway/FalGatewayLdb.h"
#include "gateway/GatewayHelpers.h"
#include "host/TreeMapObject.h"

TreeMapObject* GetTreeMapObjectByInterface(TreeMapObject* obj, const char* interfaceName)
{
    if (!obj || !interfaceName)
        return nullptr;
    if (strcmp(interfaceName, "2.4g") == 0)
        return obj->get("24g");
    if (strcmp(interfaceName, "5g") == 0)
        return obj->get("50g");
    return nullptr;
}

namespace {

const char* const DEVICES = "connectedDevices";

// Number of items of the array `arrayKey` in the media-share object `key`.
unsigned mediashareCount(_FAL_REQ_T* req, const char* key, const char* arrayKey)
{
    FalLock obj(API_TYPE_MEDIASHARE, key, req->requester);
    if (!obj)
        return 0;
    TreeMapObject* items = obj->get(arrayKey);
    unsigned count = items ? items->len() : 0;
    delete items;
    return count;
}

// Sets the connectivity level of one radio entry from the radio's state; an inactive radio also
// zeroes its device count.
void applyRadioLevel(TreeMapObject* radios, const char* band, TreeMapObject* entry, unsigned& devices)
{
    const char* fn = "GatewayConnectivity";
    std::string activePath = std::string(band) + ".active";
    if (!radios->get<bool>(activePath.c_str())) {
        entry->set("connectivity", 0);
        devices = 0;
        return;
    }
    std::string powerPath = std::string(band) + ".basic.outputPower";
    const char* power = radios->get<const char*>(powerPath.c_str());
    if (!power)
        Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: Cannot load wifi output power\n", fn);
    else if (strcmp(power, "high") == 0)
        entry->set("connectivity", 1);
    else if (strcmp(power, "medium") == 0)
        entry->set("connectivity", 2);
    else if (strcmp(power, "low") == 0)
        entry->set("connectivity", 3);
    else
        Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: Unknown wifi output power\n", fn);
}

// Fills the live figures into the copy of "connectivity".
void fillConnectivity(_FAL_REQ_T* req, TreeMapObject* summary, TreeMapObject* devices)
{
    unsigned lan = 0, radio24 = 0, radio5 = 0;
    gatewayWalk(devices, [&](unsigned, TreeMapObject* dev) {
        if (dev && dev->get<bool>("connected")) {
            const char* iface = dev->get<const char*>("interface");
            if (sameText(iface, "lan"))
                ++lan;
            else if (sameText(iface, "2.4g"))
                ++radio24;
            else if (sameText(iface, "5g"))
                ++radio5;
        }
        return true;
    });
    unsigned usb = mediashareCount(req, "usb", "usbs") + mediashareCount(req, "printer", "printers");
    summary->set("lan.devices", static_cast<int>(lan));

    TreeMapObject* wifi = summary->get("wifi");
    TreeMapObject* entry24 = wifi ? wifi->at(0) : nullptr;
    TreeMapObject* entry5 = wifi ? wifi->at(1) : nullptr;
    FalLock radios(API_TYPE_WIFI, "radio", req->requester);
    if (!radios) {
        Logger::print(LOG_TYPE_INFO, GW_LOG, "Cannot load wifi database\n");
    } else {
        if (entry24)
            applyRadioLevel(radios.get(), "24g", entry24, radio24);
        if (entry5)
            applyRadioLevel(radios.get(), "50g", entry5, radio5);
    }
    if (entry24)
        entry24->set("devices", static_cast<int>(radio24));
    if (entry5)
        entry5->set("devices", static_cast<int>(radio5));
    summary->set("usb.devices", static_cast<int>(usb));
    delete entry24;
    delete entry5;
    delete wifi;

    FalLock wan(API_TYPE_NETWORK, "wan", req->requester);
    if (wan)
        summary->set("wan", wan->get<const char*>("interfaces.[0].connectivity"));
}

// The SSID names selected by "!ssid" (an SSID index) or else "!networkType" ("primary" or
// "guest") on the band of "!interface". False when the wifi document or the band is missing.
bool selectSsidNames(TreeMapObject* ssids, const char* iface, const char* ssid, const char* networkType,
                     std::vector<std::string>& names)
{
    TreeMapObject* band = GetTreeMapObjectByInterface(ssids, iface);
    if (!band)
        return false;
    int wanted = ssid ? BE_StrTo<int>(ssid) : 0;
    gatewayWalk(band, [&](unsigned i, TreeMapObject* entry) {
        const char* name = entry ? entry->get<const char*>("name") : nullptr;
        int index = 0;
        bool pick = ssid ? entry && entry->get_ex<int>("index", index) && index == wanted
                         : sameText(networkType, "primary") ? i == 0 : sameText(networkType, "guest") && i > 0;
        if (pick && name)
            names.push_back(name);
        return true;
    });
    delete band;
    return true;
}

bool isOneOf(const char* text, const std::vector<std::string>& names)
{
    for (const std::string& name : names)
        if (text && name == text)
            return true;
    return false;
}

// Index of the first device whose "macAddress" or "id" text is `deviceId`, or -1; logs the walk
// on behalf of `fn` (`missingFmt` reports a device without id or MAC address).
template <typename ReportMissing>
int findDevice(TreeMapObject* devices, const char* deviceId, const char* fn, ReportMissing reportMissing)
{
    int found = -1;
    unsigned n = devices->len();
    gatewayWalk(devices, [&](unsigned i, TreeMapObject* dev) {
        if (!dev) {
            Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] fail to get device dbdev_len=%d\n", fn, static_cast<int>(i),
                          static_cast<int>(n));
            return true;
        }
        const char* id = dev->get<const char*>("id");
        const char* mac = dev->get<const char*>("macAddress");
        if (!id || !mac) {
            reportMissing(static_cast<int>(i), id, mac);
            return true;
        }
        Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: [%d] devid=%s mac=%s\n", fn, static_cast<int>(i), id, mac);
        if (strcmp(mac, deviceId) != 0 && strcmp(id, deviceId) != 0)
            return true;
        found = static_cast<int>(i);
        return false;
    });
    return found;
}

// Items of the service rule object `key` whose member `member` is `value`; none when the object
// or the value is missing. The caller clears the list.
std::list<TreeMapObject*> findRules(TreeMapObject* service, const char* key, const char* member, const char* value)
{
    std::list<TreeMapObject*> hits;
    TreeMapObject* rules = value ? service->get(key) : nullptr;
    if (rules)
        hits = rules->find<const char*>(member, value);
    delete rules;
    return hits;
}

// Whether the service rule object `key` is active and lists the MAC address.
bool activeListHasMac(TreeMapObject* service, const char* key, const char* mac)
{
    std::string activePath = std::string(key) + ".active";
    if (!service->get<bool>(activePath.c_str()))
        return false;
    std::list<TreeMapObject*> hits = findRules(service, key, "macAddress", mac);
    bool any = !hits.empty();
    clearPointerList(hits);
    return any;
}

// The filter state of the matching entries of a filter: null (no entry), "off", or "on" when any
// entry is active.
const char* filterState(TreeMapObject* service, const char* key, const char* member, const char* value)
{
    std::list<TreeMapObject*> hits = findRules(service, key, member, value);
    const char* state = hits.empty() ? nullptr : "off";
    for (TreeMapObject* hit : hits)
        if (hit->get<bool>("active"))
            state = "on";
    clearPointerList(hits);
    return state;
}

struct DeviceStates {
    bool connected = true;
    bool reservedIP = false;
    bool wol = false;
    bool parental = false;
    const char* macFiltering = "add";
    const char* ipFiltering = "add";
};

// Reserved address, wake-on-LAN and filter states of a device from the service document.
void readServiceStates(_FAL_REQ_T* req, const char* mac, const char* ip, DeviceStates& st)
{
    FalLock service(API_TYPE_SERVICE, "", req->requester);
    if (!service)
        return;
    // The service family keeps reserved addresses under "reservedIp"; "reservedIP" wins when present.
    TreeMapObject* reservedIP = service->get("reservedIP");
    st.reservedIP = activeListHasMac(service.get(), reservedIP ? "reservedIP" : "reservedIp", mac);
    delete reservedIP;
    st.wol = activeListHasMac(service.get(), "wol", mac);
    if (const char* state = filterState(service.get(), "macFiltering", "macAddress", mac))
        st.macFiltering = state;
    if (strcmp(st.macFiltering, "on") == 0)
        st.connected = false;
    if (const char* state = filterState(service.get(), "ipFiltering", "ipAddress", ip))
        st.ipFiltering = state;
    if (strcmp(st.ipFiltering, "on") == 0)
        st.connected = false;
    if (const char* state = filterState(service.get(), "portIpFiltering", "ipAddress", ip))
        st.ipFiltering = state;
    if (strcmp(st.ipFiltering, "on") == 0)
        st.connected = false;
}

// Whether an active parental-control rule covers the device (security document).
void readParentalState(_FAL_REQ_T* req, const char* mac, DeviceStates& st)
{
    FalLock security(API_TYPE_SECURITY, "", req->requester);
    if (!security)
        return;
    TreeMapObject* parental = security->get("parentalControl");
    TreeMapObject* rules = parental && parental->get<bool>("active") ? parental->get("rules") : nullptr;
    if (rules && mac) {
        gatewayWalk(rules, [&](unsigned, TreeMapObject* rule) {
            if (!rule || !rule->get<bool>("active"))
                return true;
            std::list<TreeMapObject*> hits = parental->find<const char*>("mac", mac);
            bool any = !hits.empty();
            clearPointerList(hits);
            if (!any)
                return true;
            st.parental = true;
            Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: Found parental record, skipped\n", "GatewayDevicesGetOne");
            return false;
        });
    }
    delete rules;
    delete parental;
}

}  // namespace

_FAL_RSP_T* FalGatewayLdb::GatewayConnectivity(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = gatewayReply(req, apiType);
    if (!rsp)
        return nullptr;
    FalLock doc(apiType, "", req->requester);
    TreeMapObject* summary = nullptr;
    TreeMapObject* devices = nullptr;
    if (!doc) {
        Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: failed to load database %s\n", "GatewayConnectivity",
                      "connectivity");
        falAnswer(rsp, FAL_DB_ERROR, "failed to load database");
    } else if (!(summary = doc->clone("connectivity")) || !(devices = doc->clone(DEVICES))) {
        Logger::print(LOG_TYPE_ERROR, GW_LOG, "Failed to load devices\n");
        falAnswer(rsp, FAL_DB_ERROR, "failed to load database");
    } else {
        fillConnectivity(req, summary, devices);
        Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: clone database object\n", "GatewayConnectivity");
        rsp->data = summary->clone(nullptr);
        if (!rsp->data) {
            Logger::print(LOG_TYPE_ERROR, GW_LOG, "Failed to get result data\n");
            falAnswer(rsp, FAL_DB_ERROR, "failed to clone database");
        }
    }
    delete summary;
    delete devices;
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayDevicesList(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayDevicesList, false);
    if (!rsp)
        return nullptr;
    const char* fn = "GatewayDevicesList";
    GatewayParam connected(req, "!connected");
    GatewayParam iface(req, "!interface");
    GatewayParam ssid(req, "!ssid");
    GatewayParam networkType(req, "!networkType");
    bool bySsid = ssid.get() || networkType.get();
    std::vector<std::string> names;
    FalLock ssids = bySsid ? FalLock(API_TYPE_WIFI, "ssid", req->requester, rsp, "failed to get wifi database")
                           : FalLock();
    if (ssids && !selectSsidNames(ssids.get(), iface.get(), ssid.get(), networkType.get(), names))
        falAnswer(rsp, FAL_DB_ERROR, "failed to get wifi database");
    FalLock devices = rsp->status == FAL_OK
                          ? FalLock(apiType, DEVICES, req->requester, rsp, "failed to get gateway database")
                          : FalLock();
    if (devices) {
        rsp->data = new TreeMapObject(true);
        unsigned n = devices->len();
        gatewayWalk(devices.get(), [&](unsigned i, TreeMapObject* dev) {
            if (!dev) {
                Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] fail to get device dbdev_len=%d\n", fn,
                              static_cast<int>(i), static_cast<int>(n));
                return true;
            }
            const char* devIface = dev->get<const char*>("interface");
            const char* devConnected = dev->get<const char*>("connected");
            if (!devIface || !devConnected) {
                Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] failed to get interface %p and connected %p\n", fn,
                              static_cast<int>(i), static_cast<const void*>(devIface),
                              static_cast<const void*>(devConnected));
                return true;
            }
            bool keep = (!connected.get() || strcmp(connected.get(), devConnected) == 0) &&
                        (!iface.get() || strstr(iface.get(), devIface)) &&
                        (!bySsid || isOneOf(dev->get<const char*>("path"), names));
            if (keep)
                rsp->data->addArrayItem(dev);
            return true;
        });
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayDevicesGetOne(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayDevicesGetOne, false);
    if (!rsp)
        return nullptr;
    const char* fn = "GatewayDevicesGetOne";
    GatewayParam deviceId(req, "@deviceId");
    if (!deviceId.get()) {
        falAnswer(rsp, FAL_NOT_FOUND, "no deviceId");
        return rsp;
    }
    FalLock devices(apiType, DEVICES, req->requester, rsp, "failed to get database");
    if (devices) {
        int index = findDevice(devices.get(), deviceId.get(), fn, [fn](int i, const char* id, const char* mac) {
            Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] failed to get device id %p and mac address %p\n", fn, i,
                          static_cast<const void*>(id), static_cast<const void*>(mac));
        });
        if (index < 0) {
            falAnswer(rsp, FAL_FAILED, "cannot found device");
        } else {
            TreeMapObject* dev = devices->at(static_cast<unsigned>(index));
            rsp->data = dev ? dev->clone(nullptr) : nullptr;
            if (rsp->data) {
                const char* mac = rsp->data->get<const char*>("macAddress");
                const char* ip = rsp->data->get<const char*>("ipAddress");
                DeviceStates st;
                readServiceStates(req, mac, ip, st);
                readParentalState(req, mac, st);
                rsp->data->set("connected", st.connected);
                rsp->data->set("advanced.reservedIP", st.reservedIP);
                rsp->data->set("advanced.parentalContrl", st.parental);
                rsp->data->set("advanced.wol", st.wol);
                rsp->data->set("advanced.macFiltering", st.macFiltering);
                rsp->data->set("advanced.ipFiltering", st.ipFiltering);
                rsp->data->del("operatingStandard");
            }
            delete dev;
        }
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayDevicesUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayDevicesUpdate, false);
    if (!rsp)
        return nullptr;
    const char* fn = "GatewayDevicesUpdate";
    GatewayParam deviceId(req, "@deviceId");
    const char* deviceName = req->body ? req->body->get<const char*>("deviceName") : nullptr;
    const char* type = req->body ? req->body->get<const char*>("type") : nullptr;
    if (!deviceId.get()) {
        falAnswer(rsp, FAL_BAD_REQUEST, "no deviceId");
        return rsp;
    }
    if (!deviceName || !type) {
        falAnswer(rsp, FAL_BAD_REQUEST, "wrong request information");
        return rsp;
    }
    FalLock devices(apiType, DEVICES, req->requester, rsp, "failed to get database");
    if (devices) {
        int index = findDevice(devices.get(), deviceId.get(), fn, [fn](int i, const char* id, const char* mac) {
            // The device firmware prints the id pointer as a number here.
            Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] failed to get device id %d and mac address %p\n", fn, i,
                          static_cast<int>(reinterpret_cast<intptr_t>(id)), static_cast<const void*>(mac));
        });
        TreeMapObject* dev = index < 0 ? nullptr : devices->at(static_cast<unsigned>(index));
        if (!dev) {
            falAnswer(rsp, FAL_NOT_FOUND, "cannot found device");
        } else {
            dev->set("name", deviceName);
            dev->set("type", type);
            devices.saveOrAnswer(rsp, "failed to save database");
        }
        delete dev;
    }
    return rsp;
}
