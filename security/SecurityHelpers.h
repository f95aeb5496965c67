// Steps shared by the security operations.
#pragma once

#include <initializer_list>
#include <memory>

#include "frame/FalHandler.h"
#include "frame/FalTree.h"
#include "frame/FalTypes.h"
#include "host/Logger.h"
#include "host/TreeMapObject.h"

constexpr LOG_GROUP_T SEC_LOG = LOG_GROUP_SECURITY;

// The family's own operations answer as, and lock, the security document by its constant; only the
// generic get, update and delete-all go by the object's apiType.

// Whether the request carries a JSON object as its body.
bool securityHasObjectBody(const _FAL_REQ_T* req);

// Answers 10 "Bad request" and yields true when the request carries no JSON object as its body.
bool securityLacksBody(const _FAL_REQ_T* req, _FAL_RSP_T* rsp);

// Makes into `rsp` the response to an operation that needs a body, numbered one past the request's
// msgId. False, and the handler returns `rsp` as it stands, when there is no request (no response)
// or no JSON object as body (10 "Bad request").
bool securityOpenWithBody(_FAL_RSP_T*& rsp, const _FAL_REQ_T* req);

// Copies the `paths` the body holds into `target` (inside the locked object) and saves. Answers
// 8 "fail to load database" when the lock or the target is missing, 1 "Unexpected error" when
// there is no body copy, and 8 "fail to save database" (logged) when the save fails.
void securityCopyAndSave(_FAL_RSP_T* rsp, FalLock& lock, TreeMapObject* target, TreeMapObject* body,
                         std::initializer_list<const char*> paths);

// Reads the parameter `name` as a decimal number; false when it is absent or empty.
bool securityIntParam(const _FAL_REQ_T* req, const char* name, int& value);

// Whether the text is missing or empty.
bool securityBlank(const char* text);

// Removes every item whose integer `member` is `value`. The number removed, or -1 when a removal
// failed (logged as `who`).
int securityRemoveItems(TreeMapObject* array, const char* member, int value, const char* who);


