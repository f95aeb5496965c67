// The public API for code inside this tree; embedders include <fal/fal.h>.
#pragma once

#include "fal/fal.h"
