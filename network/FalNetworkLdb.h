// FalNetworkLdb: the network family over the local database.
//
// The LAN settings sit under "lan", the WAN interfaces under "wan.interfaces"; the access modes,
// DOCSIS and MTA read-outs each have a key of their own in the network document.
#pragma once

#include "frame/IFal.h"

class FalNetworkLdb : public IFalNetwork {
public:
    FalNetworkLdb();
    ~FalNetworkLdb() override;

    // --- LAN ------------------------------------------------------------------------------------
    _FAL_RSP_T* NetworkLanGet(_FAL_REQ_T* req) override;
    // Also moves the LAN addresses kept by the service family into the new network.
    _FAL_RSP_T* NetworkLanUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkLanIpv6Update(_FAL_REQ_T* req) override;
    // Only probes the database; nothing is restored.
    _FAL_RSP_T* NetworkLanIpv6RestoreDefault(_FAL_REQ_T* req) override;

    // --- WAN interfaces -------------------------------------------------------------------------
    _FAL_RSP_T* NetworkWanGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkWanGetOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkWanChange(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkWanIpv6Change(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkWanConnect(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkWanDisconnect(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkSwitchmodeBridge(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkCheckInternet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkLinkAuto(_FAL_REQ_T* req) override;
    // Only probes the database; nothing is detected.
    _FAL_RSP_T* NetworkWanConnectionTypeDetect(_FAL_REQ_T* req) override;

    // --- access modes ---------------------------------------------------------------------------
    _FAL_RSP_T* NetworkMaccloneGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkMaccloneSet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkOperationGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkOperationUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkXdslGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDslmodeGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDslmodeSet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkQmodeGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkQmodeUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDualwanGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDualwanUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkMobileStatusGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkMobileConfigurationGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkMobileUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkLanPortGet(_FAL_REQ_T* req) override;

    // --- DOCSIS and MTA read-outs (the VQM clear and the spectrum analyser stay unsupported) ----
    _FAL_RSP_T* NetworkDocsisGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisChannelGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisInitialProcedureGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisMtaGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisMtaLineGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisMtaProcedureGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisInitialFrequencyGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisUsChannelidGet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisInitialFrequencySet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisUsChannelidSet(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisMtaVqmGetList(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisMtaConfigurationFile(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisMtaEnterpriseMibs(_FAL_REQ_T* req) override;
    _FAL_RSP_T* NetworkDocsisMtaLoopdiagTest(_FAL_REQ_T* req) override;
};
