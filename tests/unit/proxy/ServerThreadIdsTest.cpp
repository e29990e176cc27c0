#include "proxy/ServerThreadIds.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ServerThreadIds, RequestsStayAsTheyAreUntilAStopNamesAThread) {
    ServerThreadIds ids;
    EXPECT_EQ("vCont;s:20000a40;c", ids.inServerTerms("vCont;s:20000a40;c"));
    ids.noteStopReply("S05");
    ids.noteStopReply("T05");
    EXPECT_EQ("vCont;s:20000a40;c", ids.inServerTerms("vCont;s:20000a40;c"));
    EXPECT_EQ("D", ids.inServerTerms("D"));
}

TEST(ServerThreadIds, KernelTasksInVContBecomeTheServersThread) {
    ServerThreadIds ids;
    ids.noteStopReply("T05thread:01;");
    EXPECT_EQ("01", ids.getCurrentThread());
    EXPECT_EQ("vCont;s:01;c", ids.inServerTerms("vCont;s:20000a40;c"));
    EXPECT_EQ("vCont;c:01", ids.inServerTerms("vCont;c:20000810"));
    EXPECT_EQ("vCont;c:-1", ids.inServerTerms("vCont;c:-1"));
    EXPECT_EQ("vCont;s:0;c:-1", ids.inServerTerms("vCont;s:0;c:-1"));
    EXPECT_EQ("vCont;c", ids.inServerTerms("vCont;c"));
    EXPECT_EQ("vCont;C05:01", ids.inServerTerms("vCont;C05:2"));
    // Only a stop reply with a thread moves the current thread.
    ids.noteStopReply("T05watch:20000000;thread:02;core:0;");
    EXPECT_EQ("vCont;s:02", ids.inServerTerms("vCont;s:1"));
    ids.noteStopReply("W00");
    EXPECT_EQ("02", ids.getCurrentThread());
}

TEST(ServerThreadIds, MultiprocessServerGetsItsOwnIdsAndAProcessToDetach) {
    ServerThreadIds ids;
    ids.noteStopReply("T05thread:p01.01;");
    EXPECT_EQ("vCont;s:p01.01;c", ids.inServerTerms("vCont;s:20000a40;c"));
    EXPECT_EQ("D;01", ids.inServerTerms("D"));
    EXPECT_EQ("D;02", ids.inServerTerms("D;02"));
    EXPECT_EQ("m0,4", ids.inServerTerms("m0,4"));
}

TEST(ServerThreadIds, TheFeaturesAnswerLosesMultiprocessOnly) {
    ServerThreadIds ids;
    EXPECT_FALSE(ids.awaitsFeatures());
    ids.noteRequest("qSupported:multiprocess+;swbreak+");
    EXPECT_TRUE(ids.awaitsFeatures());
    std::string features = "unchanged";
    EXPECT_TRUE(
        ids.hideMultiprocess("PacketSize=1000;qXfer:features:read+;vContSupported+;multiprocess+", features));
    EXPECT_EQ("PacketSize=1000;qXfer:features:read+;vContSupported+", features);
    EXPECT_FALSE(ids.awaitsFeatures());
    ids.noteRequest("qSupported");
    features = "unchanged";
    EXPECT_FALSE(ids.hideMultiprocess("PacketSize=4000;QStartNoAckMode+;multiprocess-", features));
    EXPECT_EQ("unchanged", features);
    EXPECT_TRUE(ids.hideMultiprocess("multiprocess+", features));
    EXPECT_EQ("", features);
    ids.noteRequest("vCont;c");
    EXPECT_FALSE(ids.awaitsFeatures());
}

// GDB's bytes go out unchanged until the server refuses them; then the request is sent again in the
// server's ids, and every later one goes in them at once.
TEST(ServerThreadIds, TheServersIdsOnlyOnceItHasRefusedGdbs) {
    ServerThreadIds ids;
    ids.noteStopReply("T05thread:p01.01;");
    EXPECT_EQ("vCont;s:20000a40;c", ids.toServer("vCont;s:20000a40;c"));
    EXPECT_TRUE(ids.awaitsAnswer());
    std::string retry = "unchanged";
    EXPECT_FALSE(ids.refused("T05thread:p01.01;", retry));
    EXPECT_FALSE(ids.awaitsAnswer());
    EXPECT_EQ("vCont;c", ids.toServer("vCont;c"));
    EXPECT_FALSE(ids.awaitsAnswer());
    EXPECT_EQ("D", ids.toServer("D"));
    EXPECT_TRUE(ids.refused("E22", retry));
    EXPECT_EQ("D;01", retry);
    EXPECT_FALSE(ids.awaitsAnswer());
    EXPECT_FALSE(ids.refused("E22", retry));
    EXPECT_EQ("vCont;s:p01.01;c", ids.toServer("vCont;s:20000a40;c"));
    EXPECT_FALSE(ids.awaitsAnswer());
}

TEST(ServerThreadIds, AnAnswerAwaitedOnlyForARequestThatWouldChange) {
    ServerThreadIds ids;
    EXPECT_EQ("vCont;s:20000a40", ids.toServer("vCont;s:20000a40"));
    EXPECT_FALSE(ids.awaitsAnswer());
    ids.noteStopReply("T05thread:1;");
    EXPECT_EQ("vCont;s:1", ids.toServer("vCont;s:1"));
    EXPECT_FALSE(ids.awaitsAnswer());
    std::string retry;
    EXPECT_FALSE(ids.refused("E01", retry));
}

} // namespace
