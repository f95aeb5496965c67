// fald: the REST daemon that serves the gateway's management API over HTTP.
//
//   fald [--root DIR] [--listen ADDR:PORT] [--no-auth] [--log-level N] [--allow-host NAME]...
//        [--sim] [--latency MS] [--cors ORIGIN] [limits...]

#include <malloc.h>
#include <signal.h>
#include <stdlib.h>

#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>

#include "fal.h"
#include "tools/common/FalRoot.h"
#include "tools/fald/FaldServer.h"

namespace {

const char kUsage[] =
    "usage: fald [--root DIR] [--listen ADDR:PORT] [--no-auth] [--log-level N] [--allow-host NAME]...\n"
    "            [--sim] [--latency MS] [--cors ORIGIN] [limits]\n"
    "       fald --help | --version\n"
    "\n"
    "Serves the gateway's management API under /api/v1 and the root's www/ directory at /.\n"
    "\n"
    "  --root DIR             the root (default: $FAL_ROOT, else ./gateway-root); created from the\n"
    "                         factory defaults when it has no database\n"
    "  --listen ADDR:PORT     address to listen on (default 127.0.0.1:8080; [::1]:8080 for IPv6);\n"
    "                         port 0 picks a free one\n"
    "  --no-auth              serve every route without a session\n"
    "  --log-level N          log records of type N and above (0 traces ... 3 errors; default 3)\n"
    "  --allow-host NAME      accept this Host header besides the loopback names (when listening\n"
    "                         on loopback, other Host values are refused)\n"
    "  --sim                  the simulator controls under /api/v1/sim (snapshot, reset, faults)\n"
    "  --latency MS           delay every answer by MS milliseconds (0-60000)\n"
    "  --cors ORIGIN          let pages from ORIGIN (\"http://localhost:5173\") call the API\n"
    "\n"
    "Limits (excess is refused with 4xx/503 and the connection closed):\n"
    "  --max-connections N    open connections in all (default 256)\n"
    "  --max-per-client N     open connections from one address (default 32)\n"
    "  --max-headers N        header fields of a request (default 64)\n"
    "  --max-header-bytes N   request line and header section (default 16384)\n"
    "  --max-body N           request body in bytes (default 65536)\n"
    "  --header-timeout S     seconds for the whole header section (default 10)\n"
    "  --body-timeout S       seconds for the whole body (default 30)\n"
    "  --idle-timeout S       seconds a kept-alive connection may stay silent (default 5)\n"
    "  --backlog N            listen queue (default 128)\n"
    "  --threads N            event threads (default 2)\n"
    "  --workers N            threads that run operations (default 8)\n"
    "\n"
    "SIGINT or SIGTERM stop it gracefully: requests that run finish and are answered.\n";

int usage(const std::string& message)
{
    fprintf(stderr, "fald: %s\n%s", message.c_str(), kUsage);
    return 2;
}

// "ADDR:PORT", "[V6]:PORT" or ":PORT" (127.0.0.1).
bool parseListen(const std::string& text, FaldOptions& options)
{
    size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon + 1 >= text.size())
        return false;
    std::string host = text.substr(0, colon);
    if (!host.empty() && host.front() == '[') {
        if (host.size() < 3 || host.back() != ']')
            return false;
        host = host.substr(1, host.size() - 2);
    } else if (host.find(':') != std::string::npos) {
        return false;  // an IPv6 address needs its brackets
    }
    char* end = nullptr;
    long port = strtol(text.c_str() + colon + 1, &end, 10);
    if (*end || port < 0 || port > 65535)
        return false;
    if (!host.empty())
        options.host = host;
    options.port = static_cast<int>(port);
    return true;
}

// A whole number from min to max, without sign.
bool parseCount(const char* text, unsigned long long min, unsigned long long max, unsigned long long& out)
{
    char* end = nullptr;
    errno = 0;
    unsigned long long v = strtoull(text, &end, 10);
    if (!*text || *end || errno || v < min || v > max || text[0] == '-')
        return false;
    out = v;
    return true;
}

bool parseSeconds(const char* text, double& out)
{
    char* end = nullptr;
    double v = strtod(text, &end);
    if (!*text || *end || !std::isfinite(v) || v <= 0 || v > 86400)
        return false;
    out = v;
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    FaldOptions options;
    FaldLimits& limits = options.limits;
    const char* root = nullptr;
    int logLevel = 3;
    for (int i = 1; i < argc; ++i) {
        std::string arg = argv[i];
        auto value = [&](const char* name) -> const char* {
            if (i + 1 >= argc) {
                usage(std::string(name) + " needs a value");
                exit(2);
            }
            return argv[++i];
        };
        // A count flag: a whole number from 1 to max.
        auto count = [&](unsigned long long max) {
            const char* text = value(arg.c_str());
            unsigned long long v = 0;
            if (!parseCount(text, 1, max, v)) {
                usage("bad " + arg + " \"" + text + "\" (want 1.." + std::to_string(max) + ")");
                exit(2);
            }
            return v;
        };
        auto seconds = [&]() {
            const char* text = value(arg.c_str());
            double v = 0;
            if (!parseSeconds(text, v)) {
                usage("bad " + arg + " \"" + text + "\" (want seconds, more than 0)");
                exit(2);
            }
            return v;
        };
        if (arg == "--help" || arg == "-h") {
            fputs(kUsage, stdout);
            return 0;
        } else if (arg == "--version") {
            printf("fald %s\n", falVersion());
            return 0;
        } else if (arg == "--root") {
            root = value("--root");
        } else if (arg == "--listen") {
            if (!parseListen(value("--listen"), options))
                return usage(std::string("bad --listen \"") + argv[i] + "\" (want ADDR:PORT or [V6ADDR]:PORT)");
        } else if (arg == "--no-auth") {
            options.auth = false;
        } else if (arg == "--allow-host") {
            options.allowHosts.push_back(value("--allow-host"));
        } else if (arg == "--sim") {
            options.sim = true;
        } else if (arg == "--latency") {
            const char* text = value("--latency");
            unsigned long long ms = 0;
            if (!parseCount(text, 0, 60000, ms))
                return usage(std::string("bad latency \"") + text + "\" (want 0-60000 ms)");
            options.latencyMs = static_cast<unsigned>(ms);
        } else if (arg == "--cors") {
            options.corsOrigin = value("--cors");
        } else if (arg == "--log-level") {
            const char* text = value("--log-level");
            unsigned long long level = 0;
            if (!parseCount(text, 0, 99, level))
                return usage(std::string("bad log level \"") + text + "\"");
            logLevel = static_cast<int>(level);
        } else if (arg == "--max-connections") {
            limits.maxConnections = static_cast<unsigned>(count(100000));
        } else if (arg == "--max-per-client") {
            limits.maxPerClient = static_cast<unsigned>(count(100000));
        } else if (arg == "--max-headers") {
            limits.maxHeaders = static_cast<unsigned>(count(10000));
        } else if (arg == "--max-header-bytes") {
            limits.maxHeaderBytes = count(1024 * 1024);
        } else if (arg == "--max-body") {
            limits.maxBody = count(64 * 1024 * 1024);
        } else if (arg == "--header-timeout") {
            limits.headerTimeout = std::chrono::milliseconds(static_cast<long>(seconds() * 1000));
        } else if (arg == "--body-timeout") {
            limits.bodyTimeout = std::chrono::milliseconds(static_cast<long>(seconds() * 1000));
        } else if (arg == "--idle-timeout") {
            limits.idleTimeout = static_cast<unsigned>(std::ceil(seconds()));
        } else if (arg == "--backlog") {
            limits.backlog = static_cast<unsigned>(count(65535));
        } else if (arg == "--threads") {
            limits.threads = static_cast<unsigned>(count(64));
        } else if (arg == "--workers") {
            limits.workers = static_cast<unsigned>(count(256));
        } else {
            return usage("unknown argument " + arg);
        }
    }
    Logger::init(logLevel, Logger::TO_STDERR);

    std::string rootDir = falRootDir(root);
    std::string error;
    if (!falEnterRoot(rootDir, error)) {
        fprintf(stderr, "fald: %s\n", error.c_str());
        return 1;
    }

    // The signals are taken by sigwait below, never by a handler: every thread blocks them.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    FaldServer server(options);
    if (!server.start(error)) {
        fprintf(stderr, "fald: %s\n", error.c_str());
        return 1;
    }
    // Building the route descriptions leaves freed heap behind; hand it back before idling.
    malloc_trim(0);
    bool v6 = options.host.find(':') != std::string::npos;
    printf("fald: serving %s on http://%s%s%s:%d/ (API under %s)%s\n", rootDir.c_str(), v6 ? "[" : "",
           options.host.c_str(), v6 ? "]" : "", server.port(), kFaldApiPrefix,
           options.auth ? "" : ", without sessions");
    fflush(stdout);

    int signal = 0;
    sigwait(&stopSignals, &signal);
    fprintf(stderr, "fald: %s, stopping\n", strsignal(signal));
    server.stop();
    return 0;
}
