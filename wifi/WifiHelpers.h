// Steps shared by the wifi operations.
#pragma once

#include <memory>

#include "fal/FalMsgIds.h"
#include "frame/FalHandler.h"
#include "frame/FalPolicy.h"
#include "frame/FalTree.h"
#include "frame/FalTypes.h"
#include "host/Logger.h"
#include "host/TreeMapObject.h"

constexpr LOG_GROUP_T WIFI_LOG = LOG_GROUP_WIFI;

extern const char* const WIFI_LOAD_FAILED;  // "failed to get database wifi"
extern const char* const WIFI_SAVE_FAILED;  // "failed to save database"
extern const char* const WIFI_NO_BODY;      // "null request content"

// The value of the request's parameter at `position` (from 0), or null when the request has fewer
// parameters. An empty value is a value (it reads as the number 0). Borrowed from the request.
const char* wifiParamAt(const _FAL_REQ_T* req, unsigned position);

// Opens an operation: makes the response to the request and checks that the request has its first `params`
// positional parameters and, when `needsBody`, a body (answering 10 "Wrong URI" or
// "null request content"). Yields whether the operation goes on; `rsp` is the answer to return
// either way (null for a null request).
bool wifiOpen(_FAL_RSP_T*& rsp, unsigned apiType, bool withData, const _FAL_REQ_T* req, unsigned params,
              bool needsBody = false);

// Whether the request has its first `count` positional parameters. When one is missing, answers
// 10 "Wrong URI".
bool wifiHasParams(_FAL_RSP_T* rsp, const _FAL_REQ_T* req, unsigned count);

// The positional parameter at `position` read as a decimal number (0 when it is not one).
int wifiIdAt(const _FAL_REQ_T* req, unsigned position);

// Whether the request carries a JSON object as body. When it does not, answers 10
// "null request content".
bool wifiNeedsBody(_FAL_RSP_T* rsp, const _FAL_REQ_T* req);



// The interface's part of the band-keyed member `member` of the locked object (of the locked
// object itself for a null member). When it is absent from an object that did lock, answers
// `status` with `missing`.
FalTree wifiLockedBand(_FAL_RSP_T* rsp, TreeMapObject* locked, const char* member, int interfaceId,
                    FAL_STATUS_T status, const char* missing);

// The interface's part of the band-keyed member `member` of `doc`, or null.
FalTree wifiBand(TreeMapObject* doc, const char* member, int interfaceId);

// The first item of `array` whose integer `member` equals `value`, or null; its position goes to
// `position` when given.
FalTree wifiFindItem(TreeMapObject* array, const char* member, int value, unsigned* position = nullptr);

// The SSID of the locked "ssid" object that the request names (the interface at position 0, the
// "index" at position 1), or null. The interface's SSID array goes to `ssids` when given.
FalTree wifiRequestedSsid(TreeMapObject* ssidObject, const _FAL_REQ_T* req, FalTree* ssids = nullptr);

// A new object holding "id".
TreeMapObject* wifiIdReply(int id);

// The cycle of a wifi operation on one radio's part of a band-keyed object: opens the operation
// (wifiOpen with `params` and `needsBody`), locks `key` (failure: 8 "failed to get database wifi"),
// takes the part of the first parameter's interface (as wifiLockedBand with `member`, `status`,
// `missing`) and, when it is there, lets `work(rsp, lock, band, interfaceId)` answer.
struct WifiBandCycle {
    unsigned params;
    bool needsBody;
    const char* key;
    const char* member;
    FAL_STATUS_T status;
    const char* missing;
};
template <class Work>
_FAL_RSP_T* wifiBandCycle(unsigned apiType, const _FAL_REQ_T* req, const WifiBandCycle& how, Work work)
{
    _FAL_RSP_T* rsp = nullptr;
    if (!wifiOpen(rsp, apiType, false, req, how.params, how.needsBody))
        return rsp;
    int interfaceId = wifiIdAt(req, 0);
    FalLock lock(apiType, how.key, req->requester, rsp, WIFI_LOAD_FAILED);
    FalTree band = wifiLockedBand(rsp, lock.get(), how.member, interfaceId, how.status, how.missing);
    if (band)
        work(rsp, lock, band.get(), interfaceId);
    return rsp;
}
