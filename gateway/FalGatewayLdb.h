// FalGatewayLdb: the gateway family over the local database.
#pragma once

#include "frame/IFal.h"
#include <pthread.h>

class FalGatewayLdb : public IFalGateway {
public:
    FalGatewayLdb();
    ~FalGatewayLdb() override;

    // Generic read and replace of one member of the gateway document.
    _FAL_RSP_T* handleGeneralDbGet(_FAL_REQ_T* req, const char* key);
    _FAL_RSP_T* handleGeneralDbUpdate(_FAL_REQ_T* req, const char* key);

    pthread_mutex_t upgradeMutex;  // guards upgradeProgress only
    int upgradeProgress = 0;       // percent, advanced by every status poll
};
