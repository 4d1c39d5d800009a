#include <gtest/gtest.h>

#include "Runtime/KIVAutoCodingObject.h"

namespace {

struct Base : KIVAutoCodingObject {
    std::string name = "base";
    int count = 1;
    int transient = 0;

    static const Table& table() {
        static const Table& own =
            *new Table{nullptr, {archived("name", &Base::name), archived("count", &Base::count)}};
        return own;
    }
    const Table& archivedProperties() const override { return table(); }
};

struct Derived : Base {
    std::vector<std::string> tags;

    static const Table& table() {
        static const Table& own = *new Table{&Base::table(), {archived("tags", &Derived::tags)}};
        return own;
    }
    const Table& archivedProperties() const override { return table(); }
};

TEST(AutoCodingObject, ArchivesWhatItsClassesDeclare) {
    Derived object;
    object.name = "n";
    object.count = 7;
    object.tags = {"a", "b"};
    object.transient = 9;
    EXPECT_EQ(object.propertyNames(), (std::vector<std::string>{"tags", "name", "count"}));
    kiv::json::object archive{{"other", 1}};
    object.encodeWithCoder(archive);
    EXPECT_EQ(archive, (kiv::json::object{{"other", 1}, {"tags", {"a", "b"}}, {"name", "n"}, {"count", 7}}));

    Derived copy;
    copy.decodeWithCoder(archive);
    EXPECT_EQ(copy.tags, object.tags);
    EXPECT_EQ(copy.name, "n");
    EXPECT_EQ(copy.count, 7);
    EXPECT_EQ(copy.transient, 0);

    copy.decodeWithCoder({{"count", "seven"}, {"tags", {1}}, {"name", "m"}});
    EXPECT_EQ(copy.count, 7) << "a value of another kind";
    EXPECT_EQ(copy.tags, object.tags);
    EXPECT_EQ(copy.name, "m");
}

} // namespace
