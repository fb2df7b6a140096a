// upnp_process.cpp - starts other programs, in the background or waiting.
//
// The child of a process with threads may do next to nothing before it becomes
// the other program, so all that it needs is made before the fork.

#include "runtime/upnp_process.h"

// An upward call: /proc is asked as a file whether a process is alive.
#include "files/upnp_file.h"
#include "runtime/upnp_log.h"
#include "runtime/upnp_mem.h"
#include "runtime/upnp_string.h"

#include <array>
#include <atomic>
#include <errno.h>
#include <signal.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

static constexpr int32_t MAX_ACTIVE = 50;
static constexpr size_t  MAX_SLOTS = 30;
static constexpr int     CANCEL_CHECK_US = 1000000;

static constexpr char waiting_prio[] = "system_call_waiting_prio";

// One slot more than words are stored in, so that a null ends the vector.
using Argv = std::array<char *, MAX_SLOTS + 1>;

// The programs in the background, in no order.
static std::array<pid_t, MAX_ACTIVE>  active_pids;
static std::array<char *, MAX_ACTIVE> active_programs;  // tracked; may be null
static int32_t                        active_count;

// Cancelled children that had not died when they were looked at; 0 for none.
static std::array<std::atomic<pid_t>, MAX_ACTIVE> dying_pids;

// Words lie in text, whose separators become NUL.
static void split_words(Argv *argv, size_t slot, char *text)
{
    while (text && *text) {
        char separator = ' ';

        text += strspn(text, " ");
        if (*text == '"')
            separator = *text++;
        if (slot < MAX_SLOTS)
            (*argv)[slot++] = text;

        text = strchr(text, separator);
        if (text)
            *text++ = '\0';
    }
}

// waitpid takes a signal to this process as no reason to return.
static pid_t wait_for(pid_t pid, int *status, int options)
{
    pid_t result;

    do
        result = waitpid(pid, status, options);
    while (result == -1 && errno == EINTR);
    return result;
}

// Reaps a killed child, or leaves that to the next call that reaps.
static void reap_later(pid_t pid)
{
    if (wait_for(pid, nullptr, WNOHANG) != 0)
        return;
    for (std::atomic<pid_t> &slot : dying_pids) {
        pid_t none = 0;
        if (slot.compare_exchange_strong(none, pid))
            return;
    }
}

// A child leaves its slot while it is asked for, so that no two threads wait
// for it. It goes back to any free slot: its own may be taken by then.
static void reap_dying()
{
    for (std::atomic<pid_t> &slot : dying_pids) {
        if (pid_t pid = slot.exchange(0))
            reap_later(pid);
    }
}

static bool has_proc()
{
    UpnpFileStat stat;

    return upnp_file_stat("/proc", &stat) == 0 && S_ISDIR(stat.mode);
}

static bool has_ended(pid_t pid)
{
    char path[20];

    if (wait_for(pid, nullptr, WNOHANG) == pid)
        return true;
    snprintf(path, sizeof(path), "/proc/%d", pid);
    return has_proc() && !upnp_file_exists(path);
}

static void forget_active(int32_t index)
{
    int32_t last = --active_count;

    if (active_programs[index])
        upnp_free_impl(active_programs[index]);
    active_pids[index] = active_pids[last];
    active_programs[index] = active_programs[last];
    active_programs[last] = nullptr;
}

// Waits for the child while cancel_check lets it run.
static int32_t wait_or_cancel(pid_t pid, UpnpCancelCheck cancel_check,
                              int32_t cancel_arg)
{
    for (;; usleep(CANCEL_CHECK_US)) {
        int   status = 0;
        pid_t ended = wait_for(pid, &status, WNOHANG);

        if (ended != 0)
            return ended < 0 || WTERMSIG(status) != 0 ? -1 : 0;

        if (int32_t reason = cancel_check(cancel_arg)) {
            kill(pid, SIGKILL);
            reap_later(pid);
            return reason;
        }
    }
}

// Becomes the program through nice, or at normal priority where nice is
// missing.
[[noreturn]] static void become_nice(const Argv &argv)
{
    execv(argv[0], argv.data());
    execv(argv[1], argv.data() + 1);
    perror("execv");
    _exit(0);
}

int32_t system_call_no_wait(const char *program, char *parameters)
{
    Argv  argv = {};
    pid_t pid;

    if (check_active_processes(program))
        return SYSTEM_CALL_RUNNING;
    if (active_count == MAX_ACTIVE)
        return SYSTEM_CALL_FULL;

    argv[0] = const_cast<char *>(program);
    split_words(&argv, 1, parameters);

    pid = fork();
    if (pid == -1) {
        perror("fork");
        return SYSTEM_CALL_STARTED;
    }
    if (pid == 0) {
        execv(program, argv.data());
        perror("execv");
        _exit(0);
    }
    active_pids[active_count] = pid;
    active_programs[active_count] = upnp_strdup_impl(program);
    ++active_count;
    return SYSTEM_CALL_STARTED;
}

int32_t system_call_waiting_prio(const char *program, const char *parameters,
                                 int32_t, UpnpCancelCheck         cancel_check,
                                 int32_t cancel_arg)
{
    char    nice[64] = "/usr/bin/nice";
    Argv    argv = { nice, const_cast<char *>(program) };
    char   *words = nullptr;
    pid_t   pid;
    int32_t result = 0;

    reap_dying();
    if (parameters) {
        words = upnp_strdup_impl(parameters);
        if (!words)
            return 0;
    }
    split_words(&argv, 2, words);
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, waiting_prio, "strProg %s",
                  program ? program : "");
    upnp_log_impl(UPNP_LOG_INFO, LOG_SYSTEM, waiting_prio, "strParam %s",
                  parameters ? parameters : "");

    pid = fork();
    if (pid == -1) {
        perror("fork");
        goto out;
    }
    if (pid == 0)
        become_nice(argv);

    upnp_log_impl(UPNP_LOG_TRACE, LOG_SYSTEM, waiting_prio, "waitpid %d...",
                  pid);
    if (cancel_check)
        result = wait_or_cancel(pid, cancel_check, cancel_arg);
    else
        wait_for(pid, nullptr, 0);
    upnp_log_impl(UPNP_LOG_TRACE, LOG_SYSTEM, waiting_prio, "waitpid %d done",
                  pid);

out:
    if (words)
        upnp_free_impl(words);
    return result;
}

int32_t system_call_waiting(const char *program, const char *parameters)
{
    return system_call_waiting_prio(program, parameters, 0, nullptr, 0);
}

int32_t check_active_processes(const char *program)
{
    int32_t result = 0;

    reap_dying();
    for (int32_t i = 0; i < active_count;) {
        if (has_ended(active_pids[i])) {
            forget_active(i);
            continue;
        }
        if (upnp_util_strings_equal(active_programs[i], program, 1, 0))
            result = 1;
        ++i;
    }
    return result;
}

int32_t terminate_active_processes(void)
{
    for (; active_count > 0; forget_active(active_count - 1)) {
        pid_t pid = active_pids[active_count - 1];
        kill(pid, SIGKILL);
        wait_for(pid, nullptr, 0);
    }
    return 0;
}

int32_t is_process_running(void)
{
    return 0;
}
