// The start-up check of a root: every document of the database must be a JSON object, so that a
// truncated or damaged file stops the host with a clear message instead of failing every
// operation of its family later.
#pragma once

#include <string>

// Reads every document under `root`/db/. false with a message in `error` that names the first bad
// file, what is wrong with it, and how to get the factory defaults back.
bool falCheckRootDocuments(const std::string& root, std::string& error);
