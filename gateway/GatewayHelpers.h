// Steps shared by the gateway operations.
#pragma once

#include <ctime>
#include <initializer_list>
#include <string>

#include "frame/FalHandler.h"
#include "frame/FalTypes.h"
#include "host/Logger.h"

class TreeMapObject;

constexpr LOG_GROUP_T GW_LOG = LOG_GROUP_GATEWAY;

// A request parameter (BE_PairVal2), freed when it goes out of scope; null when absent or empty.
class GatewayParam {
public:
    GatewayParam(const _FAL_REQ_T* req, const char* name);
    ~GatewayParam();
    GatewayParam(const GatewayParam&) = delete;
    GatewayParam& operator=(const GatewayParam&) = delete;

    const char* get() const { return text_; }

private:
    char* text_;
};

// The response (as `apiType`, without data) of a request that answers its own msgId + 1; null
// without a request or when it cannot be made.
_FAL_RSP_T* gatewayReply(const _FAL_REQ_T* req, unsigned apiType);

// Answers 10 "Wrong URI" and yields true when the request lacks "@type".
bool gatewayLacksType(_FAL_RSP_T* rsp, const char* type);

// The text, or "(null)" for printing.
const char* printable(const char* text);

// Calls visit(index, item) for each item of the array in order until it returns false; the item
// handle (null when it cannot be had) is deleted after each call. True when a visit stopped the walk.
template <typename Visit>
bool gatewayWalk(TreeMapObject* array, Visit visit);


// Runs a shell command and collects its output; false when it cannot be started.
bool gatewayCommandOutput(const char* command, std::string& out);

// The "total" and "free" figures of top's "KiB Mem" line: the token before each word, cut at
// blanks, commas, colons and full stops; a word that is missing leaves its figure alone.
void gatewayParseMemoryLine(std::string text, int& total, int& freeKib);

// Backup file name for a moment: "www/files/configuration/qr451." + DDMMYY (UTC) + ".conf".
std::string gatewayBackupFileName(time_t when);

#include "host/TreeMapObject.h"

template <typename Visit>
bool gatewayWalk(TreeMapObject* array, Visit visit)
{
    unsigned n = array->len();
    for (unsigned i = 0; i < n; ++i) {
        TreeMapObject* item = array->at(i);
        bool goOn = visit(i, item);
        delete item;
        if (!goOn)
            return true;
    }
    return false;
}
