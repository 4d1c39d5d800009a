#include "Network/KIVServerSentEvent.h"

#include <utility>

#include "Platform/Text/Text.h"
#include "Runtime/KIVDebugger.h"

namespace {

/// How many bytes the line end at the start of the text takes; 0 when there is none.
std::size_t lineEndLength(std::string_view text) {
    if (std::string_view("\n\v\f\r").find(text.front()) != std::string_view::npos) {
        return 1;
    }
    if (text.starts_with("\xC2\x85")) { // next line
        return 2;
    }
    // line separator, paragraph separator
    return text.starts_with("\xE2\x80\xA8") || text.starts_with("\xE2\x80\xA9") ? 3 : 0;
}

/// Takes the first line from the text.
std::string_view cutLine(std::string_view& text) {
    for (std::size_t at = 0; (at = text.find_first_of("\n\v\f\r\xC2\xE2", at)) != text.npos; ++at) {
        if (const std::size_t length = lineEndLength(text.substr(at))) {
            const std::string_view line = text.substr(0, at);
            text.remove_prefix(at + length);
            return line;
        }
    }
    return std::exchange(text, {});
}

void addField(std::string_view line, KIVServerSentEventFields& fields) {
    const std::size_t colon = line.find(':');
    if (colon == line.npos || colon == 0) {
        return;
    }
    const std::string_view name = kiv::withoutLeadingSpace(line.substr(0, colon));
    const std::string_view value = kiv::withoutLeadingSpace(line.substr(colon + 1));
    if (name.empty() || value.empty()) {
        return;
    }
    const auto [field, isNew] = fields.try_emplace(std::string(name), value);
    if (!isNew) {
        field->second.append("\n").append(value);
    }
}

std::optional<std::string> take(KIVServerSentEventFields& fields, std::string_view name) {
    const auto found = fields.find(name);
    if (found == fields.end()) {
        return std::nullopt;
    }
    return std::move(fields.extract(found).mapped());
}

} // namespace

kiv::TransportError KIVServerSentEventTooLarge() {
    return {std::string(kiv::urlErrorDomain), kiv::TransportError::tooLarge,
            kiv::format("an event of the stream is larger than %@ MiB", KIVServerSentEvent_maxBytes >> 20U)};
}

std::optional<KIVServerSentEventFields>
KIVServerSentEventFieldsFromString(std::string_view text, std::optional<kiv::TransportError>* error) {
    if (text.size() > KIVServerSentEvent_maxBytes) {
        if (error) {
            *error = KIVServerSentEventTooLarge();
        }
        return std::nullopt;
    }
    if (text.empty()) {
        return std::nullopt;
    }
    KIVServerSentEventFields fields;
    while (!text.empty()) {
        addField(cutLine(text), fields);
    }
    return fields;
}

KIVServerSentEvent KIVServerSentEvent::eventWithFields(KIVServerSentEventFields fields) {
    KIVServerSentEvent event;
    event.event_ = take(fields, "event");
    event.identifier_ = take(fields, "id");
    event.data_ = take(fields, "data");
    event.retry_ = kiv::readInteger(take(fields, "retry").value_or(""));
    event.userInfo_ = std::move(fields);
    return event;
}

const KIVAutoCodingObject::Table& KIVServerSentEvent::archivedProperties() const {
    static const Table& own = *new Table{nullptr,
                                         {archived("event", &KIVServerSentEvent::event_),
                                          archived("identifier", &KIVServerSentEvent::identifier_),
                                          archived("data", &KIVServerSentEvent::data_),
                                          archived("retry", &KIVServerSentEvent::retry_)}};
    return own;
}
