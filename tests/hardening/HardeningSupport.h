// What the hardening suites (the families' sweep, crash safety, stress, fuzzing) share: the factory
// documents, the operations that wait seconds by design, and the shape of a family's stored data.
#pragma once

#include <json-c/json.h>

#include <string>
#include <vector>

#include "fal.h"

// The factory-default document of an API type as JSON text ("{}" when there is none).
std::string hardeningFactoryDocument(unsigned apiType);

// Operations that wait seconds on purpose (a fixed sleep, or a `top` run): the suites call them
// rarely so that their time goes to everything else.
bool hardeningSlowOp(const char* opName);

// A member name met in a stored document, with the JSON type it had there.
struct HardeningMember {
    std::string name;
    json_type type;
};
// Every member name of the JSON text, at any depth, each once (with the first type seen).
std::vector<HardeningMember> hardeningMembers(const std::string& json);

// The request parameter names the families read.
const std::vector<std::string>& hardeningParamNames();
