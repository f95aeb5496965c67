// libFuzzer target: arbitrary request lines through the batch protocol into every family.
//
// Each input is read as lines of the batch protocol (operation calls and the load, dump, failSave
// and failLock controls) run against the factory-default database. After every line no lock may
// be held and no tree handle left alive; the run aborts otherwise, as it does on a crash or, under
// LeakSanitizer, a leak.

#include <stdio.h>
#include <stdlib.h>
#include <unistd.h>

#include <cstdint>
#include <string>

#include "hardening/HardeningSupport.h"
#include "tools/common/FalBatch.h"
#include "tools/common/FalRoot.h"

namespace {

FalBatchProcessor* processor = nullptr;
std::string factory[LocalDbCtrl::kDocuments];

[[noreturn]] void fault(const std::string& line, const char* what)
{
    fprintf(stderr, "fal_fuzz: %s after the line: %s\n", what, line.c_str());
    abort();
}

// Whether the line calls an operation that waits seconds by design (skipped, so that the time
// goes to everything else).
bool slowCall(const std::string& line)
{
    std::string why;
    json_object* request = falParseJson(line, why);
    FalCall call;
    bool slow = json_object_is_type(request, json_type_object) &&
                !json_object_object_get_ex(request, "control", nullptr) && falCallFromJson(request, call, why) &&
                call.op && hardeningSlowOp(call.op->name);
    json_object_put(request);
    return slow;
}

void restoreFactory()
{
    for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t) {
        LocalDbCtrl::failNextLocks(t, 0);
        LocalDbCtrl::failNextSaves(t, 0);
        TreeMapObject* doc = TreeMapObject::parse(factory[t].c_str());
        if (LocalDbCtrl::replaceDocument(t, doc) != 0)
            fault("", "cannot restore the factory documents");
        delete doc;
    }
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    char shm[] = "/dev/shm/fal-fuzz-XXXXXX";
    char tmp[] = "/tmp/fal-fuzz-XXXXXX";
    const char* dir = mkdtemp(shm) ? shm : mkdtemp(tmp);
    std::string why;
    if (!dir || !falEnterRoot(dir, why)) {
        fprintf(stderr, "fal_fuzz: cannot prepare a root: %s\n", why.c_str());
        exit(1);
    }
    Logger::init(LOG_TYPE_ERROR, Logger::TO_NOWHERE);
    for (unsigned t = 0; t < LocalDbCtrl::kDocuments; ++t)
        factory[t] = hardeningFactoryDocument(t);
    processor = new FalBatchProcessor;
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    restoreFactory();
    const long handles = TreeMapObject::liveHandles();
    const unsigned long leftLocks = falLeftLockCount();
    const std::string input(reinterpret_cast<const char*>(data), size);
    size_t start = 0;
    while (start <= input.size()) {
        size_t end = input.find('\n', start);
        if (end == std::string::npos)
            end = input.size();
        const std::string line = input.substr(start, end - start);
        start = end + 1;
        if (slowCall(line))
            continue;

        std::string why;
        json_object* request = falParseJson(line, why);
        FalCall call;
        if (json_object_is_type(request, json_type_object) && falCallFromJson(request, call, why) &&
            call.nullRequest && call.op) {
            // A null request straight into the operation, as the batch protocol does, but with
            // the locks checked before anything releases them.
            _FAL_RSP_T* rsp = call.family->call(&processor->object(*call.family), call.op->slot, nullptr);
            freeFalResponse(rsp);
            if (LocalDbCtrl::heldLocks() != 0)
                fault(line, "a lock is still held");
        } else {
            (void)processor->process(line);
        }
        json_object_put(request);
        call.body.reset();
        if (LocalDbCtrl::heldLocks() != 0 || falLeftLockCount() != leftLocks)
            fault(line, "a lock is still held");
        if (TreeMapObject::liveHandles() != handles)
            fault(line, "tree handles leaked");
    }
    return 0;
}
