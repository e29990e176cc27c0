#include "proxy/ServerThreadIds.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(ServerThreadIds, RequestsStayAsTheyAreUntilAStopNamesAThread) {
    ServerThreadIds ids;
    EXPECT_EQ("vCont;s:20000a40;c", ids.toServer("vCont;s:20000a40;c"));
    ids.noteStopReply("S05");
    ids.noteStopReply("T05");
    EXPECT_EQ("vCont;s:20000a40;c", ids.toServer("vCont;s:20000a40;c"));
    EXPECT_EQ("D", ids.toServer("D"));
}

TEST(ServerThreadIds, KernelTasksInVContBecomeTheServersThread) {
    ServerThreadIds ids;
    ids.noteStopReply("T05thread:01;");
    EXPECT_EQ("01", ids.getCurrentThread());
    EXPECT_EQ("vCont;s:01;c", ids.toServer("vCont;s:20000a40;c"));
    EXPECT_EQ("vCont;c:01", ids.toServer("vCont;c:20000810"));
    EXPECT_EQ("vCont;c:-1", ids.toServer("vCont;c:-1"));
    EXPECT_EQ("vCont;s:0;c:-1", ids.toServer("vCont;s:0;c:-1"));
    EXPECT_EQ("vCont;c", ids.toServer("vCont;c"));
    EXPECT_EQ("vCont;C05:01", ids.toServer("vCont;C05:2"));
    // Only a stop reply with a thread moves the current thread.
    ids.noteStopReply("T05watch:20000000;thread:02;core:0;");
    EXPECT_EQ("vCont;s:02", ids.toServer("vCont;s:1"));
    ids.noteStopReply("W00");
    EXPECT_EQ("02", ids.getCurrentThread());
}

TEST(ServerThreadIds, MultiprocessServerGetsItsOwnIdsAndAProcessToDetach) {
    ServerThreadIds ids;
    ids.noteStopReply("T05thread:p01.01;");
    EXPECT_EQ("vCont;s:p01.01;c", ids.toServer("vCont;s:20000a40;c"));
    EXPECT_EQ("D;01", ids.toServer("D"));
    EXPECT_EQ("D;02", ids.toServer("D;02"));
    EXPECT_EQ("m0,4", ids.toServer("m0,4"));
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

} // namespace
