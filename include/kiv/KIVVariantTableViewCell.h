#pragma once

#include <memory>
#include <optional>
#include <string>
#include <utility>

#include <kiv/KIVExport.h>

class KIVBooleanSwitchTableViewCell;
class KIVFeatureFlagsSetter;
class KIVFlagsViewController;
class KIVMultiVariantTableViewCell;
class KIVString;

/// A row of the flags screen's model: the label of one flag, its control, and a line below the label while
/// the flag is overridden. One thread at a time may use a model and its cells.
class KIV_API KIVVariantTableViewCell : public std::enable_shared_from_this<KIVVariantTableViewCell> {
public:
    virtual ~KIVVariantTableViewCell();
    KIVVariantTableViewCell(const KIVVariantTableViewCell&) = delete;
    KIVVariantTableViewCell& operator=(const KIVVariantTableViewCell&) = delete;

    /// Throws a `KIVException` named "UnrecognizedOperation": only the subclasses have an identifier.
    static std::string cellIdentifier();

    /// This cell as its own type; null when it is of the other type.
    virtual KIVBooleanSwitchTableViewCell* asBooleanSwitch() { return nullptr; }
    virtual KIVMultiVariantTableViewCell* asMultiVariant() { return nullptr; }

    /// For the library: the model sets its setter and itself in each cell.
    void setSetter(std::shared_ptr<KIVFeatureFlagsSetter> setter) { setter_ = std::move(setter); }
    void setController(std::weak_ptr<KIVFlagsViewController> controller) {
        controller_ = std::move(controller);
    }

    /// Sets the flag, and reads its value and override. To be called after `setSetter`.
    void setFeature(std::shared_ptr<KIVString> feature);
    const std::shared_ptr<KIVString>& feature() const { return feature_; }

    /// Reads the flag's value and override again.
    void refresh();

    /// The last component of the flag's name in words: "Show New Login" of "myApp.showNewLogin".
    const std::string& textLabel() const { return textLabel_; }
    /// "Overriding original value: " and the value that the override hides; nullopt without an override.
    const std::optional<std::string>& detailTextLabel() const { return detailTextLabel_; }

protected:
    KIVVariantTableViewCell() = default;

    /// Makes the control show the flag's value.
    virtual void showValue(const std::string& value) = 0;
    /// The text of a value in the line below the label.
    virtual std::string detailOf(const std::string& value) const { return value; }

    void setOverride(const std::string& value);
    void setOverrideDetailLabel();
    std::shared_ptr<KIVFlagsViewController> controller() const { return controller_.lock(); }

private:
    std::shared_ptr<KIVString> feature_;
    std::shared_ptr<KIVFeatureFlagsSetter> setter_;
    std::weak_ptr<KIVFlagsViewController> controller_;
    std::string textLabel_;
    std::optional<std::string> detailTextLabel_;
};
