#include <gtest/gtest.h>

#include "Network/KIVEventStreamBuffer.h"
#include "Network/KIVServerSentEvent.h"
#include "Platform/Text/Text.h"

namespace {

std::string described(const std::optional<KIVServerSentEventFields>& fields) {
    return fields ? kiv::compactJson(kiv::json::value_from(*fields)) : "none";
}

TEST(ServerSentEvent, ReadsTheFieldsOfABlock) {
    const struct {
        const char* what;
        std::string_view block;
        const char* fields;
    } cases[] = {
        {"empty", "", "none"},
        {"comments only", ": alive\n:", "{}"},
        {"a carriage return", "\r", "{}"},
        {"lines join", "data:a\ndata: b\nid:1\ndata:c", R"({"data":"a\nb\nc","id":"1"})"},
        {"every line end", "a:1\rb:2\r\nc:3\vd:4\fe:5\u0085f:6\u2028g:7\u2029h:8",
         R"({"a":"1","b":"2","c":"3","d":"4","e":"5","f":"6","g":"7","h":"8"})"},
        {"space before name and value", " \t event :\u00a0\u3000 a b ", R"({"event ":"a b "})"},
        {"colons in the value", "data::a:b:", R"({"data":":a:b:"})"},
        {"no value", "data\ndata:\ndata:  \nevent: x\ndata", R"({"event":"x"})"},
        {"no name", " : x\n:y", "{}"},
        {"letters beyond ASCII", "données: Âge €", R"({"données":"Âge €"})"},
    };
    for (const auto& one : cases) {
        EXPECT_EQ(described(KIVServerSentEventFieldsFromString(one.block, nullptr)), one.fields) << one.what;
    }
}

TEST(ServerSentEvent, HasItsFieldsAndArchivesAllButTheOthers) {
    const auto event = KIVServerSentEvent::eventWithFields(
        {{"event", "changed"}, {"id", "7"}, {"data", "a\nb"}, {"retry", "1500ms"}, {"colour", "red"}});
    EXPECT_EQ(event.event(), "changed");
    EXPECT_EQ(event.retry(), 1500.0);
    EXPECT_EQ(described(event.userInfo()), R"({"colour":"red"})");

    kiv::json::object archive;
    event.encodeWithCoder(archive);
    EXPECT_EQ(kiv::compactJson(archive),
              R"({"event":"changed","identifier":"7","data":"a\nb","retry":1500})");
    KIVServerSentEvent copy;
    copy.decodeWithCoder(archive);
    EXPECT_EQ(copy.identifier(), "7");
    EXPECT_EQ(copy.data(), "a\nb");
    EXPECT_EQ(copy.retry(), 1500.0);

    copy.decodeWithCoder({{"event", 1}, {"identifier", nullptr}, {"retry", "soon"}});
    EXPECT_EQ(copy.event(), "changed") << "of another kind";
    EXPECT_FALSE(copy.identifier());
    EXPECT_EQ(copy.retry(), 1500.0);
    EXPECT_EQ(KIVServerSentEvent::eventWithFields({}).retry(), 0.0);
}

/// Every event that the buffer gives in one go, as lines.
std::string drain(KIVEventStreamBuffer& buffer, std::optional<kiv::TransportError>& error) {
    std::string events;
    while (const auto event = buffer.nextEvent(error)) {
        events += event->event().value_or("-") + '=' + event->data().value_or("-") + '\n';
    }
    return events;
}

TEST(EventStreamBuffer, GivesTheSameEventsWhereverTheStreamIsCut) {
    const std::string stream = ": hello\n\nevent: changed\ndata: é€😀\ndata:2\n\r\n\r\n"
                               "id: 1\n\nevent: a\xE2\x82z\n\nevent: unfinished\n";
    const std::string expected = "-=-\nchanged=é€😀\n2\na\uFFFDz=-\n";
    std::optional<kiv::TransportError> error;
    KIVEventStreamBuffer trickle;
    std::string trickled;
    for (std::size_t at = 0; at <= stream.size(); ++at) {
        KIVEventStreamBuffer buffer;
        buffer.append(stream.substr(0, at));
        std::string events = drain(buffer, error);
        buffer.append(stream.substr(at));
        events += drain(buffer, error);
        EXPECT_EQ(events, expected) << at;

        trickle.append(stream.substr(at, 1));
        trickled += drain(trickle, error);
    }
    EXPECT_EQ(trickled, expected);
    EXPECT_FALSE(error);
}

TEST(EventStreamBuffer, StopsAtAnEmptyBlockUntilMoreIsAskedFor) {
    std::optional<kiv::TransportError> error;
    KIVEventStreamBuffer buffer;
    buffer.append("event:a\n\n\n\nevent:b\n\nevent:c\n\n");
    EXPECT_EQ(drain(buffer, error), "a=-\n");
    EXPECT_EQ(drain(buffer, error), "b=-\nc=-\n");
}

TEST(EventStreamBuffer, SkipsAByteOrderMarkAtTheStart) {
    std::optional<kiv::TransportError> error;
    KIVEventStreamBuffer buffer;
    for (const char byte : std::string("\xEF\xBB\xBF"
                                       "event:a\n\n\xEF\xBB\xBF"
                                       "event:b\n\n")) {
        buffer.append({&byte, 1});
    }
    EXPECT_EQ(drain(buffer, error), "a=-\n-=-\n") << "only at the start";
}

TEST(EventStreamBuffer, FailsWhenAnEventIsTooLarge) {
    const std::string most(KIVServerSentEvent_maxBytes - 5, 'x');
    const struct {
        const char* what;
        std::string stream;
        std::size_t pieces;
        bool fails;
    } cases[] = {
        {"as large as may be", "data:" + most + "\n\n", 7, false},
        {"larger, in one go", "data:x" + most + "\n\n", 1, true},
        {"larger, in pieces", "data:x" + most + "\n\n", 7, true},
        {"never ends", "data:" + most + "\nx", 1000, true},
        {"larger once it is repaired",
         "data:" + std::string(KIVServerSentEvent_maxBytes / 2, '\xFF') + "\n\n", 3, true},
    };
    for (const auto& one : cases) {
        KIVEventStreamBuffer buffer;
        std::optional<kiv::TransportError> error;
        std::string events;
        const std::size_t length = one.stream.size() / one.pieces + 1;
        for (std::size_t at = 0; at < one.stream.size() && !error; at += length) {
            buffer.append(one.stream.substr(at, length));
            events += drain(buffer, error);
        }
        EXPECT_EQ(error.has_value(), one.fails) << one.what;
        EXPECT_EQ(events.empty(), one.fails) << one.what;
    }
}

/// Takes more than half a minute when the buffer searches all its bytes again for each new one.
TEST(EventStreamBuffer, TakesALargeEventByteByByte) {
    KIVEventStreamBuffer buffer;
    std::optional<kiv::TransportError> error;
    buffer.append("data:");
    for (std::size_t count = 0; count < KIVServerSentEvent_maxBytes - 5; ++count) {
        buffer.append("x");
        ASSERT_FALSE(buffer.nextEvent(error));
    }
    buffer.append("\n\n");
    ASSERT_TRUE(buffer.nextEvent(error));
}

} // namespace
