// fald: the REST daemon that serves the gateway's management API over HTTP.
//
//   fald [--root DIR] [--listen ADDR:PORT] [--no-auth] [--log-level N] [--sim] [--latency MS]
//        [--cors ORIGIN]

#include <malloc.h>
#include <signal.h>
#include <stdlib.h>

#include <cstdio>
#include <cstring>
#include <string>

#include "fal.h"
#include "tools/common/FalRoot.h"
#include "tools/fald/FaldServer.h"

namespace {

const char kUsage[] =
    "usage: fald [--root DIR] [--listen ADDR:PORT] [--no-auth] [--log-level N]\n"
    "            [--sim] [--latency MS] [--cors ORIGIN]\n"
    "\n"
    "Serves the gateway's management API under /api/v1 and the root's www/ directory at /.\n"
    "\n"
    "  --root DIR          the root (default: $FAL_ROOT, else ./gateway-root); created from the\n"
    "                      factory defaults when it has no database\n"
    "  --listen ADDR:PORT  address to listen on (default 127.0.0.1:8080); port 0 picks a free one\n"
    "  --no-auth           serve every route without a session\n"
    "  --log-level N       log records of type N and above (0 traces ... 3 errors; default 3)\n"
    "  --sim               the simulator controls under /api/v1/sim (snapshot, reset, faults)\n"
    "  --latency MS        delay every answer by MS milliseconds\n"
    "  --cors ORIGIN       let pages from ORIGIN (\"http://localhost:5173\") call the API\n"
    "\n"
    "SIGINT or SIGTERM stop it gracefully.\n";

int usage(const std::string& message)
{
    fprintf(stderr, "fald: %s\n%s", message.c_str(), kUsage);
    return 2;
}

// "ADDR:PORT" (the address may be empty: 127.0.0.1).
bool parseListen(const std::string& text, FaldOptions& options)
{
    size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon + 1 >= text.size())
        return false;
    char* end = nullptr;
    long port = strtol(text.c_str() + colon + 1, &end, 10);
    if (*end || port < 0 || port > 65535)
        return false;
    if (colon > 0)
        options.host = text.substr(0, colon);
    options.port = static_cast<int>(port);
    return true;
}

}  // namespace

int main(int argc, char** argv)
{
    FaldOptions options;
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
        if (arg == "--help" || arg == "-h") {
            fputs(kUsage, stdout);
            return 0;
        } else if (arg == "--root") {
            root = value("--root");
        } else if (arg == "--listen") {
            if (!parseListen(value("--listen"), options))
                return usage(std::string("bad --listen \"") + argv[i] + "\" (want ADDR:PORT)");
        } else if (arg == "--no-auth") {
            options.auth = false;
        } else if (arg == "--sim") {
            options.sim = true;
        } else if (arg == "--latency") {
            const char* text = value("--latency");
            char* end = nullptr;
            long ms = strtol(text, &end, 10);
            if (!*text || *end || ms < 0 || ms > 60000)
                return usage(std::string("bad latency \"") + text + "\" (want 0-60000 ms)");
            options.latencyMs = static_cast<unsigned>(ms);
        } else if (arg == "--cors") {
            options.corsOrigin = value("--cors");
        } else if (arg == "--log-level") {
            const char* text = value("--log-level");
            char* end = nullptr;
            long level = strtol(text, &end, 10);
            if (!*text || *end || level < 0 || level > 99)
                return usage(std::string("bad log level \"") + text + "\"");
            logLevel = static_cast<int>(level);
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
    printf("fald: serving %s on http://%s:%d/ (API under %s)%s\n", rootDir.c_str(), options.host.c_str(),
           server.port(), kFaldApiPrefix, options.auth ? "" : ", without sessions");
    fflush(stdout);

    int signal = 0;
    sigwait(&stopSignals, &signal);
    fprintf(stderr, "fald: %s, stopping\n", strsignal(signal));
    server.stop();
    return 0;
}
