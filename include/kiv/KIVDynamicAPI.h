#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/KIVDynamicPropertyContext.h>
#include <kiv/KIVExport.h>
#include <kiv/KIVNullableString.h>

class KIVString;

/// Flags by name, without a container.
///
/// The first read of a name makes a flag of the type of the call, with its default and variations; every
/// later read finds that flag, whatever its type, and uses the default of its own call. A name that a
/// container registered finds the container's flag. A null context stands for no values. Callable from any
/// thread. Each read throws "InvalidArgument" when the name is nil ("Feature flag name cannot be nil"), or
/// when it makes the flag and a variation is nil ("Feature flag variation cannot be nil").
class KIV_API KIVDynamicAPI {
public:
    using FindFlag = std::function<std::shared_ptr<KIVString>(std::string_view name)>;
    using AddFlag = std::function<void(std::shared_ptr<KIVString> flag, const std::string& name)>;

    /// For the library. `findFlag` returns a flag or null; `addFlag` takes a flag that a read has made.
    KIVDynamicAPI(FindFlag findFlag, AddFlag addFlag);

    bool isEnabled(KIVNullableString name, bool defaultValue,
                   const KIVDynamicPropertyContext* context = nullptr) const;
    std::string getValue(KIVNullableString name, const std::string& defaultValue,
                         const std::vector<KIVNullableString>& variations = {},
                         const KIVDynamicPropertyContext* context = nullptr) const;
    std::int64_t getInt(KIVNullableString name, int defaultValue, const std::vector<int>& variations = {},
                        const KIVDynamicPropertyContext* context = nullptr) const;
    double getDouble(KIVNullableString name, double defaultValue, const std::vector<double>& variations = {},
                     const KIVDynamicPropertyContext* context = nullptr) const;

    static void checkFlagName(KIVNullableString name);

private:
    template <class Make>
    std::shared_ptr<KIVString> flagNamed(KIVNullableString name, Make&& make) const;

    FindFlag findFlag_;
    AddFlag addFlag_;
};
