// falctl: the command-line host of libfal.
//
//   falctl [--root DIR] [--log-level N] call FAMILY OPERATION [NAME=VALUE ...] [--body JSON] [--requester R]
//   falctl [--root DIR] [--log-level N] ops [FAMILY]
//   falctl [--root DIR] [--log-level N] batch
//   falctl --help
//   falctl --version

#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "fal.h"
#include "tools/common/FalBatch.h"
#include "tools/common/FalOutput.h"
#include "tools/common/FalRequest.h"
#include "tools/common/FalRoot.h"

namespace {

enum Exit { EXIT_SUCCESS_STATUS = 0, EXIT_FAILURE_STATUS = 1, EXIT_USAGE = 2, EXIT_NO_RESPONSE = 3 };

const char kUsage[] =
    "usage: falctl [--root DIR] [--log-level N] call FAMILY OPERATION [NAME=VALUE ...] [--body JSON] [--requester R]\n"
    "       falctl [--root DIR] [--log-level N] ops [FAMILY]\n"
    "       falctl [--root DIR] [--log-level N] batch\n"
    "       falctl --help | --version\n";

const char kHelp[] =
    "\n"
    "Serves the management interface of the gateway over the database of a root directory.\n"
    "\n"
    "  --root DIR      the root (default: $FAL_ROOT, else ./gateway-root); created when missing\n"
    "                  and filled from the factory defaults when it has no db/ directory\n"
    "  --log-level N   log records of type N and above (0 traces ... 3 errors; default 3, or\n"
    "                  $FAL_LOG_LEVEL); the log goes to standard error\n"
    "\n"
    "  call FAMILY OPERATION [NAME=VALUE ...] [--body JSON] [--requester R]\n"
    "      Runs one operation and prints its response as JSON. FAMILY: gateway, wifi, network,\n"
    "      security, service, mediashare, qos. OPERATION: a name (ServiceDmzGet) or a request\n"
    "      msgId. NAME=VALUE pairs are the request's parameters, in order (\"@id=3\" \"!name=x\").\n"
    "      Exit status: 0 for statuses 0-3, 1 for a failure status, 3 when the operation gives\n"
    "      no response (prints null), 2 for usage errors.\n"
    "  ops [FAMILY]\n"
    "      Lists the operations: family, slot, request msgId, name, and whether the family\n"
    "      implements it or keeps the interface's default.\n"
    "  batch\n"
    "      Reads one JSON request per line on standard input and answers each with one JSON line:\n"
    "        {\"family\":\"service\",\"op\":\"ServiceDmzGet\",\"params\":[[\"@id\",\"3\"]],\"body\":{...}}\n"
    "      Controls: {\"control\":\"load\"|\"dump\"|\"failSave\"|\"failLock\",\"family\":F,...}.\n";

int usage(const std::string& message)
{
    if (!message.empty())
        fprintf(stderr, "falctl: %s\n", message.c_str());
    fputs(kUsage, stderr);
    return EXIT_USAGE;
}

struct Options {
    const char* root = nullptr;
    const char* logLevel = nullptr;
    std::vector<std::string> words;  // the command and its arguments
};

// "--name VALUE" or "--name=VALUE" at args[i]; advances i past the value.
bool optionValue(const std::vector<std::string>& args, size_t& i, const char* name, std::string& value,
                 bool& malformed)
{
    const std::string& arg = args[i];
    size_t len = strlen(name);
    if (arg.compare(0, len, name) != 0)
        return false;
    if (arg.size() == len) {
        if (i + 1 >= args.size()) {
            malformed = true;
            return true;
        }
        value = args[++i];
        return true;
    }
    if (arg[len] != '=')
        return false;
    value = arg.substr(len + 1);
    return true;
}

bool parseLogLevel(const char* text, int& level)
{
    if (!text || !*text)
        return false;
    char* end = nullptr;
    long v = strtol(text, &end, 10);
    if (*end || v < 0 || v > 99)
        return false;
    level = static_cast<int>(v);
    return true;
}

// Sets up logging, the root and the private reply stream shared by call and batch.
int enter(const Options& options, FILE*& out)
{
    std::string error;
    if (!falEnterRoot(falRootDir(options.root), error)) {
        fprintf(stderr, "falctl: %s\n", error.c_str());
        return EXIT_FAILURE_STATUS;
    }
    out = falDivertStdout();
    if (!out) {
        perror("falctl: cannot set up standard output");
        return EXIT_FAILURE_STATUS;
    }
    return EXIT_SUCCESS_STATUS;
}

int runCall(const Options& options)
{
    const std::vector<std::string>& w = options.words;
    if (w.size() < 3)
        return usage("call needs a FAMILY and an OPERATION");
    const FalFamilyInfo* family = falFindFamily(w[1]);
    if (!family)
        return usage("unknown family \"" + w[1] + "\"");
    FalCall call;
    call.family = family;
    if (!falSetOperation(*family, w[2], call))
        return usage("unknown operation \"" + w[2] + "\" of family " + family->name);

    std::string bodyText;
    bool hasBody = false;
    for (size_t i = 3; i < w.size(); ++i) {
        std::string value;
        bool malformed = false;
        if (optionValue(w, i, "--body", value, malformed)) {
            if (malformed)
                return usage("--body needs a JSON value");
            bodyText = value;
            hasBody = true;
        } else if (optionValue(w, i, "--requester", value, malformed)) {
            if (malformed)
                return usage("--requester needs a name");
            call.requester = value;
        } else {
            std::string name;
            if (!falParseParam(w[i], name, value))
                return usage("\"" + w[i] + "\" is not a NAME=VALUE parameter");
            call.params.emplace_back(name, value);
        }
    }
    if (hasBody) {
        std::string why;
        json_object* body = falParseJson(bodyText, why);
        if (!why.empty())
            return usage("--body is not valid JSON: " + why);
        if (body)  // a null body is no body
            call.body.reset(TreeMapObject::adopt(body));
    }

    FILE* out = nullptr;
    if (int rc = enter(options, out))
        return rc;
    IFal* object = family->create();
    _FAL_RSP_T* rsp = falExecute(*object, call);
    json_object* json = falResponseToJson(rsp);
    std::string text = falJsonText(json, true);
    json_object_put(json);
    int rc = !rsp ? EXIT_NO_RESPONSE : rsp->status <= FAL_DELETED ? EXIT_SUCCESS_STATUS : EXIT_FAILURE_STATUS;
    freeFalResponse(rsp);
    call.body.reset();
    delete object;
    fprintf(out, "%s\n", text.c_str());
    if (fclose(out) != 0)
        return EXIT_FAILURE_STATUS;
    return rc;
}

int runOps(const Options& options)
{
    const std::vector<std::string>& w = options.words;
    if (w.size() > 2)
        return usage("ops takes at most one FAMILY");
    std::vector<const FalFamilyInfo*> shown;
    if (w.size() == 2) {
        const FalFamilyInfo* family = falFindFamily(w[1]);
        if (!family)
            return usage("unknown family \"" + w[1] + "\"");
        shown.push_back(family);
    } else {
        for (const auto& family : falFamilies())
            shown.push_back(&family);
    }

    size_t familyWidth = 0, nameWidth = 0, slotWidth = 1, idWidth = 1;
    for (const FalFamilyInfo* family : shown) {
        familyWidth = std::max(familyWidth, strlen(family->name));
        for (const FalOpInfo& op : family->ops) {
            nameWidth = std::max(nameWidth, strlen(op.name));
            slotWidth = std::max(slotWidth, std::to_string(op.slot).size());
            idWidth = std::max(idWidth, std::to_string(op.requestId).size());
        }
    }
    for (const FalFamilyInfo* family : shown) {
        IFal* object = family->create();
        for (const FalOpInfo& op : family->ops)
            printf("%-*s  %*u  %*u  %-*s  %s\n", int(familyWidth), family->name, int(slotWidth), op.slot,
                   int(idWidth), op.requestId, int(nameWidth), op.name,
                   family->implemented(object, op.slot) ? "implemented" : "default");
        delete object;
    }
    return fflush(stdout) == 0 ? EXIT_SUCCESS_STATUS : EXIT_FAILURE_STATUS;
}

int runBatch(const Options& options)
{
    if (options.words.size() > 1)
        return usage("batch takes no arguments");
    FILE* out = nullptr;
    if (int rc = enter(options, out))
        return rc;
    {
        FalBatchProcessor processor;
        falRunBatch(stdin, out, processor);
    }
    fclose(out);
    return EXIT_SUCCESS_STATUS;
}

}  // namespace

int main(int argc, char** argv)
{
    std::vector<std::string> args(argv + 1, argv + argc);
    Options options;
    std::string root, level;
    size_t i = 0;
    for (; i < args.size(); ++i) {
        bool malformed = false;
        if (args[i] == "--help" || args[i] == "-h") {
            fputs(kUsage, stdout);
            fputs(kHelp, stdout);
            return EXIT_SUCCESS_STATUS;
        }
        if (args[i] == "--version") {
            printf("falctl %s\n", falVersion());
            return EXIT_SUCCESS_STATUS;
        }
        if (optionValue(args, i, "--root", root, malformed)) {
            if (malformed)
                return usage("--root needs a directory");
            options.root = root.c_str();
        } else if (optionValue(args, i, "--log-level", level, malformed)) {
            if (malformed)
                return usage("--log-level needs a number");
            options.logLevel = level.c_str();
        } else if (args[i].compare(0, 2, "--") == 0) {
            return usage("unknown option " + args[i]);
        } else {
            break;
        }
    }
    options.words.assign(args.begin() + static_cast<long>(i), args.end());
    if (options.words.empty())
        return usage("no command given");

    int logLevel = 3;
    if (options.logLevel) {
        if (!parseLogLevel(options.logLevel, logLevel))
            return usage(std::string("bad log level \"") + options.logLevel + "\"");
    } else if (const char* env = getenv("FAL_LOG_LEVEL"); env && *env && !parseLogLevel(env, logLevel)) {
        fprintf(stderr, "falctl: ignoring FAL_LOG_LEVEL=%s (not a level)\n", env);
        logLevel = 3;
    }
    Logger::init(logLevel, Logger::TO_STDERR);

    const std::string& command = options.words[0];
    if (command == "call")
        return runCall(options);
    if (command == "ops")
        return runOps(options);
    if (command == "batch")
        return runBatch(options);
    if (command == "help")
        return fputs(kUsage, stdout), fputs(kHelp, stdout), EXIT_SUCCESS_STATUS;
    return usage("unknown command \"" + command + "\"");
}
