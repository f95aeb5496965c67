#include "qos/FalQosLdb.h"

FalQosLdb::FalQosLdb()
{
    apiType = API_TYPE_QOS;
}

FalQosLdb::~FalQosLdb() {}
