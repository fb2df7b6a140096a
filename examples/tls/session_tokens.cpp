// session_tokens.cpp - the table of the tokens that are good.

#include "tls/session_tokens.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <iterator>
#include <mutex>
#include <openssl/crypto.h>
#include <string_view>
#include <sys/random.h>

static constexpr size_t  TOKEN_LENGTH = tls::TOKEN_SIZE - 1;
static constexpr size_t  RANDOM_BYTES = TOKEN_LENGTH / 2;
static constexpr size_t  MAX_TOKENS = 64;
static constexpr int64_t MAX_LIFETIME_MS = 366 * int64_t{ 86'400'000 };

namespace {
struct Token {
    char    text[TOKEN_LENGTH];
    int64_t end_ms;  // 0: the row is not in use
};
}

static std::mutex tokens_lock;
static Token      tokens[MAX_TOKENS];  // guarded by tokens_lock

// Tokens get older while the machine sleeps.
static int64_t now_ms()
{
    timespec now;

    clock_gettime(CLOCK_BOOTTIME, &now);
    return int64_t{ now.tv_sec } * 1000 + now.tv_nsec / 1'000'000;
}

static bool get_random(unsigned char (&bytes)[RANDOM_BYTES])
{
    size_t count = 0;

    while (count < sizeof(bytes)) {
        ssize_t got = getrandom(bytes + count, sizeof(bytes) - count, 0);
        if (got > 0)
            count += static_cast<size_t>(got);
        else if (errno != EINTR)
            return false;
    }
    return true;
}

// The row of a token that is good, or null. Every row is compared to its end,
// whether it is in use or not, so that the time is the same for all tokens of
// the right length.
static Token *find_locked(std::string_view token)
{
    int64_t now = now_ms();
    Token  *found = nullptr;

    if (token.size() != TOKEN_LENGTH)
        return nullptr;
    for (Token &row : tokens) {
        bool is_equal =
            CRYPTO_memcmp(row.text, token.data(), TOKEN_LENGTH) == 0;
        if (is_equal & (now < row.end_ms))
            found = &row;
    }
    return found;
}

static bool is_valid(std::string_view token)
{
    std::scoped_lock guard(tokens_lock);

    return find_locked(token) != nullptr;
}

// Whether a good token follows any of the places where start stands.
static bool holds_token_behind(std::string_view head, std::string_view start)
{
    for (size_t at = head.find(start); at != head.npos;
         at = head.find(start, at)) {
        at += start.size();
        size_t end = head.find_first_of(" &;\r\n", at);
        if (is_valid(head.substr(at, end - at)))
            return true;
    }
    return false;
}

static bool ends_before(const Token &a, const Token &b)
{
    return a.end_ms < b.end_ms;
}

bool tls::issue_token(char (&token)[TOKEN_SIZE], int64_t lifetime_ms)
{
    unsigned char bytes[RANDOM_BYTES];

    token[0] = '\0';
    if (lifetime_ms < 1 || !get_random(bytes))
        return false;
    for (size_t i = 0; i < RANDOM_BYTES; ++i)
        snprintf(token + 2 * i, 3, "%02x", bytes[i]);

    std::scoped_lock guard(tokens_lock);
    Token           *row =
        std::min_element(std::begin(tokens), std::end(tokens), ends_before);
    memcpy(row->text, token, TOKEN_LENGTH);
    row->end_ms = now_ms() + std::min(lifetime_ms, MAX_LIFETIME_MS);
    return true;
}

int32_t tls::is_valid_token(char *token)
{
    return token && is_valid(token);
}

bool tls::shows_token(const char *head)
{
    return head && (holds_token_behind(head, "/ra?") ||
                    holds_token_behind(head, "RAMSessionID="));
}

void tls::revoke_token(const char *token)
{
    std::scoped_lock guard(tokens_lock);

    if (Token *row = token ? find_locked(token) : nullptr)
        *row = {};
}

void tls::revoke_all_tokens()
{
    std::scoped_lock guard(tokens_lock);

    std::fill(std::begin(tokens), std::end(tokens), Token{});
}
