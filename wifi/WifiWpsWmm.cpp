// WPS pairing and PINs, WMM settings per radio, and the whole-wifi restore and restart.
#include <cstdlib>
#include <ctime>

#include "frame/FalResponse.h"
#include "wifi/FalWifiLdb.h"
#include "wifi/WifiHelpers.h"

namespace {

const char* const NO_WMM = "failed to get wmm";

// The WMM settings an update may carry, in order.
const char* const kWmmSettings[] = {"active", "option", "noAck", "powersave"};

// Locks `key`, copies it into the reply and releases it: a plain read of one wifi object.
_FAL_RSP_T* readObject(FalWifiLdb& wifi, _FAL_REQ_T* req, const char* key)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(wifi.apiType, falResponseId(API_TYPE_WIFI, req->msgId), false);
    FalLock object(wifi.apiType, key, req->requester, rsp, WIFI_LOAD_FAILED);
    if (object)
        rsp->data = object->clone(nullptr);
    return rsp;
}

// Locks "wps", stores the body's `member` there (read by `read`) and saves.
template <class Read>
_FAL_RSP_T* changeWps(FalWifiLdb& wifi, _FAL_REQ_T* req, const char* member, Read read)
{
    _FAL_RSP_T* rsp = nullptr;
    if (!wifiOpen(rsp, wifi.apiType, false, req, 0, true))
        return rsp;
    FalLock wps(wifi.apiType, "wps", req->requester, rsp, WIFI_LOAD_FAILED);
    if (wps) {
        wps->set(member, read(req->body, member));
        if (wps.saveOrAnswer(rsp, WIFI_SAVE_FAILED))
            falAnswer(rsp, FAL_OK, "");
    }
    return rsp;
}

// An answer with fixed data and nothing stored: status 0 with the message "".
_FAL_RSP_T* answerOk(FalWifiLdb& wifi, _FAL_REQ_T* req, const char* pin = nullptr)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(wifi.apiType, falResponseId(API_TYPE_WIFI, req->msgId), pin != nullptr);
    if (pin)
        rsp->data->set("pin", pin);
    falAnswer(rsp, FAL_OK, "");
    return rsp;
}

}  // namespace

_FAL_RSP_T* FalWifiLdb::WifiWpsGet(_FAL_REQ_T* req)
{
    return readObject(*this, req, "wps");
}

_FAL_RSP_T* FalWifiLdb::WifiWpsUpdate(_FAL_REQ_T* req)
{
    return changeWps(*this, req, "active",
                     [](TreeMapObject* body, const char* member) { return body->get<bool>(member); });
}

_FAL_RSP_T* FalWifiLdb::WifiWpsActivate(_FAL_REQ_T* req)
{
    if (!req)
        return nullptr;
    _FAL_RSP_T* rsp = newFalResponse(apiType, falResponseId(API_TYPE_WIFI, req->msgId), true);
    rsp->data->set("retryAfter[1]", 60);
    rsp->data->set("retryAfter[2]", 40);
    rsp->data->set("retryAfter[3]", 20);
    rsp->data->set("retryAfter[4]", 10);
    rsp->data->set("maxRetry", 4);
    rsp->data->set("location", "/api/v1/wifi/wps/connection");
    rsp->status = FAL_ACCEPTED;
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiWpsActivateDevicepin(_FAL_REQ_T* req)
{
    return changeWps(*this, req, "pin",
                     [](TreeMapObject* body, const char* member) { return body->get<const char*>(member); });
}

_FAL_RSP_T* FalWifiLdb::WifiWpsActivateRouterpin(_FAL_REQ_T* req)
{
    srand(time(nullptr));
    char pin[9];
    for (int i = 0; i < 8; ++i)
        pin[i] = char('0' + rand() % 10);
    pin[8] = '\0';
    return answerOk(*this, req, pin);
}

_FAL_RSP_T* FalWifiLdb::WifiWpsCancel(_FAL_REQ_T* req)
{
    return answerOk(*this, req);
}

_FAL_RSP_T* FalWifiLdb::WifiWpsRestoreDefault(_FAL_REQ_T* req)
{
    return answerOk(*this, req, "40592718");
}

_FAL_RSP_T* FalWifiLdb::WifiWmmGet(_FAL_REQ_T* req)
{
    WifiBandCycle how{1, false, "wmm", nullptr, FAL_NOT_FOUND, NO_WMM};
    return wifiBandCycle(apiType, req, how, [](_FAL_RSP_T* rsp, FalLock&, TreeMapObject* radio, int) {
        rsp->data = radio->clone(nullptr);
    });
}

_FAL_RSP_T* FalWifiLdb::WifiWmmUpdate(_FAL_REQ_T* req)
{
    WifiBandCycle how{1, true, "wmm", nullptr, FAL_NOT_FOUND, NO_WMM};
    return wifiBandCycle(apiType, req, how, [&](_FAL_RSP_T* rsp, FalLock& wmm, TreeMapObject* radio, int) {
        for (const char* member : kWmmSettings) {
            FalTree value(req->body->get(member));
            if (value)
                radio->set(member, value.get());
        }
        wmm.saveOrAnswer(rsp, WIFI_SAVE_FAILED);
    });
}

_FAL_RSP_T* FalWifiLdb::WifiRestoreDefault(_FAL_REQ_T* req)
{
    return answerOk(*this, req);
}

_FAL_RSP_T* FalWifiLdb::WifiRestart(_FAL_REQ_T* req)
{
    return answerOk(*this, req);
}

_FAL_RSP_T* FalWifiLdb::WifiWpsGetConnection(_FAL_REQ_T* req)
{
    return readObject(*this, req, "wpsConnected");
}
