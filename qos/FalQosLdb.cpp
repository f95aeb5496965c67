#include "qos/FalQosLdb.h"

#include "frame/FalGeneric.h"

FalQosLdb::FalQosLdb()
{
    apiType = API_TYPE_QOS;
}

FalQosLdb::~FalQosLdb() {}

_FAL_RSP_T* FalQosLdb::handleGeneralDbGet(_FAL_REQ_T* req, const char* key)
{
    return falGeneralDbGet(apiType, LOG_GROUP_QOS, req, key);
}
