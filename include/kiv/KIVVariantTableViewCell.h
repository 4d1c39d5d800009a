#pragma once

#include <memory>
#include <optional>
#include <string>

#include <kiv/KIVExport.h>

class KIVFeatureFlagsSetter;
class KIVFlagsViewController;
class KIVString;

/// A row of the flags screen: one flag's label, and the line below it when it is overridden. To be used by
/// one thread at a time, as the screen.
class KIV_API KIVVariantTableViewCell : public std::enable_shared_from_this<KIVVariantTableViewCell> {
public:
    virtual ~KIVVariantTableViewCell();
    KIVVariantTableViewCell(const KIVVariantTableViewCell&) = delete;
    KIVVariantTableViewCell& operator=(const KIVVariantTableViewCell&) = delete;

    /// Throws "UnrecognizedOperation": only the kinds of cells below have one.
    static std::string cellIdentifier();

    void setSetter(std::shared_ptr<KIVFeatureFlagsSetter> setter) { setter_ = std::move(setter); }
    void setController(std::weak_ptr<KIVFlagsViewController> controller) {
        controller_ = std::move(controller);
    }

    /// Shows the flag as it is now. The setter comes first.
    void setFeature(std::shared_ptr<KIVString> feature);
    const std::shared_ptr<KIVString>& feature() const { return feature_; }

    /// Reads the flag's value and override again.
    void refresh();

    /// The last component of the flag's name in words.
    const std::string& textLabel() const { return textLabel_; }
    /// What the override hides; empty without one.
    const std::optional<std::string>& detailTextLabel() const { return detailTextLabel_; }

protected:
    KIVVariantTableViewCell() = default;

    /// Brings the control up to the flag's value.
    virtual void showValue(const std::string& value) = 0;
    /// How the line below the label gives a value.
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
