#include "tools/common/FalOutput.h"

#include <fcntl.h>
#include <unistd.h>

FILE* falDivertStdout()
{
    fflush(stdout);
    int replies = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    if (replies < 0)
        return nullptr;
    if (dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        // No usable stderr: stray output is dropped rather than mixed into the replies.
        int null = open("/dev/null", O_WRONLY | O_CLOEXEC);
        if (null < 0 || dup2(null, STDOUT_FILENO) < 0) {
            if (null >= 0)
                close(null);
            close(replies);
            return nullptr;
        }
        close(null);
    }
    // Stray output now shares stderr with the log: keep it in step with the log lines.
    setvbuf(stdout, nullptr, _IOLBF, 0);
    FILE* out = fdopen(replies, "w");
    if (!out)
        close(replies);
    return out;
}
