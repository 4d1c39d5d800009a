#include <gtest/gtest.h>

#include <kiv/kiv.h>

#include "Platform/Host/UserDefaults.h"
#include "Platform/Text/Collation.h"
#include "Support/SilentServer.h"

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";

/// Without an endpoint no request is made.
const KIVOptions offline{.networkConfigurations = KIVNetworkConfigurationsOptions()};

struct AppFlags : KIVBaseContainer {
    KIVFlag showNewLogin{true, 1};
    KIVString buttonColor{"deepBlue", {"deepBlue", "dark green"}};
    KIVInt retries{3, {1, 3}};
    KIVDouble ratio{0.5};
    KIV_CONTAINER(AppFlags, showNewLogin, buttonColor, retries, ratio);
};

std::string textOf(const std::vector<KIVFlagsViewController::Section>& sections) {
    std::string text;
    for (const auto& section : sections) {
        text += section.title + ":";
        for (const auto& name : section.names) {
            text += " " + name;
        }
        text += "; ";
    }
    return text;
}

class FlagsViewController : public ::testing::Test {
protected:
    FlagsViewController() {
        KIVCore::register_("myApp", flags);
        KIVOptions options;
        options.networkConfigurations =
            KIVNetworkConfigurationsOptions{.getConfigCloudEndpoint = network.url()};
        KIVCore::setupWithKey(key, options);
        model = KIVCore::flagsViewController();
        model->setView({.reloadData = [this] { ++reloads; },
                        .present = [this](const KIVFlagsAlert& shown) { alert = shown; },
                        .dismiss = [this] { ++dismissals; }});
        model->viewDidLoad();
    }

    ~FlagsViewController() override { KIVCore::shutdown(); }

    template <class Cell>
    std::shared_ptr<Cell> cell(std::string_view label) const {
        for (std::size_t section = 0; section < model->numberOfSectionsInTableView(); ++section) {
            for (std::size_t row = 0; row < model->numberOfRowsInSection(section); ++row) {
                const auto found = model->cellForRowAtIndexPath({section, row});
                if (found->textLabel() == label) {
                    return std::dynamic_pointer_cast<Cell>(found);
                }
            }
        }
        return nullptr;
    }

    std::shared_ptr<AppFlags> flags = std::make_shared<AppFlags>();
    SilentServer network; ///< no fetch ends while the test runs
    std::shared_ptr<KIVFlagsViewController> model;
    std::optional<KIVFlagsAlert> alert;
    int reloads = 0;
    int dismissals = 0;
};

TEST_F(FlagsViewController, GroupsAndSearches) {
    for (const char* name : {"B.c.e", "b.c.d", "a", "Zed", "b.c.f.g", "Äpfel"}) {
        KIVCore::setVariant(std::make_shared<KIVFlag>(), name);
    }
    EXPECT_EQ(textOf(model->namespacesToFeatures()),
              "myApp: myApp.buttonColor myApp.ratio myApp.retries myApp.showNewLogin; ")
        << "as loaded";
    const std::pair<const char*, const char*> searches[] = {
        {"", "Default Namespace: a Äpfel Zed; b.c: b.c.d; B.c: B.c.e; b.c.f: b.c.f.g; "
             "myApp: myApp.buttonColor myApp.ratio myApp.retries myApp.showNewLogin; "},
        {"C", "b.c: b.c.d; B.c: B.c.e; b.c.f: b.c.f.g; myApp: myApp.buttonColor; "},
        {"d", "Default Namespace: Zed; "},
        {"äP", "Default Namespace: Äpfel; "},
        {"NEWlog", "myApp: myApp.showNewLogin; "},
        {"myApp", ""},
        {".", ""},
    };
    for (const auto& [query, expected] : searches) {
        model->textDidChange(query);
        EXPECT_EQ(textOf(model->namespacesToFeatures()), expected) << query;
    }
    EXPECT_EQ(reloads, 7);
    model->searchBarCancelButtonClicked();
    EXPECT_EQ(model->numberOfSectionsInTableView(), 5U);
    EXPECT_EQ(model->titleForHeaderInSection(1), "b.c");
    EXPECT_EQ(model->numberOfRowsInSection(9), 0U);
    EXPECT_EQ(model->cellForRowAtIndexPath({0, 9}), nullptr);
    EXPECT_TRUE(model->editActionsForRowAtIndexPath({9, 0}).empty());
}

TEST_F(FlagsViewController, SwitchOverridesAndRowIsReset) {
    EXPECT_TRUE(flags->showNewLogin.isEnabled());
    ASSERT_TRUE(flags->showNewLogin.isFreezed());
    const auto shown = cell<KIVBooleanSwitchTableViewCell>("Show New Login");
    ASSERT_TRUE(shown);
    EXPECT_TRUE(shown->flagSwitch().isOn);
    EXPECT_EQ(shown->detailTextLabel(), std::nullopt);
    shown->switchToggled(false);
    EXPECT_EQ(shown->detailTextLabel(), "Overriding original value: TRUE");
    EXPECT_FALSE(flags->showNewLogin.isEnabled()) << "the application follows at once";
    EXPECT_EQ(KIVCore::overrides()->overrideForName("myApp.showNewLogin"), "false");

    const auto actions = model->editActionsForRowAtIndexPath({0, 3});
    ASSERT_EQ(actions.size(), 1U);
    EXPECT_EQ(actions[0].title, "Reset");
    actions[0].handler();
    EXPECT_EQ(reloads, 1);
    EXPECT_FALSE(KIVCore::overrides()->hasOverride("myApp.showNewLogin"));
    shown->refresh();
    EXPECT_TRUE(shown->flagSwitch().isOn);
    EXPECT_EQ(shown->detailTextLabel(), std::nullopt);
}

TEST_F(FlagsViewController, VariationsAreChosenAsTheyAreAndShownCapitalised) {
    const auto shown = cell<KIVMultiVariantTableViewCell>("Button Color");
    ASSERT_TRUE(shown);
    EXPECT_EQ(shown->flagButton().title, "Deepblue");
    shown->flagButtonTapped();
    ASSERT_TRUE(alert);
    EXPECT_EQ(alert->title, "myApp.buttonColor");
    EXPECT_EQ(alert->message, "Override the value with");
    ASSERT_EQ(alert->actions.size(), 3U);
    EXPECT_EQ(alert->actions[2].title, "Cancel");
    EXPECT_TRUE(alert->actions[2].isCancel);
    alert->actions[2].handler();
    EXPECT_EQ(flags->buttonColor.value(), "deepBlue");
    alert->actions[1].handler();
    EXPECT_EQ(shown->flagButton().title, "Dark Green");
    EXPECT_EQ(shown->value(), "dark green");
    EXPECT_EQ(shown->detailTextLabel(), "Overriding original value: deepBlue");
    EXPECT_EQ(flags->buttonColor.value(), "dark green");
    ASSERT_TRUE(cell<KIVMultiVariantTableViewCell>("Ratio"));
    EXPECT_EQ(cell<KIVMultiVariantTableViewCell>("Retries")->flagButton().title, "3");
}

TEST_F(FlagsViewController, ResetAllClearsOverridesAndThaws) {
    KIVCore::overrides()->setOverride("1", flags->retries);
    KIVCore::overrides()->setOverride("x", "of.nobody");
    flags->showNewLogin.isEnabled();
    for (const bool inNavigation : {true, false}) {
        model->viewWillAppear(inNavigation, 20);
        EXPECT_EQ(model->rightBarButtonItem().has_value(), inNavigation);
        EXPECT_EQ(model->tableHeaderView().has_value(), !inNavigation);
    }
    EXPECT_EQ(model->title(), "KIV");
    EXPECT_EQ(model->tableHeaderView()->height, 64);
    ASSERT_EQ(model->tableHeaderView()->items.size(), 2U);
    EXPECT_EQ(model->tableHeaderView()->items[0].title, "");
    EXPECT_EQ(model->tableHeaderView()->items[1].title, "Reset All");
    model->tableHeaderView()->items[1].action();
    EXPECT_TRUE(KIVCore::overrides()->overrides().empty());
    EXPECT_FALSE(flags->showNewLogin.isFreezed());
    EXPECT_EQ(reloads, 3);
}

TEST_F(FlagsViewController, EndsWithItsClient) {
    struct Counter : KIVFlagsViewController::Presenter {
        int dismissals = 0;
        void dismiss() override { ++dismissals; }
    };
    const auto presenter = std::make_shared<Counter>();
    model->addPresenter(presenter);
    model->addPresenter(presenter);
    model->done();
    EXPECT_EQ(presenter->dismissals, 1);
    KIVCore::shutdown();
    EXPECT_EQ(presenter->dismissals, 2) << "each end reaches a presenter";
    EXPECT_EQ(dismissals, 2);
    KIVCore::reset();
    EXPECT_EQ(dismissals, 2);
    EXPECT_EQ(model->cellForRowAtIndexPath({0, 0}), nullptr) << "no flag is registered any more";
    KIVCore::setupWithKey("5E0BD1F2C3A4B5D6E7F80913", offline);
    int ofSecond = 0;
    const auto second = KIVCore::flagsViewController();
    second->setView({.reloadData = {}, .present = {}, .dismiss = [&] { ++ofSecond; }});
    KIVCore::setupWithKey("5E0BD1F2C3A4B5D6E7F80914", offline);
    EXPECT_EQ(ofSecond, 1);
    EXPECT_EQ(dismissals, 2);
}

TEST(FlagsViewControllerOfTheFacade, HandsOutActionsThatMayOutliveIt) {
    const auto flags = std::make_shared<KIVFlag>(false);
    KIVCore::setupWithKey(key, offline);
    KIVCore::setVariant(flags, "a.on");
    auto model = KIVCore::flagsViewController();
    model->textDidChange("on"); // before it was loaded
    ASSERT_NE(model->cellForRowAtIndexPath({0, 0}), nullptr);
    model->viewWillAppear(true);
    const auto resetAll = model->rightBarButtonItem().value();
    const auto reset = model->editActionsForRowAtIndexPath({0, 0}).at(0);
    KIVCore::overrides()->setOverride("true", "a.on");
    model.reset();
    reset.handler();
    resetAll.action();
    EXPECT_TRUE(KIVCore::overrides()->hasOverride("a.on")) << "the model is gone";
}

TEST(FlagsViewControllerOfTheFacade, IsNullWithoutAClient) {
    EXPECT_EQ(KIVCore::flagsViewController(), nullptr);
    kiv::UserDefaults::standard().set("KIVC_switchedOffVersion", kiv::json::value("588"));
    KIVCore::setupWithKey(key, offline);
    EXPECT_EQ(KIVCore::flagsViewController(), nullptr);
    const auto byName = KIVCore::getObjectFromClass("KIVCore", "flagsViewController");
    EXPECT_EQ(std::any_cast<std::shared_ptr<KIVFlagsViewController>>(byName), nullptr);
    try {
        KIVVariantTableViewCell::cellIdentifier();
        FAIL();
    } catch (const KIVException& exception) {
        EXPECT_EQ(exception.name(), "UnrecognizedOperation");
    }
}

TEST(Collation, FollowsTheLanguage) {
    const std::pair<const char*, std::vector<std::string>> cases[] = {
        {"", {"a", "Ä", "b", "z"}}, {"sv_SE", {"a", "b", "z", "Ä"}}, {"xx_XX", {"a", "Ä", "b", "z"}}};
    for (const auto& [locale, expected] : cases) {
        std::vector<std::string> texts{"z", "b", "a", "Ä"};
        kiv::sortIgnoringCase(texts, locale);
        EXPECT_EQ(texts, expected) << locale;
    }
}

} // namespace
