// The response factory.
#pragma once

#include "frame/FalTypes.h"

// Kinds of data for makeFalResponse.
enum FAL_RSP_DATA_T {
    FAL_RSP_OBJECT = 0,    // a new empty object
    FAL_RSP_ARRAY = 1,     // a new empty array
    FAL_RSP_RESPONSE = 2,  // the operation's response object
    FAL_RSP_NONE = 3,      // no data (any other value too)
};

// A new response: status 0, "FAL processed fine!", data chosen by kind.
_FAL_RSP_T* makeFalResponse(unsigned apiType, unsigned msgId, int kind);
// makeFalResponse with the response object (withData) or without data.
_FAL_RSP_T* newFalResponse(unsigned apiType, unsigned msgId, bool withData);

extern const char* const FAL_MSG_PROCESSED_FINE;  // "FAL processed fine!"
