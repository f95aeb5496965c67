#include "service/FalServiceLdb.h"

FalServiceLdb::FalServiceLdb()
{
    apiType = API_TYPE_SERVICE;
}

FalServiceLdb::~FalServiceLdb() {}
