// What the DSP makes of the bytes that it is sent.
#include <tuple>
#include <utility>

#include <gmock/gmock.h>

#include "dsp_bytes.h"
#include "dsp_message.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::test {

namespace {

using simulator::DspMessages;
using simulator::DspWrite;
using simulator::VirtualDsp;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::Optional;

DspMessages Parse(const std::string& bytes) {
  return simulator::ParseDspMessages(DataOf(bytes), bytes.size());
}

TEST(DspMessageTest, SplitsMessagesThatFollowEachOther) {
  const DspMessages parsed = Parse(StatusMessage(1) + ResponseMessage(16, {1, 0, 0.5F, -0.25F}) +
                                   ResponseMessage(17, {2, 3}) + StatusMessage(0));
  EXPECT_FALSE(parsed.damage);
  ASSERT_EQ(parsed.messages.size(), 4U);
  const auto& [on, left, right, off] =
      std::tie(parsed.messages[0], parsed.messages[1], parsed.messages[2], parsed.messages[3]);
  EXPECT_TRUE(on.is_active() && !on.is_response());
  EXPECT_TRUE(left.is_response());
  EXPECT_THAT(left.Response(), ElementsAre(1, 0, 0.5F, -0.25F));
  EXPECT_EQ(left.bin_count(), 2U);
  EXPECT_EQ(right.type, simulator::kRightMessage);
  EXPECT_EQ(right.offset, 12U + 24U);
  EXPECT_EQ(off.offset, 12U + 24U + 16U);
  EXPECT_FALSE(off.is_active());
  EXPECT_TRUE(Parse("").messages.empty() && !Parse("").damage);
}

TEST(DspMessageTest, KeepsWhatStandsBeforeDamageAndSaysWhere) {
  const std::pair<std::string, const char*> cases[] = {
      {Header(16, 8).substr(0, 7), "only 7 bytes left"},
      {ResponseMessage(16, {1, 0}).substr(0, 15), "7 bytes are left"},
      {Header(16, 0xFFFFFFFF) + "12345678", "4294967295 bytes"},
      {ResponseMessage(18, {1, 0}), "unknown message type 18"},
      {ResponseMessage(-1, {1, 0}), "unknown message type -1"},
      {ResponseMessage(17, {}), "without a bin"},
      {ResponseMessage(17, {1, 0, 1}), "no whole number"},
      {Header(0, 8) + std::string(8, '\0'), "not 8 bytes"},
      {StatusMessage(2), "not 2"},
  };
  for (const auto& [bytes, reason] : cases) {
    const DspMessages parsed = Parse(StatusMessage(1) + bytes);
    EXPECT_EQ(parsed.messages.size(), 1U) << reason;
    ASSERT_TRUE(parsed.damage) << reason;
    EXPECT_EQ(parsed.damage->offset, 12U);
    EXPECT_THAT(parsed.damage->reason, HasSubstr(reason));
  }
}

class VirtualDspTest : public testing::Test {
 protected:
  DspWrite Send(const std::string& bytes) { return dsp_.Receive(DataOf(bytes), bytes.size()); }

  VirtualDsp dsp_;
};

TEST_F(VirtualDspTest, KeepsWhatItWasSentLast) {
  EXPECT_FALSE(dsp_.state().module_active || dsp_.state().left || dsp_.state().right);
  const DspWrite status = Send(StatusMessage(1));
  EXPECT_TRUE(status.is_accepted() && !status.has_response());
  const std::string both = ResponseMessage(17, {3, 4}) + ResponseMessage(16, {1, 2});
  const DspWrite corrections = Send(both);
  EXPECT_TRUE(corrections.has_response());
  EXPECT_EQ(std::string(corrections.bytes.begin(), corrections.bytes.end()), both);
  // What stands before damage is taken.
  EXPECT_TRUE(Send(ResponseMessage(16, {5, 6}) + ResponseMessage(17, {1})).parsed.damage);
  EXPECT_THAT(dsp_.state().module_active, Optional(true));
  EXPECT_THAT(dsp_.state().left, Optional(ElementsAre(5, 6)));
  EXPECT_THAT(dsp_.state().right, Optional(ElementsAre(3, 4)));
}

TEST_F(VirtualDspTest, RefusedBlocksChangeNothing) {
  Send(StatusMessage(1));
  dsp_.RefuseNext(2, -5);
  EXPECT_EQ(Send(StatusMessage(0)).result, -5);
  const DspWrite refused = Send(ResponseMessage(16, {1, 2}));
  EXPECT_EQ(refused.result, -5);
  EXPECT_EQ(refused.parsed.messages.size(), 1U) << "what was refused is to be seen all the same";
  EXPECT_THAT(dsp_.state().module_active, Optional(true));
  EXPECT_FALSE(dsp_.state().left);
  EXPECT_EQ(Send(StatusMessage(0)).result, 0);
  EXPECT_THAT(dsp_.state().module_active, Optional(false));

  dsp_.RefuseNext(3, 7);
  dsp_.RefuseNext(0, 7);
  EXPECT_TRUE(Send(StatusMessage(1)).is_accepted());
}

}  // namespace

}  // namespace brelmo::tavi::test
