// The gateway root of a host process: prepared by the library (host/FalRoot.h).
#pragma once

#include "host/FalRoot.h"
