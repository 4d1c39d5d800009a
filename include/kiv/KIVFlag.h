#pragma once

#include <functional>
#include <type_traits>

#include <kiv/KIVString.h>

/// A boolean flag. Its variations are "true" and "false".
class KIV_API KIVFlag : public KIVString {
public:
    using Action = std::function<void()>;

    KIVFlag() : KIVFlag(false) {}
    template <class Bool, std::enable_if_t<std::is_same_v<Bool, bool>, int> = 0>
    explicit KIVFlag(Bool defaultValue) : KIVString(text(defaultValue), {"true", "false"}) {}
    template <class Bool, std::enable_if_t<std::is_same_v<Bool, bool>, int> = 0>
    KIVFlag(Bool defaultValue, unsigned freeze) : KIVString(text(defaultValue), {"true", "false"}, freeze) {}

    /// Reads the flag.
    bool isEnabled() const { return getBoolValue(); }
    bool isEnabled(const KIVDynamicPropertyContext& context) const;

    bool isBooleanFlag() const override;

    /// Reads the flag and calls the action on this thread: `enabled` when the flag is on, `disabled` when it
    /// is off. An empty action is not called.
    void enabled(const Action& action) const;
    void enabled(const Action& action, const KIVDynamicPropertyContext& context) const;
    void disabled(const Action& action) const;
    void disabled(const Action& action, const KIVDynamicPropertyContext& context) const;

    /// Reads the flag; when it is on and `whenEnabled` is not empty, calls `whenEnabled`. Otherwise reads the
    /// flag a second time and calls `whenDisabled` when it is off. So a disabled flag makes two impressions.
    void enabled(const Action& whenEnabled, const Action& whenDisabled) const;
    void enabled(const Action& whenEnabled, const Action& whenDisabled,
                 const KIVDynamicPropertyContext& context) const;

    template <class Bool, std::enable_if_t<std::is_same_v<Bool, bool>, int> = 0>
    void forceValue(Bool value) {
        KIVString::forceValue(text(value));
    }

protected:
    std::string_view className() const override;

private:
    static const char* text(bool value) { return value ? "true" : "false"; }
};
