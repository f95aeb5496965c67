// Hooks of the database controller for tests and the simulator; hosts serving a gateway never
// need them.
#pragma once

struct LocalDbCtrlTesting {
    // How long a lock waits for another thread before it fails (milliseconds; 10000 by default).
    static void setLockTimeout(unsigned ms);
    // Injected failures still to come (LocalDbCtrl::failNextLocks / failNextSaves).
    static unsigned pendingLockFailures(unsigned apiType);
    static unsigned pendingSaveFailures(unsigned apiType);
};
