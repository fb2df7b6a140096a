// main.cpp - finds devices, and asks them for what they have.

#include "config/upnp_ini_file.h"
#include "http/http_client.h"
#include "qm-find/commands.h"
#include "runtime/upnp_exit.h"
#include "runtime/upnp_mem.h"

#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

// Somebody waits for each answer.
static constexpr int32_t ANSWER_TIMEOUT_S = 10;

static constexpr size_t ANY = SIZE_MAX;

namespace {
struct Command {
    const char *name;
    size_t      least, most;  // arguments
    int (*run)(find::Arguments arguments);
    const char *usage;
};
}

// The first one takes what begins with no name.
// clang-format off
static constexpr Command commands[] = {
    { "search",   0, 3,   find::search,   "[-t SECONDS] [--watch]" },
    { "describe", 1, 1,   find::describe, "describe URL" },
    { "browse",   1, 4,   find::browse,   "browse [--depth N] URL [OBJECT-ID]" },
    { "get",      2, 2,   find::get,      "get URL FILE" },
    { "post",     2, 3,   find::post,     "post URL FILE [TYPE]" },
    { "soap",     2, ANY, find::soap,     "soap URL ACTION [NAME=VALUE]..." },
};
// clang-format on

// Critical messages are failures: the library alone would end with success.
static int32_t exit_with_failure(int32_t)
{
    exit(EXIT_FAILURE);
}

static void print_usage()
{
    const char *start = "usage:";

    for (const Command &row : commands) {
        fprintf(stderr, "%s qm-find %s\n", start, row.usage);
        start = "      ";
    }
}

static int run_command(find::Arguments arguments)
{
    const Command *command = commands;
    int            result = find::BAD_USAGE;

    for (const Command &row : commands) {
        if (!arguments.empty() && strcmp(arguments[0], row.name) == 0) {
            command = &row;
            arguments = arguments.subspan(1);
            break;
        }
    }
    if (command->least <= arguments.size() && arguments.size() <= command->most)
        result = command->run(arguments);
    if (result == find::BAD_USAGE)
        print_usage();
    return result;
}

int main(int argc, char **argv)
{
    int64_t used_at_start;
    int     result;

    upnp_mem_init();
    used_at_start = upnp_mem_used();
    register_upnp_exit_function(exit_with_failure);
    upnp_ini_file_init();
    HTTP_set_connection_timeout(ANSWER_TIMEOUT_S);

    result = run_command({ argv + (argc > 0), argv + argc });

    upnp_ini_file_release();
    if (upnp_mem_used() != used_at_start) {
        fprintf(stderr, "qm-find: %" PRId64 " bytes were not given back\n",
                upnp_mem_used() - used_at_start);
        result = EXIT_FAILURE;
    }
    upnp_mem_exit();
    return result;
}
