// FalGatewayLdb: the gateway family over the local database.
#pragma once

#include "frame/IFal.h"
#include <pthread.h>

class TreeMapObject;

class FalGatewayLdb : public IFalGateway {
public:
    FalGatewayLdb();
    ~FalGatewayLdb() override;

    // Users, login and permissions.
    _FAL_RSP_T* GatewayLogin(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayLogout(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserSecurityLevelPasswordGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayChangePassword(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserValidate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserRefresh(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserCheckDefault(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUserHideWizard(_FAL_REQ_T* req) override;

    // Connected devices and connectivity.
    _FAL_RSP_T* GatewayConnectivity(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayDevicesList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayDevicesGetOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayDevicesUpdate(_FAL_REQ_T* req) override;

    // System status and maintenance.
    _FAL_RSP_T* GatewayRegistrationCode(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayCpuUsage(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayMemoryUsage(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayLedUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayDatetimeUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayDatetimeDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayLanguageGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayLanguageChange(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayFirmwareNewUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayFirmwareGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayFirmwareUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUpgrade(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayUpgradeStatus(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayFactoryReset(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayReboot(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayBackup(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayRestore(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayLanguageSystemGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayPowersaveModeGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayPowersaveModeChange(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayCpuTemperature(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayDeviceManagementGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* GatewayDeviceManagementChange(_FAL_REQ_T* req) override;

    pthread_mutex_t upgradeMutex;  // guards upgradeProgress only
    int upgradeProgress = 0;       // percent, advanced by every status poll

private:
    // An accepted long operation `requestId`: the response object, simulateAsync(msgId, n),
    // status 2; null for a null request.
    _FAL_RSP_T* acceptLongOperation(_FAL_REQ_T* req, unsigned requestId, unsigned n);
};

// The band member of a band-keyed wifi object: "24g" for "2.4g", "50g" for "5g", otherwise null.
// The caller deletes the handle.
TreeMapObject* GetTreeMapObjectByInterface(TreeMapObject* obj, const char* interfaceName);
