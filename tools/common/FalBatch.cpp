#include "tools/common/FalBatch.h"

#include <stdlib.h>

#include <cstring>
#include <exception>

namespace {

// One compact line holding {"<key>": value}; takes over the reference to value.
std::string answer(const char* key, json_object* value)
{
    json_object* out = json_object_new_object();
    json_object_object_add(out, key, value);
    std::string text = falJsonText(out, false);
    json_object_put(out);
    return text;
}

std::string error(const std::string& message)
{
    return answer("error", json_object_new_string(message.c_str()));
}

std::string ok()
{
    return answer("ok", json_object_new_boolean(1));
}

bool blank(const std::string& line)
{
    return line.find_first_not_of(" \t\r\n\f\v") == std::string::npos;
}

}  // namespace

FalBatchProcessor::FalBatchProcessor()
{
    const auto& families = falFamilies();
    objects_.resize(families.size());
    for (const auto& family : families)
        objects_.at(family.apiType).reset(family.create());
}

FalBatchProcessor::~FalBatchProcessor() = default;

IFal& FalBatchProcessor::object(const FalFamilyInfo& family)
{
    return *objects_.at(family.apiType);
}

std::optional<std::string> FalBatchProcessor::process(const std::string& line)
{
    if (blank(line))
        return std::nullopt;
    std::string why;
    json_object* request = falParseJson(line, why);
    if (!json_object_is_type(request, json_type_object)) {
        json_object_put(request);
        return error(why.empty() ? "a line must hold a JSON object" : "invalid JSON: " + why);
    }
    std::string out;
    try {
        out = json_object_object_get_ex(request, "control", nullptr) ? control(request) : call(request);
    } catch (const std::exception& e) {
        LocalDbCtrl::releaseAllHeld();
        out = error(std::string("internal error: ") + e.what());
    }
    json_object_put(request);
    return out;
}

std::string FalBatchProcessor::call(json_object* line)
{
    FalCall request;
    std::string why;
    if (!falCallFromJson(line, request, why))
        return error(why);
    _FAL_RSP_T* rsp = falExecute(object(*request.family), request);
    json_object* json = falResponseToJson(rsp);
    std::string text = falJsonText(json, false);
    json_object_put(json);
    freeFalResponse(rsp);
    return text;
}

std::string FalBatchProcessor::control(json_object* line)
{
    json_object* name = nullptr;
    json_object* family = nullptr;
    json_object* apiType = nullptr;
    json_object* document = nullptr;
    json_object* count = nullptr;
    bool hasDocument = false;
    json_object_object_foreach(line, key, value)
    {
        if (strcmp(key, "control") == 0) {
            name = value;
        } else if (strcmp(key, "family") == 0) {
            family = value;
        } else if (strcmp(key, "apiType") == 0) {
            apiType = value;
        } else if (strcmp(key, "document") == 0) {
            document = value;
            hasDocument = true;
        } else if (strcmp(key, "count") == 0) {
            count = value;
        } else {
            return error(std::string("unknown field \"") + key + "\"");
        }
    }
    if (!json_object_is_type(name, json_type_string))
        return error("\"control\" must be a string");
    const std::string what = json_object_get_string(name);
    const bool load = what == "load", dump = what == "dump", failSave = what == "failSave",
               failLock = what == "failLock";
    if (!load && !dump && !failSave && !failLock)
        return error("unknown control \"" + what + "\"");
    if ((hasDocument && !load) || (count && !failSave && !failLock))
        return error("control \"" + what + "\" takes no \"" + (hasDocument ? "document" : "count") + "\"");

    std::string why;
    const FalFamilyInfo* target = falFamilyFromJson(family, apiType, why);
    if (!target)
        return error(why);

    if (load) {
        if (!hasDocument)
            return error("control \"load\" needs a \"document\"");
        if (!json_object_is_type(document, json_type_object))
            return error("control \"load\" needs a JSON object as \"document\"");
        TreeMapObject* doc = TreeMapObject::adopt(json_object_get(document));
        int rc = LocalDbCtrl::replaceDocument(target->apiType, doc);
        delete doc;
        if (rc != 0)
            return error(std::string("cannot replace the ") + target->name + " document");
        return ok();
    }
    if (dump) {
        TreeMapObject* doc = LocalDbCtrl::copyDocument(target->apiType);
        if (!doc)
            return error(std::string("cannot load the ") + target->name + " document");
        std::string text = answer("document", json_object_get(doc->node()));
        delete doc;
        return text;
    }
    unsigned n = 1;
    if (count) {
        int64_t v = json_object_is_type(count, json_type_int) ? json_object_get_int64(count) : -1;
        if (v < 0 || v > static_cast<int64_t>(~0u))
            return error("\"count\" must be a non-negative integer");
        n = static_cast<unsigned>(v);
    }
    if (failSave)
        LocalDbCtrl::failNextSaves(target->apiType, n);
    else
        LocalDbCtrl::failNextLocks(target->apiType, n);
    return ok();
}

void falRunBatch(FILE* in, FILE* out, FalBatchProcessor& processor)
{
    char* buffer = nullptr;
    size_t capacity = 0;
    ssize_t n;
    while ((n = getline(&buffer, &capacity, in)) >= 0) {
        std::string line(buffer, static_cast<size_t>(n));
        if (!line.empty() && line.back() == '\n')
            line.pop_back();
        std::optional<std::string> reply = processor.process(line);
        if (!reply)
            continue;
        reply->push_back('\n');
        fwrite(reply->data(), 1, reply->size(), out);
        fflush(out);
    }
    free(buffer);
}
