#include "capture/case_lookup.h"

#include <gmock/gmock.h>

#include "data_folder.h"
#include "dsp_bytes.h"
#include "log_recorder.h"
#include "process/scratch_folder.h"

namespace brelmo::tavi::test {

namespace {

using simulator::DspWrite;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

DspWrite Write(const std::string& bytes) {
  DspWrite write;
  write.bytes.assign(bytes.begin(), bytes.end());
  write.parsed = simulator::ParseDspMessages(DataOf(bytes), bytes.size());
  return write;
}

std::vector<float> Flat() {
  std::vector<float> response;
  for (int bin = 0; bin < 257; ++bin) response.insert(response.end(), {1, 0});
  return response;
}

struct DataFiles : tools::ScratchFolder {
  DataFiles() {
    Write("a.txt", "1,2\n");
    Write("same.txt", "1,2\n");
    Write("b.txt", "3,4\n5,6\n");
    Write("empty.txt", "");
  }
};

class CaseTableTest : public testing::Test {
 protected:
  DataFiles files_;
  simulator::DataFolder data_{files_.path()};
  LogRecorder log_;
  const tools::CaseLookup table_{
      "HingeAngle:0,30|LeftChannel:a.txt|RightChannel:b.txt "
      "HingeAngle:31,60|LeftChannel:same.txt|RightChannel:b.txt "
      "HingeAngle:61,90|LeftChannel:b.txt|RightChannel:gone.txt "
      "HingeAngle:91,180|LeftChannel:empty.txt|RightChannel:a.txt"};
  const std::string left_a_ = ResponseMessage(16, {1, 2});
  const std::string right_b_ = ResponseMessage(17, {3, 4, 5, 6});
};

TEST_F(CaseTableTest, FindsTheCasesOfAWrite) {
  EXPECT_EQ(table_.size(), 4U);
  EXPECT_THAT(log_.Take(), IsEmpty());
  EXPECT_THAT(table_.CasesOf(Write(left_a_ + right_b_)), ElementsAre(0, 1));
  EXPECT_THAT(table_.CasesOf(Write(right_b_ + left_a_)), ElementsAre(0, 1));
  EXPECT_THAT(
      table_.CasesOf(Write(ResponseMessage(16, {3, 4, 5, 6}) + ResponseMessage(17, Flat()))),
      ElementsAre(2));
  EXPECT_THAT(table_.CasesOf(Write(ResponseMessage(17, {1, 2}))), ElementsAre(3))
      << "an empty file is not sent";

  for (const std::string& stranger :
       {StatusMessage(1), left_a_, ResponseMessage(17, {1, 2}) + ResponseMessage(16, {3, 4, 5, 6}),
        left_a_ + ResponseMessage(17, {3, 4, 5, 7}), left_a_ + right_b_ + right_b_}) {
    EXPECT_THAT(table_.CasesOf(Write(stranger)), IsEmpty());
  }
}

TEST_F(CaseTableTest, FindsTheFilesOfAMessage) {
  const auto files = [this](const std::string& bytes) {
    return table_.FilesOf(Write(bytes).parsed.messages.at(0));
  };
  EXPECT_THAT(files(left_a_), UnorderedElementsAre("a.txt", "same.txt"));
  EXPECT_THAT(files(right_b_), ElementsAre("b.txt")) << "each file once";
  EXPECT_THAT(files(ResponseMessage(17, Flat())), ElementsAre(""));
  EXPECT_THAT(files(ResponseMessage(16, Flat())), IsEmpty()) << "of the other channel";
  EXPECT_THAT(files(StatusMessage(1)), IsEmpty());
}

TEST_F(CaseTableTest, NarrowsByTheKeysInADump) {
  const auto dump = [](const std::string& index) {
    return "TelephonySpeakerCompensation :\n"
           "  Previous Case Keys:Case Keys : {Name : HingeAngle, Supported Index: {" +
           index + " } }\n  TuningData:\n";
  };
  EXPECT_THAT(table_.Narrow({0, 1}, dump("0")), ElementsAre(0));
  EXPECT_THAT(table_.Narrow({0, 1}, dump("1")), ElementsAre(1));
  EXPECT_THAT(table_.Narrow({0, 1}, dump("2")), ElementsAre(0, 1));
  EXPECT_THAT(table_.Narrow({0, 1}, "  Previous Case Keys: Null\n"), ElementsAre(0, 1));
}

}  // namespace

}  // namespace brelmo::tavi::test
