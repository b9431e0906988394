/* Xlib has one error handler for all connections of a process; the default one exits. Errors of the agent's
   connection must not reach the program's handler, and both threads may set handlers at the same time. So the
   shim installs its own handler when the agent's thread starts, and dispatches errors by thread: to the
   handler that the agent's thread has set, or to the program's. */

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

/* Xlib exits when this returns. Whether a lost display ends the program is for its own handler to decide. */
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
    dlopen("libX11.so.6", RTLD_LAZY | RTLD_LOCAL); /* a program may use xcb only */
    /* NULL installs Xlib's default handler, which the second call returns. */
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
