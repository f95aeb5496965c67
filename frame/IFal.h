// The family base IFal and the seven family interfaces.
//
// Every operation takes a request and returns a response owned by the caller. An operation that a
// family class does not override keeps the interface's body, which returns null (no response).
#pragma once

#include <cstdint>

#include "frame/FalOps.h"
#include "frame/FalTypes.h"

class IFal {
public:
    virtual ~IFal();
    // Checks the request and calls the operation for its msgId.
    virtual _FAL_RSP_T* handleFalReq(_FAL_REQ_T* req) = 0;
    // 0 when the request may be dispatched.
    virtual int validateReqParams(_FAL_REQ_T* req);

    // Hook that long operations call before answering FAL_ACCEPTED; does nothing here.
    void simulateAsync(unsigned msgId, unsigned n);

    uint32_t apiType = 0;
};

#define FAL_DECLARE_OPERATION(name, requestId) virtual _FAL_RSP_T* name(_FAL_REQ_T* req);

#define FAL_DECLARE_INTERFACE(Interface, OPS)            \
    class Interface : public IFal {                      \
    public:                                              \
        _FAL_RSP_T* handleFalReq(_FAL_REQ_T* req) override; \
        OPS(FAL_DECLARE_OPERATION)                       \
    };

FAL_DECLARE_INTERFACE(IFalGateway, FAL_GATEWAY_OPS)
FAL_DECLARE_INTERFACE(IFalNetwork, FAL_NETWORK_OPS)
FAL_DECLARE_INTERFACE(IFalMediaShare, FAL_MEDIASHARE_OPS)
FAL_DECLARE_INTERFACE(IFalQos, FAL_QOS_OPS)
FAL_DECLARE_INTERFACE(IFalSecurity, FAL_SECURITY_OPS)
FAL_DECLARE_INTERFACE(IFalService, FAL_SERVICE_OPS)
FAL_DECLARE_INTERFACE(IFalWifi, FAL_WIFI_OPS)

#undef FAL_DECLARE_INTERFACE
#undef FAL_DECLARE_OPERATION
