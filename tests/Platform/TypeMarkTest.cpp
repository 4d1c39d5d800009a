#include <kiv/TypeMark.h>

#include <memory>
#include <string>

#include <gtest/gtest.h>

namespace {

using kiv::TypeMark;
using kiv::typeMark;

struct Hidden {};

TEST(TypeMark, equalsTheMarkOfTheSameTypeOnly) {
    struct Local {};
    EXPECT_TRUE(typeMark<Hidden> == typeMark<Hidden>);
    EXPECT_TRUE(typeMark<Local> == typeMark<Local>);
    EXPECT_TRUE(typeMark<int> == kiv::makeTypeMark<int>());
    EXPECT_FALSE(typeMark<int> == typeMark<unsigned>);
    EXPECT_FALSE(typeMark<std::shared_ptr<int>> == typeMark<std::shared_ptr<const int>>);
    EXPECT_FALSE(typeMark<Hidden> == typeMark<Local>);
}

/// g++ and clang give these names.
TEST(TypeMark, withoutTypeInformationNamesThatMayBeSharedByTypesEqualNothingElse) {
    const struct {
        const char* function;
        bool isUnique;
    } cases[] = {
        {"constexpr kiv::TypeMark kiv::makeTypeMark() [with T = KIVHost]", true},
        {"kiv::TypeMark kiv::makeTypeMark() [T = KIVHost]", true},
        {"constexpr kiv::TypeMark kiv::makeTypeMark() [with T = std::shared_ptr<KIVString>]", true},
        {"constexpr kiv::TypeMark kiv::makeTypeMark() [with T = {anonymous}::Flags]", false},
        {"kiv::TypeMark kiv::makeTypeMark() [T = (anonymous namespace)::Flags]", false},
        {"constexpr kiv::TypeMark kiv::makeTypeMark() [with T = main()::Flags]", false},
        {"constexpr kiv::TypeMark kiv::makeTypeMark() [with T = std::vector<main()::<lambda()> >]", false},
        {"kiv::TypeMark kiv::makeTypeMark() [T = (lambda at main.cpp:10:118)]", false},
        {"constexpr kiv::TypeMark kiv::makeTypeMark() [with T = <unnamed struct>]", false},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.function);
        const TypeMark here(nullptr, each.function);
        const TypeMark elsewhere(nullptr, each.function);
        EXPECT_TRUE(here == here);
        EXPECT_EQ(here == elsewhere, each.isUnique);
        EXPECT_EQ(here == TypeMark(&typeid(Hidden), each.function), each.isUnique);
    }
    EXPECT_TRUE(TypeMark(nullptr, cases[0].function) == TypeMark(nullptr, cases[1].function))
        << "a library of g++, an application of clang";
    EXPECT_FALSE(TypeMark(nullptr, cases[0].function) == TypeMark(nullptr, cases[2].function));
    EXPECT_FALSE(TypeMark(&typeid(int), cases[0].function) == TypeMark(&typeid(long), cases[0].function))
        << "type information decides when both have it";
}

} // namespace
