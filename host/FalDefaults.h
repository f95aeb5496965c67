// The factory-default gateway root, compiled into the library from defaults/.
#pragma once

#include <cstddef>

struct FalDefaultFile {
    const char* path;  // relative to the root, e.g. "db/gateway.json"
    const char* data;
    size_t size;
};

// Ends with an entry whose path is null.
extern const FalDefaultFile falDefaultFiles[];
