// The engine's tag: the function under test is inline, and the engine has the same one.
#define LOG_TAG "audio_hw_telephony_speaker_compensation"

#include "tavi_compensation.h"

#include <limits>

#include <gmock/gmock.h>

#include "log_recorder.h"

namespace brelmo::tavi::test {
namespace {

using audio::compensation::PackageTaviCompensationData;
using testing::ElementsAre;
using testing::IsEmpty;

using Bytes = std::vector<unsigned char>;

TEST(PackageTaviCompensationData, WritesHeaderAndPayload) {
  LogRecorder log;
  const unsigned char payload[] = {1, 2, 3};
  Bytes buffer(12, 0xEE);
  EXPECT_TRUE(PackageTaviCompensationData(buffer.data(), 11, -2, payload, 3));
  EXPECT_THAT(buffer, ElementsAre(0xFE, 0xFF, 0xFF, 0xFF, 3, 0, 0, 0, 1, 2, 3, 0xEE));
  EXPECT_THAT(log.Take(), IsEmpty());
}

TEST(PackageTaviCompensationData, RefusesWithoutTouchingTheBuffer) {
  constexpr size_t kMax = std::numeric_limits<size_t>::max();
  const std::string invalid = "PackageTaviCompensationData: invalid parameters";
  const std::string insufficient = "PackageTaviCompensationData: insufficient memory";
  const unsigned char payload[16] = {};
  Bytes buffer(32, 0xEE);
  const struct {
    unsigned char* buffer;
    size_t buffer_size;
    const unsigned char* data;
    size_t size;
    std::string message;
  } rows[] = {
      {nullptr, 12, payload, 4, invalid},
      {buffer.data(), 0, payload, 4, invalid},
      {buffer.data(), 12, nullptr, 4, invalid},
      {buffer.data(), 8, payload, 0, invalid},
      {buffer.data(), 11, payload, 4, insufficient},
      {buffer.data(), 13, payload, 4, insufficient},
      {buffer.data(), 4, payload, 4, insufficient},
      {buffer.data(), 8, payload, 4, insufficient},
      // The payload's size and the header's make these sums wrap to the buffer's size.
      {buffer.data(), 7, payload, kMax, insufficient},
      {buffer.data(), 1, payload, kMax - 6, insufficient},
      {buffer.data(), 8, payload, kMax, insufficient},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(&row - rows);
    LogRecorder log;
    EXPECT_FALSE(PackageTaviCompensationData(row.buffer, row.buffer_size, 16, row.data, row.size));
    EXPECT_THAT(log.Take(), ElementsAre(EngineWarning(row.message)));
    EXPECT_THAT(buffer, testing::Each(0xEE));
  }
}

}  // namespace
}  // namespace brelmo::tavi::test
