// The operations of the seven interfaces in slot order, with their request ids, and how to call
// one of them on a family object.
#pragma once

#include <vector>

#include "frame/IFal.h"

struct FalOpInfo {
    const char* name;
    unsigned slot;       // position in the interface, from 0
    unsigned requestId;  // request message id; the response id is requestId + 1
};

struct FalInterfaceInfo {
    const char* name;  // "gateway", "wifi", "network", "security", "service", "mediashare", "qos"
    unsigned apiType;
    std::vector<FalOpInfo> ops;

    // Calls operation `slot` directly (no dispatch, no lock clean-up).
    _FAL_RSP_T* (*call)(IFal* family, unsigned slot, _FAL_REQ_T* req);

    const FalOpInfo* findOp(const char* opName) const;
    const FalOpInfo* findRequest(unsigned requestId) const;
};

// The interface of API type `apiType` (gateway 0 ... media share 5, QoS 6), or null.
const FalInterfaceInfo* falInterfaceByApiType(unsigned apiType);

// How many times the dispatcher had to release locks that an operation left held.
unsigned long falLeftLockCount();
