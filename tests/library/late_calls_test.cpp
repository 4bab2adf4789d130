// The module's entry points and handlers called as they are, outside the host's order of things.
#include <unistd.h>

#include <array>
#include <cstring>

#include <gmock/gmock.h>

#include "module_path.h"
#include "simulated_host.h"
#include "trial/recorder.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

template <size_t kFields>
std::array<void*, kFields> Fields(const void* record) {
  std::array<void*, kFields> fields{};
  std::memcpy(fields.data(), record, sizeof(fields));
  return fields;
}

TEST(LateCalls, DeinitLeavesAnInertListener) {
  const simulator::LoadedModule module(ModulePath());
  tools::Recorder recorder;
  simulator::SimulatedHost host(module, recorder);
  ASSERT_TRUE(host.Init("ScreenRotation:0|LeftChannel:l.txt|RightChannel:r.txt").has_handle);
  auto context = Fields<4>(host.handle());
  void* const engine = context[1];
  auto listener = Fields<6>(context[0]);
  EXPECT_EQ(listener[0], host.device());
  EXPECT_EQ(listener[1], engine);
  EXPECT_TRUE(host.Deinit());
  recorder.TakeLines();
  EXPECT_THAT(recorder.TakeViolations(), IsEmpty());

  listener = Fields<6>(context[0]);
  for (const size_t i : {0, 2, 3}) EXPECT_EQ(listener[i], nullptr) << i;
  int32_t value = 5;
  std::array<int32_t, 16> record{};
  for (const int event : {2, 4, 8, 3}) {
    reinterpret_cast<hal_common_event_handler_t>(listener[4])(event, &value, engine);
  }
  for (const int event : {21, 22, 3}) {
    reinterpret_cast<usecase_event_handler_t>(listener[5])(
        event, reinterpret_cast<usecase*>(record.data()), nullptr, engine);
  }
  // Once more, with what the host's record held: there is nothing left to free but the record.
  void* handle = context.data();
  EXPECT_EQ(module.descriptor().deinit(host.device(), &handle), 0);
  EXPECT_EQ(handle, nullptr);
  EXPECT_THAT(recorder.TakeLines(), ElementsAre("call audio_hal_free(context)"));
  recorder.TakeViolations();
}

TEST(LateCalls, DumpOfAContextWithoutAnEngine) {
  const simulator::LoadedModule module(ModulePath());
  int ends[2];
  ASSERT_EQ(pipe(ends), 0);
  std::array<void*, 4> context{};
  EXPECT_EQ(module.descriptor().dump(ends[1], context.data()), 0);
  close(ends[1]);
  char text[8];
  EXPECT_EQ(read(ends[0], text, sizeof(text)), 1);
  EXPECT_EQ(text[0], '\n');
  close(ends[0]);
}

}  // namespace
}  // namespace brelmo::tavi::test
