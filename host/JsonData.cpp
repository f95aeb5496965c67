#include "host/JsonData.h"

#include <json-c/json.h>

#include <cstring>
#include <string>

int falWriteFileAtomic(const std::string& path, const char* text, size_t size);

TreeMapObject* JsonData::createObjectFromFile(const char* path)
{
    if (!path)
        return nullptr;
    json_object* node = json_object_from_file(path);
    if (!node)
        return nullptr;
    return TreeMapObject::adopt(node);
}

int JsonData::saveObjectToFile(const char* path, TreeMapObject* obj)
{
    if (!path)
        return -1;
    std::string text = obj ? obj->toJsonString(true) : "null";
    text += '\n';
    return falWriteFileAtomic(path, text.data(), text.size());
}
