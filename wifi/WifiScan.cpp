// The neighbourhood scan: an accepted start, then a result location that answers the retry hints
// and the access points found on alternate polls.
#include <atomic>
#include <string>

#include "frame/FalResponse.h"
#include "wifi/FalWifiLdb.h"
#include "wifi/WifiHelpers.h"

namespace {

// Where the scan results of an interface are polled.
std::string resultLocation(int interfaceId)
{
    const char* id = interfaceId == 0 ? "0" : interfaceId == 1 ? "1" : "";
    return std::string("/api/v1/wifi/") + id + "/scanResult";
}

// Flips the toggle and yields the value it had.
bool flipScanToggle(std::atomic<bool>& toggle)
{
    bool was = toggle.load();
    while (!toggle.compare_exchange_weak(was, !was)) {
    }
    return was;
}

}  // namespace

_FAL_RSP_T* FalWifiLdb::WifiScan(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = nullptr;
    if (!wifiOpen(rsp, apiType, true, req, 1))
        return rsp;
    FalLock scan(apiType, "wifiScan", req->requester, rsp, WIFI_LOAD_FAILED);
    if (scan) {
        rsp->data->set("location", resultLocation(wifiIdAt(req, 0)));
        rsp->data->set("retryAfter", scan->get<int>("retryAfter"));
        rsp->data->set("maxRetry", scan->get<int>("maxRetry"));
        falAnswer(rsp, FAL_ACCEPTED, "OK");
    }
    return rsp;
}

_FAL_RSP_T* FalWifiLdb::WifiScanResult(_FAL_REQ_T* req)
{
    // Every poll flips the toggle, whatever it answers.
    bool hintsDue = !flipScanToggle(scanResultToggle);
    _FAL_RSP_T* rsp = nullptr;
    if (!wifiOpen(rsp, apiType, false, req, 1))
        return rsp;
    int interfaceId = wifiIdAt(req, 0);
    if (hintsDue) {
        rsp->data = new TreeMapObject(apiType, rsp->msgId);
        FalLock scan(apiType, "wifiScan", req->requester, rsp, WIFI_LOAD_FAILED);
        if (scan) {
            int retryAfter = scan->get<int>("retryAfter");
            int maxRetry = scan->get<int>("maxRetry");
            rsp->data->set("location", resultLocation(interfaceId));
            rsp->data->set("retryAfter", retryAfter / 2);
            rsp->data->set("maxRetry", maxRetry > 1 ? maxRetry - 1 : maxRetry);
        }
    } else {
        FalLock results(apiType, "scanApResult", req->requester, rsp, WIFI_LOAD_FAILED);
        FalTree found(GetTreeMapObjectByInterface(results.get(), interfaceId));
        if (found)
            rsp->data = found->clone(nullptr);
    }
    return rsp;
}
