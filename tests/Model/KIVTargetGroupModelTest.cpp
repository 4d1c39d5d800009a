#include <atomic>
#include <thread>

#include <gtest/gtest.h>

#include <kiv/KIVException.h>
#include <kiv/KIVHost.h>

#include "KivxLanguage/KivxParser.h"
#include "KivxLanguage/KivxStack.h"
#include "Model/KIVExperimentDataParser.h"
#include "Model/KIVTargetGroupLinkArchiver.h"
#include "Model/KIVTargetGroupRepository.h"
#include "Platform/PropertyLists/PropertyList.h"
#include "Platform/System/Files.h"
#include "Platform/Text/Json.h"

namespace {

std::vector<KIVTargetGroupModel> parse(const std::string& array) {
    const auto document = kiv::parseJson(array);
    return KIVExperimentDataParser().parseTargetGroupsWithConfiguration(document ? &*document : nullptr);
}

TEST(TargetGroups, AreReadInOrderAndFoundByExactIdentifier) {
    KIVTargetGroupRepository repository;
    {
        const kiv::ReadGuard guard;
        EXPECT_EQ(repository.targetGroupWithIdentifier("a"), nullptr);
    }
    repository.setTargetGroups(parse(R"([{"_id":"a","condition":"true"},{"_id":"A","condition":"false"}, 7,
        {"condition":"true"},{"_id":"a","condition":"undefined"},{"_id":"c","condition":[]}])"));
    const auto groups = repository.targetGroups();
    ASSERT_EQ(groups.size(), 5U);
    EXPECT_EQ(groups[2].groupId(), std::nullopt);
    EXPECT_EQ(groups[4].condition(), std::nullopt);

    const kiv::ReadGuard guard;
    EXPECT_EQ(repository.targetGroupWithIdentifier("a")->condition(), "true") << "the first of two";
    EXPECT_EQ(repository.targetGroupWithIdentifier("A")->condition(), "false");
    EXPECT_EQ(repository.targetGroupWithIdentifier(""), nullptr);
    const auto* held = repository.targetGroupWithIdentifier("c");
    repository.setTargetGroups({});
    EXPECT_EQ(held->groupId(), "c") << "valid until the guard closes";
    EXPECT_TRUE(repository.targetGroups().empty());
}

TEST(TargetGroups, HoldWhenTheirConditionIsTrue) {
    KivxParser parser;
    parser.setOperator("local", [](const KivxParser&, KivxStack& stack, std::string_view flagName,
                                   const EvaluationContext& context) {
        stack.push(context.dynamicPropertyContext.isEmpty() && flagName == "flag");
    });
    const std::pair<std::optional<std::string>, bool> cases[] = {
        {"true", true},        {"false", false}, {"\"yes\"", true},    {"0", false},
        {"2", true},           {"", false},      {"undefined", false}, {"unknownWord(1)", false},
        {std::nullopt, false}, {"local", true},
    };
    for (const auto& [condition, expected] : cases) {
        EXPECT_EQ(KIVTargetGroupModel("g", condition).isApplicableWithParser(parser, "flag"), expected)
            << condition.value_or("none");
    }
    EXPECT_THROW(KIVTargetGroupModel("g", "[1]").isApplicableWithParser(parser, "flag"), KIVException);
}

TEST(TargetGroups, CanBeReadWhileTheyAreReplaced) {
    KIVTargetGroupRepository repository;
    const auto groups = parse(R"([{"_id":"a","condition":"a long enough text that it stands on the heap"}])");
    repository.setTargetGroups(groups);
    std::atomic<bool> done = false;
    std::thread writer([&] {
        for (int i = 0; i < 500; ++i) {
            repository.setTargetGroups(groups);
        }
        done = true;
    });
    while (!done) {
        const kiv::ReadGuard guard;
        EXPECT_EQ(*repository.targetGroupWithIdentifier("a")->condition(), *groups[0].condition());
    }
    writer.join();
}

TEST(TargetGroupLinks, OutliveTheirObjectUntilTheyAreCleared) {
    const std::string path =
        KIVHost::current()->libraryDirectory.value() + "/Application Support/io.corvane/targetGroupLinks";
    {
        KIVTargetGroupLinkArchiver links;
        EXPECT_FALSE(links.isTargetGroupLinkPairedWith("one"));
        links.addTargetGroupLinkPairing("one");
        links.addTargetGroupLinkPairing("two");
        links.addTargetGroupLinkPairing("one");
    }
    EXPECT_EQ(kiv::readPropertyList(path), (kiv::json::object{{"root", {"one", "two", "one"}}}));
    {
        KIVTargetGroupLinkArchiver links;
        EXPECT_TRUE(links.isTargetGroupLinkPairedWith("two"));
        EXPECT_FALSE(links.isTargetGroupLinkPairedWith("Two"));
        links.clearTargetGroupLinks();
        EXPECT_FALSE(links.isTargetGroupLinkPairedWith("two"));
        EXPECT_FALSE(kiv::fileExists(path));
    }
    for (const auto& damaged :
         {kiv::json::object{{"root", "one"}}, kiv::json::object{{"root", {1, {"one"}}}}}) {
        kiv::writePropertyList(path, damaged);
        EXPECT_FALSE(KIVTargetGroupLinkArchiver().isTargetGroupLinkPairedWith("one"));
    }
    kiv::writeFile(path, "nonsense");
    EXPECT_FALSE(KIVTargetGroupLinkArchiver().isTargetGroupLinkPairedWith("one"));
}

} // namespace
