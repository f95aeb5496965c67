// What each operation asks of its request, beside the operation lists of FalOps.h: its response
// id, the parameters and body it needs, the answer to a request that lacks them, and the member
// of its document that a generic read or write serves.
#pragma once

#include "frame/FalTypes.h"

enum FAL_BODY_T : unsigned char {
    FAL_BODY_NONE,      // the operation reads no body
    FAL_BODY_OPTIONAL,  // a body is read when there is one
    FAL_BODY_REQUIRED,  // without a body the operation gives its refusal answer
};

enum FAL_GENERIC_T : unsigned char {
    FAL_GENERIC_NONE,    // the family's own handler answers
    FAL_GENERIC_GET,     // a copy of the member genericKey (falGeneralDbGet)
    FAL_GENERIC_UPDATE,  // the member genericKey replaced by the body (falGeneralDbUpdate)
};

struct FalPolicy {
    const char* op;              // the operation's name in FalOps.h
    unsigned responseId;         // the response message id (0 in a row: the request id + 1)
    const char* params;          // parameters it needs, e.g. "@id" or "@id !name"; "" for none
    FAL_BODY_T body;
    FAL_STATUS_T refusalStatus;  // the answer to a null request or a missing body or parameter;
    const char* refusalText;     // a null text answers with no response at all
    FAL_GENERIC_T generic;       // a generic read or write that answers for the operation
    const char* genericKey;      // the member it serves
};

// The policy of operation `requestId` of family `apiType` (all defaults for an operation the
// table does not name), or null for an operation that does not exist.
const FalPolicy* falPolicy(unsigned apiType, unsigned requestId);

// The response id of operation `requestId` of family `apiType`.
unsigned falResponseId(unsigned apiType, unsigned requestId);

// The refusal answer of operation `requestId` (its status and text, no data), or null when the
// operation answers a null request with no response.
_FAL_RSP_T* falRefusal(unsigned apiType, unsigned requestId);

// Whether `req` lacks a parameter or the body that its policy requires.
bool falLacksRequired(const FalPolicy& policy, const _FAL_REQ_T& req);

// The generic read or write of operation `requestId` of family `familyType`, answering as and
// locking `apiType` (the object's own type, which a host may have changed), or null when the
// operation has none. It is what the interfaces' default bodies answer, so a family need not
// implement such an operation.
_FAL_RSP_T* falGenericOperation(unsigned familyType, unsigned apiType, unsigned requestId, _FAL_REQ_T* req);

// A new response of operation `requestId` (status 0, "FAL processed fine!"), with the response
// object as data or without data; null when it cannot be made.
_FAL_RSP_T* falNewResponse(unsigned apiType, unsigned requestId, bool withData);

// The same for request `req`: null for a null request as well.
_FAL_RSP_T* falBegin(const _FAL_REQ_T* req, unsigned apiType, unsigned requestId, bool withData);
