#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include <kiv/KIVDate.h>
#include <kiv/KIVDynamicPropertyContext.h>

/// Callbacks that compute a property each time an expression asks for it. They take the name of the flag that
/// is being evaluated and the values of the read, and run on the thread that reads the flag. When a callback
/// throws, the exception goes to the unhandled-error handler with the source 3, and the flag serves its
/// default. An empty `std::optional` makes the property `undefined`.
using KIVStringBlock = std::function<std::optional<std::string>(std::string_view flagName,
                                                                const KIVDynamicPropertyContext& context)>;
using KIVBoolBlock = std::function<bool(std::string_view flagName, const KIVDynamicPropertyContext& context)>;
using KIVIntBlock =
    std::function<std::int32_t(std::string_view flagName, const KIVDynamicPropertyContext& context)>;
using KIVDoubleBlock =
    std::function<double(std::string_view flagName, const KIVDynamicPropertyContext& context)>;
using KIVDateBlock = std::function<std::optional<KIVDate>(std::string_view flagName,
                                                          const KIVDynamicPropertyContext& context)>;

/// Gives the values of properties that nobody registered. Takes the property's name and the values of the
/// read. A text, a number or a boolean reaches the expression; every other value is `undefined` there. Runs
/// on the thread that reads the flag. When the rule throws, the exception goes to the unhandled-error handler
/// with the source 0, and the flag serves its default.
using KIVDynamicPropertiesRule =
    std::function<KivxValue(std::string_view propertyName, const KIVDynamicPropertyContext& context)>;
