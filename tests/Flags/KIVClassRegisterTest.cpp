#include <gtest/gtest.h>

#include <kiv/KIVBaseContainer.h>
#include <kiv/KIVDouble.h>
#include <kiv/KIVException.h>
#include <kiv/KIVFlag.h>
#include <kiv/KIVInt.h>

#include "Flags/KIVClassRegister.h"

namespace {

struct OwnFlag : KIVString {
    OwnFlag() : KIVString("own") {}
};

struct Base : KIVBaseContainer {
    KIVFlag inherited{true};
    KIV_CONTAINER(Base, inherited);
};

struct Derived : Base {
    KIVFlag first{false};
    std::string text = "no flag";
    KIVInt second{2};
    std::shared_ptr<KIVDouble> shared = std::make_shared<KIVDouble>(1.5);
    std::shared_ptr<KIVString> missing;
    OwnFlag custom;
    KIV_CONTAINER(Derived, first, text, second, shared, missing, custom);
};

struct DerivedWithoutTable : Base {
    KIVFlag unseen{true};
};

struct Registered {
    std::vector<std::string> names;
    std::vector<std::shared_ptr<KIVString>> flags;
    KIVClassRegister classes{[this](std::shared_ptr<KIVString> flag, const std::string& name) {
        names.push_back(name);
        flags.push_back(std::move(flag));
    }};
};

using Names = std::vector<std::string>;

TEST(Containers, RegisterTheFlagsOfTheirOwnClassInOrder) {
    Registered all;
    all.classes.handleContainer(std::make_shared<Derived>(), "main");
    EXPECT_EQ(all.names, Names({"main.first", "main.second", "main.shared", "main.custom"}));
    all.classes.handleContainer(std::make_shared<DerivedWithoutTable>(), "none");
    EXPECT_EQ(all.names.size(), 4U);
}

TEST(Containers, StayAliveWithTheirFlags) {
    Registered all;
    std::weak_ptr<Base> watched;
    {
        const auto container = std::make_shared<Base>();
        watched = container;
        all.classes.handleContainer(container, "a");
    }
    ASSERT_FALSE(watched.expired());
    EXPECT_EQ(all.flags[0].get(), &watched.lock()->inherited);
    all.flags.clear();
    EXPECT_TRUE(watched.expired());
}

TEST(Containers, TakeEachNamespaceOnceAndNameFlagsByIt) {
    Registered all;
    const auto reasonFor = [&](KIVNullableString nameSpace) -> std::string {
        try {
            all.classes.handleContainer(std::make_shared<Base>(), nameSpace);
            return "";
        } catch (const KIVException& exception) {
            EXPECT_EQ(exception.name(), "InvalidNamespace");
            return exception.reason();
        }
    };
    EXPECT_EQ(reasonFor(""), "");
    EXPECT_EQ(reasonFor(""), "A container with the given namesapce ('') has already been registered.");
    EXPECT_EQ(reasonFor("a"), "");
    EXPECT_EQ(reasonFor("a"), "A container with the given namesapce ('a') has already been registered.");
    EXPECT_EQ(reasonFor(nullptr), "Parameter 'namespace' cannot be nil.");
    EXPECT_EQ(reasonFor("config_main"), "");
    EXPECT_EQ(all.names, Names({"inherited", "a.inherited", "inherited"}));
}

} // namespace
