#pragma once

#include <cstdint>
#include <iterator>
#include <random>
#include <string>

/// Makes expressions as people write them, and every third one damaged: with characters removed, doubled or
/// put in. Operators get arguments of any kind, and not always as many as they take.
class RandomExpressions {
public:
    explicit RandomExpressions(std::uint64_t seed) : random_(seed) {}

    std::string next() {
        std::string text = value(4);
        if (oneOf(3)) {
            damage(text);
        }
        return text;
    }

private:
    std::size_t below(std::size_t end) { return random_() % end; }
    bool oneOf(std::size_t count) { return below(count) == 0; }

    template <std::size_t count>
    const char* any(const char* const (&choices)[count]) {
        return choices[below(count)];
    }

    std::string value(unsigned depth) {
        if (depth == 0 || oneOf(3)) {
            return oneOf(8) ? list() : constant();
        }
        static constexpr const char* operators[] = {"and",
                                                    "or",
                                                    "not",
                                                    "eq",
                                                    "ne",
                                                    "numeq",
                                                    "numne",
                                                    "ifThen",
                                                    "inArray",
                                                    "md5",
                                                    "concat",
                                                    "b64d",
                                                    "lt",
                                                    "lte",
                                                    "gt",
                                                    "gte",
                                                    "semverEq",
                                                    "semverNe",
                                                    "semverLt",
                                                    "semverLte",
                                                    "semverGt",
                                                    "semverGte",
                                                    "match",
                                                    "property",
                                                    "mergeSeed",
                                                    "isInPercentage",
                                                    "isInPercentageRange",
                                                    "isUndefined",
                                                    "tsToNum",
                                                    "isInTargetGroup",
                                                    "flagValue",
                                                    "unknownWord"};
        std::string text = any(operators);
        text += "(";
        for (std::size_t left = below(4); left > 0; --left) {
            text += value(depth - 1);
            text += left == 1 ? "" : any({", ", ",", " ", "\n\t", " ) ( "});
        }
        return text + ")";
    }

    std::string constant() {
        return any({"true",
                    "false",
                    "undefined",
                    "0",
                    "1",
                    "-12.50",
                    ".5",
                    "9223372036854775808",
                    "1e3",
                    "0.25",
                    "\"\"",
                    "\"FR\"",
                    "\"country\"",
                    "\"version\"",
                    "\"orders\"",
                    "\"since\"",
                    "\"2.3.1\"",
                    "\"12\"",
                    "\"a, (b) : [c] {d}\"",
                    "\"\\d+\"",
                    "\"^F.\"",
                    "\"Zm9v\"",
                    "\"\xC3\xA9t\xC3\xA9 \xFF\"",
                    "\"a text that is longer than sixteen bytes\"",
                    "\"tru\\\"e\"",
                    "{\"a\": 1}",
                    "2.3.1",
                    "\xE2\x82\xAC"});
    }

    std::string list() {
        std::string text = "[";
        for (std::size_t left = below(20); left > 0; --left) {
            text += oneOf(10) ? any({"eq", "[1]", "x", "{}"}) : constant();
            text += left == 1 ? "" : any({", ", ",", " "});
        }
        return text + "]";
    }

    void damage(std::string& text) {
        static constexpr char signs[] = "{}[]():, \t\r\n\"\\ax1\x01\x7f\xC3";
        for (std::size_t times = 1 + below(3); times > 0 && !text.empty(); --times) {
            const std::size_t place = below(text.size());
            switch (below(3)) {
            case 0:
                text.erase(place, 1 + below(3));
                break;
            case 1:
                text.insert(place, 1, text[place]);
                break;
            default:
                text.insert(place, 1, signs[below(std::size(signs) - 1)]);
            }
        }
    }

    std::mt19937_64 random_;
};
