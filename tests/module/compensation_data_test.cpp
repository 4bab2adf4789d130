#include <limits>

#include <gmock/gmock.h>

#include "data_folder.h"
#include "log_recorder.h"
#include "telephony_speaker_compensation.h"
#include "temporary_folder.h"

namespace brelmo::tavi::test {
namespace {

using audio::compensation::CompensationData;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::NanSensitiveFloatEq;
using testing::Pointwise;

class CompensationDataTest : public testing::Test {
 protected:
  TemporaryFolder files_;
  simulator::DataFolder folder_{files_.path()};
  LogRecorder log_;
};

TEST_F(CompensationDataTest, ReadsFiles) {
  constexpr float kMax = std::numeric_limits<float>::max();
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  const struct {
    const char* content;
    std::vector<float> raw_data;
  } rows[] = {
      {"1.0,0.0\n0.98,-0.015\n1.2e-1, 3.5E-2\n", {1.0F, 0.0F, 0.98F, -0.015F, 0.12F, 0.035F}},
      {"1,2\n3,4", {1, 2, 3, 4}},
      {"\n\n1,2\n\n3,4\n\n", {1, 2, 3, 4}},
      {"", {}},
      {"\n\n\n", {}},
      {"1.0,,0.0", {1, 0}},
      {",1,2", {1, 2}},
      {"1,2,,\n,,3,,,4\n", {1, 2, 3, 4}},
      {" \t1,\v\r 2\n", {1, 2}},
      {"0x1p-1,+.5\n-2.,010", {0.5F, 0.5F, -2, 10}},
      {"nan,1", {kNan, 1}},
      {"3.4028235e38,-3.4028235e38", {kMax, -kMax}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.content);
    files_.Write("sub/data.txt", row.content);
    CompensationData data;
    EXPECT_TRUE(data.ParseQuantityFromFile("sub/data.txt"));
    EXPECT_THAT(data.raw_data, Pointwise(NanSensitiveFloatEq(), row.raw_data));
    EXPECT_EQ(data.file_name, "sub/data.txt");
    EXPECT_THAT(log_.Take(), IsEmpty());
  }
}

TEST_F(CompensationDataTest, RefusesLines) {
  const std::pair<std::string, std::string> rows[] = {
      {"1.0,0.0,0.0", "invalid content 1.0,0.0,0.0"},
      {",1.0,", "invalid content ,1.0,"},
      {"1.0", "invalid content 1.0"},
      {",", "invalid content ,"},
      {" ", "invalid content  "},
      {"1.0;0.0", "invalid content 1.0;0.0"},
      {"1.0,0.0\r", "invalid data: real=1.0, imaginary=0.0\r"},
      {"1.0 ,0.0", "invalid data: real=1.0 , imaginary=0.0"},
      {"1,,2x,", "invalid data: real=1, imaginary=2x"},
      {"a, ", "invalid data: real=a, imaginary= "},
      {"1, ", "invalid data: real=1, imaginary= "},
      {"inf,0", "invalid data: real=inf, imaginary=0"},
      {"0,-infinity", "invalid data: real=0, imaginary=-infinity"},
      {"1e39,0", "invalid data: real=1e39, imaginary=0"},
      {"0,-1e39", "invalid data: real=0, imaginary=-1e39"},
      {"1e-60,0", "invalid data: real=1e-60, imaginary=0"},
      {"1.0 0.0,1", "invalid data: real=1.0 0.0, imaginary=1"},
  };
  for (const auto& [line, message] : rows) {
    SCOPED_TRACE(line);
    files_.Write("data.txt", "5,6\n" + line + "\n7,8\n");
    CompensationData data;
    EXPECT_FALSE(data.ParseQuantityFromFile("data.txt"));
    EXPECT_THAT(data.raw_data, ElementsAre(5, 6));
    EXPECT_EQ(data.file_name, "");
    EXPECT_THAT(log_.Take(), ElementsAre(EngineError("ParseQuantityFromFile: " + message)));
  }
}

TEST_F(CompensationDataTest, RefusesWhatIsNoPlainFile) {
  files_.Write("data.txt", "1,2\n");
  files_.Write("folder/data.txt", "1,2\n");
  std::filesystem::create_symlink("data.txt", files_.path("link.txt"));
  std::filesystem::create_symlink("folder", files_.path("folder_link"));
  for (const char* name : {"absent.txt", "link.txt", "folder", ""}) {
    SCOPED_TRACE(name);
    CompensationData data;
    EXPECT_FALSE(data.ParseQuantityFromFile(name));
    EXPECT_THAT(data.raw_data, IsEmpty());
    EXPECT_EQ(data.file_name, "");
    EXPECT_THAT(log_.Take(), ElementsAre(EngineError("ParseQuantityFromFile: read failed")));
  }
  // Only the last component must not be a link.
  EXPECT_TRUE(CompensationData().ParseQuantityFromFile("folder_link/data.txt"));
}

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
