// Descriptions of the seven families for hosts and tools: their operations in slot order with
// request ids, how to construct the family object, and how to call one operation.
#pragma once

#include <vector>

#include "frame/IFal.h"

struct FalOpInfo {
    const char* name;
    unsigned slot;       // position in the interface, from 0
    unsigned requestId;  // request message id; the response id is requestId + 1
};

struct FalFamilyInfo {
    const char* name;  // "gateway", "wifi", "network", "security", "service", "mediashare", "qos"
    unsigned apiType;
    std::vector<FalOpInfo> ops;

    // A new family object with its API type set; the caller deletes it.
    IFal* (*create)();
    // Calls operation `slot` directly (no dispatch, no lock clean-up).
    _FAL_RSP_T* (*call)(IFal* family, unsigned slot, _FAL_REQ_T* req);
    // Whether the family object overrides the interface's body of operation `slot`.
    bool (*implemented)(const IFal* family, unsigned slot);

    const FalOpInfo* findOp(const char* opName) const;
    const FalOpInfo* findRequest(unsigned requestId) const;
};

// The seven families, in API type order (gateway 0 ... media share 5, QoS 6).
const std::vector<FalFamilyInfo>& falFamilies();
const FalFamilyInfo* falFamilyByName(const char* name);
const FalFamilyInfo* falFamilyByApiType(unsigned apiType);

// How many times the dispatcher had to release locks that an operation left held.
unsigned long falLeftLockCount();
