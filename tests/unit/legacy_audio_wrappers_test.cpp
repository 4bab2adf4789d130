#include <cstring>
#include <limits>

#include <gmock/gmock.h>

#include "telephony_speaker_compensation_api.h"

namespace brelmo::tavi::test {
namespace {

using audio::LegacyAudioSensorInfoWrapper;
using audio::LegacyAudioTunerDelivererWrapper;

struct SensorCall {
  std::string function;
  hal_audio_device* device;
  int client_id;
  hal_sensor_callback_t callback;
  void* cookie;

  bool operator==(const SensorCall& other) const {
    return function == other.function && device == other.device && client_id == other.client_id &&
           callback == other.callback && cookie == other.cookie;
  }
};

struct TuningCall {
  hal_audio_device* device;
  int32_t code, sub_code, reserved;
  void *reserved_pointer, *context;
  const void* data;
  int64_t size, reserved_1, reserved_2;

  bool operator==(const TuningCall& other) const {
    return device == other.device && code == other.code && sub_code == other.sub_code &&
           reserved == other.reserved && reserved_pointer == other.reserved_pointer &&
           context == other.context && data == other.data && size == other.size &&
           reserved_1 == other.reserved_1 && reserved_2 == other.reserved_2;
  }
};

// What the host below got and what it answers.
std::vector<SensorCall> sensor_calls;
std::vector<TuningCall> tuning_calls;
int host_result = 0;

int RecordSensorCall(const char* function, hal_audio_device* device, int client_id,
                     hal_sensor_callback_t callback = nullptr, void* cookie = nullptr) {
  sensor_calls.push_back({function, device, client_id, callback, cookie});
  return host_result;
}

int TuningEntry(hal_audio_device* device, int32_t code, int32_t sub_code, int32_t reserved,
                void* reserved_pointer, void* context, const void* data, int64_t size,
                int64_t reserved_1, int64_t reserved_2) {
  tuning_calls.push_back({device, code, sub_code, reserved, reserved_pointer, context, data, size,
                          reserved_1, reserved_2});
  return host_result;
}

// A device record; everything around the tuning entry is garbage.
class Device {
 public:
  explicit Device(hal_tuning_entry_t entry) {
    std::memset(record_, 0xA5, sizeof(record_));
    Publish(entry);
  }
  void Publish(hal_tuning_entry_t entry) { std::memcpy(record_ + 2656, &entry, sizeof(entry)); }
  hal_audio_device* get() { return reinterpret_cast<hal_audio_device*>(record_); }

 private:
  alignas(16) unsigned char record_[2656 + 64];
};

class LegacyAudioWrappers : public testing::Test {
 protected:
  LegacyAudioWrappers() {
    sensor_calls.clear();
    tuning_calls.clear();
    host_result = 0;
  }

  Device device_{TuningEntry};
  LegacyAudioTunerDelivererWrapper tuner_{device_.get()};
  LegacyAudioSensorInfoWrapper sensors_{device_.get()};
  unsigned char data_[4] = {};
  int context_ = 0;
};

TEST_F(LegacyAudioWrappers, PassTheTenTuningArguments) {
  constexpr unsigned long kLargeSize = 0x123456789;
  EXPECT_TRUE(tuner_.WriteCompensationData(data_, kLargeSize));
  EXPECT_TRUE(tuner_.SendStereoSpatializerParameters(data_, 4, &context_));
  EXPECT_TRUE(tuner_.SendStereoSpatializerParameters(nullptr, -3, &context_));
  EXPECT_EQ(tuning_calls,
            (std::vector<TuningCall>{
                {device_.get(), 16, 10, 0, nullptr, nullptr, data_, 0x123456789, 0, 0},
                {device_.get(), 12, 7, 0, nullptr, &context_, data_, 4, 0, 0},
                {device_.get(), 12, 7, 0, nullptr, &context_, nullptr, -3, 0, 0}}));
}

TEST_F(LegacyAudioWrappers, TakeEveryTuningResultButZeroAsFailure) {
  for (const int result : {-1, 1, std::numeric_limits<int>::min()}) {
    host_result = result;
    EXPECT_FALSE(tuner_.WriteCompensationData(data_, 4));
    EXPECT_FALSE(tuner_.SendStereoSpatializerParameters(data_, 4, &context_));
  }
  EXPECT_EQ(tuning_calls.size(), 6U);
}

TEST_F(LegacyAudioWrappers, DoNotCallAMissingTuningEntry) {
  device_.Publish(nullptr);
  EXPECT_FALSE(tuner_.WriteCompensationData(data_, 4));
  EXPECT_FALSE(tuner_.SendStereoSpatializerParameters(data_, 4, &context_));
  device_.Publish(TuningEntry);
  EXPECT_FALSE(tuner_.SendStereoSpatializerParameters(data_, 4, nullptr));
  EXPECT_TRUE(tuning_calls.empty());
  EXPECT_TRUE(tuner_.WriteCompensationData(data_, 4));
}

TEST_F(LegacyAudioWrappers, ForwardSensorCalls) {
  const audio::SensorCallback callback = [](int, void*) { return 0; };
  host_result = -7;
  EXPECT_EQ(sensors_.RegisterProximitySensorCallback(1, callback, &context_), -7);
  EXPECT_EQ(sensors_.DeregisterProximitySensorCallback(2), -7);
  EXPECT_EQ(sensors_.RegisterHingeAngleSensorCallback(3, callback, &context_), -7);
  host_result = 0;
  EXPECT_EQ(sensors_.DeregisterHingeAngleSensorCallback(4), 0);
  hal_audio_device* const device = device_.get();
  EXPECT_EQ(sensor_calls,
            (std::vector<SensorCall>{{"register proximity", device, 1, callback, &context_},
                                     {"deregister proximity", device, 2, nullptr, nullptr},
                                     {"register hinge angle", device, 3, callback, &context_},
                                     {"deregister hinge angle", device, 4, nullptr, nullptr}}));
}

}  // namespace
}  // namespace brelmo::tavi::test

// The host that the entry points are linked with. The tests above do not call those, so nothing may
// reach memory and event service.
using brelmo::tavi::test::RecordSensorCall;

extern "C" {

int sensor_registerHingeAngleSensorCallback(hal_audio_device* device, int client_id,
                                            hal_sensor_callback_t callback, void* cookie) {
  return RecordSensorCall("register hinge angle", device, client_id, callback, cookie);
}

int sensor_deregisterHingeAngleSensorCallback(hal_audio_device* device, int client_id) {
  return RecordSensorCall("deregister hinge angle", device, client_id);
}

int sensor_registerProximitySensorCallback(hal_audio_device* device, int client_id,
                                           hal_sensor_callback_t callback, void* cookie) {
  return RecordSensorCall("register proximity", device, client_id, callback, cookie);
}

int sensor_deregisterProximitySensorCallback(hal_audio_device* device, int client_id) {
  return RecordSensorCall("deregister proximity", device, client_id);
}

void* audio_hal_calloc(hal_audio_device*, size_t) {
  ADD_FAILURE();
  return nullptr;
}

void audio_hal_free(hal_audio_device*, void*) { ADD_FAILURE(); }

int event_allocate_common_event_client(hal_audio_device*, void**, const hal_common_event_t*, int,
                                       int, hal_common_event_handler_t, void*) {
  ADD_FAILURE();
  return -1;
}

int event_allocate_usecase_event_client(hal_audio_device*, void**, const int32_t*, int,
                                        const usecase_event_t*, int, int, usecase_event_handler_t,
                                        void*) {
  ADD_FAILURE();
  return -1;
}

void event_free_common_event_client(hal_audio_device*, void**) { ADD_FAILURE(); }

void event_free_usecase_event_client(hal_audio_device*, void**) { ADD_FAILURE(); }

}  // extern "C"
