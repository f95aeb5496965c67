// An owning handle on a tree node or a clone: freed when it goes out of scope.
#pragma once

#include <memory>

#include "host/TreeMapObject.h"

using FalTree = std::unique_ptr<TreeMapObject>;
