#include "host/Logger.h"

#include <syslog.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace {

struct State {
    std::mutex mutex;
    int minType = LOG_TYPE_ERROR;
    Logger::Destination destination = Logger::TO_STDERR;
    Logger::Capture capture;
    State()
    {
        // The minimum type may be chosen from the environment; anything but a number is ignored.
        if (const char* level = getenv("FAL_LOG_LEVEL")) {
            char* end = nullptr;
            long value = strtol(level, &end, 10);
            if (end != level && *end == '\0')
                minType = int(value);
        }
    }
};

State& state()
{
    static State* s = new State;
    return *s;
}

const char* const kTypeNames[] = {"TRACE", "INFO", "PROGRESS", "ERROR"};

}  // namespace

void Logger::print(LOG_TYPE_T type, LOG_GROUP_T group, const char* fmt, ...)
{
    State& s = state();
    if (!fmt)
        return;
    {
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!s.capture && (type < s.minType || s.destination == TO_NOWHERE))
            return;
    }
    va_list args;
    va_start(args, fmt);
    va_list again;
    va_copy(again, args);
    int size = vsnprintf(nullptr, 0, fmt, args);
    va_end(args);
    std::string text(size > 0 ? size_t(size) : 0, '\0');
    if (size > 0)
        vsnprintf(&text[0], text.size() + 1, fmt, again);
    va_end(again);

    std::lock_guard<std::mutex> lock(s.mutex);
    if (s.capture)
        s.capture(type, group, text);
    if (type < s.minType)
        return;
    const char* name = (type >= 0 && type <= 3) ? kTypeNames[type] : "LOG";
    bool newline = !text.empty() && text.back() == '\n';
    switch (s.destination) {
    case TO_STDERR:
        fprintf(stderr, "fal[%d] %s: %s%s", int(group), name, text.c_str(), newline ? "" : "\n");
        break;
    case TO_SYSLOG: {
        static const int kPriority[] = {LOG_DEBUG, LOG_INFO, LOG_NOTICE, LOG_ERR};
        syslog((type >= 0 && type <= 3) ? kPriority[type] : LOG_INFO, "[%d] %s", int(group), text.c_str());
        break;
    }
    case TO_NOWHERE:
        break;
    }
}

void Logger::init(int minType, Destination destination)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    state().minType = minType;
    state().destination = destination;
}

int Logger::minType()
{
    std::lock_guard<std::mutex> lock(state().mutex);
    return state().minType;
}

void Logger::setCapture(Capture capture)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    state().capture = std::move(capture);
}
