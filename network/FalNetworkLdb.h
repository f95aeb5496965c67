// FalNetworkLdb: the network family over the local database.
#pragma once

#include "frame/IFal.h"

class FalNetworkLdb : public IFalNetwork {
public:
    FalNetworkLdb();
    ~FalNetworkLdb() override;
};
