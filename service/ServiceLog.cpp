// System log (settings, snapshot file, clear) and network diagnostics. Diagnostics run no tool:
// they mark the test as requested and answer stored or fixed results.
#include <sys/stat.h>

#include <cerrno>
#include <cstdio>
#include <ctime>
#include <string>

#include "host/JsonData.h"
#include "service/FalServiceLdb.h"
#include "service/ServiceHelpers.h"

namespace {

const char* const LOG_DIRECTORY = "www/files/log";

// Creates the directory and its parents (as "mkdir -p" does); failures are not reported.
void makeDirectories(const std::string& path)
{
    for (size_t slash = path.find('/'); slash != std::string::npos; slash = path.find('/', slash + 1))
        mkdir(path.substr(0, slash).c_str(), 0755);
    mkdir(path.c_str(), 0755);
}

}  // namespace

std::string serviceLogFileName(time_t when)
{
    struct tm utc;
    gmtime_r(&when, &utc);
    char year[16];
    snprintf(year, sizeof year, "%d", utc.tm_year + 1900);
    std::string yy(year);
    yy = yy.size() > 2 ? yy.substr(yy.size() - 2) : yy;
    char date[48];
    snprintf(date, sizeof date, "%02d%02d%s", utc.tm_mday, utc.tm_mon + 1, yy.c_str());
    return std::string(LOG_DIRECTORY) + "/syslog." + date + ".log";
}

// ---- System log -------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceLogGet(_FAL_REQ_T* req)
{
    SvcCycle how{nullptr, FalMsg::ServiceLogGet, "log", false, FAL_DB_ERROR, "cannot load database", true};
    how.apiType = apiType;
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        serviceDropData(rsp);
        rsp->data = lock->clone(nullptr);
    });
}

_FAL_RSP_T* FalServiceLdb::ServiceLogChange(_FAL_REQ_T* req)
{
    SvcCycle how{__func__, FalMsg::ServiceLogChange, "log", true, FAL_DB_ERROR, nullptr, false,
                 "Cannot get object from log file.\n"};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        // Only settings the stored object already has are changed.
        for (const char* member : {"type", "minLevel", "class"}) {
            FalTree stored(lock->get(member));
            FalTree given(req->body->get(member));
            if (stored && given)
                lock->set(member, given.get());
        }
        falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    });
}

_FAL_RSP_T* FalServiceLdb::ServiceLogSave(_FAL_REQ_T* req)
{
    FalTrace trace(SVC_LOG, "ServiceLogSave", FAL_TRACE_WORD_FIRST);
    _FAL_RSP_T* rsp = serviceResponse(req, FalMsg::ServiceLogSave, false, SVC_NO_RESPONSE, apiType);
    if (!rsp)
        return nullptr;
    FalTree reply(new TreeMapObject(false));
    makeDirectories(LOG_DIRECTORY);
    std::string file = serviceLogFileName(time(nullptr));
    {
        FalLock log(API_TYPE_SERVICE, "log.log", req->requester);
        if (log)
            JsonData::saveObjectToFile(file.c_str(), log.get());
    }
    // The reply names the file as the web server serves it, without "www".
    reply->set("path", file.c_str() + 3);
    rsp->data = reply.release();
    return rsp;
}

_FAL_RSP_T* FalServiceLdb::ServiceLogClear(_FAL_REQ_T*)
{
    FalTrace trace(SVC_LOG, "ServiceLogClear", FAL_TRACE_WORD_FIRST);
    return falProbe(apiType, falResponseId(API_TYPE_SERVICE, FalMsg::ServiceLogClear), API_TYPE_SERVICE);
}

// ---- Diagnostics ------------------------------------------------------------------------------

_FAL_RSP_T* FalServiceLdb::ServiceDiagnosticsPing(_FAL_REQ_T* req)
{
    SvcCycle how{nullptr, FalMsg::ServiceDiagnosticsPing, "diagnostics", true, FAL_DB_ERROR, "failed to load database"};
    how.apiType = apiType;
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        FalTree ping(lock->get("ping"));
        if (!ping) {
            falAnswer(rsp, FAL_DB_ERROR, "failed to get ping data");
            return;
        }
        // Every ping succeeds as often as it was asked to.
        ping->set("status", "Requested");
        ping->set("IpAddressUsed", req->body->get<const char*>("target"));
        ping->set("successCount", req->body->get<int>("count"));
        ping->set("failureCount", 0);
        ping->set("msg.[0]", "xxx xxx xxx");
        ping->set("msg.[1]", "bbb bbb bbb");
        rsp->data = ping->clone(nullptr);
        if (!lock.save()) {
            falAnswer(rsp, FAL_DB_ERROR, "failed to save database");
            return;
        }
        falAnswer(rsp, FAL_OK);
        rsp->data->dump("");
    });
}

_FAL_RSP_T* FalServiceLdb::ServiceDiagnosticsTraceroute(_FAL_REQ_T* req)
{
    SvcCycle how{__func__, FalMsg::ServiceDiagnosticsTraceroute, "diagnostics", true, FAL_FAILED};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        // The target and the maximum TTL are not used: no route is traced.
        lock->set("traceRoute.status", "Requested");
        rsp->data = lock->clone("traceRoute");
        falAnswer(rsp, lock.save() ? FAL_OK : FAL_FAILED);
    });
}

_FAL_RSP_T* FalServiceLdb::ServiceDiagnosticsRoutehops(_FAL_REQ_T* req)
{
    SvcCycle how{__func__, FalMsg::ServiceDiagnosticsRoutehops, "diagnostics", false, FAL_FAILED};
    return serviceCycle(req, how, [&](_FAL_RSP_T* rsp, FalLock& lock) {
        rsp->data = lock->clone("routeHops");
    });
}
