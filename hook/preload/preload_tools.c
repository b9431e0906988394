/* The clipboard's tools, which the plug-in runs by popen. A program that is told of every child that ends may
   wait for any of its own: it would take the tool's status away, or wait for one that is taken already, and
   stand still. So a tool of the hook's is the child of a child of which the program hears nothing: the end of
   that raises no signal, and wait() passes it over, as long as it executes no other program. */

#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "preload.h"

#define EXPORTED __attribute__((visibility("default")))

enum { CannotRun = 127 };

struct Tool {
    FILE* file;
    pid_t keeper;
    struct Tool* next;
};

static _Thread_local struct Tool* tools;

/* As fork, but without a signal at the child's end, and without what the program wants done when it forks. */
static pid_t forkUnnoticed(void)
{
    return (pid_t)syscall(SYS_clone, 0L, 0L, 0L, 0L, 0L);
}

static int waitFor(pid_t process)
{
    int status = -1;
    while (waitpid(process, &status, __WALL) < 0) {
        if (errno != EINTR)
            return -1;
    }
    return status;
}

/* The hook's thread has all signals blocked. With those it inherits nothing could end the tool that goes on
   handing a text out, and the program's handlers are not to run in it. */
static _Noreturn void become(const char* command)
{
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action;
        if (sigaction(number, NULL, &action) == 0 && action.sa_handler != SIG_IGN)
            signal(number, SIG_DFL);
    }
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, NULL);
    execl("/bin/sh", "sh", "-c", command, (char*)NULL);
    _exit(CannotRun);
}

/* The child: hands the tool's status on. The program's files, its windows and clients among them, are not to
   stay open in it, nor in the tool. */
static _Noreturn void keep(const char* command, int toolsEnd, int standard)
{
    signal(SIGCHLD, SIG_DFL); /* a program that ignores it ignores its children's status */
    if (toolsEnd == standard)
        fcntl(toolsEnd, F_SETFD, 0);
    else
        dup2(toolsEnd, standard);
    if (syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0) != 0) {
        for (int number = (int)sysconf(_SC_OPEN_MAX) - 1; number > STDERR_FILENO; --number)
            close(number);
    }
    const pid_t tool = forkUnnoticed();
    if (tool == 0)
        become(command);
    const int status = tool > 0 ? waitFor(tool) : -1;
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : CannotRun);
}

static pid_t start(const char* command, const int ends[2], int standard)
{
    const int own = ends[1 - standard];
    const int toolsEnd = ends[standard];
    const pid_t keeper = forkUnnoticed();
    if (keeper == 0) {
        close(own);
        keep(command, toolsEnd, standard);
    }
    return keeper;
}

static FILE* openTool(const char* command, const char* mode)
{
    const int standard = mode[0] == 'w' ? STDIN_FILENO : STDOUT_FILENO;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return NULL;
    struct Tool* tool = calloc(1, sizeof *tool);
    FILE* file = tool != NULL ? fdopen(ends[1 - standard], mode) : NULL;
    const pid_t keeper = file != NULL ? start(command, ends, standard) : -1;
    close(ends[standard]);
    if (keeper > 0) {
        *tool = (struct Tool) {file, keeper, tools};
        tools = tool;
        return file;
    }
    if (file != NULL)
        fclose(file);
    else
        close(ends[1 - standard]);
    free(tool);
    return NULL;
}

EXPORTED FILE* popen(const char* command, const char* mode)
{
    if (zendraIsHooksThread())
        return openTool(command, mode);
    FILE* (*next)(const char*, const char*);
    void* symbol = zendraNext("popen", "libc.so.6");
    memcpy(&next, &symbol, sizeof next);
    return next(command, mode);
}

EXPORTED int pclose(FILE* file)
{
    for (struct Tool** place = &tools; *place != NULL; place = &(*place)->next) {
        struct Tool* tool = *place;
        if (tool->file != file)
            continue;
        *place = tool->next;
        const int isFlushed = fclose(file) == 0;
        const int error = errno; /* of the flush, or what it was before */
        const int status = waitFor(tool->keeper);
        free(tool);
        errno = error;
        return isFlushed ? status : -1;
    }
    int (*next)(FILE*);
    void* symbol = zendraNext("pclose", "libc.so.6");
    memcpy(&next, &symbol, sizeof next);
    return next(file);
}
