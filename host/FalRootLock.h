// One writer per root: every process that opens a root's database holds an exclusive lock on the
// root's lock file (flock on "<root>/.fal.lock", which names the holder's pid). A second process
// fails at once with an error that names the holder, instead of both writing the same documents.
//
// The lock belongs to the process: all threads share it, and taking it again for the same root
// (by any spelling of its path) is a no-op. Taking it for another root releases the previous one.
#pragma once

#include <string>

// The lock file's name inside the root.
extern const char* const kFalRootLockName;  // ".fal.lock"

// Takes (or keeps) the lock of `root`. false with a message in `error` when another process holds
// it ("... in use by process 1234 ...") or the lock file cannot be opened. A root without a db/
// directory holds no database to protect: true, and nothing is held.
bool falHoldRootLock(const std::string& root, std::string& error);
// The same for the library's use: a failure is logged as an error.
bool falHoldRootLock(const std::string& root);
// Releases the lock this process holds, if any.
void falReleaseRootLock();
// The pid recorded in the lock file of `root` while some process holds it; 0 when it is free.
long falRootLockHolder(const std::string& root);
