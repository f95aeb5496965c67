#include "host/Logger.h"

#include <syslog.h>

#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <vector>

namespace {

// The filter is read without the mutex, so that lines below the level (most trace lines) cost
// no lock; the mutex serialises the writes and the capture.
struct State {
    std::mutex mutex;
    std::atomic<int> minType{LOG_TYPE_ERROR};
    std::atomic<int> destination{Logger::TO_STDERR};
    std::atomic<bool> capturing{false};
    Logger::Capture capture;
    State()
    {
        // The minimum type may be chosen from the environment; anything but a number is ignored.
        if (const char* level = getenv("FAL_LOG_LEVEL")) {
            char* end = nullptr;
            long value = strtol(level, &end, 10);
            if (end != level && *end == '\0')
                minType.store(int(value));
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
    if (!s.capturing.load(std::memory_order_relaxed) &&
        (type < s.minType.load(std::memory_order_relaxed) ||
         s.destination.load(std::memory_order_relaxed) == TO_NOWHERE))
        return;
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
    switch (s.destination.load()) {
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
    state().minType.store(minType);
    state().destination.store(destination);
}

int Logger::minType()
{
    return state().minType.load();
}

void Logger::setCapture(Capture capture)
{
    std::lock_guard<std::mutex> lock(state().mutex);
    state().capturing.store(static_cast<bool>(capture));
    state().capture = std::move(capture);
}
