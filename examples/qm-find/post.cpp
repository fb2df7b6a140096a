// post.cpp - the command that posts a file.

#include "qm-find/commands.h"

#include "http/http_client.h"
#include "qm-find/console.h"
#include "qm-find/http_exchange.h"
#include "runtime/upnp_socket.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <sys/stat.h>

using namespace find;

static constexpr uint32_t BLOCK_BYTES = 65536;

static constexpr char default_type[] = "application/octet-stream";

// The library cuts the head of such a request at 1023 bytes. This much is left
// for the URL, whose host and path stand in it once each, and the type.
static constexpr size_t MOST_HEAD_BYTES = 700;

using File = std::unique_ptr<FILE, decltype(&fclose)>;

// The length goes first, so that of a pipe must be known before.
static File copy_of(FILE *pipe)
{
    File        copy(tmpfile(), fclose);
    std::string block(BLOCK_BYTES, '\0');
    size_t      got;

    while (copy && (got = fread(block.data(), 1, BLOCK_BYTES, pipe)) > 0) {
        if (fwrite(block.data(), 1, got, copy.get()) != got)
            copy.reset();
    }
    if (copy && (ferror(pipe) || fseeko(copy.get(), 0, SEEK_SET) != 0))
        copy.reset();
    return copy;
}

static bool is_regular(FILE *file, struct stat &facts)
{
    return fstat(fileno(file), &facts) == 0 && S_ISREG(facts.st_mode);
}

// Null, with errno, on failure.
static File open_file(const char *path, int64_t &size)
{
    struct stat facts = {};
    File file(strcmp(path, "-") == 0 ? stdin : fopen(path, "rb"), fclose);

    if (file && !is_regular(file.get(), facts))
        file = copy_of(file.get());
    if (file && !is_regular(file.get(), facts))
        file.reset();
    size = facts.st_size;
    return file;
}

// A peer that has heard enough may answer and close: a send that fails is left
// to the answer.
static void send_file(int32_t socket, FILE *file)
{
    std::string block(BLOCK_BYTES, '\0');
    size_t      got;

    while ((got = fread(block.data(), 1, BLOCK_BYTES, file)) > 0) {
        if (upnp_send(socket, block.data(), static_cast<int64_t>(got)) == -1)
            return;
    }
}

static bool exchange_file(Exchange &exchange, const char *url, FILE *file,
                          int64_t size, const char *type)
{
    if (!open_exchange(exchange, url))
        return false;
    if (exchange.url.size() + strlen(type) > MOST_HEAD_BYTES)
        return complain(url, "too long");
    if (HTTP_post_header(exchange.socket, exchange.url.c_str(), type, size, 0,
                         nullptr) != 0)
        return complain(url, "the request could not be sent");
    send_file(exchange.socket, file);
    if (!read_answer(exchange))
        return false;

    std::optional<std::string> answer = read_document(exchange);
    if (answer)
        fputs(printable(*answer, "\n\t").c_str(), stdout);
    return has_succeeded(exchange) ? answer.has_value()
                                   : complain_of_status(exchange);
}

int find::post(Arguments arguments)
{
    std::string type = arguments.size() > 2 ? arguments[2] : default_type;

    if (type.empty() || printable(type) != type)
        return BAD_USAGE;
    int64_t size;
    File    file = open_file(arguments[1], size);
    if (!file) {
        complain(arguments[1], strerror(errno));
        return EXIT_FAILURE;
    }
    Exchange exchange;
    bool     is_done =
        exchange_file(exchange, arguments[0], file.get(), size, type.c_str());
    close_exchange(exchange);
    return is_done ? EXIT_SUCCESS : EXIT_FAILURE;
}
