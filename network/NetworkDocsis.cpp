// DOCSIS and MTA read-outs: each copies one stored object into its answer.
#include "network/FalNetworkLdb.h"
#include "network/NetworkHelpers.h"

namespace {

// A copy of the member `member` of "mta", traced as `fn`; 8 "Cannot load network database" when "mta" cannot be
// locked or lacks the member.
_FAL_RSP_T* mtaMemberGet(_FAL_REQ_T* req, const char* fn, const char* member, unsigned requestId)
{
    FalTrace trace(NET_LOG, fn);
    if (networkNullRequest(req))
        return nullptr;
    _FAL_RSP_T* rsp = networkResponse(requestId, false);
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
    return networkObjectGet(req, __func__, "docsis");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisChannelGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "channel");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisInitialProcedureGet(_FAL_REQ_T* req)
{
    FalTrace trace(NET_LOG, __func__);
    if (req)
        Logger::print(LOG_TYPE_PROGRESS, NET_LOG, "[DOCSIS]%s %d\n", __func__, 1978);
    return networkObjectGet(req, nullptr, "procedure");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisInitialFrequencyGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "initialFrequency");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisUsChannelidGet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "usChannel");
}

// The two setters store nothing: they answer with the modem's state, whatever the body holds.
_FAL_RSP_T* FalNetworkLdb::NetworkDocsisInitialFrequencySet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "docsis");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisUsChannelidSet(_FAL_REQ_T* req)
{
    return networkObjectGet(req, __func__, "docsis");
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaGet(_FAL_REQ_T* req)
{
    return mtaMemberGet(req, __func__, "info", FalMsg::NetworkDocsisMtaGet);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaLineGet(_FAL_REQ_T* req)
{
    return mtaMemberGet(req, __func__, "line", FalMsg::NetworkDocsisMtaLineGet);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaProcedureGet(_FAL_REQ_T* req)
{
    return mtaMemberGet(req, __func__, "procedure", FalMsg::NetworkDocsisMtaProcedureGet);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaVqmGetList(_FAL_REQ_T* req)
{
    return mtaMemberGet(req, __func__, "vqmList", FalMsg::NetworkDocsisMtaVqmGetList);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaConfigurationFile(_FAL_REQ_T* req)
{
    return mtaMemberGet(req, __func__, "configFile", FalMsg::NetworkDocsisMtaConfigurationFile);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaEnterpriseMibs(_FAL_REQ_T* req)
{
    return mtaMemberGet(req, __func__, "enterpriseMib", FalMsg::NetworkDocsisMtaEnterpriseMibs);
}

_FAL_RSP_T* FalNetworkLdb::NetworkDocsisMtaLoopdiagTest(_FAL_REQ_T* req)
{
    return mtaMemberGet(req, __func__, "loogDiag", FalMsg::NetworkDocsisMtaLoopdiagTest);
}
