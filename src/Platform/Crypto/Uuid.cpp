#include "Platform/Crypto/Uuid.h"

#include <algorithm>

#include <boost/uuid/random_generator.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "Platform/Text/Text.h"

namespace kiv {

std::string newUuid() {
    const boost::uuids::uuid random = boost::uuids::random_generator_pure()();
    std::array<std::uint8_t, 16> bytes{};
    std::copy(random.begin(), random.end(), bytes.begin());
    return uuidText(bytes);
}

std::string uuidText(std::array<std::uint8_t, 16> bytes) {
    bytes[6] = static_cast<std::uint8_t>((bytes[6] & 0x0F) | 0x40);
    bytes[8] = static_cast<std::uint8_t>((bytes[8] & 0x3F) | 0x80);
    boost::uuids::uuid uuid{};
    std::copy(bytes.begin(), bytes.end(), uuid.begin());
    return uppercasedAscii(boost::uuids::to_string(uuid));
}

} // namespace kiv
