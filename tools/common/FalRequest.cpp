#include "tools/common/FalRequest.h"

#include <climits>
#include <cstring>

const char* const kFalDefaultRequester = "falctl";

namespace {

// Decimal digits only, fitting an unsigned int.
bool parseUnsigned(const std::string& text, unsigned& out)
{
    if (text.empty() || text.size() > 10)
        return false;
    unsigned long long v = 0;
    for (char c : text) {
        if (c < '0' || c > '9')
            return false;
        v = v * 10 + static_cast<unsigned>(c - '0');
    }
    if (v > UINT_MAX)
        return false;
    out = static_cast<unsigned>(v);
    return true;
}

// A JSON integer that fits an unsigned int.
bool jsonUnsigned(json_object* value, unsigned& out)
{
    if (!json_object_is_type(value, json_type_int))
        return false;
    int64_t v = json_object_get_int64(value);
    if (v < 0 || v > static_cast<int64_t>(UINT_MAX))
        return false;
    out = static_cast<unsigned>(v);
    return true;
}

bool parseParams(json_object* list, FAL_PARAMS_T& params, std::string& error)
{
    const char* shape = "\"params\" must be a list of [name, value] pairs";
    if (!json_object_is_type(list, json_type_array)) {
        error = shape;
        return false;
    }
    size_t n = json_object_array_length(list);
    for (size_t i = 0; i < n; ++i) {
        json_object* pair = json_object_array_get_idx(list, i);
        if (!json_object_is_type(pair, json_type_array) || json_object_array_length(pair) != 2 ||
            !json_object_is_type(json_object_array_get_idx(pair, 0), json_type_string)) {
            error = shape;
            return false;
        }
        json_object* value = json_object_array_get_idx(pair, 1);
        switch (json_object_get_type(value)) {
        case json_type_string:
        case json_type_int:
        case json_type_double:
        case json_type_boolean:
            break;
        default:
            error = "parameter values must be strings, numbers or booleans";
            return false;
        }
        params.emplace_back(json_object_get_string(json_object_array_get_idx(pair, 0)),
                            json_object_get_string(value));
    }
    return true;
}

// Well-formed UTF-8 (RFC 3629): no overlong forms, no surrogates, nothing above U+10FFFF.
bool validUtf8(const std::string& text)
{
    const unsigned char* p = reinterpret_cast<const unsigned char*>(text.data());
    const unsigned char* end = p + text.size();
    while (p < end) {
        unsigned char c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        size_t n;
        unsigned char lo = 0x80, hi = 0xBF;  // the range of the second byte
        if (c >= 0xC2 && c <= 0xDF) {
            n = 1;
        } else if (c >= 0xE0 && c <= 0xEF) {
            n = 2;
            lo = c == 0xE0 ? 0xA0 : 0x80;
            hi = c == 0xED ? 0x9F : 0xBF;
        } else if (c >= 0xF0 && c <= 0xF4) {
            n = 3;
            lo = c == 0xF0 ? 0x90 : 0x80;
            hi = c == 0xF4 ? 0x8F : 0xBF;
        } else {
            return false;
        }
        if (static_cast<size_t>(end - p) <= n || p[1] < lo || p[1] > hi)
            return false;
        for (size_t i = 2; i <= n; ++i)
            if ((p[i] & 0xC0) != 0x80)
                return false;
        p += n + 1;
    }
    return true;
}

// The members of a request object of the batch protocol, each null when absent.
struct RequestFields {
    json_object* family = nullptr;
    json_object* apiType = nullptr;
    json_object* op = nullptr;
    json_object* msgId = nullptr;
    json_object* params = nullptr;
    json_object* requester = nullptr;
    json_object* body = nullptr;
    json_object* nullRequest = nullptr;

    // The slot of a member name; null for a name the protocol does not have.
    json_object** slotOf(const char* name)
    {
        static const struct {
            const char* name;
            json_object* RequestFields::*slot;
        } table[] = {
            {"family", &RequestFields::family},       {"apiType", &RequestFields::apiType},
            {"op", &RequestFields::op},               {"msgId", &RequestFields::msgId},
            {"params", &RequestFields::params},       {"requester", &RequestFields::requester},
            {"body", &RequestFields::body},           {"nullRequest", &RequestFields::nullRequest},
        };
        for (const auto& field : table)
            if (strcmp(field.name, name) == 0)
                return &(this->*field.slot);
        return nullptr;
    }
};

}  // namespace

const FalFamilyInfo* falFindFamily(const std::string& nameOrApiType)
{
    unsigned apiType;
    if (parseUnsigned(nameOrApiType, apiType))
        return falFamilyByApiType(apiType);
    return falFamilyByName(nameOrApiType.c_str());
}

const FalFamilyInfo* falFamilyFromJson(json_object* name, json_object* apiType, std::string& error)
{
    const FalFamilyInfo* family = nullptr;
    if (name) {
        if (!json_object_is_type(name, json_type_string)) {
            error = "\"family\" must be a string";
            return nullptr;
        }
        family = falFamilyByName(json_object_get_string(name));
        if (!family) {
            error = std::string("unknown family \"") + json_object_get_string(name) + "\"";
            return nullptr;
        }
    }
    if (apiType) {
        unsigned type;
        if (!jsonUnsigned(apiType, type)) {
            error = "\"apiType\" must be a non-negative integer";
            return nullptr;
        }
        const FalFamilyInfo* byType = falFamilyByApiType(type);
        if (!byType) {
            error = "unknown apiType " + std::to_string(type);
            return nullptr;
        }
        if (family && family != byType) {
            error = "\"family\" and \"apiType\" name different families";
            return nullptr;
        }
        family = byType;
    }
    if (!family)
        error = "missing \"family\" (or \"apiType\")";
    return family;
}

bool falSetOperation(const FalFamilyInfo& family, const std::string& nameOrMsgId, FalCall& call)
{
    if (!nameOrMsgId.empty() && nameOrMsgId[0] >= '0' && nameOrMsgId[0] <= '9') {
        unsigned msgId;
        if (!parseUnsigned(nameOrMsgId, msgId))
            return false;
        call.msgId = msgId;
        call.op = family.findRequest(msgId);
        return true;
    }
    const FalOpInfo* op = family.findOp(nameOrMsgId.c_str());
    if (!op)
        return false;
    call.op = op;
    call.msgId = op->requestId;
    return true;
}

bool falParseParam(const std::string& word, std::string& name, std::string& value)
{
    size_t eq = word.find('=');
    if (eq == std::string::npos || eq == 0)
        return false;
    name = word.substr(0, eq);
    value = word.substr(eq + 1);
    return true;
}

json_object* falParseJson(const std::string& text, std::string& error)
{
    error.clear();
    if (!validUtf8(text)) {
        error = "invalid UTF-8";
        return nullptr;
    }
    json_tokener* tok = json_tokener_new();
    if (!tok) {
        error = "out of memory";
        return nullptr;
    }
    json_tokener_set_flags(tok, JSON_TOKENER_STRICT);
    // The terminating NUL is part of the input: it ends a bare number and lets the tokener see
    // anything that follows the value.
    json_object* value = json_tokener_parse_ex(tok, text.c_str(), static_cast<int>(text.size() + 1));
    enum json_tokener_error rc = json_tokener_get_error(tok);
    size_t end = json_tokener_get_parse_end(tok);
    json_tokener_free(tok);
    if (rc != json_tokener_success || end < text.size()) {
        json_object_put(value);
        error = rc != json_tokener_success ? json_tokener_error_desc(rc) : "unexpected character";
        if (error.empty())
            error = "invalid JSON";
        return nullptr;
    }
    return value;
}

bool falCallFromJson(json_object* request, FalCall& call, std::string& error)
{
    if (!json_object_is_type(request, json_type_object)) {
        error = "a request must be a JSON object";
        return false;
    }
    RequestFields fields;
    json_object_object_foreach(request, key, value)
    {
        json_object** slot = fields.slotOf(key);
        if (!slot) {
            error = std::string("unknown field \"") + key + "\"";
            return false;
        }
        *slot = value;
    }
    json_object* const op = fields.op;
    json_object* const msgId = fields.msgId;
    json_object* const requester = fields.requester;
    json_object* const body = fields.body;
    json_object* const nullRequest = fields.nullRequest;

    call.family = falFamilyFromJson(fields.family, fields.apiType, error);
    if (!call.family)
        return false;

    // The operation: by name or by request id; an id that names no operation is left to the
    // dispatcher.
    if (op) {
        if (!json_object_is_type(op, json_type_string)) {
            error = "\"op\" must be a string";
            return false;
        }
        call.op = call.family->findOp(json_object_get_string(op));
        if (!call.op) {
            error = std::string("unknown operation \"") + json_object_get_string(op) + "\" of family " +
                    call.family->name;
            return false;
        }
        call.msgId = call.op->requestId;
    }
    if (msgId) {
        unsigned id;
        if (!jsonUnsigned(msgId, id)) {
            error = "\"msgId\" must be a non-negative integer";
            return false;
        }
        if (call.op && call.op->requestId != id) {
            error = std::string("\"msgId\" ") + std::to_string(id) + " is not the request id of " +
                    call.op->name;
            return false;
        }
        call.msgId = id;
        call.op = call.family->findRequest(id);
    }
    if (!op && !msgId) {
        error = "missing \"op\" (or \"msgId\")";
        return false;
    }

    if (fields.params && !parseParams(fields.params, call.params, error))
        return false;
    if (requester && !json_object_is_type(requester, json_type_null)) {
        if (!json_object_is_type(requester, json_type_string)) {
            error = "\"requester\" must be a string";
            return false;
        }
        call.requester = json_object_get_string(requester);
    }
    if (body)  // a JSON null body is no body
        call.body.reset(TreeMapObject::adopt(json_object_get(body)));
    if (nullRequest) {
        if (!json_object_is_type(nullRequest, json_type_boolean)) {
            error = "\"nullRequest\" must be a boolean";
            return false;
        }
        call.nullRequest = json_object_get_boolean(nullRequest);
        if (call.nullRequest && !call.op) {
            error = "\"nullRequest\" needs an operation of the family";
            return false;
        }
    }
    return true;
}

_FAL_RSP_T* falExecute(IFal& object, const FalCall& call)
{
    if (call.nullRequest) {
        if (!call.op)
            return nullptr;
        _FAL_RSP_T* rsp = call.family->call(&object, call.op->slot, nullptr);
        LocalDbCtrl::releaseAllHeld();
        return rsp;
    }
    _FAL_REQ_T req;
    req.apiType = call.family->apiType;
    req.msgId = call.msgId;
    req.params = call.params;
    req.requester = call.requester.c_str();
    req.body = call.body.get();
    return object.handleFalReq(&req);
}

json_object* falResponseToJson(const _FAL_RSP_T* rsp)
{
    if (!rsp)
        return nullptr;
    json_object* out = json_object_new_object();
    json_object_object_add(out, "apiType", json_object_new_int64(rsp->apiType));
    json_object_object_add(out, "msgId", json_object_new_int64(rsp->msgId));
    json_object_object_add(out, "status", json_object_new_int64(rsp->status));
    json_object_object_add(out, "message", rsp->message ? json_object_new_string(rsp->message) : nullptr);
    json_object_object_add(out, "data", rsp->data ? json_object_get(rsp->data->node()) : nullptr);
    return out;
}

std::string falJsonText(json_object* value, bool pretty)
{
    int flags = JSON_C_TO_STRING_NOSLASHESCAPE | (pretty ? JSON_C_TO_STRING_PRETTY | JSON_C_TO_STRING_SPACED
                                                         : JSON_C_TO_STRING_PLAIN);
    return json_object_to_json_string_ext(value, flags);
}
