#include <gtest/gtest.h>
#include <fstream>
#include "data_folder.h"
#include "log_capture.h"
#include "telephony_speaker_compensation.h"
using namespace brelmo::tavi;
TEST(Smoke, Reads) {
  std::ofstream("/tmp/smoke_x.txt") << "1.0,2.0\n3,4";
  simulator::DataFolder f("/tmp");
  audio::compensation::CompensationData d;
  EXPECT_TRUE(d.ParseQuantityFromFile("smoke_x.txt"));
  EXPECT_EQ(d.raw_data, (std::vector<float>{1, 2, 3, 4}));
  simulator::LogCapture c([](const auto& l) {
    fprintf(stderr, "%s|%s|%s\n", simulator::SeverityName(l.severity), l.tag.c_str(),
            l.text.c_str());
  });
  EXPECT_FALSE(d.ParseQuantityFromFile("../x"));
}
