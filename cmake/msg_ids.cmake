# Writes the header that names every operation's request message id, read from the operation
# lists (FAL_<FAMILY>_OPS(X) with X(Name, requestId) entries) of OPS.
file(READ ${OPS} text)
string(REGEX MATCHALL "#define FAL_[A-Z]+_OPS\\(X\\)|X\\([A-Za-z0-9_]+, *[0-9]+\\)" items "${text}")
set(body "")
set(count 0)
foreach(item ${items})
  if(item MATCHES "^#define FAL_([A-Z]+)_OPS")
    string(APPEND body "\n// FAL_${CMAKE_MATCH_1}_OPS\n")
  elseif(item MATCHES "^X\\(([A-Za-z0-9_]+), *([0-9]+)\\)")
    string(APPEND body "constexpr uint32_t ${CMAKE_MATCH_1} = ${CMAKE_MATCH_2};\n")
    math(EXPR count "${count}+1")
  endif()
endforeach()
if(count EQUAL 0)
  message(FATAL_ERROR "no operations found in ${OPS}")
endif()
file(WRITE ${OUT}.tmp
"// The request message id of every operation (${count} of them), generated from the operation
// lists of frame/FalOps.h: do not edit. The response id is the request id + 1.
//
//     req->apiType = API_TYPE_SERVICE;
//     req->msgId = FalMsg::ServiceDmzGet;
#pragma once

#include <cstdint>

namespace FalMsg {
${body}
constexpr unsigned kOperationCount = ${count};

}  // namespace FalMsg
")
configure_file(${OUT}.tmp ${OUT} COPYONLY)
file(REMOVE ${OUT}.tmp)
