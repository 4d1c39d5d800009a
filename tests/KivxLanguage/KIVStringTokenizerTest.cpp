#include "KivxLanguage/KIVStringTokenizer.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

constexpr KIVDelimiterSet commas(",;");
constexpr KIVDelimiterSet dots(".");

using Tokens = std::vector<std::string>;

Tokens tokensOf(KIVStringTokenizer tokenizer) {
    Tokens tokens;
    while (tokenizer.hasMoreTokens()) {
        tokens.emplace_back(tokenizer.nextToken().value());
    }
    EXPECT_FALSE(tokenizer.nextToken()) << "a token after the last one";
    return tokens;
}

TEST(StringTokenizer, CutsAtDelimiters) {
    const struct {
        std::string text;
        Tokens words;
        Tokens wordsAndDelimiters;
    } cases[] = {
        {"", {}, {}},
        {"a", {"a"}, {"a"}},
        {",;,", {}, {",", ";", ","}},
        {"a,b;;cd", {"a", "b", "cd"}, {"a", ",", "b", ";", ";", "cd"}},
        {",a,", {"a"}, {",", "a", ","}},
        {"\xC3\xA4,\xFF", {"\xC3\xA4", "\xFF"}, {"\xC3\xA4", ",", "\xFF"}},
    };
    for (const auto& [text, words, all] : cases) {
        EXPECT_EQ(tokensOf({text, &commas, false}), words) << text;
        EXPECT_EQ(tokensOf({text, &commas, true}), all) << text;
        EXPECT_EQ(KIVStringTokenizer(text, &commas, false).countTokens(), words.size()) << text;
        EXPECT_EQ(KIVStringTokenizer(text, &commas, true).countTokens(), all.size()) << text;
    }
}

TEST(StringTokenizer, KeepsAnotherDelimiterSet) {
    KIVStringTokenizer tokenizer("a,b.c.d,e", &commas, true);
    EXPECT_EQ(tokenizer.nextElement(), "a");
    EXPECT_EQ(tokenizer.nextToken(&dots), ",b");
    EXPECT_EQ(tokenizer.nextToken(), ".");
    EXPECT_EQ(tokenizer.countTokens(), 3);
    EXPECT_EQ(tokenizer.nextToken(), "c");
    EXPECT_TRUE(tokenizer.hasMoreElements());
    EXPECT_FALSE(tokenizer.nextToken(nullptr));
    EXPECT_FALSE(tokenizer.hasMoreTokens());
    EXPECT_EQ(tokenizer.countTokens(), 0);
}

} // namespace
