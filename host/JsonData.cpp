#include "host/JsonData.h"

#include <json-c/json.h>

#include <string>

#include "host/FalFile.h"

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
    if (!path || !*path)
        return -1;
    std::string text = obj ? obj->toJsonString(true) : "null";
    text += '\n';
    // Request threads may write the same file at once: each uses a temporary file of its own.
    return falWriteFileAtomic(path, text.data(), text.size(), true);
}
