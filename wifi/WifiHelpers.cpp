#include "wifi/WifiHelpers.h"

#include <cstdlib>
#include <cstring>
#include <utility>

#include "frame/FalResponse.h"
#include "wifi/FalWifiLdb.h"

const char* const WIFI_LOAD_FAILED = "failed to get database wifi";
const char* const WIFI_SAVE_FAILED = "failed to save database";
const char* const WIFI_NO_BODY = "null request content";

const char* wifiParamAt(const _FAL_REQ_T* req, unsigned position)
{
    for (const auto& param : req->params) {
        if (position-- == 0)
            return param.second.c_str();
    }
    return nullptr;
}

bool wifiOpen(_FAL_RSP_T*& rsp, unsigned apiType, bool withData, const _FAL_REQ_T* req, unsigned params,
              bool needsBody)
{
    rsp = nullptr;
    if (!req)
        return false;
    rsp = newFalResponse(apiType, falResponseId(API_TYPE_WIFI, req->msgId), withData);
    return wifiHasParams(rsp, req, params) && (!needsBody || wifiNeedsBody(rsp, req));
}

bool wifiHasParams(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, unsigned count)
{
    for (unsigned position = 0; position < count; ++position) {
        if (!wifiParamAt(req, position)) {
            falAnswer(rsp, FAL_BAD_REQUEST, "Wrong URI");
            return false;
        }
    }
    return true;
}

int wifiIdAt(const _FAL_REQ_T* req, unsigned position)
{
    const char* text = wifiParamAt(req, position);
    return text ? atoi(text) : 0;
}

bool wifiNeedsBody(_FAL_RSP_T* rsp, const _FAL_REQ_T* req)
{
    if (req->body && req->body->isObject())
        return true;
    falAnswer(rsp, FAL_BAD_REQUEST, WIFI_NO_BODY);
    return false;
}

FalTree wifiLockedBand(_FAL_RSP_T* rsp, TreeMapObject* locked, const char* member, int interfaceId,
                    FAL_STATUS_T status, const char* missing)
{
    if (!locked)
        return nullptr;
    FalTree band = member ? wifiBand(locked, member, interfaceId)
                       : FalTree(FalWifiLdb::GetTreeMapObjectByInterface(locked, interfaceId));
    if (!band)
        falAnswer(rsp, status, missing);
    return band;
}

FalTree wifiBand(TreeMapObject* doc, const char* member, int interfaceId)
{
    FalTree banded(doc->get(member));
    return FalTree(FalWifiLdb::GetTreeMapObjectByInterface(banded.get(), interfaceId));
}

FalTree wifiFindItem(TreeMapObject* array, const char* member, int value, unsigned* position)
{
    int i = findItem(array, member, value);
    if (i < 0)
        return nullptr;
    if (position)
        *position = static_cast<unsigned>(i);
    return FalTree(array->at(static_cast<unsigned>(i)));
}

FalTree wifiRequestedSsid(TreeMapObject* ssidObject, const _FAL_REQ_T* req, FalTree* ssids)
{
    FalTree array(FalWifiLdb::GetTreeMapObjectByInterface(ssidObject, wifiIdAt(req, 0)));
    FalTree ssid = wifiFindItem(array.get(), "index", wifiIdAt(req, 1));
    if (ssids)
        *ssids = std::move(array);
    return ssid;
}

TreeMapObject* wifiIdReply(int id)
{
    TreeMapObject* reply = new TreeMapObject(false);
    reply->set("id", id);
    return reply;
}

