#include "response/frequency_response.h"

#include <cfloat>
#include <cmath>

#include <limits>

#include <gmock/gmock.h>

namespace brelmo::tavi::tools {
namespace {

using testing::DoubleNear;
using testing::IsNan;
using testing::Pointwise;
using testing::SizeIs;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr float kNan = std::numeric_limits<float>::quiet_NaN();

// A response of magnitude 1 with these phases.
std::vector<float> Turned(const std::vector<double>& degrees) {
  std::vector<float> data;
  for (const double angle : degrees) {
    data.push_back(static_cast<float>(std::cos(angle * M_PI / 180)));
    data.push_back(static_cast<float>(std::sin(angle * M_PI / 180)));
  }
  return data;
}

TEST(FrequencyResponseTest, Magnitude) {
  // Floats whose squares no float could hold, both ways.
  const auto response =
      MakeFrequencyResponse({1, 0, 0,     -10, 3,    4, FLT_MAX, FLT_MAX, FLT_MIN, 0,
                             0, 0, -0.0F, 0,   kNan, 1, 1,       kNan,    0,       kNan});
  const std::vector<double> expected = {0, 20, 20 * std::log10(5.0),
                                        20 * std::log10(double{FLT_MAX}) + 10 * std::log10(2.0),
                                        20 * std::log10(double{FLT_MIN})};
  ASSERT_THAT(response.magnitude_db, SizeIs(10));
  for (size_t i = 0; i < expected.size(); ++i) {
    EXPECT_NEAR(response.magnitude_db[i], expected[i], 1e-9) << "bin " << i;
  }
  EXPECT_EQ(response.magnitude_db[5], -kInfinity);
  EXPECT_EQ(response.magnitude_db[6], -kInfinity);
  for (const size_t bin : {7, 8, 9}) EXPECT_THAT(response.magnitude_db[bin], IsNan());
}

TEST(FrequencyResponseTest, PhaseGoesOnBeyondATurn) {
  // A delay: 100 degrees less with every bin, more than four turns in all; and back up again.
  std::vector<double> degrees;
  for (int i = 0; i < 16; ++i) degrees.push_back(-100.0 * i);
  for (int i = 14; i >= 0; --i) degrees.push_back(-100.0 * i);
  EXPECT_THAT(MakeFrequencyResponse(Turned(degrees)).phase_degrees,
              Pointwise(DoubleNear(1e-3), degrees));
}

TEST(FrequencyResponseTest, PhaseBeginsWithinHalfATurn) {
  EXPECT_NEAR(MakeFrequencyResponse(Turned({190, 200})).phase_degrees[0], -170, 1e-3);
  EXPECT_NEAR(MakeFrequencyResponse(Turned({-190, -200})).phase_degrees[1], 160, 1e-3);
}

TEST(FrequencyResponseTest, AChangeOfSignStaysHalfATurn) {
  // Of two ways of the same length it takes the one that the parts give, up here.
  EXPECT_THAT(MakeFrequencyResponse({1, 0, -1, 0, 1, 0, -1, 0}).phase_degrees,
              testing::ElementsAre(0, 180, 0, 180));
}

TEST(FrequencyResponseTest, PhaseGoesOnBehindAGap) {
  std::vector<float> data = Turned({150, 210, 0, 0, 270, 330, 390});
  data[4] = data[5] = 0;
  data[6] = kNan;
  const auto phase = MakeFrequencyResponse(data).phase_degrees;
  ASSERT_THAT(phase, SizeIs(7));
  EXPECT_NEAR(phase[1], 210, 1e-3);
  EXPECT_THAT(phase[2], IsNan());
  EXPECT_THAT(phase[3], IsNan());
  EXPECT_NEAR(phase[4], 270, 1e-3);
  EXPECT_NEAR(phase[6], 390, 1e-3);
}

TEST(FrequencyResponseTest, NothingOfNothing) {
  EXPECT_THAT(MakeFrequencyResponse({}).magnitude_db, testing::IsEmpty());
  EXPECT_THAT(MakeFrequencyResponse({}).phase_degrees, testing::IsEmpty());
}

}  // namespace
}  // namespace brelmo::tavi::tools
