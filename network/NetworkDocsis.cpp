// DOCSIS and MTA read-outs: each copies one stored object into its answer.
#include "network/FalNetworkLdb.h"
#include "network/NetworkHelpers.h"

namespace {

// A copy of the member `member` of "mta"; 8 "Cannot load network database" when "mta" cannot be
// locked or lacks the member.
_FAL_RSP_T* mtaMemberGet(_FAL_REQ_T* req, const char* member, unsigned msgId)
{
    if (networkNullRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(msgId, false);
    if (!rsp)
        return nullptr;
    FalLock mta(API_TYPE_NETWORK, "mta", req->requester);
    if (!mta) {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "Found no object or database is being corrupted for path %s \n", "mta");
        falAnswer(rsp, FAL_DB_ERROR, NET_LOAD_FAILED);
    } else if (FalTree value{mta->get(member)}) {
        rsp->data = value->clone(nullptr);
        rsp->status = FAL_OK;
    } else {
        Logger::print(LOG_TYPE_ERROR, NET_LOG, "Found no object or database is being corrupted for path %s/%s \n",
                      "mta", member);
        falAnswer(rsp, FAL_DB_ERROR, NET_LOAD_FAILED);
    }
    return rsp;
}

}  // namespace

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisGet");
    return networkObjectGet(req, "docsis");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisChannelGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisChannelGet");
    return networkObjectGet(req, "channel");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisInitialProcedureGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisInitialProcedureGet");
    if (req)
        Logger::print(LOG_TYPE_PROGRESS, NET_LOG, "[DOCSIS]%s %d\n", "NetworkDocsisInitialProcedureGet", 1978);
    return networkObjectGet(req, "procedure");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisInitialFrequencyGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisInitialFrequencyGet");
    return networkObjectGet(req, "initialFrequency");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisUsChannelidGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisUsChannelidGet");
    return networkObjectGet(req, "usChannel");
}

// The two setters store nothing: they answer with the modem's state, whatever the body holds.
_FAL_RSP_T* FalNetworkLdb::NetworkDocsisInitialFrequencySet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisInitialFrequencySet");
    return networkObjectGet(req, "docsis");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisUsChannelidSet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisUsChannelidSet");
    return networkObjectGet(req, "docsis");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisMtaGet");
    return mtaMemberGet(req, "info", 63);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaLineGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisMtaLineGet");
    return mtaMemberGet(req, "line", req ? req->msgId + 1 : 0);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaProcedureGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisMtaProcedureGet");
    return mtaMemberGet(req, "procedure", req ? req->msgId + 1 : 0);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaVqmGetList(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisMtaVqmGetList");
    return mtaMemberGet(req, "vqmList", 77);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaConfigurationFile(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisMtaConfigurationFile");
    return mtaMemberGet(req, "configFile", 81);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaEnterpriseMibs(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisMtaEnterpriseMibs");
    return mtaMemberGet(req, "enterpriseMib", 83);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaLoopdiagTest(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, "NetworkDocsisMtaLoopdiagTest");
    return mtaMemberGet(req, "loogDiag", 85);
}
