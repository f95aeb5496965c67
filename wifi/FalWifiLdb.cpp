#include "wifi/FalWifiLdb.h"

#include <cstring>

#include "wifi/WifiHelpers.h"

FalWifiLdb::FalWifiLdb()
{
    apiType = API_TYPE_WIFI;
}

FalWifiLdb::~FalWifiLdb() {}

TreeMapObject* FalWifiLdb::GetTreeMapObjectByInterface(TreeMapObject* obj, int interfaceId)
{
    if (!obj)
        return nullptr;
    if (interfaceId == 0) {
        TreeMapObject* band = obj->get("24g");
        return band ? band : obj->get("50g");
    }
    return interfaceId == 1 ? obj->get("50g") : nullptr;
}

int FalWifiLdb::SetTreeMapObjectByInterface(TreeMapObject* obj, int interfaceId, TreeMapObject* value)
{
    if (!obj || !value || (interfaceId != 0 && interfaceId != 1))
        return 2;
    FalTree first(obj->get("24g"));
    obj->set(interfaceId == 0 && first ? "24g" : "50g", value);
    return 0;
}

const char* FalWifiLdb::GetInterfaceNameById(TreeMapObject* wifiDocument, int interfaceId)
{
    FalTree interfaces(wifiDocument ? wifiDocument->get("interfaces") : nullptr);
    if (!interfaces)
        return nullptr;
    if (interfaceId == 0) {
        const char* first = interfaces->get<const char*>("[0]");
        if (sameText(first, "2.4g"))
            return "24g";
        return sameText(first, "5g") ? "50g" : nullptr;
    }
    return interfaceId == 1 && interfaces->len() == 2 ? "50g" : nullptr;
}

void FalWifiLdb::UpdateGatewayConnectivity(int interfaceId, int level, const char* requester)
{
    FalLock connectivity(API_TYPE_GATEWAY, "connectivity", requester);
    FalTree wifi(connectivity ? connectivity->get("wifi") : nullptr);
    FalTree radio(wifi && (interfaceId == 0 || interfaceId == 1) ? wifi->at(unsigned(interfaceId)) : nullptr);
    if (radio) {
        radio->set("connectivity", level);
        connectivity.save();
    }
}

void FalWifiLdb::TurnOffSpecificSsid(TreeMapObject* ssidArray, int index, const char* requester)
{
    unsigned n = ssidArray ? ssidArray->len() : 0;
    for (unsigned i = 0; i < n; ++i) {
        FalTree ssid(ssidArray->at(i));
        int own = 0;
        if (!ssid || !ssid->get_ex<int>("index", own) || own != index)
            continue;
        ssid->set("active", false);
        TurnOffConnectedDevices(ssid->get<const char*>("name"), requester);
    }
}

void FalWifiLdb::TurnOffConnectedDevices(const char* ssidName, const char* requester)
{
    FalLock devices(API_TYPE_GATEWAY, "connectedDevices", requester);
    if (devices) {
        unsigned n = devices->len();
        for (unsigned i = 0; i < n; ++i) {
            FalTree device(devices->at(i));
            if (device && sameText(device->get<const char*>("path"), ssidName))
                device->set("connected", false);
        }
        devices.save();
    }
}
