// The gateway root of a host process: the directory that holds db/, system.cnf, auth_config/ and
// the files the library writes (www/files/...).
#pragma once

#include <string>

// The root a host uses: the given option when not null, else $FAL_ROOT when set and not empty,
// else "./gateway-root".
std::string falRootDir(const char* option);

// Creates the root (and its parents) when missing. When it has no db/ directory, writes every
// factory-default file whose path is missing; existing files are never overwritten. The default
// database appears as a whole (db/ is filled aside and renamed into place). false with a message
// in `error` when the root cannot be prepared.
bool falPrepareRoot(const std::string& dir, std::string& error);

// Prepares the root, makes it the working directory and points the database at it (".") so
// that the library's relative paths ("./system.cnf", "www/files/...") land there. Then takes the
// root's writer lock (falHoldRootLock) and checks every document (falCheckRootDocuments): false
// with their message when another process holds the root or a document is damaged.
bool falEnterRoot(const std::string& dir, std::string& error);
