// File helpers shared by the host services.
#pragma once

#include <cstddef>
#include <string>

// Writes text to path atomically and durably: a temporary file beside it, fsync, rename over the
// path, fsync of the directory. The temporary file is "<path>.tmp", or a name unique to the call
// when several writers may target the same path at once. 0 on success; on failure non-zero, the
// temporary file removed and the path untouched.
int falWriteFileAtomic(const std::string& path, const char* text, size_t size, bool uniqueTemp = false);
