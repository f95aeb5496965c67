// File helpers shared by the host services.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include <sys/types.h>

// Writes text to path atomically and durably: a temporary file beside it ("<path>.tmp.<pid>.<n>",
// unique to the call, so concurrent writers never share one), fsync, rename over the path, fsync of
// the directory. 0 on success; on failure non-zero, the temporary file removed and the path
// untouched. `uniqueTemp` is accepted for older callers; every name is unique now.
int falWriteFileAtomic(const std::string& path, const char* text, size_t size, bool uniqueTemp = true);

// Writes every byte at the offset (pwrite, retrying short writes and EINTR); false on an error.
bool falWriteAll(int fd, const char* data, size_t size, off_t offset = 0);

// Reads a whole file; false when it cannot be opened or read.
bool falReadFile(const std::string& path, std::string& out);

// fsync of the directory that holds path (makes a rename or a new file in it durable).
void falSyncParentDir(const std::string& path);

// Removes the temporary files that writers which died left in a directory: names with a ".tmp."
// part whose writer process no longer runs. Returns how many were removed.
unsigned falRemoveStaleTemporaries(const std::string& dir);

// CRC-32 (IEEE 802.3) of a byte range, continuing from `crc` (0 to start).
uint32_t falCrc32(const void* data, size_t size, uint32_t crc = 0);
