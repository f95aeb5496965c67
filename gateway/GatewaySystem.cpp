// System status and maintenance: device information, CPU and memory figures, LED, date and time,
// languages, power saving, firmware probes and the long operations (upgrade, reset, reboot,
// backup, restore).
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>

#include "fal/FalMsgIds.h"
#include "frame/FalGeneric.h"
#include "frame/FalPolicy.h"
#include "frame/FalResponse.h"
#include "gateway/FalGatewayLdb.h"
#include "gateway/GatewayHelpers.h"
#include "host/TreeMapObject.h"

namespace {

const char* const CPU_COMMAND =
    "top -bn1 | grep \"Cpu(s)\" | sed \"s/.*, *\\([0-9.]*\\)%* id.*/\\1/\" | awk '{print 100 - $1}'";
const char* const MEMORY_COMMAND = "top -bn1 | grep \"KiB Mem\"";

bool startsWithNumber(const std::string& text)
{
    size_t i = text.find_first_not_of(" \t\r\n");
    return i != std::string::npos && (isdigit(static_cast<unsigned char>(text[i])) || text[i] == '-');
}

// CPU use in percent since boot, from /proc/stat (for systems whose top prints other headings).
int cpuUsageFromProcStat()
{
    std::ifstream in("/proc/stat");
    std::string cpu;
    unsigned long long v[8] = {0, 0, 0, 0, 0, 0, 0, 0};
    in >> cpu;
    for (unsigned long long& x : v)
        in >> x;
    unsigned long long total = 0;
    for (unsigned long long x : v)
        total += x;
    unsigned long long idle = v[3] + v[4];
    return total ? static_cast<int>(100 - idle * 100 / total) : 0;
}

// A figure in KiB of /proc/meminfo ("MemTotal", "MemFree").
int meminfoKib(const char* name)
{
    std::ifstream in("/proc/meminfo");
    std::string key;
    long long kib = 0;
    std::string unit;
    while (in >> key >> kib >> unit)
        if (key == std::string(name) + ":")
            return static_cast<int>(kib);
    return 0;
}

// Position of the first language entry whose "id" text is `id`, or -1; `fn` names the caller in
// the log.
int findLanguage(TreeMapObject* languages, const char* id, const char* fn)
{
    int found = -1;
    gatewayWalk(languages, [&](unsigned i, TreeMapObject* entry) {
        if (!entry) {
            Logger::print(LOG_TYPE_INFO, GW_LOG, "%s: [%d] failed to get language\n", fn, static_cast<int>(i));
            return true;
        }
        if (!sameText(entry->get<const char*>("id"), id))
            return true;
        found = static_cast<int>(i);
        return false;
    });
    return found;
}

// Locks the language list: 8 "failed to get database" when it cannot be locked, "incorrect
// database" when it is no list (languageList() is then null).
FalLock lockLanguages(_FAL_REQ_T* req, _FAL_RSP_T* rsp, unsigned apiType)
{
    FalLock languages(apiType, "language", req->requester, rsp, "failed to get database");
    if (languages && !languages->isArray())
        falAnswer(rsp, FAL_DB_ERROR, "incorrect database");
    return languages;
}

// The locked language list, or null when it could not be locked or is no list.
TreeMapObject* languageList(const FalLock& lock)
{
    return lock && lock->isArray() ? lock.get() : nullptr;
}

// The language entry whose "id" text is `id`, without its "id", as the response data.
void readLanguage(_FAL_REQ_T* req, _FAL_RSP_T* rsp, unsigned apiType, const char* id, const char* fn)
{
    FalLock lock = lockLanguages(req, rsp, apiType);
    TreeMapObject* languages = languageList(lock);
    int index = languages ? findLanguage(languages, id, fn) : -1;
    TreeMapObject* entry = index < 0 ? nullptr : languages->at(static_cast<unsigned>(index));
    if (entry) {
        rsp->data = entry->clone(nullptr);
        rsp->data->del("id");
    } else if (languages) {
        falAnswer(rsp, FAL_DB_ERROR, "cannot found user id");
    }
    delete entry;
}

}  // namespace

_FAL_RSP_T* FalGatewayLdb::GatewayRegistrationCode(_FAL_REQ_T*)
{
    _FAL_RSP_T* rsp = falNewResponse(apiType, FalMsg::GatewayRegistrationCode, true);
    if (!rsp)
        return nullptr;
    char code[16];
    snprintf(code, sizeof(code), "%06d", rand() % 1000000);
    rsp->data->set("regCode", code);
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayCpuUsage(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falGeneralDbGet(apiType, GW_LOG, req, "cpuUsage");
    std::string out;
    if (!rsp || rsp->status != FAL_OK || !rsp->data || !gatewayCommandOutput(CPU_COMMAND, out))
        return rsp;
    int percent = startsWithNumber(out) ? atoi(out.c_str()) : cpuUsageFromProcStat();
    rsp->data->set("[0].percentage", percent);
    rsp->data->set("[1].percentage", percent);
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayMemoryUsage(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falGeneralDbGet(apiType, GW_LOG, req, "memoryUsage");
    std::string out;
    if (!rsp || rsp->status != FAL_OK || !rsp->data || !gatewayCommandOutput(MEMORY_COMMAND, out))
        return rsp;
    int total = 0, freeKib = 0;
    if (out.empty()) {
        total = meminfoKib("MemTotal");
        freeKib = meminfoKib("MemFree");
    } else {
        gatewayParseMemoryLine(out, total, freeKib);
    }
    rsp->data->set("total", total);
    rsp->data->set("free", freeKib);
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayLedUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falNewResponse(apiType, FalMsg::GatewayLedUpdate, false);
    if (!rsp) {
        Logger::print(LOG_TYPE_ERROR, GW_LOG, "Memory allocation error, cannot create response\n");
        return nullptr;
    }
    if (!req || !req->body) {
        Logger::print(LOG_TYPE_ERROR, GW_LOG, "Received wrong request\n");
        falAnswer(rsp, FAL_BAD_REQUEST, "Wrong request");
        return rsp;
    }
    FalLock led(apiType, "led", req->requester);
    if (!led) {
        Logger::print(LOG_TYPE_ERROR, GW_LOG, "Cannot load databse\n");
        falAnswer(rsp, FAL_DB_ERROR, "Database load error");
    } else {
        led->set("mode", req->body->get<const char*>("mode"));
        led->set("power", req->body->get<bool>("power"));
        copyPresent(led.get(), req->body, {"options.day", "options.startTime", "options.duration"});
        if (!led.saveOrAnswer(rsp, "Save databse error"))
            Logger::print(LOG_TYPE_ERROR, GW_LOG, "Save databse error\n");
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayDatetimeUpdate(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = gatewayReply(req, apiType);
    if (!rsp)
        return nullptr;
    falAnswer(rsp, FAL_FAILED, "Unexpected error");
    FalLock dateTime(apiType, "dateTime", req->requester, rsp, "fail to load database");
    if (dateTime && req->body) {
        copyPresent(dateTime.get(), req->body,
                           {"timeZone", "daylightSavingTime.active", "daylightSavingTime.startDate",
                            "daylightSavingTime.endDate", "ntp.server"});
        dateTime->set("ntp.active", req->body->get<bool>("ntp.active"));
        if (dateTime.saveOrAnswer(rsp, "failed to save database"))
            falAnswer(rsp, FAL_OK, "Updated OK");
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayDatetimeDelete(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = gatewayReply(req, apiType);
    if (!rsp)
        return nullptr;
    GatewayParam id(req, "@id");
    if (!id.get()) {
        falAnswer(rsp, FAL_DB_ERROR, "no request id");
        return rsp;
    }
    int index = atoi(id.get());
    FalLock dateTime(apiType, "dateTime", req->requester, rsp, "fail to load database");
    TreeMapObject* ntp = dateTime ? dateTime->get("ntp") : nullptr;
    TreeMapObject* servers = ntp ? ntp->get("server") : nullptr;
    if (!servers) {
        falAnswer(rsp, FAL_DB_ERROR, "fail to load database");
    } else {
        // An index past the end removes nothing; the answer is the same.
        servers->delArrayItem(static_cast<unsigned>(index));
        if (dateTime.saveOrAnswer(rsp, "failed to save database"))
            falAnswer(rsp, FAL_DELETED, "record deleted");
    }
    delete servers;
    delete ntp;
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayLanguageGet(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayLanguageGet, false);
    if (!rsp)
        return nullptr;
    GatewayParam id(req, "@id");
    if (!id.get())
        falAnswer(rsp, FAL_DB_ERROR, "no request id");
    else
        readLanguage(req, rsp, apiType, id.get(), "GatewayLanguageGet");
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayLanguageSystemGet(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = gatewayReply(req, apiType);
    if (rsp)
        readLanguage(req, rsp, apiType, "system", "GatewayLanguageSystemGet");
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayLanguageChange(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayLanguageChange, false);
    if (!rsp)
        return nullptr;
    const char* id = req->body ? req->body->get<const char*>("id") : nullptr;
    if (!id) {
        falAnswer(rsp, FAL_DB_ERROR, "no request id");
        return rsp;
    }
    FalLock lock = lockLanguages(req, rsp, apiType);
    TreeMapObject* languages = languageList(lock);
    int index = languages ? findLanguage(languages, id, "GatewayLanguageChange") : -1;
    TreeMapObject* entry = index < 0 ? nullptr : languages->at(static_cast<unsigned>(index));
    if (entry) {
        entry->set("id", id);
        entry->set("code", req->body->get<const char*>("code"));
        entry->set("name", req->body->get<const char*>("name"));
        lock.saveOrAnswer(rsp, "failed to save database");
    } else if (languages) {
        falAnswer(rsp, FAL_DB_ERROR, "cannot found user id");
    }
    delete entry;
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayPowersaveModeGet(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayPowersaveModeGet, false);
    if (!rsp)
        return nullptr;
    FalLock mode(API_TYPE_GATEWAY, "powersaveMode", req->requester, rsp, "failed to load database");
    if (mode && !(rsp->data = mode->clone(nullptr)))
        falAnswer(rsp, FAL_DB_ERROR, "failed to clone database");
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayPowersaveModeChange(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayPowersaveModeChange, false);
    if (!rsp)
        return nullptr;
    FalLock mode(apiType, "powersaveMode", req->requester, rsp, "fail to load database");
    if (mode && req->body) {
        copyPresent(mode.get(), req->body, {"active", "powerTimer"});
        if (mode.saveOrAnswer(rsp, "failed to save database"))
            falAnswer(rsp, FAL_OK, "Updated OK");
    }
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayFirmwareNewUpdate(_FAL_REQ_T*)
{
    return falProbe(apiType, falResponseId(apiType, FalMsg::GatewayFirmwareNewUpdate), apiType);
}

_FAL_RSP_T* FalGatewayLdb::GatewayFirmwareGet(_FAL_REQ_T*)
{
    return falProbe(apiType, falResponseId(apiType, FalMsg::GatewayFirmwareGet), apiType);
}

_FAL_RSP_T* FalGatewayLdb::GatewayFirmwareUpdate(_FAL_REQ_T*)
{
    return falProbe(apiType, falResponseId(apiType, FalMsg::GatewayFirmwareUpdate), apiType);
}

_FAL_RSP_T* FalGatewayLdb::GatewayCpuTemperature(_FAL_REQ_T*)
{
    return falProbe(apiType, falResponseId(apiType, FalMsg::GatewayCpuTemperature), apiType);
}

_FAL_RSP_T* FalGatewayLdb::GatewayDeviceManagementGet(_FAL_REQ_T*)
{
    return falProbe(apiType, falResponseId(apiType, FalMsg::GatewayDeviceManagementGet), apiType);
}

_FAL_RSP_T* FalGatewayLdb::GatewayDeviceManagementChange(_FAL_REQ_T*)
{
    return falProbe(apiType, falResponseId(apiType, FalMsg::GatewayDeviceManagementChange), apiType);
}

_FAL_RSP_T* FalGatewayLdb::acceptLongOperation(_FAL_REQ_T* req, unsigned requestId, unsigned n)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, requestId, true);
    if (!rsp)
        return nullptr;
    simulateAsync(req->msgId, n);
    rsp->status = FAL_ACCEPTED;
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUpgrade(_FAL_REQ_T* req)
{
    if (!req)
        return nullptr;
    const char* type = req->body ? req->body->get<const char*>("type") : nullptr;
    const char* filename = req->body ? req->body->get<const char*>("filename") : nullptr;
    Logger::print(LOG_TYPE_PROGRESS, GW_LOG, "%s: type=%s filename=%s\n", "GatewayUpgrade", printable(type),
                  printable(filename));
    _FAL_RSP_T* rsp = acceptLongOperation(req, FalMsg::GatewayUpgrade, 9);
    if (!rsp)
        return nullptr;
    rsp->data->set("retryAfter", 3);
    rsp->data->set("maxRetry", 3);
    rsp->data->set("location", "/api/v1/gateway/upgrade/status");
    pthread_mutex_lock(&upgradeMutex);
    upgradeProgress = 20;
    pthread_mutex_unlock(&upgradeMutex);
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayUpgradeStatus(_FAL_REQ_T*)
{
    _FAL_RSP_T* rsp = falNewResponse(apiType, FalMsg::GatewayUpgradeStatus, true);
    if (!rsp)
        return nullptr;
    pthread_mutex_lock(&upgradeMutex);
    rsp->data->set("status", upgradeProgress);
    upgradeProgress += 20;
    pthread_mutex_unlock(&upgradeMutex);
    return rsp;
}

_FAL_RSP_T* FalGatewayLdb::GatewayFactoryReset(_FAL_REQ_T* req)
{
    return acceptLongOperation(req, FalMsg::GatewayFactoryReset, 10);
}

_FAL_RSP_T* FalGatewayLdb::GatewayReboot(_FAL_REQ_T* req)
{
    return acceptLongOperation(req, FalMsg::GatewayReboot, 10);
}

_FAL_RSP_T* FalGatewayLdb::GatewayRestore(_FAL_REQ_T* req)
{
    return acceptLongOperation(req, FalMsg::GatewayRestore, 10);
}

_FAL_RSP_T* FalGatewayLdb::GatewayBackup(_FAL_REQ_T* req)
{
    _FAL_RSP_T* rsp = falBegin(req, apiType, FalMsg::GatewayBackup, true);
    if (!rsp)
        return nullptr;
    simulateAsync(req->msgId, 5);
    int made = system("mkdir -p www/files/configuration");
    (void)made;  // a failed backup is not reported
    std::string name = gatewayBackupFileName(time(nullptr));
    std::ofstream(name, std::ios::trunc) << "This is test configuration";
    rsp->data->set("path", name.c_str() + 3);
    return rsp;
}
