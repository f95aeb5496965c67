#include "tools/fald/FaldRoutes.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

const char* const kFaldApiPrefix = "/api/v1";

namespace {

bool fits(const FaldBoundRoute& route, const std::vector<std::string>& segments)
{
    if (route.segments.size() != segments.size())
        return false;
    for (size_t i = 0; i < segments.size(); ++i) {
        const std::string& pattern = route.segments[i];
        if (faldIsVariable(pattern) ? segments[i].empty() : pattern != segments[i])
            return false;
    }
    return true;
}

// Whether `a` is more specific than `b`: a literal where `b` has a variable, at the first place
// they differ in kind.
bool moreSpecific(const FaldBoundRoute& a, const FaldBoundRoute& b)
{
    for (size_t i = 0; i < a.segments.size(); ++i) {
        bool va = faldIsVariable(a.segments[i]);
        if (va != faldIsVariable(b.segments[i]))
            return !va;
    }
    return false;
}

}  // namespace

bool faldIsVariable(const std::string& segment)
{
    return segment.size() > 2 && segment.front() == '{' && segment.back() == '}';
}

std::string faldVariableName(const std::string& segment)
{
    return segment.substr(1, segment.size() - 2);
}

std::vector<std::string> faldQueryNames(const FaldRoute& route)
{
    std::vector<std::string> out;
    std::string item;
    for (const char* p = route.query; ; ++p) {
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
            if (faldIsVariable(m.route->segments[i]))
                m.params.emplace_back("@" + faldVariableName(m.route->segments[i]), segments[i]);
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
        json_object_object_add(item, "path", json_object_new_string((std::string(kFaldApiPrefix) + route.route->path).c_str()));
        json_object_object_add(item, "family", json_object_new_string(route.family->name));
        json_object_object_add(item, "operation", json_object_new_string(route.op->name));
        json_object_object_add(item, "implemented", json_object_new_boolean(route.implemented));
        json_object_array_add(list, item);
    }
    json_object* out = json_object_new_object();
    json_object_object_add(out, "routes", list);
    return out;
}
