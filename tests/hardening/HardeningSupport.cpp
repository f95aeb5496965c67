#include "hardening/HardeningSupport.h"

#include <cstring>
#include <set>

#include "tools/common/FalDefaults.h"

std::string hardeningFactoryDocument(unsigned apiType)
{
    const char* name = LocalDbCtrl::documentName(apiType);
    if (!name)
        return "{}";
    const std::string path = std::string("db/") + name + ".json";
    for (const FalDefaultFile* f = falDefaultFiles; f->path; ++f)
        if (path == f->path)
            return std::string(f->data, f->size);
    return "{}";
}

bool hardeningSlowOp(const char* opName)
{
    static const char* const slow[] = {"ServiceWolWakeon", "MediashareDlnaScan", "GatewayCpuUsage",
                                       "GatewayMemoryUsage"};
    for (const char* s : slow)
        if (strcmp(s, opName) == 0)
            return true;
    return false;
}

namespace {

void collect(json_object* node, std::set<std::string>& seen, std::vector<HardeningMember>& out)
{
    if (json_object_is_type(node, json_type_array)) {
        for (size_t i = 0; i < json_object_array_length(node); ++i)
            collect(json_object_array_get_idx(node, i), seen, out);
        return;
    }
    if (!json_object_is_type(node, json_type_object))
        return;
    json_object_object_foreach(node, key, value)
    {
        if (seen.insert(key).second)
            out.push_back({key, json_object_get_type(value)});
        collect(value, seen, out);
    }
}

}  // namespace

std::vector<HardeningMember> hardeningMembers(const std::string& json)
{
    std::vector<HardeningMember> out;
    std::set<std::string> seen;
    json_object* root = json_tokener_parse(json.c_str());
    collect(root, seen, out);
    json_object_put(root);
    return out;
}

const std::vector<std::string>& hardeningParamNames()
{
    static const std::vector<std::string> names = {
        "@id",        "@ruleId",  "@deviceId", "@interfaceId", "@type",     "@index",
        "@filterId",  "@categoryId", "@priorityType", "!connected", "!name", "!interface",
        "!ssid",      "!networkType", "!filter", "!depth",     "filter"};
    return names;
}
