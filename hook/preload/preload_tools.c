/* popen() and pclose() for the agent's thread, in which the plug-in runs xsel. A program that waits for any
   child, such as a terminal, would reap xsel, and pclose() would lose its status. So xsel runs under a
   supervisor process that was cloned without an exit signal: it raises no SIGCHLD, and wait() skips it unless
   __WALL or __WCLONE is given, as long as it does not exec. */

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

enum { CannotExecute = 127 };

struct Tool {
    FILE* file;
    pid_t supervisor;
    struct Tool* next;
};

static _Thread_local struct Tool* tools;

/* fork() without an exit signal and without the program's pthread_atfork() handlers. */
static pid_t forkWithoutSignal(void)
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

/* Restores the signals, which the agent's thread blocks: xsel keeps running in the background and must be
   possible to terminate. */
static _Noreturn void execute(const char* command)
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
    _exit(CannotExecute);
}

/* The supervisor passes the tool's exit status on. Neither keeps the program's files and connections open. */
static _Noreturn void supervise(const char* command, int toolsEnd, int standard)
{
    signal(SIGCHLD, SIG_DFL); /* where it is ignored, waitpid() yields no status */
    if (toolsEnd == standard)
        fcntl(toolsEnd, F_SETFD, 0);
    else
        dup2(toolsEnd, standard);
    if (syscall(SYS_close_range, STDERR_FILENO + 1, ~0U, 0) != 0) {
        for (int number = (int)sysconf(_SC_OPEN_MAX) - 1; number > STDERR_FILENO; --number)
            close(number);
    }
    const pid_t tool = forkWithoutSignal();
    if (tool == 0)
        execute(command);
    const int status = tool > 0 ? waitFor(tool) : -1;
    _exit(WIFEXITED(status) ? WEXITSTATUS(status) : CannotExecute);
}

static pid_t start(const char* command, const int ends[2], int standard)
{
    const int own = ends[1 - standard];
    const int toolsEnd = ends[standard];
    const pid_t supervisor = forkWithoutSignal();
    if (supervisor == 0) {
        close(own);
        supervise(command, toolsEnd, standard);
    }
    return supervisor;
}

static FILE* openTool(const char* command, const char* mode)
{
    const int standard = mode[0] == 'w' ? STDIN_FILENO : STDOUT_FILENO;
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
        return NULL;
    struct Tool* tool = calloc(1, sizeof *tool);
    FILE* file = tool != NULL ? fdopen(ends[1 - standard], mode) : NULL;
    const pid_t supervisor = file != NULL ? start(command, ends, standard) : -1;
    close(ends[standard]);
    if (supervisor > 0) {
        *tool = (struct Tool) {file, supervisor, tools};
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
        const int error = errno; /* of the flush, or unchanged */
        const int status = waitFor(tool->supervisor);
        free(tool);
        errno = error;
        return isFlushed ? status : -1;
    }
    int (*next)(FILE*);
    void* symbol = zendraNext("pclose", "libc.so.6");
    memcpy(&next, &symbol, sizeof next);
    return next(file);
}
