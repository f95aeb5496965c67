#include "tools/fald/FaldRoutes.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

const char* const kFaldApiPrefix = "/api/v1";

namespace {

bool isVariable(const std::string& segment)
{
    return segment.size() > 2 && segment.front() == '{' && segment.back() == '}';
}

std::string variableName(const std::string& segment)
{
    return segment.substr(1, segment.size() - 2);
}

bool fits(const FaldBoundRoute& route, const std::vector<std::string>& segments)
{
    if (route.segments.size() != segments.size())
        return false;
    for (size_t i = 0; i < segments.size(); ++i) {
        const std::string& pattern = route.segments[i];
        if (isVariable(pattern) ? segments[i].empty() : pattern != segments[i])
            return false;
    }
    return true;
}

// Whether `a` is more specific than `b`: a literal where `b` has a variable, at the first place
// they differ in kind.
bool moreSpecific(const FaldBoundRoute& a, const FaldBoundRoute& b)
{
    for (size_t i = 0; i < a.segments.size(); ++i) {
        bool va = isVariable(a.segments[i]);
        if (va != isVariable(b.segments[i]))
            return !va;
    }
    return false;
}

std::vector<std::string> splitList(const char* text)
{
    std::vector<std::string> out;
    std::string item;
    for (const char* p = text; ; ++p) {
        if (*p == ',' || *p == '\0') {
            if (!item.empty())
                out.push_back(item);
            item.clear();
            if (*p == '\0')
                break;
        } else {
            item += *p;
        }
    }
    return out;
}

json_object* str(const std::string& s)
{
    return json_object_new_string(s.c_str());
}

json_object* parameter(const std::string& name, const char* in, bool required)
{
    json_object* p = json_object_new_object();
    json_object_object_add(p, "name", str(name));
    json_object_object_add(p, "in", json_object_new_string(in));
    json_object_object_add(p, "required", json_object_new_boolean(required));
    json_object* schema = json_object_new_object();
    json_object_object_add(schema, "type", json_object_new_string("string"));
    json_object_object_add(p, "schema", schema);
    return p;
}

json_object* ref(const char* target)
{
    json_object* r = json_object_new_object();
    json_object_object_add(r, "$ref", json_object_new_string(target));
    return r;
}

json_object* replySchema()
{
    json_object* props = json_object_new_object();
    json_object* status = json_object_new_object();
    json_object_object_add(status, "type", json_object_new_string("integer"));
    json_object_object_add(status, "description",
                           json_object_new_string("0 done, 1 created, 2 accepted, 3 deleted, 4 refused, 8 database "
                                                  "error, 9 not found, 10 bad request"));
    json_object_object_add(props, "status", status);
    json_object* message = json_object_new_object();
    json_object_object_add(message, "type", json_object_new_string("string"));
    json_object_object_add(props, "message", message);
    json_object* data = json_object_new_object();
    json_object_object_add(data, "nullable", json_object_new_boolean(true));
    json_object_object_add(data, "description", json_object_new_string("the operation's data, or null"));
    json_object_object_add(props, "data", data);
    json_object* schema = json_object_new_object();
    json_object_object_add(schema, "type", json_object_new_string("object"));
    json_object_object_add(schema, "properties", props);
    return schema;
}

json_object* errorSchema()
{
    json_object* props = json_object_new_object();
    json_object* error = json_object_new_object();
    json_object_object_add(error, "type", json_object_new_string("string"));
    json_object_object_add(props, "error", error);
    json_object* schema = json_object_new_object();
    json_object_object_add(schema, "type", json_object_new_string("object"));
    json_object_object_add(schema, "properties", props);
    return schema;
}

json_object* jsonContent(const char* schemaRef)
{
    json_object* media = json_object_new_object();
    json_object_object_add(media, "schema", ref(schemaRef));
    json_object* content = json_object_new_object();
    json_object_object_add(content, "application/json", media);
    return content;
}

json_object* response(const char* description, const char* schemaRef)
{
    json_object* r = json_object_new_object();
    json_object_object_add(r, "description", json_object_new_string(description));
    json_object_object_add(r, "content", jsonContent(schemaRef));
    return r;
}

// The HTTP statuses an operation can answer, shared by every route.
json_object* components()
{
    struct Code {
        const char* code;
        const char* description;
        bool error;  // the layer's own error object rather than an operation reply
    };
    static const Code codes[] = {
        {"200", "done (status 0 or 3)", false},          {"201", "created (status 1)", false},
        {"202", "accepted, poll \"location\" (status 2)", false}, {"400", "bad request (status 10)", false},
        {"401", "no valid session", true},               {"403", "the role may not do this", true},
        {"404", "not found (status 9)", false},          {"409", "refused (status 4)", false},
        {"413", "body over 64 KiB", true},               {"500", "database error (status 8)", false},
        {"501", "not supported by this gateway", false},
    };
    json_object* responses = json_object_new_object();
    for (const Code& c : codes)
        json_object_object_add(responses, (std::string("S") + c.code).c_str(),
                               response(c.description, c.error ? "#/components/schemas/Error"
                                                               : "#/components/schemas/Reply"));
    json_object* schemas = json_object_new_object();
    json_object_object_add(schemas, "Reply", replySchema());
    json_object_object_add(schemas, "Error", errorSchema());

    json_object* cookie = json_object_new_object();
    json_object_object_add(cookie, "type", json_object_new_string("apiKey"));
    json_object_object_add(cookie, "in", json_object_new_string("cookie"));
    json_object_object_add(cookie, "name", json_object_new_string("fald_session"));
    json_object* bearer = json_object_new_object();
    json_object_object_add(bearer, "type", json_object_new_string("http"));
    json_object_object_add(bearer, "scheme", json_object_new_string("bearer"));
    json_object* schemes = json_object_new_object();
    json_object_object_add(schemes, "session", cookie);
    json_object_object_add(schemes, "bearer", bearer);

    json_object* out = json_object_new_object();
    json_object_object_add(out, "schemas", schemas);
    json_object_object_add(out, "responses", responses);
    json_object_object_add(out, "securitySchemes", schemes);
    return out;
}

json_object* operationResponses(const std::string& method)
{
    static const char* const common[] = {"400", "401", "403", "404", "409", "413", "500", "501"};
    json_object* out = json_object_new_object();
    json_object_object_add(out, "200", ref("#/components/responses/S200"));
    if (method == "POST") {
        json_object_object_add(out, "201", ref("#/components/responses/S201"));
        json_object_object_add(out, "202", ref("#/components/responses/S202"));
    }
    for (const char* code : common)
        json_object_object_add(out, code, ref((std::string("#/components/responses/S") + code).c_str()));
    return out;
}

std::string lower(std::string s)
{
    for (char& c : s)
        c = static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
    return s;
}

}  // namespace

std::vector<std::string> faldSplitPath(const std::string& path)
{
    std::vector<std::string> out;
    if (path.empty())
        return out;
    size_t start = path[0] == '/' ? 1 : 0;
    while (true) {
        size_t slash = path.find('/', start);
        out.push_back(path.substr(start, slash == std::string::npos ? std::string::npos : slash - start));
        if (slash == std::string::npos)
            break;
        start = slash + 1;
    }
    return out;
}

FaldRouter::FaldRouter()
{
    std::map<const FalFamilyInfo*, std::unique_ptr<IFal>> objects;  // to ask what each implements
    for (const FaldRouteRows& rows : faldRouteTable()) {
        for (size_t i = 0; i < rows.count; ++i) {
            const FaldRoute& row = rows.rows[i];
            FaldBoundRoute bound;
            bound.route = &row;
            bound.segments = faldSplitPath(row.path);
            bound.family = falFamilyByName(bound.segments.empty() ? "" : bound.segments[0].c_str());
            bound.op = bound.family ? bound.family->findOp(row.op) : nullptr;
            if (!bound.op) {
                fprintf(stderr, "fald: route %s %s names no operation %s\n", row.method, row.path, row.op);
                abort();
            }
            std::unique_ptr<IFal>& object = objects[bound.family];
            if (!object)
                object.reset(bound.family->create());
            bound.implemented = bound.family->implemented(object.get(), bound.op->slot);
            routes_.push_back(std::move(bound));
        }
    }
}

FaldMatch FaldRouter::match(const std::string& method, const std::string& path) const
{
    const std::string& wanted = method == "HEAD" ? std::string("GET") : method;
    std::vector<std::string> segments = faldSplitPath(path);
    FaldMatch m;
    for (const FaldBoundRoute& route : routes_) {
        if (!fits(route, segments))
            continue;
        if (wanted == route.route->method) {
            if (!m.route || moreSpecific(route, *m.route))
                m.route = &route;
        } else if (m.allow.find(route.route->method) == std::string::npos) {
            m.allow += m.allow.empty() ? "" : ", ";
            m.allow += route.route->method;
        }
    }
    if (m.route) {
        m.kind = FaldMatch::FOUND;
        for (size_t i = 0; i < segments.size(); ++i)
            if (isVariable(m.route->segments[i]))
                m.params.emplace_back("@" + variableName(m.route->segments[i]), segments[i]);
    } else if (!m.allow.empty()) {
        m.kind = FaldMatch::WRONG_METHOD;
    }
    return m;
}

json_object* FaldRouter::listing() const
{
    json_object* list = json_object_new_array();
    for (const FaldBoundRoute& route : routes_) {
        json_object* item = json_object_new_object();
        json_object_object_add(item, "method", json_object_new_string(route.route->method));
        json_object_object_add(item, "path", str(std::string(kFaldApiPrefix) + route.route->path));
        json_object_object_add(item, "family", json_object_new_string(route.family->name));
        json_object_object_add(item, "operation", json_object_new_string(route.op->name));
        json_object_object_add(item, "implemented", json_object_new_boolean(route.implemented));
        json_object_array_add(list, item);
    }
    json_object* out = json_object_new_object();
    json_object_object_add(out, "routes", list);
    return out;
}

json_object* FaldRouter::openApi() const
{
    json_object* paths = json_object_new_object();
    for (const FaldBoundRoute& route : routes_) {
        json_object* item = nullptr;
        if (!json_object_object_get_ex(paths, route.route->path, &item)) {
            item = json_object_new_object();
            json_object_object_add(paths, route.route->path, item);
        }
        json_object* op = json_object_new_object();
        json_object_object_add(op, "operationId", json_object_new_string(route.op->name));
        json_object* tags = json_object_new_array();
        json_object_array_add(tags, json_object_new_string(route.family->name));
        json_object_object_add(op, "tags", tags);
        if (!route.implemented)
            json_object_object_add(op, "description",
                                   json_object_new_string("Not supported by this gateway yet: answers 501."));

        json_object* params = json_object_new_array();
        for (const std::string& segment : route.segments)
            if (isVariable(segment))
                json_object_array_add(params, parameter(variableName(segment), "path", true));
        for (const std::string& name : splitList(route.route->query))
            json_object_array_add(params, parameter(name, "query", false));
        if (json_object_array_length(params) > 0)
            json_object_object_add(op, "parameters", params);
        else
            json_object_put(params);

        std::string method = route.route->method;
        if (method != "GET") {
            json_object* media = json_object_new_object();
            json_object_object_add(media, "schema", json_object_new_object());
            json_object* content = json_object_new_object();
            json_object_object_add(content, "application/json", media);
            json_object* body = json_object_new_object();
            json_object_object_add(body, "required", json_object_new_boolean(false));
            json_object_object_add(body, "content", content);
            json_object_object_add(op, "requestBody", body);
        }
        json_object_object_add(op, "responses", operationResponses(method));
        if (strcmp(route.op->name, "GatewayLogin") == 0)
            json_object_object_add(op, "security", json_object_new_array());
        json_object_object_add(item, lower(method).c_str(), op);
    }

    json_object* info = json_object_new_object();
    json_object_object_add(info, "title", json_object_new_string("fald: gateway management API"));
    json_object_object_add(info, "version", json_object_new_string("1"));
    json_object* server = json_object_new_object();
    json_object_object_add(server, "url", json_object_new_string(kFaldApiPrefix));
    json_object* servers = json_object_new_array();
    json_object_array_add(servers, server);
    json_object* security = json_object_new_array();
    for (const char* scheme : {"session", "bearer"}) {
        json_object* req = json_object_new_object();
        json_object_object_add(req, scheme, json_object_new_array());
        json_object_array_add(security, req);
    }

    json_object* doc = json_object_new_object();
    json_object_object_add(doc, "openapi", json_object_new_string("3.0.3"));
    json_object_object_add(doc, "info", info);
    json_object_object_add(doc, "servers", servers);
    json_object_object_add(doc, "security", security);
    json_object_object_add(doc, "paths", paths);
    json_object_object_add(doc, "components", components());
    return doc;
}
