#pragma once

#include <functional>
#include <string>
#include <vector>

#include <kiv/KIVVariantTableViewCell.h>

/// A choice that the view of a flags screen's model shows above the rows.
struct KIVFlagsAlert {
    struct Action {
        std::string title;
        bool isCancel = false;
        /// To be called when the person picks this action, on the thread that uses the model.
        std::function<void()> handler;
    };

    std::string title;
    std::string message;
    std::vector<Action> actions;
};

/// The row of every flag that is no `KIVFlag`: a button with the value, which opens a choice of variations.
class KIV_API KIVMultiVariantTableViewCell final : public KIVVariantTableViewCell {
public:
    KIVMultiVariantTableViewCell() = default;

    static std::string cellIdentifier() { return "KIVMultiVariantTableViewCell"; }

    KIVMultiVariantTableViewCell* asMultiVariant() override { return this; }

    /// Its title has the view's tint and begins at the left.
    struct Button {
        std::string title;
        double leftContentInset = 5; ///< points
    };
    const Button& flagButton() const { return flagButton_; }

    /// The flag's present value as it is written. The button's title is the same text capitalised, and so the
    /// title of both "on" and "On" is "On".
    const std::string& value() const { return value_; }

    /// To be called when the person has pressed the button: the model has its view present the choice. Does
    /// nothing when the model is gone.
    void flagButtonTapped();

private:
    void showValue(const std::string& value) override;
    void choose(const std::string& variation);

    Button flagButton_;
    std::string value_;
};
