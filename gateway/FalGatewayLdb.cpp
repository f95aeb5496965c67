#include "gateway/FalGatewayLdb.h"

#include "frame/FalGeneric.h"

FalGatewayLdb::FalGatewayLdb()
{
    apiType = API_TYPE_GATEWAY;
    pthread_mutex_init(&upgradeMutex, nullptr);
}

FalGatewayLdb::~FalGatewayLdb()
{
    pthread_mutex_destroy(&upgradeMutex);
}

_FAL_RSP_T* FalGatewayLdb::handleGeneralDbGet(_FAL_REQ_T* req, const char* key)
{
    return falGeneralDbGet(apiType, LOG_GROUP_GATEWAY, req, key);
}

_FAL_RSP_T* FalGatewayLdb::handleGeneralDbUpdate(_FAL_REQ_T* req, const char* key)
{
    return falGeneralDbUpdate(apiType, LOG_GROUP_GATEWAY, req, key);
}
