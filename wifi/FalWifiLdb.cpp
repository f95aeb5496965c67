#include "wifi/FalWifiLdb.h"

FalWifiLdb::FalWifiLdb()
{
    apiType = API_TYPE_WIFI;
}

FalWifiLdb::~FalWifiLdb() {}
