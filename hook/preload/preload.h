#pragma once

#include <stdbool.h>

/* The next definition of `symbol` after the shim's. Also looks in `library`, which may not be in the global
   scope. */
void* zendraNext(const char* symbol, const char* library);

/* See struct ZendraTrigger. */
void zendraClaimThread(void (*displayLost)(void));
/* Whether the calling thread has been claimed by the agent. */
bool zendraIsHooksThread(void);
