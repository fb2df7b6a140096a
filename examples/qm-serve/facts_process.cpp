// facts_process.cpp - the process that reads files which may be made to harm.

#include "qm-serve/facts_process.h"

#include "qm-serve/tag_reader.h"
#include "runtime/upnp_socket.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

// A file that takes longer is given up.
static constexpr int32_t PATIENCE_MS = 5'000;

static constexpr size_t TYPE_BYTES = 64;

namespace {
struct Reply {
    int32_t duration_ms;
    char    profile[32];
    char    title[1024];
    char    artist[1024];
};

struct Process {
    pid_t pid;
    int   socket;  // -1: there is none
};
}

static std::mutex process_lock;
static Process    process = { 0, -1 };  // guarded by process_lock

// --- Messages ---------------------------------------------------------------

// One message: the MIME type, and beside it the descriptor.
static bool send_file(int socket, int fd, const char *type)
{
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(fd))] = {};
    iovec                 data = { const_cast<char *>(type), strlen(type) };
    msghdr                message = {};
    cmsghdr              *header;

    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof(fd));
    memcpy(CMSG_DATA(header), &fd, sizeof(fd));
    return sendmsg(socket, &message, MSG_NOSIGNAL) > 0;
}

// The descriptor of the next message; -1 at the end.
static int receive_file(int socket, char (&type)[TYPE_BYTES])
{
    int                   fd = -1;
    alignas(cmsghdr) char control[CMSG_SPACE(sizeof(fd))] = {};
    iovec                 data = { type, sizeof(type) - 1 };
    msghdr                message = {};
    cmsghdr              *header;
    ssize_t               count;

    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = control;
    message.msg_controllen = sizeof(control);
    count = recvmsg(socket, &message, MSG_CMSG_CLOEXEC);
    header = CMSG_FIRSTHDR(&message);
    if (count < 1 || !header)
        return -1;
    type[count] = '\0';
    memcpy(&fd, CMSG_DATA(header), sizeof(fd));
    return fd;
}

static Reply to_reply(const serve::MediaFacts &facts)
{
    Reply reply = {};

    reply.duration_ms = facts.duration_ms;
    snprintf(reply.profile, sizeof(reply.profile), "%s", facts.profile.c_str());
    snprintf(reply.title, sizeof(reply.title), "%s", facts.title.c_str());
    snprintf(reply.artist, sizeof(reply.artist), "%s", facts.artist.c_str());
    return reply;
}

// --- The process ------------------------------------------------------------

static void end_process_locked()
{
    if (process.socket == -1)
        return;
    close(process.socket);
    process.socket = -1;
    kill(process.pid, SIGKILL);
    waitpid(process.pid, nullptr, 0);
}

// It inherits nothing but its end of the socket, as standard input, and the
// standard outputs.
static bool spawn(int socket)
{
    static constexpr char program[] = "/proc/self/exe";
    char                  name[] = "media-facts";
    char                  argument[sizeof(serve::facts_argument)];
    char                 *arguments[] = { name, argument, nullptr };

    posix_spawn_file_actions_t actions;
    int                        error;

    memcpy(argument, serve::facts_argument, sizeof(argument));
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, socket, STDIN_FILENO);
    posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    error = posix_spawn(&process.pid, program, &actions, nullptr, arguments,
                        environ);
    posix_spawn_file_actions_destroy(&actions);
    return error == 0;
}

static bool start_process_locked()
{
    int ends[2];

    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) == -1)
        return false;
    if (spawn(ends[1])) {
        process.socket = ends[0];
        setSockOptReceiveTimeout(process.socket, PATIENCE_MS);
    } else {
        close(ends[0]);
    }
    close(ends[1]);
    return process.socket != -1;
}

int serve::run_facts_process()
{
    static constexpr rlimit no_core = { 0, 0 };

    char type[TYPE_BYTES];
    int  fd;

    setrlimit(RLIMIT_CORE, &no_core);

    while ((fd = receive_file(STDIN_FILENO, type)) != -1) {
        Reply reply = to_reply(read_facts(fd, type));

        if (send(STDIN_FILENO, &reply, sizeof(reply), MSG_NOSIGNAL) == -1)
            break;
    }
    return EXIT_SUCCESS;
}

serve::MediaFacts serve::ask_facts_process(int fd, const char *type)
{
    std::scoped_lock lock(process_lock);
    Reply            reply;

    if (process.socket == -1 && !start_process_locked())
        return {};
    if (!send_file(process.socket, fd, type) ||
        upnp_recv(process.socket, &reply, sizeof(reply), 0) !=
            static_cast<int32_t>(sizeof(reply))) {
        end_process_locked();
        return {};
    }
    return { reply.title, reply.artist, reply.duration_ms, reply.profile };
}

void serve::end_facts_process()
{
    std::scoped_lock lock(process_lock);

    end_process_locked();
}
