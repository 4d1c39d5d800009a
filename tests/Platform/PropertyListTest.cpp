#include <cmath>
#include <limits>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/PropertyLists/PropertyListXmlWriter.h"
#include "Platform/System/Files.h"
#include "Support/Shell.h"
#include "Support/TemporaryFolder.h"

namespace {

using kiv::decodePropertyList;
using kiv::encodePropertyList;
namespace json = kiv::json;

json::object objectOf(std::string_view text) { return kiv::parseJson(text).value().as_object(); }

/// A binary list of the given objects, with one-byte offsets and references, the first object being the top.
std::string listOf(const std::vector<std::string>& objects) {
    std::string bytes = "bplist00";
    std::string table;
    for (const std::string& object : objects) {
        table += static_cast<char>(bytes.size());
        bytes += object;
    }
    const std::size_t at = bytes.size();
    bytes += table + std::string(6, '\0') + "\1\1" + std::string(7, '\0') + static_cast<char>(objects.size());
    return bytes + std::string(15, '\0') + static_cast<char>(at);
}

/// A list in which each of `levels` arrays holds the next one twice: 2^levels texts in a few bytes.
std::string doubling(int levels) {
    std::vector<std::string> objects{"\xD1\1\2", "\x51k"};
    for (int i = 0; i < levels; ++i) {
        objects.push_back(std::string("\xA2") + static_cast<char>(i + 3) + static_cast<char>(i + 3));
    }
    objects.emplace_back("\x51t");
    return listOf(objects);
}

std::string nested(const std::string& open, const std::string& inner, const std::string& close, int depth) {
    std::string before;
    std::string after;
    for (; depth > 0; --depth) {
        before += open;
        after += close;
    }
    return before + inner + after;
}

TEST(PropertyLists, CarryEveryKindThereAndBack) {
    json::object object = objectOf(R"({"": [
        "Grüße 👋 <a> & \"b\" ]]>", "", "  ", " \r\n\t x\r", true, false, 0, 1, 255, -1, -9223372036854775808,
        9223372036854775807, 9223372036854775808, 18446744073709551615, 0.1, -2.5, 1784123456789.123, 1.5e300,
        5e-324, [], {}, {"a": {"<b>&": ["c"]}, "": "empty key"}], "dictionary": {"a": {"b": ["c"]}}})");
    json::array& array = object[""].as_array();
    array.push_back(std::numeric_limits<double>::infinity());
    array.push_back(-std::numeric_limits<double>::infinity());
    // Unlike equalJson this also tells the kinds apart.
    EXPECT_EQ(decodePropertyList(encodePropertyList(object)), object);
    EXPECT_EQ(kiv::decodeAnyPropertyList(kiv::encodeXmlPropertyList(object)), json::value(object));
    EXPECT_EQ(kiv::decodeAnyPropertyList(kiv::encodeXmlPropertyList(array)), json::value(array));
    EXPECT_EQ(kiv::decodeAnyPropertyList(kiv::encodeXmlPropertyList("a text")), json::value("a text"));
}

TEST(PropertyLists, RepairTextsAndDropNulls) {
    json::object object = objectOf(R"({"gone": null, "list": [1, null, 2]})");
    object["bad\xFF"] = "a\xF0\x9F"
                        "b";
    const auto decoded = decodePropertyList(encodePropertyList(object));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(kiv::compactJson(*decoded), "{\"list\":[1,2],\"bad\uFFFD\":\"a\uFFFDb\"}");
}

TEST(PropertyLists, FindEveryChangedByte) {
    const std::string bytes = encodePropertyList(objectOf(R"({"name": "value", "count": 300, "on": true})"));
    ASSERT_TRUE(decodePropertyList(bytes));
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        for (const int change : {1, 0x40, 0xFF}) {
            std::string changed = bytes;
            changed[i] = static_cast<char>(changed[i] ^ change);
            EXPECT_FALSE(decodePropertyList(changed)) << "byte " << i << " of " << bytes.size();
        }
        EXPECT_FALSE(decodePropertyList(bytes.substr(0, i)));
    }
}

TEST(PropertyLists, AreReadFromOtherTools) {
    const std::string xml = R"(<?xml version="1.0" encoding="UTF-8"?>
        <!DOCTYPE plist PUBLIC "-//Maker//DTD PLIST 1.0//EN" "plist.dtd">
        <plist version="1.0"><dict><key>real</key><real>1.5</real><!-- </dict> --><key>date</key>
        <date>2024-01-01T00:00:00Z</date><key>big</key><integer>18446744073709551615</integer><key>list</key>
        <array><string>&lt;a&gt;</string><dict/><false/><integer>-3</integer></array></dict></plist>)";
    const auto decoded = decodePropertyList(xml);
    ASSERT_TRUE(decoded);
    EXPECT_EQ(kiv::compactJson(*decoded),
              R"({"real":1.5,"big":18446744073709551615,"list":["<a>",{},false,-3]})");

    const auto binary = decodePropertyList(listOf({"\xD2\1\2\3\4", "\x51k", "\x61\x20\xAC",
                                                   "\x33"
                                                   "12345678",
                                                   "\x10\x07"}));
    ASSERT_TRUE(binary);
    EXPECT_EQ(kiv::compactJson(*binary), "{\"\u20AC\":7}");
}

// The archives were written by the library before it had a writer of its own, the others by Python with dates
// and data among them. They hold values of every kind and size.
TEST(PropertyLists, AreReadAsEarlierVersionsAndOthersWroteThem) {
    const std::string folder = KIV_TEST_DATA "/property-lists/";
    const json::object values = objectOf(kiv::readFile(folder + "values.json").value());
    for (const char* name : {"archive.plist", "archive.xml", "python.plist", "python.xml"}) {
        EXPECT_EQ(kiv::readPropertyList(folder + name), values) << name;
    }
}

TEST(PropertyLists, AreReadByOtherToolsThoughSealed) {
    const json::object values = objectOf(kiv::readFile(KIV_TEST_DATA "/property-lists/values.json").value());
    const TemporaryFolder folder;
    ASSERT_TRUE(kiv::writePropertyList(folder / "list", values));
    EXPECT_EQ(objectOf(plistAsJson(folder / "list")), values);
}

TEST(PropertyLists, OfOtherToolsMayHoldZerosHalfPairsAndEqualKeys) {
    const std::string ascii = listOf({"\xD1\1\2", std::string("\x52k\0", 3), std::string("\x52\0t", 3)});
    EXPECT_EQ(decodePropertyList(ascii), (json::object{{std::string("k\0", 2), std::string("\0t", 2)}}));
    const std::string wide = listOf({"\xD1\1\2", std::string("\x62\0\xE9\0\0", 5), "\x60"});
    EXPECT_EQ(decodePropertyList(wide), (json::object{{std::string("\u00E9\0", 3), ""}}));
    EXPECT_EQ(decodePropertyList(listOf({"\xD1\1\1", std::string("\x63\xDC\0\0a\xD8\0", 7)})),
              (json::object{{"\uFFFDa\uFFFD", "\uFFFDa\uFFFD"}}));
    EXPECT_EQ(decodePropertyList(listOf({"\xD2\1\1\2\3", "\x51k", "\x10\1", "\x10\2"})),
              (json::object{{"k", 2}}));
}

TEST(PropertyLists, AreRefusedWhenTheyDoNotHoldTogether) {
    const std::string circle = listOf({"\xD1\1\2", "\x51k", "\xA1\2"});
    const std::string circleWithTop = listOf({"\xD1\1\0", "\x51k"});
    const std::string outOfRange = listOf({"\xD1\1\x05", "\x51k"});
    const std::string numberAsKey = listOf({"\xD1\1\1", "\x10\1"});
    const std::string longText = listOf({"\xD1\1\2", "\x51k",
                                         "\x5F\x10\x7F"
                                         "abc"});
    const std::string longNumber = listOf({"\xD1\1\2", "\x51k", "\x13\1\2\3\4\5\6\7"});
    const std::string hugeNumber =
        listOf({"\xD1\1\2", "\x51k", "\x14" + std::string(7, '\0') + "\1" + std::string(8, '\0')});
    const std::string arrayOnTop = listOf({"\xA1\1", "\x51k"});
    const std::string dataOnTop = listOf({"\x41k"});
    const std::string hugeCount = listOf({"\xD1\1\2", "\x51k", "\xAF\x13\x7F\xFF\xFF\xFF\xFF\xFF\xFF\xFF"});
    const std::string textAsCount = listOf({"\xD1\1\2", "\x51k", "\xAF\x51\1\1"});
    const std::string unknownKind = listOf({"\xD1\1\2", "\x51k", "\xC1\1"});
    ASSERT_TRUE(decodePropertyList(listOf({"\xD1\1\2", "\x51k", "\xA2\3\3", "\x10\1"})));
    for (const std::string& bytes :
         {circle, circleWithTop, outOfRange, numberAsKey, longText, longNumber, hugeNumber, arrayOnTop,
          dataOnTop, hugeCount, textAsCount, unknownKind, std::string(), std::string("bplist00"),
          std::string(40, '\0'), std::string("{\"a\":1}"),
          std::string("<!DOCTYPE p [<!ENTITY a \"b\">]><plist><dict><key>&a;</key><true/></dict></plist>")}) {
        EXPECT_FALSE(decodePropertyList(bytes)) << bytes;
    }
}

TEST(PropertyLists, AreRefusedWhenTheirTrailerLies) {
    const std::string list = listOf({"\xD1\1\2", "\x51k", "\x10\7"});
    ASSERT_TRUE(decodePropertyList(list));
    const std::string most(8, '\xFF');
    const std::string zero(8, '\0');
    const std::pair<std::size_t, std::string> lies[] = {
        // the size of a place in the table, and of a reference
        {6, zero.substr(7)},
        {6, "\x09"},
        {6, "\xFF"},
        {7, zero.substr(7)},
        {7, "\x09"},
        {7, "\xFF"},
        // the count of objects, and the one at the top
        {8, zero},
        {8, most},
        {15, "\4"},
        {8, "\x20"},
        {16, most},
        {23, "\3"},
        // where the table begins
        {24, zero},
        {24, most},
        {31, "\x10"},
        {31, "\x7F"},
    };
    for (const auto& [at, bytes] : lies) {
        std::string lying = list;
        lying.replace(list.size() - 32 + at, bytes.size(), bytes);
        EXPECT_FALSE(decodePropertyList(lying)) << at;
    }
}

TEST(PropertyLists, MayRepeatArraysWithinALimit) {
    EXPECT_TRUE(decodePropertyList(doubling(15)));
    EXPECT_FALSE(decodePropertyList(doubling(20)));
    EXPECT_FALSE(decodePropertyList(doubling(60)));
}

// The character beyond ASCII makes the list hold the text as UTF-16, twice as long.
TEST(PropertyLists, TakeTheLargestTextOfADocument) {
    const json::object document{{"data", std::string((64U << 20) - 2, 'a') + "\xC3\xA9"}};
    EXPECT_EQ(decodePropertyList(encodePropertyList(document)), document);
}

TEST(PropertyLists, NestToTheirLimit) {
    const json::object document = objectOf(nested(R"({"a":)", "1", "}", 1000));
    const json::object deep{{"record", document}};
    EXPECT_EQ(decodePropertyList(encodePropertyList(deep)), deep);
    EXPECT_EQ(decodePropertyList(kiv::encodeXmlPropertyList(deep)), deep);
    EXPECT_EQ(encodePropertyList({{"a", deep}}), "");
    EXPECT_EQ(kiv::encodeXmlPropertyList(json::array{deep}), "");
    const auto xml = [](int depth) {
        return "<plist><dict><key>a</key>" + nested("<array>", "<true/>", "</array>", depth) +
               "</dict></plist>";
    };
    EXPECT_TRUE(decodePropertyList(xml(1000)));
    EXPECT_FALSE(decodePropertyList(xml(1001)));
    EXPECT_FALSE(decodePropertyList(xml(100'000)));
}

TEST(PropertyLists, WithoutASealSurviveAnyDamage) {
    std::string bytes = encodePropertyList(
        objectOf(R"({"a": [1, 70000, -1, 0.5, "text", "größer", true], "b": {"c": {"d": ["e", {}]}}})"));
    bytes.replace(bytes.size() - 32, 5, 5, '\0');
    ASSERT_TRUE(decodePropertyList(bytes));
    std::mt19937 random(7);
    int accepted = 0;
    for (int i = 0; i < 20'000; ++i) {
        std::string changed = bytes;
        for (std::size_t n = random() % 3 + 1; n > 0; --n) {
            changed[random() % changed.size()] = static_cast<char>(random());
        }
        accepted += decodePropertyList(changed) ? 1 : 0;
    }
    // Many changes hit a text or a number and leave a well-formed list: the parser was reached.
    EXPECT_GT(accepted, 1000);
    EXPECT_LT(accepted, 19'000);
}

TEST(XmlPropertyLists, AreWholeOrNothing) {
    const std::string list = kiv::encodeXmlPropertyList(
        objectOf(R"({"a": ["ä <a>", "", true, -1, 18446744073709551615, 0.1, [], {}, {"<b>&": ["c"]}]})"));
    ASSERT_TRUE(kiv::decodeAnyPropertyList(list));
    for (std::size_t size = 0; size < list.rfind(">\n</plist>"); ++size) {
        EXPECT_FALSE(kiv::decodeAnyPropertyList(list.substr(0, size))) << size;
    }
    EXPECT_FALSE(kiv::decodeAnyPropertyList("<plist><date>2024-01-01T00:00:00Z</date></plist>"));
}

TEST(XmlPropertyLists, AreRefusedWhenTheyDoNotHoldTogether) {
    for (const std::string content : {"",
                                      "text",
                                      "<true/><true/>",
                                      "<unknown/>",
                                      "<key>a</key>",
                                      "<plist/>",
                                      "<true>text</true>",
                                      "<string><true/></string>",
                                      "<string>&other;</string>",
                                      "<integer>1x</integer>",
                                      "<integer/>",
                                      "<integer>18446744073709551616</integer>",
                                      "<real>1,5</real>",
                                      "<array>text</array>",
                                      "<array><key>a</key></array>",
                                      "<dict><key>a</key></dict>",
                                      "<dict><true/></dict>",
                                      "<dict><key>a</key><key>b</key></dict>",
                                      "<dict></array>",
                                      "<string>\x01</string>"}) {
        EXPECT_FALSE(kiv::decodeAnyPropertyList("<plist>" + content + "</plist>")) << content;
    }
    EXPECT_FALSE(kiv::decodeAnyPropertyList("<true/>"));
    EXPECT_EQ(
        kiv::decodeAnyPropertyList("<plist><array><integer> 0xFF </integer><date/><real>+1e2</real><data>AA=="
                                   "</data><![CDATA[ ]]><string><![CDATA[<]]>&#62;</string></array></plist>"),
        json::value({255U, 100.0, "<>"}));
}

// A parser or a writer can easily take a time that grows with the square of these.
TEST(PropertyLists, MayHoldManyEscapesAndMembers) {
    json::object object{{"escaped", std::string()}};
    for (int i = 0; i < 1'000'000; ++i) {
        object["escaped"].get_string() += "&\r";
    }
    for (int i = 0; i < 300'000; ++i) {
        object["key" + std::to_string(i)] = i;
    }
    EXPECT_TRUE(decodePropertyList(kiv::encodeXmlPropertyList(object)) == object);
    EXPECT_TRUE(decodePropertyList(encodePropertyList(object)) == object);
}

TEST(XmlPropertyLists, ReplaceWhatXmlLacks) {
    json::object object{{"gone", nullptr}, {"list", {1, nullptr, std::nan("")}}};
    object[std::string("k\0\1", 3)] = "\xFF|\xEF\xBF\xBE|\xEF\xBF\xBF|\xEF\xBF\xBD|\x1F|\xEF\xBF";
    const TemporaryFolder folder;
    ASSERT_TRUE(kiv::writeFile(folder / "list", kiv::encodeXmlPropertyList(object)));
    EXPECT_EQ(plistAsJson(folder / "list"),
              "{\"list\": [1, NaN], \"k\uFFFD\uFFFD\": \"\uFFFD|\uFFFD|\uFFFD|\uFFFD|\uFFFD|\uFFFD\"}");
    EXPECT_TRUE(kiv::readPropertyList(folder / "list"));
}

} // namespace
