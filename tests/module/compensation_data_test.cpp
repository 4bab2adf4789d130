#include <gmock/gmock.h>

#include "data_folder.h"
#include "log_recorder.h"
#include "process/scratch_folder.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::test {
namespace {

using audio::compensation::CompensationData;
using testing::ElementsAre;
using testing::IsEmpty;

class CompensationDataTest : public testing::Test {
 protected:
  tools::ScratchFolder files_{testing::TempDir()};
  simulator::DataFolder folder_{files_.path()};
  LogRecorder log_;
};

TEST_F(CompensationDataTest, AppendsAndKeepsTheNameOfTheLastGoodFile) {
  files_.Write("good.txt", "1,2\n");
  files_.Write("half.txt", "3,4\nx\n");
  CompensationData data;
  EXPECT_TRUE(data.ParseQuantityFromFile("good.txt"));
  EXPECT_FALSE(data.ParseQuantityFromFile("half.txt"));
  EXPECT_THAT(data.raw_data, ElementsAre(1, 2, 3, 4));
  EXPECT_EQ(data.file_name, "good.txt");
}

TEST_F(CompensationDataTest, ReadsAFullFileWithoutGrowing) {
  std::string content;
  std::vector<float> expected;
  for (int bin = 0; bin < 512; ++bin) {
    content += std::to_string(bin) + ",-" + std::to_string(bin) + ".5\n";
    expected.insert(expected.end(), {static_cast<float>(bin), -static_cast<float>(bin) - 0.5F});
  }
  files_.Write("data.txt", content);
  CompensationData data;
  EXPECT_EQ(data.type, -1);
  EXPECT_GE(data.raw_data.capacity(), 1024U);
  const float* const room = data.raw_data.data();
  EXPECT_TRUE(data.ParseQuantityFromFile("data.txt"));
  EXPECT_EQ(data.raw_data, expected);
  EXPECT_EQ(data.raw_data.data(), room);
}

TEST_F(CompensationDataTest, SetRawData) {
  CompensationData data;
  data.SetRawData({1, 2, 3, 4});
  EXPECT_THAT(log_.Take(), ElementsAre(EngineInfo("SetRawData: set raw data size 4")));
  data.SetRawData({5, 6, 7});
  EXPECT_THAT(log_.Take(), ElementsAre(EngineError("SetRawData: invalid raw size 3")));
  EXPECT_THAT(data.raw_data, ElementsAre(1, 2, 3, 4));
  data.SetRawData(data.raw_data);
  EXPECT_THAT(data.raw_data, ElementsAre(1, 2, 3, 4));
  data.SetRawData({8, 9});
  EXPECT_THAT(data.raw_data, ElementsAre(8, 9));
  log_.Take();
  data.SetRawData({});
  EXPECT_THAT(data.raw_data, IsEmpty());
  EXPECT_THAT(log_.Take(), ElementsAre(EngineInfo("SetRawData: set raw data size 0")));
}

}  // namespace
}  // namespace brelmo::tavi::test
