#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/* What the preload shim and the agent it loads say to each other. Plain C: the shim knows nothing of Qt. */

/* Told to the agent each time that the shim calls it. */
struct ZendraTrigger {
    /* The display that the program has just connected to, or null at its start, before it connected to any.
     */
    const char* displayName;
    /* Whether Qt 5 is part of the program already. */
    int hasQt;
    /* Whether XOpenDisplay is still running, with a lock that the agent's thread will need: the program
       cannot wait for that thread. */
    int isInXlib;
    /* For a thread of the agent's own, before it uses Xlib: X errors that come up in this thread no longer
       reach the program's handlers. When the display is lost there, `displayLost` is called, and the thread
       does not go on. */
    void (*claimThread)(void (*displayLost)(void));
};

/* The name of the one function that libzendraagent.so exports: void (const struct ZendraTrigger*). */
#define ZENDRA_AGENT_ENTRY "zendraAgent"

#ifdef __cplusplus
}
#endif
