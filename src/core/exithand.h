// Exit handlers: a fixed table of 32 (function, name) pairs run by `xexit` in
// registration order (first registered, first run).  Names are not copied: the
// caller keeps them alive.
#pragma once

using exithand_fn = void (*)();

inline constexpr int EXITHAND_SLOTS = 32;

// Registers a handler; a duplicate function or name, or a full table, is an error.
void exithand_add(exithand_fn function, const char *name);
// Clears every slot whose function equals `function` (when non-null) or whose name equals `name`.
void exithand_del(exithand_fn function, const char *name);
// 1 when a handler with this function (when non-null) or name (when non-null) is registered.
int exithand_find(exithand_fn function, const char *name);
// Runs all registered handlers in slot order; the slots stay registered.
void exithand_rundown();
