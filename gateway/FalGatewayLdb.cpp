#include "gateway/FalGatewayLdb.h"

FalGatewayLdb::FalGatewayLdb()
{
    apiType = API_TYPE_GATEWAY;
    pthread_mutex_init(&upgradeMutex, nullptr);
}

FalGatewayLdb::~FalGatewayLdb()
{
    pthread_mutex_destroy(&upgradeMutex);
}
