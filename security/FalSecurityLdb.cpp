#include "security/FalSecurityLdb.h"

#include "frame/FalGeneric.h"

FalSecurityLdb::FalSecurityLdb()
{
    apiType = API_TYPE_SECURITY;
}

FalSecurityLdb::~FalSecurityLdb() {}

_FAL_RSP_T* FalSecurityLdb::handleGeneralDbGet(_FAL_REQ_T* req, const char* key)
{
    return falGeneralDbGet(apiType, LOG_GROUP_SECURITY, req, key);
}

_FAL_RSP_T* FalSecurityLdb::handleGeneralDbUpdate(_FAL_REQ_T* req, const char* key)
{
    return falGeneralDbUpdate(apiType, LOG_GROUP_SECURITY, req, key);
}

_FAL_RSP_T* FalSecurityLdb::handleGeneralDbDeleteAll(_FAL_REQ_T* req, const char* key)
{
    return falGeneralDbDeleteAll(apiType, LOG_GROUP_SECURITY, req, key);
}
