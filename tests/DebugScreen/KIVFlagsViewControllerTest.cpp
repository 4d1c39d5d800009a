#include <gtest/gtest.h>

#include <kiv/kiv.h>

#include "Platform/Host/UserDefaults.h"
#include "Platform/Text/Collation.h"
#include "Support/SilentServer.h"

namespace {

const std::string key = "5e0bd1f2c3a4b5d6e7f80912";

/// Without an endpoint nothing is looked up or asked for.
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

class FlagsScreen : public ::testing::Test {
protected:
    FlagsScreen() {
        KIVCore::register_("myApp", flags);
        KIVOptions options;
        options.networkConfigurations =
            KIVNetworkConfigurationsOptions{.getConfigCloudEndpoint = network.url()};
        KIVCore::setupWithKey(key, options);
        screen = KIVCore::flagsViewController();
        screen->setView({.reloadData = [this] { ++reloads; },
                         .present = [this](const KIVFlagsAlert& shown) { alert = shown; },
                         .dismiss = [this] { ++dismissals; }});
        screen->viewDidLoad();
    }

    ~FlagsScreen() override { KIVCore::shutdown(); }

    template <class Cell>
    std::shared_ptr<Cell> cell(std::string_view label) const {
        for (std::size_t section = 0; section < screen->numberOfSectionsInTableView(); ++section) {
            for (std::size_t row = 0; row < screen->numberOfRowsInSection(section); ++row) {
                const auto found = screen->cellForRowAtIndexPath({section, row});
                if (found->textLabel() == label) {
                    return std::dynamic_pointer_cast<Cell>(found);
                }
            }
        }
        return nullptr;
    }

    std::shared_ptr<AppFlags> flags = std::make_shared<AppFlags>();
    SilentServer network; ///< no fetch ends while the test runs
    std::shared_ptr<KIVFlagsViewController> screen;
    std::optional<KIVFlagsAlert> alert;
    int reloads = 0;
    int dismissals = 0;
};

TEST_F(FlagsScreen, GroupsAndSearches) {
    for (const char* name : {"B.c.e", "b.c.d", "a", "Zed", "b.c.f.g", "Äpfel"}) {
        KIVCore::setVariant(std::make_shared<KIVFlag>(), name);
    }
    EXPECT_EQ(textOf(screen->namespacesToFeatures()),
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
        screen->textDidChange(query);
        EXPECT_EQ(textOf(screen->namespacesToFeatures()), expected) << query;
    }
    EXPECT_EQ(reloads, 7);
    screen->searchBarCancelButtonClicked();
    EXPECT_EQ(screen->numberOfSectionsInTableView(), 5U);
    EXPECT_EQ(screen->titleForHeaderInSection(1), "b.c");
    EXPECT_EQ(screen->numberOfRowsInSection(9), 0U);
    EXPECT_EQ(screen->cellForRowAtIndexPath({0, 9}), nullptr);
    EXPECT_TRUE(screen->editActionsForRowAtIndexPath({9, 0}).empty());
}

TEST_F(FlagsScreen, SwitchOverridesAndRowIsReset) {
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

    const auto actions = screen->editActionsForRowAtIndexPath({0, 3});
    ASSERT_EQ(actions.size(), 1U);
    EXPECT_EQ(actions[0].title, "Reset");
    actions[0].handler();
    EXPECT_EQ(reloads, 1);
    EXPECT_FALSE(KIVCore::overrides()->hasOverride("myApp.showNewLogin"));
    shown->refresh();
    EXPECT_TRUE(shown->flagSwitch().isOn);
    EXPECT_EQ(shown->detailTextLabel(), std::nullopt);
}

TEST_F(FlagsScreen, VariationsAreChosenAsTheyAreAndShownCapitalised) {
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
    EXPECT_EQ(shown->detailTextLabel(), "Overriding original value: deepBlue");
    EXPECT_EQ(flags->buttonColor.value(), "dark green");
    ASSERT_TRUE(cell<KIVMultiVariantTableViewCell>("Ratio"));
    EXPECT_EQ(cell<KIVMultiVariantTableViewCell>("Retries")->flagButton().title, "3");
}

TEST_F(FlagsScreen, ResetAllClearsOverridesAndThaws) {
    KIVCore::overrides()->setOverride("1", flags->retries);
    KIVCore::overrides()->setOverride("x", "of.nobody");
    flags->showNewLogin.isEnabled();
    for (const bool inNavigation : {true, false}) {
        screen->viewWillAppear(inNavigation, 20);
        EXPECT_EQ(screen->rightBarButtonItem().has_value(), inNavigation);
        EXPECT_EQ(screen->tableHeaderView().has_value(), !inNavigation);
    }
    EXPECT_EQ(screen->title(), "KIV");
    EXPECT_EQ(screen->tableHeaderView()->height, 64);
    ASSERT_EQ(screen->tableHeaderView()->items.size(), 2U);
    EXPECT_EQ(screen->tableHeaderView()->items[0].title, "");
    EXPECT_EQ(screen->tableHeaderView()->items[1].title, "Reset All");
    screen->tableHeaderView()->items[1].action();
    EXPECT_TRUE(KIVCore::overrides()->overrides().empty());
    EXPECT_FALSE(flags->showNewLogin.isFreezed());
    EXPECT_EQ(reloads, 3);
}

TEST_F(FlagsScreen, EndsWithItsClient) {
    struct Counter : KIVFlagsViewController::Presenter {
        int dismissals = 0;
        void dismiss() override { ++dismissals; }
    };
    const auto presenter = std::make_shared<Counter>();
    screen->addPresenter(presenter);
    screen->addPresenter(presenter);
    screen->done();
    EXPECT_EQ(presenter->dismissals, 1);
    KIVCore::shutdown();
    EXPECT_EQ(presenter->dismissals, 2) << "what it presents again is reached too";
    EXPECT_EQ(dismissals, 2);
    KIVCore::reset();
    EXPECT_EQ(dismissals, 2);
    EXPECT_EQ(screen->cellForRowAtIndexPath({0, 0}), nullptr) << "no flag is registered any more";
    KIVCore::setupWithKey("5E0BD1F2C3A4B5D6E7F80913", offline);
    int ofSecond = 0;
    const auto second = KIVCore::flagsViewController();
    second->setView({.reloadData = {}, .present = {}, .dismiss = [&] { ++ofSecond; }});
    KIVCore::setupWithKey("5E0BD1F2C3A4B5D6E7F80914", offline);
    EXPECT_EQ(ofSecond, 1);
    EXPECT_EQ(dismissals, 2);
}

TEST(FlagsScreenOfTheFacade, HandsOutActionsThatMayOutliveIt) {
    const auto flags = std::make_shared<KIVFlag>(false);
    KIVCore::setupWithKey(key, offline);
    KIVCore::setVariant(flags, "a.on");
    auto screen = KIVCore::flagsViewController();
    screen->textDidChange("on"); // before it was loaded
    ASSERT_NE(screen->cellForRowAtIndexPath({0, 0}), nullptr);
    screen->viewWillAppear(true);
    const auto resetAll = screen->rightBarButtonItem().value();
    const auto reset = screen->editActionsForRowAtIndexPath({0, 0}).at(0);
    KIVCore::overrides()->setOverride("true", "a.on");
    screen.reset();
    reset.handler();
    resetAll.action();
    EXPECT_TRUE(KIVCore::overrides()->hasOverride("a.on")) << "the screen is gone";
}

TEST(FlagsScreenOfTheFacade, IsNullWithoutAClient) {
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
