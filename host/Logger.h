// Logger: one record per print, with a type and a group.
#pragma once

#include <functional>
#include <string>

enum LOG_TYPE_T {
    LOG_TYPE_TRACE = 0,     // entry and exit traces
    LOG_TYPE_INFO = 1,      // anomalies met in the data
    LOG_TYPE_PROGRESS = 2,  // progress
    LOG_TYPE_ERROR = 3,     // errors
};

enum LOG_GROUP_T {
    LOG_GROUP_NETWORK = 0,
    LOG_GROUP_MEDIASHARE = 0,
    LOG_GROUP_WIFI = 12,
    LOG_GROUP_GATEWAY = 14,
    LOG_GROUP_SECURITY = 14,
    LOG_GROUP_SERVICE = 15,
    LOG_GROUP_QOS = 17,
    LOG_GROUP_STORE = 20,  // the database controller and its files
};

class Logger {
public:
    enum Destination { TO_STDERR, TO_SYSLOG, TO_NOWHERE };

    // Formats like printf and writes one record when its type is at least the minimum type.
    static void print(LOG_TYPE_T type, LOG_GROUP_T group, const char* fmt, ...)
        __attribute__((format(printf, 3, 4)));

    // Records below minType are dropped (default: errors only). Chosen at start-up.
    static void init(int minType, Destination destination);
    static int minType();

    // Every record, whatever its type, is also handed to the capture (tests). An empty function
    // removes it.
    using Capture = std::function<void(int type, int group, const std::string& text)>;
    static void setCapture(Capture capture);
};
