// fald's OpenAPI 3 document: the paths come from the route table, the types from the schema data
// in tools/fald/openapi/<family>.json (compiled in). Each family file holds
//
//   "params":     path and query parameter name -> {"example", "enum", "type"}
//   "operations": operation name -> {"body": example request body, "data": example reply data,
//                                    "codes": the HTTP codes the operation answers, "summary"}
//
// and the schemas are inferred from the examples (objects, arrays, booleans, integers, numbers,
// strings), so a generated client gets typed bodies and replies. capture.py refreshes the examples
// from a factory-default root.
#include <cstring>
#include <map>
#include <memory>
#include <string>

#include "tools/common/FalDefaults.h"
#include "tools/common/FalRequest.h"
#include "tools/fald/FaldRoutes.h"
#include "tools/fald/FaldSim.h"

// Generated from tools/fald/openapi/*.json.
extern const FalDefaultFile faldSchemaFiles[];

namespace {

json_object* text(const char* s)
{
    return json_object_new_string(s);
}

json_object* object(std::initializer_list<std::pair<const char*, json_object*>> members)
{
    json_object* o = json_object_new_object();
    for (const auto& m : members)
        json_object_object_add(o, m.first, m.second);
    return o;
}

json_object* refTo(const std::string& target)
{
    return object({{"$ref", text(target.c_str())}});
}

json_object* copy(json_object* value)
{
    json_object* out = nullptr;
    json_object_deep_copy(value, &out, nullptr);
    return out;
}

// A value that is always null.
json_object* nullOnly(const char* type)
{
    json_object* values = json_object_new_array();
    json_object_array_add(values, nullptr);
    return object({{"type", text(type)}, {"nullable", json_object_new_boolean(true)}, {"enum", values}});
}

json_object* schemaOf(json_object* value);

const char* typeOf(json_object* schema)
{
    json_object* type = nullptr;
    return json_object_object_get_ex(schema, "type", &type) ? json_object_get_string(type) : "";
}

// One schema that fits the values of both (takes both; `a` may be null: none yet). Schemas of
// different types give the untyped schema.
json_object* merged(json_object* a, json_object* b)
{
    if (!a)
        return b;
    std::string type = typeOf(a);
    json_object* out = nullptr;
    if (type.empty() || type != typeOf(b) || json_object_object_get_ex(a, "enum", nullptr) ||
        json_object_object_get_ex(b, "enum", nullptr)) {
        out = json_object_new_object();
    } else if (type == "object") {
        json_object* pa = nullptr;
        json_object* pb = nullptr;
        json_object_object_get_ex(a, "properties", &pa);
        json_object_object_get_ex(b, "properties", &pb);
        json_object_object_foreach(pb, name, schema)
        {
            json_object* mine = nullptr;
            json_object* next = json_object_get(schema);
            if (json_object_object_get_ex(pa, name, &mine))
                next = merged(json_object_get(mine), next);
            json_object_object_add(pa, name, next);
        }
        out = json_object_get(a);
    } else if (type == "array") {
        json_object* ia = nullptr;
        json_object* ib = nullptr;
        json_object_object_get_ex(a, "items", &ia);
        json_object_object_get_ex(b, "items", &ib);
        json_object_object_add(a, "items", merged(json_object_get(ia), json_object_get(ib)));
        out = json_object_get(a);
    } else {
        out = json_object_get(a);  // the same simple type
    }
    json_object_put(a);
    json_object_put(b);
    return out;
}

// The schema of an example value.
json_object* schemaOf(json_object* value)
{
    switch (json_object_get_type(value)) {
    case json_type_null:
        return nullOnly("object");
    case json_type_boolean:
        return object({{"type", text("boolean")}});
    case json_type_int:
        return object({{"type", text("integer")}});
    case json_type_double:
        return object({{"type", text("number")}});
    case json_type_string:
        return object({{"type", text("string")}});
    case json_type_array: {
        // Every element counts: an element whose type differs from the others' makes the items
        // untyped; objects pool their members.
        json_object* items = nullptr;
        for (size_t i = 0; i < json_object_array_length(value); ++i)
            items = merged(items, schemaOf(json_object_array_get_idx(value, i)));
        return object({{"type", text("array")}, {"items", items ? items : json_object_new_object()}});
    }
    case json_type_object: {
        json_object* props = json_object_new_object();
        json_object_object_foreach(value, name, member)
        {
            // A member that is null in the example may hold anything.
            json_object_object_add(props, name, member ? schemaOf(member) : json_object_new_object());
        }
        return object({{"type", text("object")}, {"properties", props}});
    }
    }
    return json_object_new_object();
}

const char* reason(int code)
{
    switch (code) {
    case 200: return "done (status 0 or 3)";
    case 201: return "created (status 1)";
    case 202: return "accepted, poll \"location\" (status 2)";
    case 400: return "bad request (status 10), or a body that is not JSON";
    case 401: return "no valid session";
    case 403: return "the role may not do this";
    case 404: return "not found (status 9)";
    case 409: return "refused (status 4)";
    case 413: return "body over the limit (fald --max-body, 64 KiB by default)";
    case 429: return "too many failed logins; retry after \"Retry-After\" seconds";
    case 500: return "database error (status 8)";
    case 501: return "not supported by this gateway";
    }
    return "";
}

json_object* content(json_object* schema, json_object* example)
{
    json_object* media = object({{"schema", schema}});
    if (example)
        json_object_object_add(media, "example", example);
    return object({{"application/json", media}});
}

json_object* requiredList(std::initializer_list<const char*> names)
{
    json_object* a = json_object_new_array();
    for (const char* n : names)
        json_object_array_add(a, text(n));
    return a;
}

// The reply of a success: {"status", "message", "data"} with the data typed from its example
// (`known` false: no example, any data).
json_object* successReply(json_object* data, bool known, int code)
{
    json_object* props = object({{"status", object({{"type", text("integer")}})},
                                 {"message", object({{"type", text("string")}})},
                                 {"data", known ? schemaOf(data) : json_object_new_object()}});
    json_object* schema = object({{"type", text("object")},
                                  {"required", requiredList({"status", "message", "data"})},
                                  {"properties", props}});
    int status = code == 201 ? 1 : code == 202 ? 2 : 0;
    json_object* example = known ? object({{"status", json_object_new_int(status)},
                                           {"message", text("FAL processed fine!")},
                                           {"data", copy(data)}})
                                 : nullptr;
    return object({{"description", text(reason(code))}, {"content", content(schema, example)}});
}

// The responses every operation shares, by code.
json_object* sharedResponses()
{
    json_object* out = json_object_new_object();
    auto add = [&](int code, const char* schema) {
        json_object_object_add(out, ("S" + std::to_string(code)).c_str(),
                               object({{"description", text(reason(code))},
                                       {"content", content(refTo(std::string("#/components/schemas/") + schema),
                                                           nullptr)}}));
    };
    add(400, "BadRequest");
    for (int code : {401, 403, 413, 429})
        add(code, "Error");
    for (int code : {404, 409, 500})
        add(code, "Failure");
    add(501, "NotSupported");
    return out;
}

json_object* sharedSchemas()
{
    json_object* failure = object({
        {"type", text("object")},
        {"required", requiredList({"status", "message", "data"})},
        {"properties", object({{"status", object({{"type", text("integer")},
                                                   {"description", text("4 refused, 8 database error, 9 not "
                                                                        "found, 10 bad request")}})},
                               {"message", object({{"type", text("string")}})},
                               {"data", json_object_new_object()}})},
    });
    json_object* notSupported = object({
        {"type", text("object")},
        {"required", requiredList({"status", "message", "data"})},
        {"properties",
         object({{"status", nullOnly("integer")},
                 {"message", object({{"type", text("string")}})},
                 {"data", nullOnly("object")}})},
    });
    json_object* error = object({
        {"type", text("object")},
        {"required", requiredList({"error"})},
        {"properties", object({{"error", object({{"type", text("string")}})}})},
    });
    json_object* anyOf = json_object_new_array();
    json_object_array_add(anyOf, refTo("#/components/schemas/Failure"));
    json_object_array_add(anyOf, refTo("#/components/schemas/Error"));
    return object({{"Failure", failure},
                   {"NotSupported", notSupported},
                   {"Error", error},
                   {"BadRequest", object({{"anyOf", anyOf}})}});
}

// The schema data of every family, parsed once.
class SchemaData {
public:
    SchemaData()
    {
        for (const FalDefaultFile* f = faldSchemaFiles; f->path; ++f) {
            std::string name = f->path;
            if (name.size() < 6 || name.compare(name.size() - 5, 5, ".json") != 0)
                continue;
            std::string why;
            json_object* doc = falParseJson(std::string(f->data, f->size), why);
            if (doc)
                families_[name.substr(0, name.size() - 5)] = doc;
        }
    }
    ~SchemaData()
    {
        for (auto& f : families_)
            json_object_put(f.second);
    }
    SchemaData(const SchemaData&) = delete;
    SchemaData& operator=(const SchemaData&) = delete;

    // Borrowed: the entry of a family's section, or null.
    json_object* get(const std::string& family, const char* section, const std::string& name) const
    {
        auto it = families_.find(family);
        json_object* part = nullptr;
        json_object* entry = nullptr;
        if (it != families_.end() && json_object_object_get_ex(it->second, section, &part))
            json_object_object_get_ex(part, name.c_str(), &entry);
        return entry;
    }

private:
    std::map<std::string, json_object*> families_;
};

json_object* member(json_object* o, const char* name)
{
    json_object* v = nullptr;
    return o && json_object_object_get_ex(o, name, &v) ? v : nullptr;
}

json_object* parameter(const std::string& name, const char* in, json_object* info)
{
    bool path = strcmp(in, "path") == 0;
    json_object* type = member(info, "type");
    json_object* schema = object({{"type", text(type ? json_object_get_string(type) : "string")}});
    if (json_object* e = member(info, "enum"))
        json_object_object_add(schema, "enum", copy(e));
    json_object* p = object({{"name", text(name.c_str())},
                             {"in", text(in)},
                             {"required", json_object_new_boolean(path)},
                             {"schema", schema}});
    if (json_object* example = member(info, "example"))
        json_object_object_add(p, "example", copy(example));
    return p;
}

json_object* responsesOf(json_object* info, json_object* codes, bool body, bool login)
{
    json_object* out = json_object_new_object();
    auto shared = [&](int code) {
        json_object_object_add(out, std::to_string(code).c_str(),
                               refTo("#/components/responses/S" + std::to_string(code)));
    };
    for (size_t i = 0; i < json_object_array_length(codes); ++i) {
        int code = json_object_get_int(json_object_array_get_idx(codes, i));
        if (code == 401 || code == 403 || code == 413 || code == 429)
            continue;  // added below, in order
        if (code >= 200 && code < 300)
            json_object_object_add(out, std::to_string(code).c_str(),
                                   successReply(member(info, "data"), json_object_object_get_ex(info, "data", nullptr),
                                                code));
        else
            shared(code);
    }
    if (!login) {
        shared(401);
        shared(403);
    } else {
        shared(429);
    }
    if (body)
        shared(413);
    return out;
}

json_object* operation(const FaldBoundRoute& route, const SchemaData& data)
{
    const std::string family = route.family->name;
    json_object* info = data.get(family, "operations", route.op->name);
    json_object* summary = member(info, "summary");
    std::string method = route.route->method;
    json_object* op = object({
        {"operationId", text(route.op->name)},
        {"summary", text(summary ? json_object_get_string(summary)
                                 : (method + " " + route.route->path).c_str())},
        {"tags", [&] {
             json_object* t = json_object_new_array();
             json_object_array_add(t, text(family.c_str()));
             return t;
         }()},
    });
    json_object* codes = member(info, "codes");
    bool answers = route.implemented && codes &&
                   !(json_object_array_length(codes) == 1 && json_object_get_int(json_object_array_get_idx(codes, 0)) == 501);
    std::string description = "The " + family + " family's operation " + route.op->name + ".";
    if (!answers)
        description += " Not supported by this gateway: answers 501.";
    json_object_object_add(op, "description", text(description.c_str()));

    json_object* params = json_object_new_array();
    for (const std::string& segment : route.segments)
        if (faldIsVariable(segment)) {
            std::string name = faldVariableName(segment);
            json_object_array_add(params, parameter(name, "path", data.get(family, "params", name)));
        }
    for (const std::string& name : faldQueryNames(*route.route))
        json_object_array_add(params, parameter(name, "query", data.get(family, "params", name)));
    if (json_object_array_length(params) > 0)
        json_object_object_add(op, "parameters", params);
    else
        json_object_put(params);

    json_object* body = member(info, "body");
    if (body && route.implemented)
        json_object_object_add(op, "requestBody",
                               object({{"required", json_object_new_boolean(true)},
                                       {"content", content(schemaOf(body), copy(body))}}));
    json_object* fallback = nullptr;
    if (!codes || !route.implemented) {
        fallback = json_object_new_array();
        json_object_array_add(fallback, json_object_new_int(route.implemented ? 200 : 501));
        codes = fallback;
    }
    bool login = strcmp(route.op->name, "GatewayLogin") == 0;
    json_object_object_add(op, "responses", responsesOf(info, codes, body && route.implemented, login));
    json_object_put(fallback);
    if (login)
        json_object_object_add(op, "security", json_object_new_array());
    return op;
}

std::string lower(std::string s)
{
    for (char& c : s)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return s;
}

json_object* pathItem(json_object* paths, const std::string& path)
{
    json_object* item = nullptr;
    if (!json_object_object_get_ex(paths, path.c_str(), &item)) {
        item = json_object_new_object();
        json_object_object_add(paths, path.c_str(), item);
    }
    return item;
}

// The simulator's controls (fald --sim), described from the "sim" section of the schema data.
void addSimulator(json_object* paths, const SchemaData& data)
{
    struct Control {
        const char* method;
        const char* path;
        const char* id;
    };
    static const Control controls[] = {
        {"GET", "/sim/snapshot", "SimSnapshotGet"},
        {"PUT", "/sim/snapshot", "SimSnapshotLoad"},
        {"POST", "/sim/reset", "SimReset"},
        {"POST", "/sim/faults", "SimFaults"},
    };
    for (const Control& c : controls) {
        json_object* info = data.get("sim", "operations", c.id);
        json_object* summary = member(info, "summary");
        json_object* tags = json_object_new_array();
        json_object_array_add(tags, text("sim"));
        json_object* op = object({{"operationId", text(c.id)},
                                  {"summary", text(summary ? json_object_get_string(summary) : c.id)},
                                  {"description", text("A simulator control; fald --sim only, admin "
                                                       "sessions only when sessions are on.")},
                                  {"tags", tags}});
        bool snapshot = strcmp(c.path, "/sim/snapshot") == 0;
        FaldJson factory(snapshot ? faldFactorySnapshot() : nullptr);  // the example of a snapshot
        json_object* body = strcmp(c.method, "PUT") == 0 ? factory.get() : member(info, "body");
        json_object* reply = snapshot && !body ? factory.get() : member(info, "data");
        if (body)
            json_object_object_add(op, "requestBody",
                                   object({{"required", json_object_new_boolean(true)},
                                           {"content", content(schemaOf(body), copy(body))}}));
        json_object* responses = object({{"200", successReply(reply, true, 200)}});
        if (body) {
            json_object_object_add(responses, "400", refTo("#/components/responses/S400"));
            json_object_object_add(responses, "413", refTo("#/components/responses/S413"));
        }
        json_object_object_add(responses, "401", refTo("#/components/responses/S401"));
        json_object_object_add(responses, "403", refTo("#/components/responses/S403"));
        if (strcmp(c.method, "GET") != 0)
            json_object_object_add(responses, "500", refTo("#/components/responses/S500"));
        json_object_object_add(op, "responses", responses);
        json_object_object_add(pathItem(paths, c.path), lower(c.method).c_str(), op);
    }
}

}  // namespace

json_object* FaldRouter::openApi(bool sim) const
{
    SchemaData data;
    json_object* paths = json_object_new_object();
    json_object* tags = json_object_new_array();
    for (const FaldBoundRoute& route : routes_) {
        json_object_object_add(pathItem(paths, route.route->path), lower(route.route->method).c_str(),
                               operation(route, data));
    }
    for (const FalFamilyInfo& family : falFamilies())
        json_object_array_add(tags, object({{"name", text(family.name)},
                                            {"description", text((std::string("The ") + family.name +
                                                                  " family's operations").c_str())}}));
    if (sim) {
        addSimulator(paths, data);
        json_object_array_add(tags, object({{"name", text("sim")},
                                            {"description", text("Simulator controls (fald --sim)")}}));
    }

    json_object* security = json_object_new_array();
    for (const char* scheme : {"session", "bearer"})
        json_object_array_add(security, object({{scheme, json_object_new_array()}}));
    json_object* schemes = object({
        {"session", object({{"type", text("apiKey")}, {"in", text("cookie")}, {"name", text("fald_session")}})},
        {"bearer", object({{"type", text("http")}, {"scheme", text("bearer")}})},
    });
    return object({
        {"openapi", text("3.0.3")},
        {"info", object({{"title", text("fald: gateway management API")},
                         {"version", text("1")},
                         {"description", text("The gateway's management interface: every operation of every "
                                              "family. Replies are {\"status\", \"message\", \"data\"}; fald's "
                                              "own refusals are {\"error\"}.")},
                         {"contact", object({{"name", text("libfal")}})}})},
        {"servers", [] {
             json_object* s = json_object_new_array();
             json_object_array_add(s, object({{"url", text(kFaldApiPrefix)}}));
             return s;
         }()},
        {"security", security},
        {"tags", tags},
        {"paths", paths},
        {"components", object({{"schemas", sharedSchemas()},
                               {"responses", sharedResponses()},
                               {"securitySchemes", schemes}})},
    });
}
