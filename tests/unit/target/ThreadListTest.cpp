#include "target/ThreadList.h"

#include "IdleAndTimer.h"

#include <gtest/gtest.h>

TEST(ThreadListTest, ExampleDocumentPutsTheActiveThreadFirst) {
    EXPECT_EQ("<?xml version=\"1.0\"?><threads>"
              "<thread id=\"20000a40\" name=\"IDLE\">RUNNING</thread>"
              "<thread id=\"20000810\" name=\"Tmr Svc\"></thread>"
              "</threads>",
              idleAndTimer().getXML());
}

TEST(ThreadListTest, IdentifiersAscendRegardlessOfActivity) {
    EXPECT_EQ(std::vector<unsigned int>({0x20000810, 0x20000a40}), idleAndTimer().getThreadIdentifiers());
}

TEST(ThreadListTest, EmptyListGivesBareDocumentAndNoIds) {
    ThreadList list;
    EXPECT_EQ("<?xml version=\"1.0\"?><threads></threads>", list.getXML());
    EXPECT_TRUE(list.getThreadIdentifiers().empty());
    EXPECT_EQ(0u, list.getNumberOfThreads());
}

TEST(ThreadListTest, AddThreadKeepsTheFirstOfAnId) {
    ThreadList list;
    TargetThread first(0x20000a40, 0x200009d8, false, "IDLE");
    TargetThread second(0x20000a40, 0x20001000, true, "other");
    EXPECT_TRUE(list.addThread(first));
    EXPECT_FALSE(list.addThread(second));
    EXPECT_EQ(1u, list.getNumberOfThreads());
    TargetThread stored;
    ASSERT_TRUE(list.getThread(0x20000a40, stored));
    EXPECT_EQ("IDLE", stored.getName());
    EXPECT_EQ(0x200009d8u, stored.getStackPtr());
    EXPECT_FALSE(stored.getCpuActive());
}

TEST(ThreadListTest, GetThreadOfAnUnknownIdLeavesOutAlone) {
    ThreadList list = idleAndTimer();
    TargetThread out(7, 8, false, "seven");
    EXPECT_FALSE(list.getThread(0x1234, out));
    EXPECT_EQ(7u, out.getThreadId());
    EXPECT_EQ("seven", out.getName());
}

TEST(ThreadListTest, GetActiveThreadTakesTheFirstActiveById) {
    ThreadList list;
    TargetThread high(0x30, 0, true, "high");
    TargetThread low(0x20, 0, true, "low");
    TargetThread idle(0x10, 0, false, "idle");
    list.addThread(high);
    list.addThread(low);
    list.addThread(idle);
    TargetThread out;
    ASSERT_TRUE(list.getActiveThread(out));
    EXPECT_EQ(0x20u, out.getThreadId());
    // Only the first active thread is shown; the other active one is left out altogether.
    EXPECT_EQ("<?xml version=\"1.0\"?><threads><thread id=\"20\" name=\"low\">RUNNING</thread>"
              "<thread id=\"10\" name=\"idle\"></thread></threads>",
              list.getXML());
}

TEST(ThreadListTest, NoActiveThreadLeavesTheLastThreadInOut) {
    ThreadList list;
    TargetThread a(0x20000810, 0x20000700, false, "Tmr Svc");
    TargetThread b(0x20000a40, 0x200009d8, false, "IDLE");
    list.addThread(b);
    list.addThread(a);
    TargetThread out(1, 0);
    EXPECT_FALSE(list.getActiveThread(out));
    EXPECT_EQ(0x20000a40u, out.getThreadId());
    EXPECT_EQ("IDLE", out.getName());
}

TEST(ThreadListTest, NoActiveThreadInAnEmptyListLeavesOutAlone) {
    ThreadList list;
    TargetThread out(1, 0x1000, true, "fallback");
    EXPECT_FALSE(list.getActiveThread(out));
    EXPECT_EQ(1u, out.getThreadId());
    EXPECT_EQ(0x1000u, out.getStackPtr());
    EXPECT_EQ("fallback", out.getName());
}

TEST(ThreadListTest, NamelessThreadShowsItsIdAsName) {
    ThreadList list;
    TargetThread nameless(0x2000a1b8, 0x2000a000);
    list.addThread(nameless);
    EXPECT_EQ("<?xml version=\"1.0\"?><threads><thread id=\"2000a1b8\" name=\"2000a1b8\"></thread></threads>",
              list.getXML());
}

TEST(ThreadListTest, FallbackThreadEntry) {
    ThreadList list;
    TargetThread fallback(1, 0);
    fallback.setCpuActive(true);
    EXPECT_EQ("<thread id=\"1\" name=\"1\">RUNNING</thread>", list.getXMLEntry(fallback));
}

TEST(ThreadListTest, ClearKeepsTheValidFlag) {
    ThreadList list = idleAndTimer();
    EXPECT_FALSE(list.isValid());
    list.setValid(true);
    list.clear();
    EXPECT_TRUE(list.isValid());
    EXPECT_EQ(0u, list.getNumberOfThreads());
    EXPECT_EQ("<?xml version=\"1.0\"?><threads></threads>", list.getXML());
    list.setValid(false);
    EXPECT_FALSE(list.isValid());
}

TEST(ThreadListTest, AnEntryEscapesItsName) {
    ThreadList list;
    TargetThread quoted(0x20000a40, 0, false, "a\"b<c>&");
    EXPECT_EQ("<thread id=\"20000a40\" name=\"a&quot;b&lt;c&gt;&amp;\"></thread>", list.getXMLEntry(quoted));
}

TEST(ThreadListTest, CopiesAreSnapshots) {
    ThreadList list = idleAndTimer();
    ThreadList copy = list;
    list.clear();
    EXPECT_EQ(2u, copy.getNumberOfThreads());
}

TEST(ThreadListTest, NamesAreEscapedForXml) {
    ThreadList list;
    list.addThread(TargetThread(0x20000100, 0x20000000, false, "a#b<c>\"d&'"));
    EXPECT_EQ("<?xml version=\"1.0\"?><threads>"
              "<thread id=\"20000100\" name=\"a#b&lt;c&gt;&quot;d&amp;&apos;\"></thread>"
              "</threads>",
              list.getXML());
}
