#pragma once

#include <cstddef>

/// How large a configuration document may be. The limits hold what a service answers, so that no answer takes
/// more than about 150 MB while it is read, nor more than some 40 ms of the next setup. Each value and each
/// key of JSON counts.
namespace kiv {

/// An answer of the configuration service, unpacked.
inline constexpr std::size_t mostEnvelopeBytes = std::size_t{16} << 20;
/// The envelope: the members around the payload, which is one text.
inline constexpr std::size_t mostEnvelopeValues = 10'000;
/// The payload. A flag of a plain experiment takes some 20 values.
inline constexpr std::size_t mostPayloadValues = 1'000'000;

/// An answer to a state. The library looks at its status, and at the member "result".
inline constexpr std::size_t mostStateAnswerBytes = std::size_t{1} << 20;

} // namespace kiv
