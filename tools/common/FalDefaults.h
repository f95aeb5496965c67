// The factory-default root compiled into the library (host/FalDefaults.h).
#pragma once

#include "host/FalDefaults.h"
