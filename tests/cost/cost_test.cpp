// What the module costs in memory. Times are ./bench's business.
#include <elf.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>

#include <android-base/logging.h>
#include <gtest/gtest.h>

#include "bench_device.h"
#include "host_event.h"
#include "memory_count.h"
#include "telephony_speaker_compensation.h"

namespace brelmo::tavi::test {

namespace {

using audio::compensation::TelephonySpeakerCompensation;
using benchmarks::Case;
using benchmarks::Init;
using benchmarks::StartCall;
using benchmarks::StopCall;
using benchmarks::TheHost;

class CostTest : public testing::Test {
 private:
  const android::base::ScopedLogSeverity severity_{android::base::FATAL};
};

long AllocationsOf(const std::function<void()>& events) {
  const long before = MemoryCount::Allocations();
  events();
  return MemoryCount::Allocations() - before;
}

TEST_F(CostTest, AllocatesForWhatIsSentOnly) {
  Init(Case("0,90", "0,90,180,270", 0) + Case("91,180", "0,90,180,270", 2));
  TheHost().HingeAngle(30);
  // The status is small; the responses of a case are one block.
  EXPECT_EQ(AllocationsOf([] { StartCall(); }), 1);
  EXPECT_EQ(AllocationsOf([] { TheHost().HingeAngle(120); }), 1);
  EXPECT_EQ(AllocationsOf([] {
              for (const int angle : {121, 122, 122, 200, -1}) TheHost().HingeAngle(angle);
              for (const int rotation : {90, 0, 45, 45})
                TheHost().Deliver(simulator::Rotate(rotation));
            }),
            0);
  EXPECT_EQ(AllocationsOf([] { StopCall(); }), 0);
  EXPECT_EQ(AllocationsOf([] { TheHost().HingeAngle(30); }), 0);
}

TEST_F(CostTest, HoldsLittleBesidesTheResponsesOfACase) {
  const auto bytes_of = [](int cases) {
    std::string text;
    for (int i = 0; i < cases; ++i) text += Case("0," + std::to_string(1 + i % 180), "0,90", 0);
    const MemoryCount before = MemoryCount::Take();
    const TelephonySpeakerCompensation engine(nullptr,
                                              TelephonySpeakerCompensation::GetConfig(text));
    EXPECT_EQ(engine.cases().size(), static_cast<size_t>(cases));
    return (MemoryCount::Take() - before).bytes;
  };
  // The table doubles as it grows, so a case may take twice its entry.
  constexpr long kResponses = 2L * 2 * benchmarks::kBins * sizeof(float);
  EXPECT_LE((bytes_of(200) - bytes_of(100)) / 100, kResponses + 500);
}

TEST_F(CostTest, ReadsInTimeThatGrowsWithTheTextOnly) {
  const auto allocations_for = [](int cases) {
    std::string text;
    for (int i = 0; i < cases; ++i) text += Case("0,90", "0,90", 0);
    return AllocationsOf([&text] { TelephonySpeakerCompensation::GetConfig(text); });
  };
  EXPECT_LE(allocations_for(400), 2 * allocations_for(200));
}

// What is mapped of the file. The file itself has gaps besides, as long as the linker takes the
// largest pages of a machine to be.
size_t LoadedBytesOf(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  const std::string content{std::istreambuf_iterator<char>(file), {}};
  Elf64_Ehdr header{};
  EXPECT_GE(content.size(), sizeof header) << path;
  std::memcpy(&header, content.data(), std::min(sizeof header, content.size()));
  size_t bytes = 0;
  for (int i = 0; i < header.e_phnum; ++i) {
    Elf64_Phdr segment;
    std::memcpy(&segment, &content.at(header.e_phoff + i * sizeof segment), sizeof segment);
    if (segment.p_type == PT_LOAD) bytes += segment.p_filesz;
  }
  return bytes;
}

TEST_F(CostTest, IsASmallLibrary) {
  if (std::string(TAVI_BUILD_TYPE) != "Release") GTEST_SKIP() << "for release builds";
  const size_t bytes = LoadedBytesOf(TAVI_MODULE_FILE);
  EXPECT_GT(bytes, 10U * 1024U);  // else they were not all found
  EXPECT_LE(bytes, 90U * 1024U);
}

}  // namespace

}  // namespace brelmo::tavi::test
