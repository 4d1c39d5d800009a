#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>

#include "Flags/KIVFeatureFlagsRepository.h"
#include "Platform/Text/Json.h"
#include "Properties/KIVCustomPropertiesRepository.h"

/// The state of an application that the service receives: the facts of the device, the lists of flags and
/// properties, both lists as texts too, and the hash by which the service knows the state.
///
/// Callable from any thread. The state is built when somebody asks for it, not at each registration.
class KIVState {
public:
    using Object = kiv::json::object;

    /// `facts` do not change. Neither pointer may be null.
    KIVState(std::string sdkKey, Object facts,
             std::shared_ptr<const KIVCustomPropertiesRepository> propertiesRepository,
             std::shared_ptr<const KIVFeatureFlagsRepository> flagsRepository);

    const Object& facts() const { return facts_; }

    /// The state with all that has been registered by now. Never null; does not change.
    std::shared_ptr<const Object> document() const;

    /// The MD5, in hexadecimal digits, over the texts that the generators name in `properties`, in the order
    /// of the generators and with "|" between them. A generator that names no text is left out.
    static std::string createHashWithGeneratorsList(std::span<const char* const> generators,
                                                    const Object& properties);

private:
    struct Document {
        std::uint64_t version; ///< of the repositories, read before the document was built
        Object all;
    };

    kiv::json::array transformCustomProperties() const;
    kiv::json::array transformFeatureFlags() const;

    const std::string sdkKey_;
    const Object facts_;
    const std::shared_ptr<const KIVCustomPropertiesRepository> propertiesRepository_;
    const std::shared_ptr<const KIVFeatureFlagsRepository> flagsRepository_;

    mutable std::mutex lock_; ///< for the document; not held while a document is built
    mutable std::shared_ptr<const Document> document_;
};
