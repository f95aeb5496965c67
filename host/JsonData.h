// JsonData: JSON files to trees and back.
#pragma once

#include "host/TreeMapObject.h"

class JsonData {
public:
    // Parses the file into a new tree owned by the caller; null when missing or not valid JSON.
    static TreeMapObject* createObjectFromFile(const char* path);
    // Writes the tree as JSON text to the file (atomically: temporary file and rename).
    // 0 on success, non-zero on failure.
    static int saveObjectToFile(const char* path, TreeMapObject* obj);
};
