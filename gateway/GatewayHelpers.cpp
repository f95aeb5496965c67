#include "gateway/GatewayHelpers.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "frame/BeHelpers.h"
#include "frame/FalResponse.h"

GatewayParam::GatewayParam(const _FAL_REQ_T* req, const char* name) : text_(BE_PairVal2(req->params, name)) {}

GatewayParam::~GatewayParam()
{
    delete[] text_;
}

_FAL_RSP_T* gatewayReply(const _FAL_REQ_T* req, unsigned apiType)
{
    return req ? newFalResponse(apiType, req->msgId + 1, false) : nullptr;
}

bool gatewayLacksType(_FAL_RSP_T* rsp, const char* type)
{
    if (type)
        return false;
    falAnswer(rsp, FAL_BAD_REQUEST, "Wrong URI");
    return true;
}

const char* printable(const char* text)
{
    return text ? text : "(null)";
}


bool gatewayCommandOutput(const char* command, std::string& out)
{
    FILE* pipe = popen(command, "r");
    if (!pipe)
        return false;
    char block[128];
    size_t n;
    while ((n = fread(block, 1, sizeof(block), pipe)) > 0)
        out.append(block, n);
    pclose(pipe);
    return true;
}

std::string gatewayBackupFileName(time_t when)
{
    struct tm utc;
    gmtime_r(&when, &utc);
    char year[16];
    snprintf(year, sizeof(year), "%02d", (utc.tm_year + 1900) % 100);
    char date[48];
    snprintf(date, sizeof(date), "%02d%02d%s", utc.tm_mday, utc.tm_mon + 1, year);
    return std::string("www/files/configuration/qr451.") + date + ".conf";
}

void gatewayParseMemoryLine(std::string text, int& total, int& freeKib)
{
    char prev[20] = "";
    char* save = nullptr;
    for (char* tok = strtok_r(&text[0], " ,:.", &save); tok; tok = strtok_r(nullptr, " ,:.", &save)) {
        if (strcmp(tok, "total") == 0)
            total = atoi(prev);
        else if (strcmp(tok, "free") == 0)
            freeKib = atoi(prev);
        snprintf(prev, sizeof(prev), "%s", tok);
    }
}
