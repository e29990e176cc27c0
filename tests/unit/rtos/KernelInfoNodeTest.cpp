#include "rtos/KernelInfoNode.h"

#include <gtest/gtest.h>

namespace {

KernelInfoNode leaf(const std::string& label, const std::string& value) {
    return KernelInfoNode(0, value, label);
}

KernelInfoNode row(const std::string& label, std::vector<KernelInfoNode> cells) {
    KernelInfoNode node(0, "", label);
    for (KernelInfoNode& cell : cells) {
        node.addChild(cell);
    }
    return node;
}

KernelInfoNode rootOf(std::vector<KernelInfoNode> sections) {
    return row("root", std::move(sections));
}

KernelInfoNode taskRow(const std::string& name, const std::string& state) {
    return row("Task", {leaf("Name", name), leaf("State", state)});
}

} // namespace

TEST(KernelInfoNodeTest, ConstructorTakesValueBeforeLabel) {
    KernelInfoNode node(7, "Started", "Kernel state");
    EXPECT_EQ(7u, node.getId());
    EXPECT_EQ("Started", node.getValue());
    EXPECT_EQ("Kernel state", node.getLabel());
    EXPECT_TRUE(node.getChildNodes().empty());

    KernelInfoNode empty;
    EXPECT_EQ(0u, empty.getId());
    EXPECT_EQ("", empty.getValue());
    EXPECT_EQ("", empty.getLabel());
    EXPECT_TRUE(empty.getChildNodes().empty());
}

TEST(KernelInfoNodeTest, SetLabelAndAccessorsReturnReferences) {
    KernelInfoNode node(1, "v", "old");
    std::string label = "new";
    node.setLabel(label);
    EXPECT_EQ("new", node.getLabel());
    node.getValue() = "changed";
    node.getChildNodes().push_back(leaf("child", "c"));
    EXPECT_EQ("changed", node.getValue());
    ASSERT_EQ(1u, node.getChildNodes().size());
    EXPECT_EQ("child", node.getChildNodes()[0].getLabel());
}

TEST(KernelInfoNodeTest, CopiesAndMovesCarryTheChildren) {
    KernelInfoNode original(3, "v", "l");
    original.addChild(row("row", {leaf("cell", "x")}));

    KernelInfoNode copy(original);
    copy.getChildNodes()[0].getChildNodes()[0].getValue() = "y";
    EXPECT_EQ("x", original.getChildNodes()[0].getChildNodes()[0].getValue());

    KernelInfoNode assigned;
    assigned = original;
    EXPECT_EQ(KernelInfoNode::toStringJson(original, true), KernelInfoNode::toStringJson(assigned, true));

    KernelInfoNode moved(std::move(copy));
    EXPECT_EQ(3u, moved.getId());
    EXPECT_EQ("y", moved.getChildNodes()[0].getChildNodes()[0].getValue());
}

TEST(KernelInfoNodeTest, AddChildAppendsACopyInOrder) {
    KernelInfoNode parent;
    KernelInfoNode child = leaf("a", "1");
    parent.addChild(child);
    parent.addChild(leaf("b", "2"));
    child.getValue() = "changed";
    ASSERT_EQ(2u, parent.getChildNodes().size());
    EXPECT_EQ("1", parent.getChildNodes()[0].getValue());
    EXPECT_EQ("b", parent.getChildNodes()[1].getLabel());
}

TEST(KernelInfoNodeTest, GetChildNodeReturnsTheFirstOfDuplicateIds) {
    KernelInfoNode parent;
    parent.addChild(KernelInfoNode(5, "first", "a"));
    parent.addChild(KernelInfoNode(5, "second", "b"));
    KernelInfoNode result;
    ASSERT_TRUE(parent.getChildNode(5, result));
    EXPECT_EQ("first", result.getValue());
    EXPECT_EQ("a", result.getLabel());
}

TEST(KernelInfoNodeTest, GetChildNodeSearchesDirectChildrenOnly) {
    KernelInfoNode child(1, "", "child");
    child.addChild(KernelInfoNode(9, "deep", "grandchild"));
    KernelInfoNode parent;
    parent.addChild(child);
    KernelInfoNode result(4, "untouched", "untouched");
    EXPECT_FALSE(parent.getChildNode(9, result));
    EXPECT_EQ(4u, result.getId());
    EXPECT_EQ("untouched", result.getValue());
    ASSERT_TRUE(parent.getChildNode(1, result));
    EXPECT_EQ("child", result.getLabel());
    EXPECT_EQ(1u, result.getChildNodes().size());
}

TEST(KernelInfoNodeTest, GetNodesIsNotSupported) {
    KernelInfoNode parent;
    parent.addChild(KernelInfoNode(2, "v", "l"));
    std::vector<KernelInfoNode> nodes{leaf("kept", "")};
    EXPECT_FALSE(parent.getNodes(2, nodes));
    ASSERT_EQ(1u, nodes.size());
    EXPECT_EQ("kept", nodes[0].getLabel());
}

TEST(KernelInfoNodeTest, GetDepthAddsOnePerChild) {
    EXPECT_EQ(0u, KernelInfoNode::getDepth(KernelInfoNode(), 0));
    EXPECT_EQ(3u, KernelInfoNode::getDepth(KernelInfoNode(), 3));
    EXPECT_EQ(1u, KernelInfoNode::getDepth(row("s", {leaf("a", "")}), 0));
    EXPECT_EQ(2u, KernelInfoNode::getDepth(row("s", {leaf("a", ""), leaf("b", "")}), 0));
    EXPECT_EQ(2u, KernelInfoNode::getDepth(row("s", {row("r", {leaf("a", ""), leaf("b", "")})}), 0));
    EXPECT_EQ(1u, KernelInfoNode::getDepth(row("s", {row("r", {leaf("a", "")})}), 0));
    EXPECT_EQ(5u, KernelInfoNode::getDepth(row("s", {leaf("a", ""), leaf("b", "")}), 3));
    // Two rows of two cells: the second row starts from the value the first left behind.
    EXPECT_EQ(4u, KernelInfoNode::getDepth(
                      row("Tasks", {taskRow("IDLE", "READY"), taskRow("main", "BLOCKED")}), 0));
}

TEST(KernelInfoNodeTest, GetMaxValueLengthOverCellsOfALabel) {
    std::vector<KernelInfoNode> rows{taskRow("IDLE", "READY"), taskRow("main", "BLOCKED")};
    EXPECT_EQ(7u, KernelInfoNode::getMaxValueLength("State", rows));
    EXPECT_EQ(4u, KernelInfoNode::getMaxValueLength("Name", rows));
    EXPECT_EQ(0u, KernelInfoNode::getMaxValueLength("Missing", rows));
    EXPECT_EQ(0u, KernelInfoNode::getMaxValueLength("Name", {}));
}

TEST(KernelInfoNodeTest, GetTableColumnsFromTheFirstRow) {
    std::vector<TableColumn> columns;
    ASSERT_TRUE(KernelInfoNode::getTableColumns(
        row("Tasks", {taskRow("IDLE", "READY"), row("Task", {leaf("Priority", "1"), leaf("Name", "main")})}),
        columns));
    ASSERT_EQ(2u, columns.size());
    EXPECT_EQ("Name", columns[0].name);
    EXPECT_EQ(4u, columns[0].width);
    EXPECT_EQ("State", columns[1].name);
    EXPECT_EQ(5u, columns[1].width);
}

TEST(KernelInfoNodeTest, GetTableColumnsRefusesASectionWithoutRowsOrCells) {
    std::vector<TableColumn> columns;
    EXPECT_FALSE(KernelInfoNode::getTableColumns(leaf("empty", ""), columns));
    EXPECT_FALSE(KernelInfoNode::getTableColumns(row("s", {leaf("a", "1"), leaf("b", "2")}), columns));
    EXPECT_TRUE(columns.empty());
}

TEST(KernelInfoNodeTest, TabularLayouts) {
    struct Case {
        const char* what;
        KernelInfoNode root;
        std::string tabular;
    };
    const Case cases[] = {
        {"kernel state and tasks",
         rootOf({leaf("Kernel state", "Started"),
                 row("Tasks", {taskRow("IDLE", "READY"), taskRow("main", "BLOCKED")})}),
         "Kernel state : Started\n"
         "\n"
         "Tasks\n"
         "Name     State       \n"
         "IDLE     READY       \n"
         "main     BLOCKED     \n"
         "\n"},
        {"two leaf children show only the label",
         rootOf({row("Heap", {leaf("Free", "100"), leaf("Used", "28")}), leaf("After", "x")}),
         "Heap\n"
         "\n"
         "After : x\n"
         "\n"},
        {"list label of twenty touches the colon",
         rootOf({row("List", {leaf("ABCDEFGHIJKLMNOPQRST", "v")}),
                 row("Longer", {leaf("ABCDEFGHIJKLMNOPQRSTU", "w")})}),
         "List\n"
         "ABCDEFGHIJKLMNOPQRST : v\n"
         "\n"
         "Longer\n"
         "ABCDEFGHIJKLMNOPQRSTU : w\n"
         "\n"},
        {"cell outside the columns has width twenty",
         rootOf({row("Tasks", {row("Task", {leaf("Name", "IDLE")}),
                               row("Task", {leaf("Name", "main"), leaf("Stack", "64")})})}),
         "Tasks\n"
         "Name     \n"
         "IDLE     \n"
         "main     64                  \n"
         "\n"},
        {"column takes a longer label",
         rootOf({row("Tasks", {row("Task", {leaf("Priority", "1"), leaf("Name", "IDLE")}),
                               row("Task", {leaf("Priority", "5"), leaf("Name", "main")})})}),
         "Tasks\n"
         "Priority     Name     \n"
         "1            IDLE     \n"
         "5            main     \n"
         "\n"},
        {"cell with children shows ellipsis",
         [] {
             KernelInfoNode waiting(0, "2", "Waiting");
             waiting.addChild(leaf("Task", "main"));
             return rootOf({row("Queues", {row("Queue", {leaf("Name", "q1"), waiting})})});
         }(),
         "Queues\n"
         "Name     Waiting     \n"
         "q1       ...         \n"
         "\n"},
        {"row lacking a cell shifts left",
         rootOf({row("Tasks", {row("Task", {leaf("Name", "IDLE"), leaf("Prio", "0"), leaf("State", "READY")}),
                               row("Task", {leaf("Name", "main"), leaf("State", "BLOCKED")})})}),
         "Tasks\n"
         "Name     Prio     State       \n"
         "IDLE     0        READY       \n"
         "main     BLOCKED     \n"
         "\n"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(each.tabular, KernelInfoNode::toStringTabular(each.root)) << each.what;
    }
}

TEST(KernelInfoNodeTest, TabularOfAnEmptyRootIsEmpty) {
    EXPECT_EQ("", KernelInfoNode::toStringTabular(KernelInfoNode()));
    EXPECT_EQ("", KernelInfoNode::toStringTabular(KernelInfoNode(1, "value", "label")));
}

TEST(KernelInfoNodeTest, TabularOneRowOneCellShowsTheRowNotTheCell) {
    KernelInfoNode root = rootOf({row("Tasks", {KernelInfoNode(0, "r1", "Row")})});
    root.getChildNodes()[0].getChildNodes()[0].addChild(leaf("Name", "IDLE"));
    EXPECT_EQ(1u, KernelInfoNode::getDepth(root.getChildNodes()[0], 0));
    EXPECT_EQ("Tasks\n"
              "Row                  : r1\n"
              "\n",
              KernelInfoNode::toStringTabular(root));
}

TEST(KernelInfoNodeTest, TabularOneRowTwoCellsIsATable) {
    KernelInfoNode root = rootOf({row("Tasks", {taskRow("IDLE", "READY")})});
    EXPECT_EQ(2u, KernelInfoNode::getDepth(root.getChildNodes()[0], 0));
    EXPECT_EQ("Tasks\n"
              "Name     State     \n"
              "IDLE     READY     \n"
              "\n",
              KernelInfoNode::toStringTabular(root));
}

TEST(KernelInfoNodeTest, TreeIndentsOneBlankPerLevel) {
    KernelInfoNode waiting(0, "", "Waiting");
    waiting.addChild(leaf("Task", "main"));
    KernelInfoNode root(0, "", "State");
    root.addChild(leaf("Driver", "FreeRTOS"));
    root.addChild(row("Queue", {leaf("Name", "q1"), waiting}));
    EXPECT_EQ("State:\n"
              " Driver:FreeRTOS\n"
              " Queue:\n"
              "  Name:q1\n"
              "  Waiting:\n"
              "   Task:main\n",
              KernelInfoNode::toStringTree(root, 0));
    EXPECT_EQ("  Driver:FreeRTOS\n", KernelInfoNode::toStringTree(leaf("Driver", "FreeRTOS"), 2));
}

TEST(KernelInfoNodeTest, TreeOfAnEmptyRootIsOneLine) {
    EXPECT_EQ(":\n", KernelInfoNode::toStringTree(KernelInfoNode(), 0));
}

TEST(KernelInfoNodeTest, JsonStateExample) {
    KernelInfoNode root(0, "", "State");
    root.addChild(leaf("Driver", "FreeRTOS"));
    root.addChild(leaf("Tasks", "3"));
    EXPECT_EQ("{\"label\":\"State\",\"value\":[{\"label\":\"Driver\",\"value\":\"FreeRTOS\"},"
              "{\"label\":\"Tasks\",\"value\":\"3\"}]}",
              KernelInfoNode::toStringJson(root, true));
}

TEST(KernelInfoNodeTest, JsonOfADefaultNode) {
    EXPECT_EQ("{\"label\":\"\",\"value\":\"\"}", KernelInfoNode::toStringJson(KernelInfoNode(), true));
    EXPECT_EQ("{\"label\":\"\",\"value\":\"\"},", KernelInfoNode::toStringJson(KernelInfoNode(), false));
}

TEST(KernelInfoNodeTest, JsonExpandsCellsWithChildrenAndDropsTheirValue) {
    KernelInfoNode waiting(0, "2", "Waiting");
    waiting.addChild(leaf("Task", "main"));
    KernelInfoNode queue = row("Queue", {leaf("Name", "q1"), waiting});
    EXPECT_EQ("{\"label\":\"Queue\",\"value\":[{\"label\":\"Name\",\"value\":\"q1\"},"
              "{\"label\":\"Waiting\",\"value\":[{\"label\":\"Task\",\"value\":\"main\"}]}]}",
              KernelInfoNode::toStringJson(queue, true));
}

TEST(KernelInfoNodeTest, JsonEscapesQuotesBackslashesAndControlCharacters) {
    EXPECT_EQ("{\"label\":\"a\\\"b\",\"value\":\"c\\\\d\\u000a\\u0001<&>#$}*'\\u001f\x7f\xef\"}",
              KernelInfoNode::toStringJson(leaf("a\"b", "c\\d\n\x01<&>#$}*'\x1f\x7f\xef"), true));
}

TEST(KernelInfoNodeTest, ToStringDispatchesOnTheFormat) {
    KernelInfoNode root(0, "", "State");
    root.addChild(leaf("Driver", "FreeRTOS"));
    EXPECT_EQ("Driver : FreeRTOS\n\n", KernelInfoNode::toString(root, FORMAT_TABULAR));
    EXPECT_EQ("State:\n Driver:FreeRTOS\n", KernelInfoNode::toString(root, FORMAT_TREE));
    EXPECT_EQ("{\"label\":\"State\",\"value\":[{\"label\":\"Driver\",\"value\":\"FreeRTOS\"}]}",
              KernelInfoNode::toString(root, FORMAT_JSON));
    EXPECT_EQ("", KernelInfoNode::toString(root, static_cast<KernelInfoFormating>(3)));
}
