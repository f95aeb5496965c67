// FalSecurityLdb: the security family over the local database.
#pragma once

#include "frame/IFal.h"

class FalSecurityLdb : public IFalSecurity {
public:
    FalSecurityLdb();
    ~FalSecurityLdb() override;

    // Generic read, replace and clear of the security document.
    _FAL_RSP_T* handleGeneralDbGet(_FAL_REQ_T* req, const char* key);
    _FAL_RSP_T* handleGeneralDbUpdate(_FAL_REQ_T* req, const char* key);
    _FAL_RSP_T* handleGeneralDbDeleteAll(_FAL_REQ_T* req, const char* key);
};
