#pragma once

#include <stdbool.h>

/* The function of that name behind the shim's own: the one that the program would have got without the shim.
   A program that loads `library` late may have it outside the global scope. */
void* zendraNext(const char* symbol, const char* library);

/* See struct ZendraTrigger. */
void zendraClaimThread(void (*displayLost)(void));
/* Whether this thread is one that the hook has claimed. */
bool zendraIsHooksThread(void);
