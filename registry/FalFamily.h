// The seven families for hosts and tools: their operations in slot order with request ids, how to
// construct the family object, how to call one operation and whether the family implements it.
#pragma once

#include <vector>

#include "frame/FalOpTable.h"

struct FalFamilyInfo : FalInterfaceInfo {
    // A new family object with its API type set; the caller deletes it.
    IFal* (*create)();
    // Whether the family object overrides the interface's body of operation `slot`.
    bool (*implemented)(const IFal* family, unsigned slot);
};

// The seven families, in API type order (gateway 0 ... media share 5, QoS 6).
const std::vector<FalFamilyInfo>& falFamilies();
const FalFamilyInfo* falFamilyByName(const char* name);
const FalFamilyInfo* falFamilyByApiType(unsigned apiType);
