#include "rtos/RtosInfo.h"

#include <gtest/gtest.h>

namespace {

RtosCommand command(const std::string& word, const std::string& description) {
    return RtosCommand(word, description, {{"", ""}});
}

} // namespace

TEST(RtosInfoTest, HoldsIdAndCommandsInOrder) {
    RtosInfo info("ThreadX", {command("state", "Displays RTOS state")});
    RtosCommand extra = command("queues", "Lists queues");
    info.addCommand(extra);
    extra.getCommandId() = "changed";
    EXPECT_EQ("ThreadX", info.getId());
    ASSERT_EQ(2u, info.getCommands().size());
    EXPECT_EQ("state", info.getCommands()[0].getCommandId());
    EXPECT_EQ("Displays RTOS state", info.getCommands()[0].getCommandDescription());
    EXPECT_EQ("queues", info.getCommands()[1].getCommandId());
}

TEST(RtosInfoTest, CommandCopiesAndAssigns) {
    RtosCommand original = command("state", "Displays RTOS state");
    RtosCommand copy(original);
    RtosCommand assigned = command("x", "y");
    assigned = original;
    copy.getCommandDescription() = "other";
    EXPECT_EQ("Displays RTOS state", original.getCommandDescription());
    EXPECT_EQ("state", assigned.getCommandId());
    EXPECT_EQ("Displays RTOS state", assigned.getCommandDescription());
}

TEST(RtosInfoTest, Tabular) {
    RtosInfo info("freeRTOS", {command("state", "Displays RTOS state"), command("queues", "Lists queues")});
    EXPECT_EQ("Driver: freeRTOS\n"
              "Command             Description         \n"
              "state               Displays RTOS state \n"
              "queues              Lists queues        \n"
              "\n",
              RtosInfo::toStringTabular(info));
}

TEST(RtosInfoTest, TabularLongTextsAreNotCut) {
    RtosInfo info("x", {command("ABCDEFGHIJKLMNOPQRST", "twenty-one characters"),
                        command("ABCDEFGHIJKLMNOPQRSTUV", "d")});
    EXPECT_EQ("Driver: x\n"
              "Command             Description         \n"
              "ABCDEFGHIJKLMNOPQRSTtwenty-one characters\n"
              "ABCDEFGHIJKLMNOPQRSTUVd                   \n"
              "\n",
              RtosInfo::toStringTabular(info));
}

TEST(RtosInfoTest, Json) {
    RtosInfo info("freeRTOS", {command("state", "Displays RTOS state"), command("queues", "Lists queues")});
    EXPECT_EQ("{\n"
              "  \"rtosInfo\": {\n"
              "    \"rtosId\":\"freeRTOS\",\n"
              "    \"commands\": [\n"
              "      {\n"
              "        \"command\":\"state\",\n"
              "        \"description\":\"Displays RTOS state\"\n"
              "      },\n"
              "      {\n"
              "        \"command\":\"queues\",\n"
              "        \"description\":\"Lists queues\"\n"
              "      },\n"
              "    ]\n"
              "  }\n"
              "}\n",
              RtosInfo::toStringJson(info));
}

TEST(RtosInfoTest, EmptyCatalogue) {
    RtosInfo info("ThreadX", {});
    EXPECT_EQ("Driver: ThreadX\n"
              "Command             Description         \n"
              "\n",
              RtosInfo::toString(info, FORMAT_TABULAR));
    EXPECT_EQ("{\n"
              "  \"rtosInfo\": {\n"
              "    \"rtosId\":\"ThreadX\",\n"
              "    \"commands\": [\n"
              "    ]\n"
              "  }\n"
              "}\n",
              RtosInfo::toString(info, FORMAT_JSON));
}

TEST(RtosInfoTest, ToStringHasNoTreeForm) {
    RtosInfo info("freeRTOS", {command("state", "Displays RTOS state")});
    EXPECT_EQ("", RtosInfo::toString(info, FORMAT_TREE));
    EXPECT_EQ("", RtosInfo::toString(info, static_cast<KernelInfoFormating>(7)));
    EXPECT_EQ(RtosInfo::toStringTabular(info), RtosInfo::toString(info, FORMAT_TABULAR));
    EXPECT_EQ(RtosInfo::toStringJson(info), RtosInfo::toString(info, FORMAT_JSON));
}

TEST(RtosInfoTest, TextsAreInsertedUnescaped) {
    RtosInfo info("a\"b", {command("c\\d", "e\"f")});
    EXPECT_EQ("{\n"
              "  \"rtosInfo\": {\n"
              "    \"rtosId\":\"a\"b\",\n"
              "    \"commands\": [\n"
              "      {\n"
              "        \"command\":\"c\\d\",\n"
              "        \"description\":\"e\"f\"\n"
              "      },\n"
              "    ]\n"
              "  }\n"
              "}\n",
              RtosInfo::toStringJson(info));
}
