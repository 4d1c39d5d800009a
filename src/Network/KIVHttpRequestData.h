#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <utility>

#include "Model/KIVDocumentLimits.h"
#include "Platform/Text/Json.h"

/// A request to a service. A GET carries its parameters, whose values must be texts, in the query of its URL,
/// in their order; any other method carries them as a JSON body.
struct KIVHttpRequestData {
    KIVHttpRequestData() = delete;
    KIVHttpRequestData(std::string ownUrl, std::string ownMethod, std::optional<kiv::json::object> params)
        : url(std::move(ownUrl)), method(std::move(ownMethod)), parameters(std::move(params)) {}

    std::string url;
    std::string method; ///< "GET" or "POST"
    std::optional<kiv::json::object> parameters;
    /// A longer answer, unpacked, is a transport error.
    std::size_t mostAnswerBytes = kiv::mostEnvelopeBytes;
};
