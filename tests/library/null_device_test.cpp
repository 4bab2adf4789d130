// Init without a device, in a process of its own with a host that has nothing but memory: no other
// function may be called.
#include <dlfcn.h>

#include <array>

#include <gmock/gmock.h>

#include "log_recorder.h"
#include "module_path.h"

#define TAVI_EXPORT extern "C" __attribute__((visibility("default")))

namespace {

std::array<void*, 4> context{};
std::vector<void*> freed;

}  // namespace

TAVI_EXPORT void* audio_hal_calloc(void* /*device*/, size_t size) {
  EXPECT_EQ(size, sizeof(context));
  return context.data();
}
TAVI_EXPORT void audio_hal_free(void* /*device*/, void* memory) { freed.push_back(memory); }

#define TAVI_UNEXPECTED(function) \
  TAVI_EXPORT int function() {    \
    ADD_FAILURE() << #function;   \
    return 0;                     \
  }
TAVI_UNEXPECTED(event_allocate_common_event_client)
TAVI_UNEXPECTED(event_allocate_usecase_event_client)
TAVI_UNEXPECTED(event_free_common_event_client)
TAVI_UNEXPECTED(event_free_usecase_event_client)
TAVI_UNEXPECTED(sensor_registerHingeAngleSensorCallback)
TAVI_UNEXPECTED(sensor_deregisterHingeAngleSensorCallback)
TAVI_UNEXPECTED(sensor_registerProximitySensorCallback)
TAVI_UNEXPECTED(sensor_deregisterProximitySensorCallback)

namespace brelmo::tavi::test {

TEST(NullDevice, FailsWithoutReachingForTheHost) {
  void* const library = dlopen(ModulePath().c_str(), RTLD_NOW | RTLD_LOCAL);
  ASSERT_NE(library, nullptr) << dlerror();
  const auto init = reinterpret_cast<int (*)(void*, void*, void*, const char*, void**)>(
      dlsym(library, "compensation_init"));
  LogRecorder log;
  int before = 0;
  void* handle = &before;
  EXPECT_EQ(init(nullptr, nullptr, nullptr, "HingeAngle:0,90|LeftChannel:none|RightChannel:none",
                 &handle),
            -1);
  EXPECT_EQ(handle, nullptr);
  EXPECT_THAT(freed, testing::ElementsAre(&before));
  EXPECT_NE(context[1], nullptr);  // the engine is there all the same
  EXPECT_EQ(log.Take().back(), LogText(android::base::ERROR, "audio_hw_compensation",
                                       "compensation_init: failed to initialize events listeners"));
}

}  // namespace brelmo::tavi::test
