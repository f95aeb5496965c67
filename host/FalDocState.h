// State of one stored document, shared by the tree handles onto it and the database controller.
#pragma once

#include <condition_variable>
#include <thread>

struct json_object;

struct FalDocState {
    json_object* root = nullptr;  // the document, or null when not loaded
    bool dirty = false;           // changed through a handle since the last load or save

    // Lock state, guarded by the controller's table mutex.
    std::thread::id owner;
    unsigned depth = 0;
    char requester[48] = {};      // who took the lock first (for log messages; truncated)
    std::condition_variable released;

    unsigned failLocks = 0;
    unsigned failSaves = 0;
};
