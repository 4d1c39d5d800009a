#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "Platform/Http/HttpClient.h"
#include "Runtime/KIVAutoCodingObject.h"

using KIVServerSentEventFields = std::map<std::string, std::string, std::less<>>;

/// The most bytes that one event of a stream may have.
inline constexpr std::size_t KIVServerSentEvent_maxBytes = 1U << 20;

/// The failure of a stream with an event of more than `KIVServerSentEvent_maxBytes`.
kiv::TransportError KIVServerSentEventTooLarge();

/// The fields of one event; `text` is its block of lines, in UTF-8. Comments, and lines without a name or a
/// value, are skipped; the values of a repeated field are joined by line feeds. nullopt for an empty block,
/// and for a block that is too large; the latter sets `error`, when given.
std::optional<KIVServerSentEventFields>
KIVServerSentEventFieldsFromString(std::string_view text, std::optional<kiv::TransportError>* error);

/// One event of a stream. It archives "event", "identifier", "data" (texts) and "retry" (an integer).
class KIVServerSentEvent : public KIVAutoCodingObject {
public:
    /// An event without fields.
    KIVServerSentEvent() = default;

    static KIVServerSentEvent eventWithFields(KIVServerSentEventFields fields);

    const std::optional<std::string>& event() const { return event_; }
    const std::optional<std::string>& identifier() const { return identifier_; }
    double retry() const { return static_cast<double>(retry_); }
    const std::optional<std::string>& data() const { return data_; }
    /// All other fields.
    const KIVServerSentEventFields& userInfo() const { return userInfo_; }

protected:
    const Table& archivedProperties() const override;

private:
    std::optional<std::string> event_;
    std::optional<std::string> identifier_;
    std::int64_t retry_ = 0;
    std::optional<std::string> data_;
    KIVServerSentEventFields userInfo_;
};
