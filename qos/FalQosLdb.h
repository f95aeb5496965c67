// FalQosLdb: the QoS family over the local database.
#pragma once

#include "frame/IFal.h"

class FalQosLdb : public IFalQos {
public:
    FalQosLdb();
    ~FalQosLdb() override;

    // QoS switch and the priority rules.
    _FAL_RSP_T* QosConfigurationUpdate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* QosRulesCreate(_FAL_REQ_T* req) override;
    _FAL_RSP_T* QosRulesChange(_FAL_REQ_T* req) override;
    _FAL_RSP_T* QosRulesDeleteOne(_FAL_REQ_T* req) override;
    _FAL_RSP_T* QosRulesDeleteAll(_FAL_REQ_T* req) override;

    // Services, IPTV and the port groups.
    _FAL_RSP_T* QosIptvUpdate(_FAL_REQ_T* req) override;
};
