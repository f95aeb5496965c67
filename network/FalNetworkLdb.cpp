#include "network/FalNetworkLdb.h"

FalNetworkLdb::FalNetworkLdb()
{
    apiType = API_TYPE_NETWORK;
}

FalNetworkLdb::~FalNetworkLdb() {}
