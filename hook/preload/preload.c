/* The LD_PRELOAD shim. It does nothing in a process that is not an X client. In an X client it removes itself
   from the environment and loads the agent: at the start of a Qt 5 application, and in any other program when
   it connects to a display. */

#include <dlfcn.h>
#include <libgen.h>
#include <limits.h>
#include <link.h>
#include <stdatomic.h>
#include <stdbool.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "agententry.h"
#include "preload.h"

#define EXPORTED __attribute__((visibility("default")))

typedef void (*ZendraAgentEntry)(const struct ZendraTrigger*);

enum { HasX = 1, HasQt5 = 2, HasQt5Gui = 4, HasQt4 = 8 };

static int addLibrary(struct dl_phdr_info* object, size_t size, void* found)
{
    static const struct {
        const char* prefix;
        int flag;
    } libraries[] = {{"libX11.so", HasX}, {"libxcb.so", HasX}, {"libQt5Core.so", HasQt5},
        {"libQt5Gui.so", HasQt5Gui}, {"libQtCore.so.4", HasQt4}};
    (void)size;
    const char* slash = strrchr(object->dlpi_name, '/');
    const char* name = slash != NULL ? slash + 1 : object->dlpi_name;
    for (size_t i = 0; i < sizeof libraries / sizeof libraries[0]; ++i) {
        if (strncmp(name, libraries[i].prefix, strlen(libraries[i].prefix)) == 0)
            *(int*)found |= libraries[i].flag;
    }
    return 0;
}

static int loadedLibraries(void)
{
    int found = 0;
    dl_iterate_phdr(addLibrary, &found);
    return found;
}

static const char* ownFile(void)
{
    static const char anchor;
    Dl_info info;
    return dladdr(&anchor, &info) != 0 && info.dli_fname != NULL ? info.dli_fname : "";
}

static const char* baseName(const char* path)
{
    const char* slash = strrchr(path, '/');
    return slash != NULL ? slash + 1 : path;
}

/* Removes the shim from LD_PRELOAD and keeps other entries. */
static void removeFromEnvironment(void)
{
    const char* before = getenv("LD_PRELOAD");
    char* rest = before != NULL ? strdup(before) : NULL;
    if (rest == NULL)
        return;
    const char* own = baseName(ownFile());
    size_t length = 0;
    for (const char* entry = before; *entry != '\0';) {
        const size_t entryLength = strcspn(entry, " :");
        const size_t withSeparator = entryLength + (entry[entryLength] != '\0' ? 1 : 0);
        char* copy = rest + length;
        memcpy(copy, entry, entryLength);
        copy[entryLength] = '\0';
        if (strcmp(baseName(copy), own) != 0) {
            memcpy(copy, entry, withSeparator);
            length += withSeparator;
        }
        entry += withSeparator;
    }
    while (length > 0 && strchr(" :", rest[length - 1]) != NULL)
        --length;
    rest[length] = '\0';
    if (length == 0)
        unsetenv("LD_PRELOAD");
    else
        setenv("LD_PRELOAD", rest, 1);
    free(rest);
}

static ZendraAgentEntry loadAgent(void)
{
    char path[PATH_MAX];
    char folder[PATH_MAX];
    snprintf(folder, sizeof folder, "%s", ownFile());
    const int length = snprintf(path, sizeof path, "%s/libzendraagent.so", dirname(folder));
    void* handle = NULL;
    if (length > 0 && (size_t)length < sizeof path)
        handle = dlopen(path, RTLD_NOW | RTLD_LOCAL | RTLD_NODELETE);
    void* symbol = handle != NULL ? dlsym(handle, ZENDRA_AGENT_ENTRY) : NULL;
    if (symbol == NULL)
        fprintf(stderr, "zendra: The hook cannot start: %s\n", dlerror());
    ZendraAgentEntry entry = NULL;
    memcpy(&entry, &symbol, sizeof entry);
    return entry;
}

static void callAgent(const char* displayName, int libraries, bool isInXlib)
{
    static ZendraAgentEntry agent;
    static bool isLoaded;
    if (!isLoaded) {
        isLoaded = true;
        /* Its symbols have no versions: the agent would call Qt 4. */
        if ((libraries & HasQt4) != 0)
            fprintf(stderr, "zendra: The hook cannot start: This is a Qt 4 application\n");
        else
            agent = loadAgent();
    }
    const struct ZendraTrigger trigger
        = {displayName, (libraries & HasQt5) != 0, isInXlib, zendraClaimThread};
    if (agent != NULL)
        agent(&trigger);
}

/* Runs before main(), with the libraries loaded that the program is linked with. Qt loads its X libraries
   later, with its platform plug-in. */
__attribute__((constructor)) static void initialize(void)
{
    const int libraries = loadedLibraries();
    if ((libraries & (HasX | HasQt5Gui)) == 0)
        return;
    removeFromEnvironment();
    if ((libraries & HasQt5Gui) != 0)
        callAgent(NULL, libraries, false);
}

static void onConnect(const char* displayName, bool isInXlib)
{
    static atomic_flag once = ATOMIC_FLAG_INIT;
    const char* name = displayName != NULL ? displayName : getenv("DISPLAY");
    if (name == NULL || atomic_flag_test_and_set(&once))
        return;
    removeFromEnvironment(); /* the X libraries may have been loaded after initialize() */
    callAgent(name, loadedLibraries(), isInXlib);
}

void* zendraNext(const char* symbol, const char* library)
{
    void* function = dlsym(RTLD_NEXT, symbol);
    if (function == NULL) {
        void* handle = dlopen(library, RTLD_LAZY | RTLD_NOLOAD);
        function = handle != NULL ? dlsym(handle, symbol) : NULL;
    }
    if (function == NULL) {
        fprintf(stderr, "zendra: '%s' lacks the function '%s'\n", library, symbol);
        abort(); /* cannot happen: the caller has loaded the library */
    }
    return function;
}

/* Xlib calls xcb_connect() with a lock held that the agent needs, so the agent starts when the outermost of
   these functions returns. */
static _Thread_local bool isNested;

EXPORTED void* XOpenDisplay(const char* displayName)
{
    void* (*next)(const char*);
    void* symbol = zendraNext("XOpenDisplay", "libX11.so.6");
    memcpy(&next, &symbol, sizeof next);
    isNested = true;
    void* display = next(displayName);
    isNested = false;
    if (display != NULL)
        onConnect(displayName, false);
    return display;
}

/* A program that finds XOpenDisplay() with dlsym(), as SDL and GLFW do, calls Xlib's function directly. */
static bool isXlib(const void* code)
{
    Dl_info info;
    return dladdr(code, &info) != 0 && info.dli_fname != NULL
        && strncmp(baseName(info.dli_fname), "libX11.so", strlen("libX11.so")) == 0;
}

static void* connected(void* connection, const char* displayName, const void* caller)
{
    int (*hasError)(void*);
    void* symbol = zendraNext("xcb_connection_has_error", "libxcb.so.1");
    memcpy(&hasError, &symbol, sizeof hasError);
    if (!isNested && hasError(connection) == 0)
        onConnect(displayName, isXlib(caller));
    return connection;
}

EXPORTED void* xcb_connect(const char* displayName, int* screen)
{
    void* (*next)(const char*, int*);
    void* symbol = zendraNext("xcb_connect", "libxcb.so.1");
    memcpy(&next, &symbol, sizeof next);
    const bool wasNested = isNested;
    isNested = true; /* libxcb calls xcb_connect_to_display_with_auth_info() */
    void* connection = next(displayName, screen);
    isNested = wasNested;
    return connected(connection, displayName, __builtin_return_address(0));
}

EXPORTED void* xcb_connect_to_display_with_auth_info(const char* displayName, void* authority, int* screen)
{
    void* (*next)(const char*, void*, int*);
    void* symbol = zendraNext("xcb_connect_to_display_with_auth_info", "libxcb.so.1");
    memcpy(&next, &symbol, sizeof next);
    return connected(next(displayName, authority, screen), displayName, __builtin_return_address(0));
}
