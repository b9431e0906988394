#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* The interface between the preload shim and the agent. Plain C: the shim does not use Qt. */

struct ZendraTrigger {
    /* The display that the program has connected to; null at the start of the program. */
    const char* displayName;
    /* Whether Qt 5 is loaded. */
    int hasQt;
    /* Whether XOpenDisplay() is still running and holds a lock that the agent's thread needs: the caller must
       not wait for that thread. */
    int isInXlib;
    /* The agent's thread calls this before it uses Xlib: its X errors no longer reach the program's handlers.
       When its display is lost, `displayLost` is called, and the thread stops there. */
    void (*claimThread)(void (*displayLost)(void));
};

/* The only function that libzendraagent.so exports: void (const struct ZendraTrigger*). */
#define ZENDRA_AGENT_ENTRY "zendraAgent"

#ifdef __cplusplus
}
#endif
