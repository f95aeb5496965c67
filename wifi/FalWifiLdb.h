// FalWifiLdb: the wifi family over the local database.
#pragma once

#include "frame/IFal.h"

class FalWifiLdb : public IFalWifi {
public:
    FalWifiLdb();
    ~FalWifiLdb() override;

    bool scanResultToggle = false;  // flipped by every scan-result poll
};
