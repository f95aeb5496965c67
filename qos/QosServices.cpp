// Known services, services in use, IPTV and the port groups of the LAN ports.
#include "fal/FalMsgIds.h"
#include "frame/FalPolicy.h"
#include "frame/FalResponse.h"
#include "frame/FalTree.h"
#include "host/Logger.h"
#include "host/TreeMapObject.h"
#include "qos/FalQosLdb.h"
#include "qos/QosHelpers.h"

namespace {

// The port-group settings that an IPTV update takes from the body when it carries them.
const char* const kPortGroupPaths[] = {
    "iptv.lanPort",     "iptv.vlanID",     "iptv.vlanPriority",
    "ipPhone.lanPort",  "ipPhone.vlanID",  "ipPhone.vlanPriority",
    "internet.lanPort", "internet.vlanID", "internet.vlanPriority",
};

}  // namespace

_FAL_RSP_T* FalQosLdb::QosIptvUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::QosIptvUpdate, false);
    if (!rsp)
        return nullptr;
    if (!qosHasBody(req)) {
        Logger::print(LOG_TYPE_ERROR, LOG_GROUP_QOS, "Received wrong request\n");
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong request");
        return rsp;
    }
    FalTree body(req->body->clone(nullptr));
    FalLock iptv(apiType, "iptv", req->requester);
    if (!iptv) {
        falAnswer(rsp, FAL_DB_ERROR, "failed to get database");
    } else {
        iptv->set("active", body->get<bool>("active"));
        iptv->set("serviceID", body->get<int>("serviceID"));
        for (const char* path : kPortGroupPaths) {
            TreeMapObject* value = body->get(path);
            if (value)
                iptv->set(path, value);
            delete value;
        }
        if (!iptv.save()) {
            Logger::print(LOG_TYPE_ERROR, LOG_GROUP_QOS, "Save databse error\n");
            falAnswer(rsp, FAL_DB_ERROR, "Save databse error");
        }
    }
    return rsp;
}
