#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <kiv/EvaluationContext.h>
#include <kiv/KIVExport.h>
#include <kiv/KIVNullableString.h>

class KIVExperimentModel;
class KIVFlagsOverrides;
class KivxParser;

/// A text flag, and the base of every flag.
///
/// Its value is computed on each read: a forced value wins, then a local override, then a frozen value, then
/// the expression that the configuration assigned to it; the default when nothing applies. Reading is safe
/// from any thread, never blocks on the network and never throws. Reads may run callbacks of the application
/// on the reading thread: computed properties, the dynamic-properties rule and the impression handler.
///
/// Freeze levels say when a value that was read once is kept: 0, for good; 1, until `unfreeze` or the next
/// setup; 2, also until the application returns to the foreground; 3, never (the default).
class KIV_API KIVString {
public:
    /// A flag without variations but its default. The freeze level is the library's default.
    explicit KIVString(std::string defaultValue);

    /// The default is appended to the variations when it is not among them. The freeze level is the library's
    /// default. Throws "InvalidArgument" ("Feature flag variation cannot be nil") when a variation is nil.
    KIVString(std::string defaultValue, const std::vector<KIVNullableString>& variations);

    /// The same with a freeze level of its own, 0 to 3, which the library's default does not change.
    KIVString(std::string defaultValue, const std::vector<KIVNullableString>& variations, unsigned freeze);

    KIVString(std::nullptr_t) = delete;
    KIVString() = delete;
    virtual ~KIVString();

    KIVString(const KIVString&) = delete;
    KIVString& operator=(const KIVString&) = delete;

    /// Reads the flag.
    std::string value() const { return getStringValue(); }
    std::string value(const KIVDynamicPropertyContext& context) const;

    /// Readings as the type named; without a default of their own they fall back to the flag's. A null
    /// context stands for all switches on and no values.
    std::string getStringValue(const EvaluationContext* context = nullptr) const;
    std::string getStringValue(const EvaluationContext* context, std::string_view defaultValue) const;
    bool getBoolValue(const EvaluationContext* context = nullptr) const;
    bool getBoolValue(const EvaluationContext* context, std::string_view defaultValue) const;
    std::int64_t getIntValue(const EvaluationContext* context = nullptr) const;
    std::int64_t getIntValue(const EvaluationContext* context, std::string_view defaultValue) const;
    double getDoubleValue(const EvaluationContext* context = nullptr) const;
    double getDoubleValue(const EvaluationContext* context, std::string_view defaultValue) const;

    /// The value with overrides but without an impression and without freezing.
    std::string peek() const;
    /// The value without overrides, without an impression and without freezing.
    std::string originalValue() const;

    const std::string& defaultValue() const { return defaultValue_; }
    /// The allowed values, the default among them. Values are not held to them.
    const std::vector<std::string>& variations() const { return variations_; }
    /// Full name, namespace included; nothing before the flag is registered and after shutdown.
    std::optional<std::string> name() const;
    unsigned freezeLevel() const;
    bool isUsingDefaultFreezeLevel() const;
    bool isFreezed() const;

    /// From now on every read answers this value.
    void forceValue(std::string_view value);

    /// Takes the level only when the flag uses the library's default.
    void setFreezeLevel(unsigned level);

    /// Thaws the flag when the requested level is not above its own.
    void unfreezeWithLevel(unsigned level);
    void unfreeze() { unfreezeWithLevel(1); }

    /// For the library: what the flag is evaluated with. Any of the three may be null.
    void setOverrides(std::shared_ptr<KIVFlagsOverrides> overrides, std::shared_ptr<const KivxParser> parser,
                      std::shared_ptr<const KIVExperimentModel> experiment);

    /// Announces that a value was read, when the flag has a name: posts "KIVFlagImpressionNotification" with
    /// a `KIVFlagImpression`.
    void flagImpressedWithValue(std::string_view value, const EvaluationContext& context) const;

    /// Class, name and current value, for a person to read.
    std::string description() const;

protected:
    /// For flags that write their variations as texts of their own. The level is the library's default when
    /// empty.
    KIVString(std::string defaultValue, std::vector<std::string> variations, std::optional<unsigned> freeze);

    /// The name of the flag's class, for `description`.
    virtual std::string_view className() const { return "KIVString"; }

private:
    friend class KIVFeatureFlagsRepository;
    struct State;

    /// Brings an evaluated text into the form of the flag's type; null leaves it as it is.
    using Normalizer = std::string (*)(std::string_view value, std::string_view defaultValue);

    std::string internalValue(const EvaluationContext* context, std::string_view defaultValue,
                              Normalizer normalize) const;
    std::string evaluateValue(const State& state, const EvaluationContext& context,
                              std::string_view defaultValue, Normalizer normalize) const;
    void keepValue(const State& state, const std::string& value) const;
    void clearName();
    void setNameIfNone(const std::string& name);
    template <class Change>
    void change(Change&& change) const;

    const std::string defaultValue_;
    std::vector<std::string> variations_;
    mutable std::mutex lock_; ///< for those who change the state
    mutable std::atomic<const State*> state_;
};

/// What "KIVFlagImpressionNotification" is about. Valid while its observers run.
struct KIVFlagImpression {
    const KIVString& flag;
    std::string_view flagName;
    std::string_view value;
    const EvaluationContext& context;
};

inline constexpr std::string_view KIVFlagImpressionNotification = "KIVFlagImpressionNotification";
