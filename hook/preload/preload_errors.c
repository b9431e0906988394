/* Xlib has one error handler for all connections of a process, and ends the process where there is none. The
   agent's own connection must neither end the program nor trouble its handlers, and setting handlers from
   another thread while the program does the same would lose one. So, once a thread of the agent's uses Xlib,
   the handler that Xlib knows is the shim's, and what a thread sets is what errors in that thread, or in the
   program's, go to. */

#include <dlfcn.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stddef.h>
#include <string.h>
#include <unistd.h>

#include "preload.h"

#define EXPORTED __attribute__((visibility("default")))

typedef int (*ErrorHandler)(void* display, void* error);
typedef int (*DisplayLostHandler)(void* display);

static struct {
    atomic_bool isGuarding;
    _Atomic(ErrorHandler) error; /* the program's */
    ErrorHandler defaultError;   /* Xlib's own */
    _Atomic(DisplayLostHandler) lost;
    DisplayLostHandler defaultLost;
} program;

static _Thread_local struct {
    bool isHook;
    ErrorHandler error;
    void (*displayLost)(void);
} thread;

static ErrorHandler setErrorHandler(ErrorHandler handler)
{
    ErrorHandler (*next)(ErrorHandler);
    void* symbol = zendraNext("XSetErrorHandler", "libX11.so.6");
    memcpy(&next, &symbol, sizeof next);
    return next(handler);
}

static DisplayLostHandler setLostHandler(DisplayLostHandler handler)
{
    DisplayLostHandler (*next)(DisplayLostHandler);
    void* symbol = zendraNext("XSetIOErrorHandler", "libX11.so.6");
    memcpy(&next, &symbol, sizeof next);
    return next(handler);
}

static int errorOccurred(void* display, void* error)
{
    if (!thread.isHook)
        return atomic_load(&program.error)(display, error);
    return thread.error != NULL ? thread.error(display, error) : 0;
}

/* Xlib ends the process when this returns. The program has a connection of its own to lose, and decides. */
static int displayLost(void* display)
{
    if (!thread.isHook)
        return atomic_load(&program.lost)(display);
    thread.displayLost();
    while (true)
        pause();
}

void zendraClaimThread(void (*lost)(void))
{
    thread.isHook = true;
    thread.displayLost = lost;
    if (atomic_load(&program.isGuarding))
        return;
    dlopen("libX11.so.6", RTLD_LAZY | RTLD_LOCAL); /* a program may know nothing but xcb */
    /* Setting none yields the program's, and sets Xlib's own, which the second call yields. */
    atomic_store(&program.error, setErrorHandler(NULL));
    program.defaultError = setErrorHandler(errorOccurred);
    atomic_store(&program.lost, setLostHandler(NULL));
    program.defaultLost = setLostHandler(displayLost);
    atomic_store(&program.isGuarding, true);
}

bool zendraIsHooksThread(void)
{
    return thread.isHook;
}

EXPORTED ErrorHandler XSetErrorHandler(ErrorHandler handler)
{
    if (thread.isHook) {
        const ErrorHandler before = thread.error;
        thread.error = handler;
        return before;
    }
    if (!atomic_load(&program.isGuarding))
        return setErrorHandler(handler);
    return atomic_exchange(&program.error, handler != NULL ? handler : program.defaultError);
}

EXPORTED DisplayLostHandler XSetIOErrorHandler(DisplayLostHandler handler)
{
    if (thread.isHook || !atomic_load(&program.isGuarding))
        return thread.isHook ? NULL : setLostHandler(handler);
    return atomic_exchange(&program.lost, handler != NULL ? handler : program.defaultLost);
}
