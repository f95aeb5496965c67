// FalWifiLdb: the wifi family over the local database.
//
// Per-radio data sits under band keys: "24g" for interface 0 (or "50g" on a device whose first
// radio is 5 GHz) and "50g" for interface 1.
#pragma once

#include <atomic>

#include "frame/IFal.h"

class TreeMapObject;

class FalWifiLdb : public IFalWifi {
public:
    FalWifiLdb();
    ~FalWifiLdb() override;

    // Flipped by every scan-result poll: clear answers the retry hints, set answers the results.
    std::atomic<bool> scanResultToggle{false};

    // --- band lookups ---------------------------------------------------------------------------

    // New handle onto the interface's member of a band-keyed object, or null.
    static TreeMapObject* GetTreeMapObjectByInterface(TreeMapObject* obj, int interfaceId);
    // Stores `value` under the interface's band key: 0 on success, 2 for a null argument or an
    // unknown interface.
    static int SetTreeMapObjectByInterface(TreeMapObject* obj, int interfaceId, TreeMapObject* value);
    // The band key of an interface as the document's "interfaces" list gives it, or null.
    static const char* GetInterfaceNameById(TreeMapObject* wifiDocument, int interfaceId);

    // --- effects on the gateway document (lock and save failures are ignored) -------------------

    // Sets the gateway's "connectivity.wifi.[interface].connectivity" to `level`.
    static void UpdateGatewayConnectivity(int interfaceId, int level, const char* requester);
    // Switches off every SSID of the array numbered `index` and disconnects its devices.
    static void TurnOffSpecificSsid(TreeMapObject* ssidArray, int index, const char* requester);
    // Marks disconnected every gateway device whose "path" is `ssidName`.
    static void TurnOffConnectedDevices(const char* ssidName, const char* requester);

    // --- radios and network types ---------------------------------------------------------------
    _FAL_RSP_T* WifiInterfaceGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiRadioGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiRadioChange(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiRadioActive(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiRadioRestoreDefault(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiNetworkTypeGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiNetworkTypeChange(_FAL_REQ_T* req) override;

    // --- SSIDs and guest networks ---------------------------------------------------------------
    _FAL_RSP_T* WifiSsidListAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidGuestDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidGuestDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidActive(_FAL_REQ_T* req) override;

    // --- per-SSID access control ----------------------------------------------------------------
    _FAL_RSP_T* WifiSsidAccesscontrolGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidAccesscontrolUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidAccesscontrolPatch(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidAccesscontrolCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidAccesscontrolDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidAccesscontrolDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiSsidAccesscontrolActive(_FAL_REQ_T* req) override;

    // --- WPS and WMM ----------------------------------------------------------------------------
    _FAL_RSP_T* WifiWpsGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWpsUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWpsActivate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWpsActivateDevicepin(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWpsActivateRouterpin(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWpsCancel(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWpsRestoreDefault(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWmmGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWmmUpdate(_FAL_REQ_T* req) override;

    // --- WDS peers ------------------------------------------------------------------------------
    _FAL_RSP_T* WifiWdsGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWdsUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWdsCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWdsDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWdsDeleteAll(_FAL_REQ_T* req) override;

    // --- whole-wifi operations and scanning -----------------------------------------------------
    _FAL_RSP_T* WifiRestoreDefault(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiRestart(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiScan(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiScanResult(_FAL_REQ_T* req) override;
    _FAL_RSP_T* WifiWpsGetConnection(_FAL_REQ_T* req) override;
};
