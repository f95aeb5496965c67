#include "frame/IFal.h"

#include "frame/FalOpTable.h"
#include "frame/FalPolicy.h"
#include "frame/FalHandler.h"
#include "frame/FalResponse.h"
#include "host/LocalDbCtrl.h"
#include "host/Logger.h"

#include <atomic>

IFal::~IFal() {}

int IFal::validateReqParams(_FAL_REQ_T*)
{
    return 0;
}

void IFal::simulateAsync(unsigned, unsigned) {}

static std::atomic<unsigned long> leftLocks{0};

unsigned long falLeftLockCount()
{
    return leftLocks.load();
}

// Checks the request, calls the operation for its msgId and makes sure that no lock outlives the
// operation.
static _FAL_RSP_T* dispatch(IFal* self, const FalInterfaceInfo& family, _FAL_REQ_T* req)
{
    if (!req) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_FRAME, "%s: null request for the %s family\n",
                      "handleFalReq", family.name);
        return nullptr;
    }
    const FalOpInfo* op = family.findRequest(req->msgId);
    if (!op || self->validateReqParams(req) != 0) {
        _FAL_RSP_T* rsp = newFalResponse(self->apiType, req->msgId + 1, false);
        if (rsp) {
            rsp->status = FAL_BAD_REQUEST;
            rsp->message = "Bad request";
        }
        return rsp;
    }
    // The family's own rows, also when the host has given the object another API type.
    const FalPolicy* policy = falPolicy(family.apiType, op->requestId);
    if (policy && policy->refusalText && falLacksRequired(*policy, *req))
        return falRefusal(family.apiType, op->requestId);
    _FAL_RSP_T* rsp = family.call(self, op->slot, req);
    if (unsigned held = LocalDbCtrl::releaseAllHeld()) {
        ++leftLocks;
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_FRAME, "%s: %s left %u lock(s) held; released\n",
                      "handleFalReq", op->name, held);
    }
    return rsp;
}

// An operation a family does not implement answers with its generic read or write, when the
// policy table gives it one, and with no response otherwise.
#define FAL_DEFINE_DEFAULT(Interface, type, name, id)                                             \
    _FAL_RSP_T* Interface::name(_FAL_REQ_T* req) { return falGenericOperation(type, apiType, id, req); }

#define FAL_DEFINE_INTERFACE(Interface, OPS, apiTypeValue)                                        \
    _FAL_RSP_T* Interface::handleFalReq(_FAL_REQ_T* req)                                          \
    {                                                                                             \
        return dispatch(this, *falInterfaceByApiType(apiTypeValue), req);                           \
    }

#define FAL_GATEWAY_DEFAULT(name, id) FAL_DEFINE_DEFAULT(IFalGateway, API_TYPE_GATEWAY, name, id)
#define FAL_NETWORK_DEFAULT(name, id) FAL_DEFINE_DEFAULT(IFalNetwork, API_TYPE_NETWORK, name, id)
#define FAL_MEDIASHARE_DEFAULT(name, id) FAL_DEFINE_DEFAULT(IFalMediaShare, API_TYPE_MEDIASHARE, name, id)
#define FAL_QOS_DEFAULT(name, id) FAL_DEFINE_DEFAULT(IFalQos, API_TYPE_QOS, name, id)
#define FAL_SECURITY_DEFAULT(name, id) FAL_DEFINE_DEFAULT(IFalSecurity, API_TYPE_SECURITY, name, id)
#define FAL_SERVICE_DEFAULT(name, id) FAL_DEFINE_DEFAULT(IFalService, API_TYPE_SERVICE, name, id)
#define FAL_WIFI_DEFAULT(name, id) FAL_DEFINE_DEFAULT(IFalWifi, API_TYPE_WIFI, name, id)

FAL_GATEWAY_OPS(FAL_GATEWAY_DEFAULT)
FAL_NETWORK_OPS(FAL_NETWORK_DEFAULT)
FAL_MEDIASHARE_OPS(FAL_MEDIASHARE_DEFAULT)
FAL_QOS_OPS(FAL_QOS_DEFAULT)
FAL_SECURITY_OPS(FAL_SECURITY_DEFAULT)
FAL_SERVICE_OPS(FAL_SERVICE_DEFAULT)
FAL_WIFI_OPS(FAL_WIFI_DEFAULT)

FAL_DEFINE_INTERFACE(IFalGateway, FAL_GATEWAY_OPS, API_TYPE_GATEWAY)
FAL_DEFINE_INTERFACE(IFalNetwork, FAL_NETWORK_OPS, API_TYPE_NETWORK)
FAL_DEFINE_INTERFACE(IFalMediaShare, FAL_MEDIASHARE_OPS, API_TYPE_MEDIASHARE)
FAL_DEFINE_INTERFACE(IFalQos, FAL_QOS_OPS, API_TYPE_QOS)
FAL_DEFINE_INTERFACE(IFalSecurity, FAL_SECURITY_OPS, API_TYPE_SECURITY)
FAL_DEFINE_INTERFACE(IFalService, FAL_SERVICE_OPS, API_TYPE_SERVICE)
FAL_DEFINE_INTERFACE(IFalWifi, FAL_WIFI_OPS, API_TYPE_WIFI)
