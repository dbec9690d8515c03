#include <cstddef>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "json_test_support.h"
#include "sdk/json/json_node.h"
#include "sdk/json/json_reader.h"
#include "sdk/json/json_writer.h"

namespace {

using json_test::compact;
using json_test::parent_links_hold;
using tarsion::json_node;

constexpr const char* kDocument = R"({"a":[1,{"b":[true,[],{"c":"d"}]},"e"],"f":{"g":{"h":[null]}},"i":"j"})";

json_node document()
{
    json_node root;
    EXPECT_TRUE(tarsion::parse_json(kDocument, root));
    return root;
}

// ---------------------------------------------------------------------------
// Building a tree

TEST(JsonTreeBuilding, FreshRootIsAnEmptyQuotedScalar)
{
    const json_node root;
    EXPECT_TRUE(root.key.empty());
    EXPECT_TRUE(root.value.empty());
    EXPECT_TRUE(root.quoted);
    EXPECT_FALSE(root.is_array);
    EXPECT_FALSE(root.is_object);
    EXPECT_EQ(root.parent, nullptr);
    EXPECT_EQ(root.child_count(), 0u);
}

// A returned reference is only good until the next child is added, so each
// one is checked before the next add.
TEST(JsonTreeBuilding, AddersSetFlagsAndReturnTheNewChild)
{
    json_node root;
    json_node& value = root.add_value("v", "7", false);
    EXPECT_EQ(&value, &root.children.back());
    EXPECT_EQ(value.key, "v");
    EXPECT_EQ(value.value, "7");
    EXPECT_FALSE(value.quoted);
    EXPECT_FALSE(value.is_array || value.is_object);

    json_node& array = root.add_array("a");
    EXPECT_EQ(&array, &root.children.back());
    EXPECT_EQ(array.key, "a");
    EXPECT_TRUE(array.value.empty());
    EXPECT_TRUE(array.quoted);
    EXPECT_TRUE(array.is_array);
    EXPECT_FALSE(array.is_object);

    json_node& object = root.add_object("o");
    EXPECT_EQ(&object, &root.children.back());
    EXPECT_EQ(object.key, "o");
    EXPECT_TRUE(object.quoted);
    EXPECT_FALSE(object.is_array);
    EXPECT_TRUE(object.is_object);

    EXPECT_EQ(root.child_count(), 3u);
    EXPECT_TRUE(parent_links_hold(root));
}

TEST(JsonTreeBuilding, SetValueTurnsAContainerIntoAScalarAndKeepsTheKey)
{
    json_node root = document();
    json_node& member = root.children[0]; // "a": [...]
    member.set_value("x", false);
    EXPECT_EQ(member.key, "a");
    EXPECT_EQ(member.value, "x");
    EXPECT_FALSE(member.quoted);
    EXPECT_FALSE(member.is_array || member.is_object);
    EXPECT_EQ(member.child_count(), 0u);
    EXPECT_EQ(compact(root), R"({"a":x,"f":{"g":{"h":[null]}},"i":"j"})");
    EXPECT_TRUE(parent_links_hold(root));
}

// Adding a member whose key or text is taken from a sibling: growing the list
// moves the siblings, so the text must be copied before they move (a sanitizer
// build reports the read of freed memory otherwise).
TEST(JsonTreeBuilding, KeyAndTextMayComeFromASibling)
{
    json_node root;
    root.add_value("k", "v", true);
    for (int i = 0; i < 40; ++i) {
        const json_node& first = root.children.front();
        root.add_value(first.key, first.value, true);
    }
    for (const json_node& member : root.children) {
        EXPECT_EQ(member.key, "k");
        EXPECT_EQ(member.value, "v");
    }
}

// ---------------------------------------------------------------------------
// Every child points at its holder, whatever happened to the tree

TEST(JsonTreeParentLinks, HoldWhileChildListsGrowPastTheirCapacity)
{
    json_node root;
    root.add_array("list");
    for (int i = 0; i < 100; ++i) {
        // Each element has children of its own, so moving it must re-point them.
        json_node& element = root.children.front().add_object("");
        element.add_value("n", std::to_string(i), false);
        element.add_array("deeper").add_value("", "x", true);
        root.add_value("sibling", "s", true);
        ASSERT_TRUE(parent_links_hold(root)) << "after element " << i;
    }
}

// Each row builds a node by copying, moving or changing parts of the sample
// document (also from inside the node's own subtree) and gives it back, with
// the text it must write.
struct LinkCase
{
    const char* name;
    json_node (*make)();
    const char* expected;
};

class JsonTreeParentLinks : public testing::TestWithParam<LinkCase>
{
};

TEST_P(JsonTreeParentLinks, HoldAfterEveryOperation)
{
    const json_node node = GetParam().make();
    EXPECT_TRUE(parent_links_hold(node));
    EXPECT_EQ(compact(node), GetParam().expected);
}

constexpr const char* kF = R"("f":{"g":{"h":[null]}})";

INSTANTIATE_TEST_SUITE_P(
    Cases, JsonTreeParentLinks,
    testing::Values(
        LinkCase{"Parse", [] { return document(); }, kDocument},
        LinkCase{"CopyIsIndependentOfItsSource",
                 [] {
                     json_node original = document();
                     json_node whole(original);
                     original.children[0].set_value("changed", true);
                     EXPECT_TRUE(parent_links_hold(original));
                     return whole;
                 },
                 kDocument},
        LinkCase{"CopyOfAMemberIsARoot", [] { return json_node(document().children[1]); }, kF},
        LinkCase{"CopyAssignedIntoATreeKeepsItsPlace",
                 [] {
                     json_node target = document();
                     const json_node source = document();
                     target.children[2] = source.children[1];
                     return target;
                 },
                 R"({"a":[1,{"b":[true,[],{"c":"d"}]},"e"],"f":{"g":{"h":[null]}},"f":{"g":{"h":[null]}}})"},
        LinkCase{"CopyAssignedToARoot",
                 [] {
                     const json_node source = document();
                     json_node root;
                     root = source;
                     return root;
                 },
                 kDocument},
        LinkCase{"CopyAssignedFromOwnDescendant",
                 [] {
                     json_node root = document();
                     const json_node& inner = root.children[0].children[1];
                     root = inner;
                     return root;
                 },
                 R"({"b":[true,[],{"c":"d"}]})"},
        LinkCase{"CopyAssignedFromOwnDescendantInsideATree",
                 [] {
                     json_node tree = document();
                     tree.children[1] = tree.children[1].children[0];
                     return tree;
                 },
                 R"({"a":[1,{"b":[true,[],{"c":"d"}]},"e"],"g":{"h":[null]},"i":"j"})"},
        LinkCase{"MoveOfARoot",
                 [] {
                     json_node source = document();
                     return json_node(std::move(source));
                 },
                 kDocument},
        LinkCase{"MoveOutOfATreeMakesARoot",
                 [] {
                     json_node tree = document();
                     json_node taken(std::move(tree.children[1]));
                     EXPECT_TRUE(parent_links_hold(tree));
                     return taken;
                 },
                 kF},
        LinkCase{"MoveAssignedIntoATreeKeepsItsPlace",
                 [] {
                     json_node tree = document();
                     json_node replacement = document();
                     tree.children[0] = std::move(replacement.children[1]);
                     json_node root;
                     root = std::move(replacement);
                     EXPECT_TRUE(parent_links_hold(root));
                     return tree;
                 },
                 R"({"f":{"g":{"h":[null]}},"f":{"g":{"h":[null]}},"i":"j"})"},
        LinkCase{"MoveAssignedFromOwnDescendant",
                 [] {
                     json_node root = document();
                     root = std::move(root.children[0].children[1].children[0]);
                     return root;
                 },
                 R"("b":[true,[],{"c":"d"}])"},
        LinkCase{"MoveAssignedFromOwnDescendantInsideATree",
                 [] {
                     json_node tree = document();
                     tree.children[1] = std::move(tree.children[1].children[0].children[0]);
                     return tree;
                 },
                 R"({"a":[1,{"b":[true,[],{"c":"d"}]},"e"],"h":[null],"i":"j"})"},
        LinkCase{"SetValueAndFurtherGrowth",
                 [] {
                     json_node root = document();
                     root.children[1].set_value("", true);
                     root.children[0].children[1].add_object("new").add_value("x", "1", false);
                     root.add_array("tail").add_array("").add_value("", "2", false);
                     return root;
                 },
                 R"({"a":[1,{"b":[true,[],{"c":"d"}],"new":{"x":1}},"e"],"f":"","i":"j","tail":[[2]]})"}),
    [](const auto& info) { return std::string(info.param.name); });

// ---------------------------------------------------------------------------
// Deep nesting never recurses: every test runs on a small stack

constexpr std::size_t kDeep = 100000;

std::size_t nesting_depth(const json_node& root)
{
    std::size_t depth = 1;
    for (const json_node* node = &root; !node->children.empty(); node = &node->children.front())
        ++depth;
    return depth;
}

TEST(JsonTreeDepth, DeepNestsParseWriteCopyMoveAndDie)
{
    json_test::run_on_small_stack([] {
        for (const std::string& text : {json_test::nested_arrays(kDeep), json_test::nested_objects(kDeep)}) {
            json_node root;
            ASSERT_TRUE(tarsion::parse_json(text, root));
            EXPECT_EQ(nesting_depth(root), kDeep);
            EXPECT_TRUE(parent_links_hold(root));
            EXPECT_TRUE(compact(root) == text);

            json_node copy(root);
            EXPECT_TRUE(parent_links_hold(copy));
            EXPECT_TRUE(compact(copy) == text);

            json_node moved(std::move(copy));
            json_node assigned;
            assigned = moved;
            EXPECT_TRUE(parent_links_hold(assigned));
            moved = std::move(moved.children.front()); // one level shorter
            EXPECT_EQ(nesting_depth(moved), kDeep - 1);
            EXPECT_TRUE(parent_links_hold(moved));
            root.set_value("gone", true);
        }
    });
}

// The indented form of a nest is quadratic in its depth (a 100,000-deep one
// would be some 40 GB), so it is checked at a depth that fits in memory but
// still overflows the small stack if the writer recursed.
TEST(JsonTreeDepth, DeepArrayNestWritesIndented)
{
    constexpr std::size_t depth = 3000;
    std::string expected;
    for (std::size_t level = 0; level + 1 < depth; ++level)
        expected.append(level * 4, ' ').append("[\n");
    expected.append((depth - 1) * 4, ' ').append("[]");
    for (std::size_t level = depth - 1; level-- > 0;)
        expected.append("\n").append(level * 4, ' ').append("]");

    json_test::run_on_small_stack([&] {
        json_node root;
        ASSERT_TRUE(tarsion::parse_json(json_test::nested_arrays(depth), root));
        EXPECT_TRUE(json_test::indented(root) == expected);
    });
}

} // namespace
