// The JSON-lines protocol of the hosts: one request object per line in, one JSON line out.
//
//   {"family":"service","op":"ServiceMacfilteringCreate","params":[["@id","3"]],"body":{...}}
//     -> {"apiType":4,"msgId":7,"status":1,"message":"FAL processed fine!","data":{"id":1}}
//   an operation without a response           -> null
//   {"control":"load","family":F,"document":{...}}           -> {"ok":true}
//   {"control":"dump","family":F}                            -> {"document":{...}}
//   {"control":"failSave"|"failLock","family":F,"count":N}   -> {"ok":true}
//   anything malformed                                       -> {"error":"..."}
#pragma once

#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/common/FalRequest.h"

class FalBatchProcessor {
public:
    // Creates one object per family; they live as long as the processor.
    FalBatchProcessor();
    ~FalBatchProcessor();
    FalBatchProcessor(const FalBatchProcessor&) = delete;
    FalBatchProcessor& operator=(const FalBatchProcessor&) = delete;

    // The answer to one input line (one line of JSON, without a newline); nothing for a blank
    // line. The database is the one LocalDbCtrl points at.
    std::optional<std::string> process(const std::string& line);

    // The object that serves a family.
    IFal& object(const FalFamilyInfo& family);

private:
    std::string control(json_object* line);
    std::string call(json_object* line);

    std::vector<std::unique_ptr<IFal>> objects_;  // by API type
};

// Answers every line of `in` on `out` (each answer flushed) until the end of input.
void falRunBatch(FILE* in, FILE* out, FalBatchProcessor& processor);
