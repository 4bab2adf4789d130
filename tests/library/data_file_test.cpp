// What the module makes of a data file.
#include <cmath>
#include <filesystem>
#include <limits>

#include "contract_fixture.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAreArray;
using testing::HasSubstr;
using testing::NanSensitiveFloatEq;
using testing::Pointwise;

using Response = std::vector<float>;

Response UnityResponse() {
  Response response(514, 0.0F);
  for (size_t i = 0; i < response.size(); i += 2) response[i] = 1.0F;
  return response;
}

struct DataCase {
  const char* name;
  std::string file_name;
  std::string content;
  std::optional<Response> response;  // none: the file is refused
  std::string error;
};

class DataFileTest : public ContractTest, public testing::WithParamInterface<DataCase> {
 protected:
  DataFileTest() {
    folder_.Write("folder/file.txt", "1,2\n");
    std::filesystem::create_symlink("l.txt", folder_.path("link.txt"));
    std::filesystem::create_symlink("folder", folder_.path("folder_link"));
  }
};

TEST_P(DataFileTest, IsReadOrReplacedByUnity) {
  const DataCase& test = GetParam();
  if (!test.content.empty()) folder_.Write(test.file_name, test.content);
  const std::string config = "HingeAngle:0,180|RightChannel:r.txt|LeftChannel:" + test.file_name;
  EXPECT_TRUE(host_.Init(config.c_str()).has_handle);
  Lines lines = recorder_.TakeLines();
  lines.erase(std::remove_if(lines.begin(), lines.end(),
                             [](const auto& line) { return line.rfind("call ", 0) == 0; }),
              lines.end());
  Lines expected = {EntryInfo("compensation_init: initialize successfully")};
  if (!test.response) {
    expected = Lines{EngineError("ParseQuantityFromFile: " + test.error),
                     EngineInfo("SetRawData: set raw data size 514")} +
               expected;
  }
  EXPECT_THAT(lines, ElementsAreArray(expected));

  After(Hinge(30));
  After(Announce(5));
  After(Start(6));
  const Response response = test.response.value_or(UnityResponse());
  const auto state = host_.dsp().state();
  EXPECT_EQ(state.right, Response({2, 3}));
  // Without data the channel is left out.
  EXPECT_EQ(state.left.has_value(), !response.empty());
  EXPECT_THAT(state.left.value_or(Response()), Pointwise(NanSensitiveFloatEq(), response));
  EXPECT_THAT(host_.Dump().value(),
              HasSubstr("      FileName: " + (test.response ? test.file_name : "") +
                        ", Type:0, Data Size:" + std::to_string(response.size()) + "\n"));
}

std::string Repeat(const std::string& text, int count) {
  std::string result;
  for (int i = 0; i < count; ++i) result += text;
  return result;
}

constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
const Response kLongResponse(20000, 0.5F);
const std::string kLongNumber = "1." + std::string(100000, '0');

// For the name of the test.
void PrintTo(const DataCase& row, std::ostream* out) { *out << row.name; }

const DataCase kDataCases[] = {
    {"Good", "d.txt", "1.0,0.0\n0.98,-0.015\n1.2e-1, 3.5E-2",
     Response{1, 0, 0.98F, -0.015F, 0.12F, 0.035F}, ""},
    {"NothingButLineFeeds", "d.txt", "\n\n", Response{}, ""},
    {"EmptyFields", "d.txt", ",1,,2,,\n", Response{1, 2}, ""},
    {"OtherNumberForms", "d.txt", "0x1p-2,-0X.8\n+.5,5.\n", Response{0.25F, -0.5F, 0.5F, 5}, ""},
    {"NotANumberByName", "d.txt", "nan,-NAN\n", Response{kNan, kNan}, ""},
    {"ManyBins", "d.txt", Repeat("0.5,0.5\n", 10000), kLongResponse, ""},
    {"Missing", "none.txt", "", {}, "read failed"},
    {"LineFeedInTheName", "l.txt\n", "", {}, "read failed"},
    {"SymbolicLink", "link.txt", "", {}, "read failed"},
    {"CarriageReturns", "d.txt", "1,0\r\n1,0\r\n", {}, "invalid data: real=1, imaginary=0\r"},
    {"BlankBehind", "d.txt", "1,0\n1 ,0\n", {}, "invalid data: real=1 , imaginary=0"},
    {"ThreeFields", "d.txt", "1,0,0\n", {}, "invalid content 1,0,0"},
    {"Infinite", "d.txt", "0,-inf\n", {}, "invalid data: real=0, imaginary=-inf"},
    {"Subnormal", "d.txt", "1e-40,0\n", {}, "invalid data: real=1e-40, imaginary=0"},
    {"LongFaultyLine", "d.txt", "1,0\n" + kLongNumber + "\n", {}, "invalid content " + kLongNumber},
};

INSTANTIATE_TEST_SUITE_P(, DataFileTest, testing::ValuesIn(kDataCases),
                         [](const auto& info) { return std::string(info.param.name); });

TEST_F(DataFileTest, EmptyFileIsNoData) {
  folder_.Write("empty.txt", "");
  Init("HingeAngle:0,180|RightChannel:r.txt|LeftChannel:empty.txt");
  EXPECT_THAT(host_.Dump().value(), HasSubstr("FileName: empty.txt, Type:0, Data Size:0\n"));
}

}  // namespace
}  // namespace brelmo::tavi::test
