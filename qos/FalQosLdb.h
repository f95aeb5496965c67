// FalQosLdb: the QoS family over the local database.
#pragma once

#include "frame/IFal.h"

class FalQosLdb : public IFalQos {
public:
    FalQosLdb();
    ~FalQosLdb() override;

    // Generic read of one member of the QoS document.
    _FAL_RSP_T* handleGeneralDbGet(_FAL_REQ_T* req, const char* key);
};
