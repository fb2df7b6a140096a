// session_tokens_test.cpp - which tokens are good, and for how long.

#include "tls/session_tokens.h"

#include <gtest/gtest.h>
#include <string>

static std::string issue(int64_t lifetime_ms)
{
    char token[tls::TOKEN_SIZE];

    tls::issue_token(token, lifetime_ms);
    return token;
}

static int32_t is_valid(std::string token)
{
    return tls::is_valid_token(token.data());
}

TEST(Tokens, AreGoodUntilTheirTimeIsOverOrTheyAreRevoked)
{
    std::string first = issue(60'000);
    std::string second = issue(INT64_MAX);

    EXPECT_EQ(first.size(), 64u);
    EXPECT_EQ(first.find_first_not_of("0123456789abcdef"), first.npos);
    EXPECT_NE(first, second);
    EXPECT_TRUE(is_valid(first) && is_valid(second));
    EXPECT_EQ(issue(0), "");
    EXPECT_EQ(issue(-1), "");

    std::string brief = issue(1);
    while (is_valid(brief))
        continue;
    tls::revoke_token(first.c_str());
    tls::revoke_token(nullptr);
    EXPECT_FALSE(is_valid(first));
    EXPECT_TRUE(is_valid(second));
    tls::revoke_all_tokens();
    EXPECT_FALSE(is_valid(second));
}

TEST(Tokens, NothingElseIsGood)
{
    std::string good = issue(60'000);
    std::string changed = good;

    changed.back() = changed.back() == '0' ? '1' : '0';
    for (std::string bad :
         { changed, good + "0", good.substr(1), std::string(),
           std::string(64, '0'), std::string(100'000, 'a') }) {
        EXPECT_FALSE(is_valid(bad)) << bad.substr(0, 80);
        EXPECT_FALSE(tls::shows_token(("GET /ra?" + bad + " H").c_str()));
    }
    EXPECT_FALSE(tls::is_valid_token(nullptr));
    EXPECT_FALSE(tls::shows_token(nullptr));
    for (const char *end : { "", " ", "&a=b", "; a=b", "\r\n" })
        EXPECT_TRUE(tls::shows_token(("GET /ra?x /ra?" + good + end).c_str()))
            << end;
    tls::revoke_all_tokens();
}

TEST(Tokens, ALongerLifeOutlivesAFullTable)
{
    std::string lasting = issue(120'000);
    std::string first = issue(60'000);
    std::string last;

    for (int i = 0; i < 63; ++i)
        last = issue(60'000);
    EXPECT_TRUE(is_valid(lasting));
    EXPECT_TRUE(is_valid(last));
    EXPECT_FALSE(is_valid(first));
    tls::revoke_all_tokens();
}
