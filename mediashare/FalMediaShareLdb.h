// FalMediaShareLdb: the media-share family over the local database.
#pragma once

#include "frame/IFal.h"

class FalMediaShareLdb : public IFalMediaShare {
public:
    FalMediaShareLdb();
    ~FalMediaShareLdb() override;
};
