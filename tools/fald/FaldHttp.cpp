#include "tools/fald/FaldHttp.h"

#include <strings.h>

#include <cerrno>
#include <cmath>
#include <cstdlib>
#include <cstring>

#include "tools/common/FalRequest.h"

namespace {

// The first value that breaks the number rules, walking the whole tree; "" when none does.
std::string badNumberIn(json_object* value)
{
    switch (json_object_get_type(value)) {
    case json_type_double:
        return std::isfinite(json_object_get_double(value)) ? "" : "a number that is not finite";
    case json_type_object: {
        json_object_object_foreach(value, key, member)
        {
            (void)key;
            std::string why = badNumberIn(member);
            if (!why.empty())
                return why;
        }
        return "";
    }
    case json_type_array:
        for (size_t i = 0, n = json_object_array_length(value); i < n; ++i) {
            std::string why = badNumberIn(json_object_array_get_idx(value, i));
            if (!why.empty())
                return why;
        }
        return "";
    default:
        return "";
    }
}

// The parser saturates integers that do not fit; find them in the text itself. Strings are
// skipped; every integer literal outside them must fit an int64.
bool integersFit(const std::string& text)
{
    bool inString = false;
    for (size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (inString) {
            if (c == '\\')
                ++i;
            else if (c == '"')
                inString = false;
            continue;
        }
        if (c == '"') {
            inString = true;
            continue;
        }
        if (c != '-' && (c < '0' || c > '9'))
            continue;
        size_t end = i + 1;
        bool integer = true;
        while (end < text.size() && strchr("0123456789.eE+-", text[end])) {
            integer = integer && text[end] >= '0' && text[end] <= '9';
            ++end;
        }
        if (integer) {
            errno = 0;
            (void)strtoll(text.c_str() + i, nullptr, 10);
            if (errno == ERANGE)
                return false;
        }
        i = end - 1;
    }
    return true;
}

std::string hostPart(const std::string& host)
{
    if (!host.empty() && host[0] == '[') {
        size_t close = host.find(']');
        return close == std::string::npos ? host : host.substr(1, close - 1);
    }
    return host.substr(0, host.find(':'));
}

}  // namespace

std::string FaldHttpRequest::header(const char* name) const
{
    for (const auto& h : headers)
        if (strcasecmp(h.first.c_str(), name) == 0)
            return h.second;
    return "";
}

FaldHttpReply faldError(int status, const std::string& text)
{
    json_object* o = json_object_new_object();
    json_object_object_add(o, "error", json_object_new_string(text.c_str()));
    FaldHttpReply reply;
    reply.status = status;
    reply.body = falJsonText(o, false);
    json_object_put(o);
    return reply;
}

json_object* faldParseBody(const std::string& body, std::string& error)
{
    json_object* value = falParseJson(body, error);
    if (!error.empty()) {
        error = "request body is not JSON: " + error;
        return nullptr;
    }
    if (!json_object_is_type(value, json_type_object) && !json_object_is_type(value, json_type_array)) {
        json_object_put(value);
        error = "request body must be a JSON object or array";
        return nullptr;
    }
    std::string why = badNumberIn(value);
    if (why.empty() && !integersFit(body))
        why = "an integer outside the 64-bit range";
    if (!why.empty()) {
        json_object_put(value);
        error = "request body has " + why;
        return nullptr;
    }
    return value;
}

bool faldHostAllowed(const std::string& host, const std::vector<std::string>& names)
{
    std::string wanted = hostPart(host);
    for (std::string name : names) {
        if (name.size() >= 2 && name.front() == '[' && name.back() == ']')
            name = name.substr(1, name.size() - 2);
        if (strcasecmp(name.c_str(), wanted.c_str()) == 0)
            return true;
    }
    return false;
}

bool faldIsLoopback(const std::string& address)
{
    return address == "localhost" || address == "::1" || address.rfind("127.", 0) == 0;
}
