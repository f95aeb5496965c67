#include "security/FalSecurityLdb.h"

FalSecurityLdb::FalSecurityLdb()
{
    apiType = API_TYPE_SECURITY;
}

FalSecurityLdb::~FalSecurityLdb() {}
