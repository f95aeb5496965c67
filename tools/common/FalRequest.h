// Requests and responses on the host side: naming families and operations, building a request
// from its JSON form or from command-line words, running it on a family object, and the JSON
// form of a response.
#pragma once

#include <json-c/json.h>

#include <memory>
#include <string>

#include "fal.h"

// The requester of calls that do not name one.
extern const char* const kFalDefaultRequester;

// One operation call as the host received it, before it becomes a _FAL_REQ_T.
struct FalCall {
    const FalFamilyInfo* family = nullptr;
    const FalOpInfo* op = nullptr;  // null when msgId is no request id of the family
    unsigned msgId = 0;             // request message id
    FAL_PARAMS_T params;
    std::string requester = kFalDefaultRequester;
    std::unique_ptr<TreeMapObject> body;  // null: no body
    bool nullRequest = false;             // call the operation with a null request
};

// A family by name ("service") or by API type as decimal text ("4"); null when there is none.
const FalFamilyInfo* falFindFamily(const std::string& nameOrApiType);

// The family that the members "family" (a name) and "apiType" (a number) of a JSON request name;
// either may be null (absent), and when both are given they must agree. Null with a message in
// `error` when they name no family or disagree.
const FalFamilyInfo* falFamilyFromJson(json_object* name, json_object* apiType, std::string& error);

// Sets call.op and call.msgId from an operation name ("ServiceDmzGet") or a request id as decimal
// text ("118"). A request id that no operation of the family has is kept (op null): the
// dispatcher answers it. false for an unknown name or a malformed number.
bool falSetOperation(const FalFamilyInfo& family, const std::string& nameOrMsgId, FalCall& call);

// Splits "NAME=VALUE" at the first '='; false when there is no '=' or the name is empty.
bool falParseParam(const std::string& word, std::string& name, std::string& value);

// Parses a whole text as one JSON value (strict JSON in valid UTF-8, only white space around it).
// Returns a new reference that the caller puts; null with a message in `error` when the text is
// not JSON. The text "null" gives null with an empty `error`.
json_object* falParseJson(const std::string& text, std::string& error);

// Fills `call` from a request object of the batch protocol:
//   {"family": F | "apiType": N, "op": NAME | "msgId": N, "params": [[name, value], ...],
//    "requester": R, "body": JSON, "nullRequest": bool}
// Parameter values may be strings, numbers or booleans (numbers and booleans become their text).
// false with a message in `error` for an unknown family or operation or a malformed field.
bool falCallFromJson(json_object* request, FalCall& call, std::string& error);

// Runs the call on the family's object: an ordinary call through its dispatcher (handleFalReq);
// a null request directly on the operation's slot, after which every lock the operation left is
// released. The caller frees the response (freeFalResponse); null when there is none.
_FAL_RSP_T* falExecute(IFal& object, const FalCall& call);

// {"apiType":..,"msgId":..,"status":..,"message":..,"data":..} ("data" null when there is none);
// JSON null (a null pointer) for a null response. A new reference that the caller puts; the
// response is left untouched.
json_object* falResponseToJson(const _FAL_RSP_T* rsp);

// The JSON text of a value: one compact line, or indented when `pretty`.
std::string falJsonText(json_object* value, bool pretty);
