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
#include <kiv/KIVFreezeLevel.h>
#include <kiv/KIVNotifications.h>
#include <kiv/KIVNullableString.h>

class KIVExperimentModel;
struct KIVFlagImpression;
class KIVFlagsOverrides;
class KivxParser;

/// A text flag, and the base of every flag.
///
/// Its value is computed on each read: a forced value wins, then a local override, then a frozen value, then
/// the expression that the configuration assigned to it; the default when nothing applies. Reading is safe
/// from any thread, never blocks on the network and never throws. Reads may run callbacks of the application
/// on the reading thread: computed properties, the dynamic-properties rule and the impression handler.
///
/// A freeze level says how long the flag keeps the value of a read: `KIVFreezeLevel`.
class KIV_API KIVString {
public:
    /// A flag whose only variation is its default. The freeze level is the library's default.
    explicit KIVString(std::string defaultValue);

    /// The default is appended to the variations when it is not among them. The freeze level is the library's
    /// default. Throws "InvalidArgument" ("Feature flag variation cannot be nil") when a variation is nil.
    KIVString(std::string defaultValue, const std::vector<KIVNullableString>& variations);

    /// A flag with a freeze level of its own (`KIVFreezeLevel`), which the library's default does not change.
    KIVString(std::string defaultValue, const std::vector<KIVNullableString>& variations, unsigned freeze);

    KIVString(std::nullptr_t) = delete;
    KIVString() = delete;
    virtual ~KIVString();

    KIVString(const KIVString&) = delete;
    KIVString& operator=(const KIVString&) = delete;

    /// Reads the flag.
    std::string value() const { return getStringValue(); }
    std::string value(const KIVDynamicPropertyContext& context) const;

    /// Read the flag as a value of the named type. When the configuration gives no value, they return
    /// `defaultValue`, or the flag's default without that parameter. A null context stands for all switches
    /// on and no values.
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
    /// The values to choose from, the default among them. A configured value need not be one of them.
    const std::vector<std::string>& variations() const { return variations_; }
    /// Full name, namespace included; nullopt before the flag is registered and after shutdown.
    std::optional<std::string> name() const;
    unsigned freezeLevel() const;
    bool isUsingDefaultFreezeLevel() const;
    bool isFreezed() const;

    /// From now on every read gives this value.
    void forceValue(std::string_view value);

    /// Sets the level, unless the flag was made with a level of its own.
    void setFreezeLevel(unsigned level);

    /// Thaws the flag when its own level is `level` or higher.
    void unfreezeWithLevel(unsigned level);
    void unfreeze() { unfreezeWithLevel(KIVFreezeUntilUnfreeze); }

    /// For the library: sets what the flag is evaluated with. Any of the three may be null.
    void setOverrides(std::shared_ptr<KIVFlagsOverrides> overrides, std::shared_ptr<const KivxParser> parser,
                      std::shared_ptr<const KIVExperimentModel> experiment);

    /// Announces that a value was read, when the flag has a name: posts "KIVFlagImpressionNotification" with
    /// a `KIVFlagImpression`.
    void flagImpressedWithValue(std::string_view value, const EvaluationContext& context) const;

    /// Class, name and current value, for a person to read.
    std::string description() const;

    /// True for a `KIVFlag`. Works also for the flags of an application without run-time type information.
    virtual bool isBooleanFlag() const { return false; }

protected:
    /// For derived flags, which convert their variations to texts. The level is the library's default when
    /// `freeze` is nullopt.
    KIVString(std::string defaultValue, std::vector<std::string> variations, std::optional<unsigned> freeze);

    /// The name of the flag's class, for `description`.
    virtual std::string_view className() const { return "KIVString"; }

private:
    friend class KIVFeatureFlagsRepository;
    friend class KIVFlagReader;
    struct State;
    class FreezeGuard;

    /// Converts an evaluated text to the form of the flag's type; may use `own` for it. A null pointer leaves
    /// the text unchanged.
    using Normalizer = std::string_view (*)(std::string_view value, std::string_view defaultValue,
                                            std::string& own);

    std::string_view internalValue(const EvaluationContext* context, std::string_view defaultValue,
                                   Normalizer normalize, std::string& own) const;
    std::string_view valueInContext(const State& state, const EvaluationContext& context,
                                    std::string_view defaultValue, Normalizer normalize,
                                    std::string& own) const;
    std::string_view evaluateValue(const State& state, const EvaluationContext& context,
                                   std::string_view defaultValue, Normalizer normalize,
                                   std::string& own) const;
    void keepValue(const State& state, std::string_view value) const;
    static void announceImpression(const KIVFlagImpression& impression);
    void thawAfterFork() const;
    void clearName();
    void renewFreezeLevel(unsigned level);
    void setNameIfNone(const std::string& name);
    template <class Change>
    void change(Change&& change) const;
    template <class Needed, class Change>
    void changeIf(Needed&& isNeeded, Change&& change) const;

    const std::string defaultValue_;
    std::vector<std::string> variations_;
    mutable std::mutex lock_; ///< held while the state is replaced
    mutable std::atomic<const State*> state_;
};

/// The object of "KIVFlagImpressionNotification". Valid while its observers run.
struct KIVFlagImpression {
    const KIVString& flag;
    std::string_view flagName;
    std::string_view value;
    const EvaluationContext& context;
};
