// FalServiceLdb: the service family over the local database.
#pragma once

#include "frame/IFal.h"

class FalServiceLdb : public IFalService {
public:
    FalServiceLdb();
    ~FalServiceLdb() override;
};
