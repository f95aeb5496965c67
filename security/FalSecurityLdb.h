// FalSecurityLdb: the security family over the local database.
#pragma once

#include "frame/IFal.h"

class FalSecurityLdb : public IFalSecurity {
public:
    FalSecurityLdb();
    ~FalSecurityLdb() override;

    // Sets "advanced.parentalContrl" of the gateway's connected devices whose "macAddress" is
    // `macAddress` (all of them for null). 0, or 8 when the gateway document cannot be locked or
    // saved.
    int UpdateGatewayParentalControl(bool active, const char* macAddress, const char* requester);

    // Firewall, alerts, log and the intelSecurity object.
    _FAL_RSP_T* SecurityFirewallGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityFirewallUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityFirewallIpv4Update(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityFirewallLogClear(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityFirewallAlertUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityFirewallLogGet(_FAL_REQ_T* req) override;

    // Parental control.
    _FAL_RSP_T* SecurityParentalcontrolGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityParentalcontrolSet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityParentalcontrolUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityParentalcontrolAuthUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityParentalcontrolCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityParentalcontrolFilterCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityParentalcontrolDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityParentalcontrolFilterDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityParentalcontrolDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityParentalcontrolAskPermission(_FAL_REQ_T* req) override;

    // VPN mode, server, client and IPsec tunnels.
    _FAL_RSP_T* SecurityVpnModeGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnServerGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnServerUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnClientUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnIpsecGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnIpsecGetOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnIpsecUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnIpsecDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnIpsecDeleteAll(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnIpsecConnect(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnIpsecDisconnect(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityVpnIpsecCreate(_FAL_REQ_T* req) override;

    // Managed sites, services and devices: they only check that the document can be locked.
    _FAL_RSP_T* SecurityManagedSitesGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedSitesSet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedSitesCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedSitesUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedSitesDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedSitesTrustComputerAdd(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedSitesTrustComputerDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedServicesGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedServicesSet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedServicesCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedServicesUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedServicesDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedServicesTrustComputerAdd(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedServicesTrustComputerDelete(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedDevicesGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedDevicesSet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedDevicesCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedDevicesUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* SecurityManagedDevicesDelete(_FAL_REQ_T* req) override;
};
