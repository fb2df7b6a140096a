// download.cpp - the command that downloads a file.
//
// What has come lies in FILE.part, which becomes FILE once it is whole. A later
// run asks for what is still missing (RFC 9110, section 14).

#include "qm-find/commands.h"

#include "common/ssdp_text.h"
#include "qm-find/console.h"
#include "qm-find/http_exchange.h"

#include <cerrno>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <string>
#include <string_view>
#include <unistd.h>

using namespace find;

static constexpr uint32_t BLOCK_BYTES = 65536;

static constexpr std::chrono::milliseconds PROGRESS_PERIOD(200);

namespace {
// "bytes 100-199/1000", or "bytes */1000" if nothing was to be had.
struct ContentRange {
    int64_t first = -1;
    int64_t total = -1;  // -1: not known
};

struct Download {
    std::string url;
    std::string part;        // its path; empty for standard output
    int64_t     size = 0;    // bytes that are there
    int64_t     total = -1;  // -1: not known
};
}

static bool complain_of_file(const std::string &path)
{
    return complain(path, strerror(errno));
}

// --- Answers -----------------------------------------------------------------

static int64_t number_at(std::string_view text)
{
    int64_t number = -1;

    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

static ContentRange content_range(const Exchange &exchange)
{
    static constexpr std::string_view unit = "bytes ";
    std::string_view text = ssdp_text::field(exchange.head, "Content-Range");
    size_t           slash = text.find('/');

    if (!text.starts_with(unit) || slash == text.npos)
        return {};
    return { number_at(text.substr(unit.size())),
             number_at(text.substr(slash + 1)) };
}

// --- Bodies ------------------------------------------------------------------

static void print_progress(const Download &download, const char *end)
{
    std::string total =
        download.total > 0
            ? " of " + readable_size(static_cast<uint64_t>(download.total))
            : "";

    fprintf(stderr, "\r%s%s   %s",
            readable_size(static_cast<uint64_t>(download.size)).c_str(),
            total.c_str(), end);
}

// Writes what comes, however it ends.
static bool store_body(Exchange &exchange, Download &download, FILE *file)
{
    using Clock = std::chrono::steady_clock;
    bool              shows_progress = isatty(STDERR_FILENO);
    Clock::time_point shown_at;
    std::string       block(BLOCK_BYTES, '\0');
    int32_t           got;

    while ((got = read_body(exchange, block.data(), BLOCK_BYTES)) > 0) {
        auto bytes = static_cast<size_t>(got);

        if (fwrite(block.data(), 1, bytes, file) != bytes)
            return complain_of_file(download.part);
        download.size += got;
        if (shows_progress && Clock::now() - shown_at > PROGRESS_PERIOD) {
            print_progress(download, "");
            shown_at = Clock::now();
        }
    }
    if (shows_progress)
        print_progress(download, "\n");
    if (got < 0 || (download.total >= 0 && download.size != download.total))
        return complain(download.url, "cut off after " +
                                          std::to_string(download.size) +
                                          " bytes");
    return true;
}

static bool store(Exchange &exchange, Download &download)
{
    const char *mode = download.size > 0 ? "ab" : "wb";
    FILE       *file = stdout;

    if (!download.part.empty())
        file = fopen(download.part.c_str(), mode);
    if (!file)
        return complain_of_file(download.part);

    bool is_whole = store_body(exchange, download, file);
    bool is_written = file == stdout ? fflush(file) == 0 : fclose(file) == 0;
    if (is_whole && !is_written)
        return complain_of_file(download.part);
    return is_whole;
}

// --- Going on ----------------------------------------------------------------

// Asks for what is missing. A server that knows no ranges sends all, from the
// start.
static bool receive(Exchange &exchange, Download &download)
{
    std::string extra = "Connection: close\r\n";

    if (download.size > 0)
        extra += "Range: bytes=" + std::to_string(download.size) + "-\r\n";
    if (!ask(exchange, download.url, extra.c_str()))
        return false;

    ContentRange range = content_range(exchange);
    if (exchange.status == 416 && download.size > 0) {
        if (range.total == download.size)
            return true;
        return complain(download.part, "does not fit the file at the URL, "
                                       "remove it to start over");
    }
    if (exchange.status == 206 && download.size > 0) {
        if (range.first != download.size)
            return complain(download.url, "answered with another range");
        download.total = range.total;
        return store(exchange, download);
    }
    if (exchange.status != 200)
        return complain_of_status(exchange);
    download.size = 0;
    download.total = exchange.is_chunked ? -1 : exchange.bytes_left;
    return store(exchange, download);
}

int find::get(Arguments arguments)
{
    std::string     path = arguments[1];
    Download        download;
    Exchange        exchange;
    std::error_code error;

    download.url = arguments[0];
    if (path != "-") {
        download.part = path + ".part";
        uintmax_t size = std::filesystem::file_size(download.part, error);
        download.size = error ? 0 : static_cast<int64_t>(size);
    }
    bool is_done = receive(exchange, download);
    close_exchange(exchange);
    if (is_done && !download.part.empty() &&
        rename(download.part.c_str(), path.c_str()) != 0)
        is_done = complain_of_file(path);
    return is_done ? EXIT_SUCCESS : EXIT_FAILURE;
}
