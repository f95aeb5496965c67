#include "mediashare/FalMediaShareLdb.h"

FalMediaShareLdb::FalMediaShareLdb()
{
    apiType = API_TYPE_MEDIASHARE;
}

FalMediaShareLdb::~FalMediaShareLdb() {}
