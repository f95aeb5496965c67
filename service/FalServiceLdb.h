// FalServiceLdb: the service family over the local database.
#pragma once

#include "frame/IFal.h"

class TreeMapObject;

class FalServiceLdb : public IFalService {
public:
    FalServiceLdb();
    ~FalServiceLdb() override;

    // Rule lists: MAC, port, IP and port-and-address filtering.
    _FAL_RSP_T* ServiceMacfilteringList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceMacfilteringUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceMacfilteringPatch(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceMacfilteringCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceMacfilteringDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceMacfilteringDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortfilteringList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortfilteringUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortfilteringPatch(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortfilteringCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortfilteringDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortfilteringDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceIpfilteringList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceIpfilteringUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceIpfilteringPatch(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceIpfilteringCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceIpfilteringDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceIpfilteringDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortIpFilteringList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortIpFilteringPatch(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortIpFilteringCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortIpFilteringDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortIpFilteringDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortIpfilteringActive(_FAL_REQ_T* req) override;

    // Rule lists: port forwarding and port triggering.
    _FAL_RSP_T* ServicePortforwardingList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortforwardingUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortforwardingPatch(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortforwardingCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortforwardingDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortforwardingDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePortforwardingActive(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePorttriggeringList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePorttriggeringUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePorttriggeringPatch(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePorttriggeringCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePorttriggeringDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePorttriggeringDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServicePorttriggeringActive(_FAL_REQ_T* req) override;

    // Rule lists: wake-on-LAN, static routes, reserved addresses, MAC pass-through.
    _FAL_RSP_T* ServiceWolList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceWolUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceWolCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceWolDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceWolDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceWolWakeon(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceWolActive(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceStaticrouteList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceStaticrouteUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceStaticroutePatch(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceStaticrouteCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceStaticrouteDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceStaticrouteDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceStaticrouteActive(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceReservedipList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceReservedipUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceReservedipPatch(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceReservedipCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceReservedipDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceReservedipDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceReservedipActive(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceMacpassthroughList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceMacpassthroughDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceMacpassthroughDeleteAll(_FAL_REQ_T* req) override;

    // Single objects: DDNS, DMZ, RIP, UPnP, ALG, network options.
    _FAL_RSP_T* ServiceDdnsGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceDdnsUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceDmzGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceDmzUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceRipGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceRipUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceUpnpGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceUpnpUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceUpnpPortmappingGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceAlgGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceAlgUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceNetworkOptionGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceNetworkOptionUpdate(_FAL_REQ_T* req) override;

    // System log and diagnostics.
    _FAL_RSP_T* ServiceLogGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceLogChange(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceLogSave(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceLogClear(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceDiagnosticsPing(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceDiagnosticsTraceroute(_FAL_REQ_T* req) override;
    _FAL_RSP_T* ServiceDiagnosticsRoutehops(_FAL_REQ_T* req) override;
};

// A fresh id for a rule array: greater than every `member` of its entries (ids 1, 0 give 3).
// -1 for a null list or member name.
int handleFindNewArrayItemId(TreeMapObject* list, const char* member);
// Index of the first entry whose `member` equals `id`, or -1.
int handleFindArrayItemById(TreeMapObject* list, const char* member, int id);

// Sets "connected" of the gateway's connected device `id` and stamps "lastConnected".
void ServiceUpdateGatewayConnectedDeviceStatus(int id, bool connected, const char* requester);
// Sets "advanced.macFiltering" of the gateway's connected device `id`.
void ServiceUpdateGatewayConnectedDeviceMacField(int id, const char* value, const char* requester);
