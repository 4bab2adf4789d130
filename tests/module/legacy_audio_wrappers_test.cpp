#include <cstring>
#include <limits>
#include <tuple>

#include <gmock/gmock.h>

#include "telephony_speaker_compensation_api.h"

namespace brelmo::tavi::test {
namespace {

using testing::ElementsAre;
using testing::FieldsAre;
using testing::IsEmpty;

// What the host got and what it answers.
std::vector<std::tuple<std::string, hal_audio_device*, int, hal_sensor_callback_t, void*>>
    sensor_calls;
std::vector<std::tuple<hal_audio_device*, int32_t, int32_t, int32_t, void*, void*, const void*,
                       int64_t, int64_t, int64_t>>
    tuning_calls;
int host_result = 0;

int RecordSensorCall(const char* function, hal_audio_device* device, int client_id,
                     hal_sensor_callback_t callback = nullptr, void* cookie = nullptr) {
  sensor_calls.emplace_back(function, device, client_id, callback, cookie);
  return host_result;
}

int TuningEntry(hal_audio_device* device, int32_t code, int32_t sub_code, int32_t reserved,
                void* reserved_pointer, void* context, const void* data, int64_t size,
                int64_t reserved_1, int64_t reserved_2) {
  tuning_calls.emplace_back(device, code, sub_code, reserved, reserved_pointer, context, data, size,
                            reserved_1, reserved_2);
  return host_result;
}

class LegacyAudioWrappers : public testing::Test {
 protected:
  LegacyAudioWrappers() {
    sensor_calls.clear();
    tuning_calls.clear();
    host_result = 0;
    // Garbage around the tuning entry.
    std::memset(record_, 0xA5, sizeof(record_));
    Publish(TuningEntry);
  }
  void Publish(hal_tuning_entry_t entry) {
    std::memcpy(record_ + HAL_TUNING_ENTRY_OFFSET, &entry, sizeof(entry));
  }

  alignas(16) unsigned char record_[HAL_TUNING_ENTRY_OFFSET + 64];
  hal_audio_device* const device_ = reinterpret_cast<hal_audio_device*>(record_);
  audio::LegacyAudioTunerDelivererWrapper tuner_{device_};
  audio::LegacyAudioSensorInfoWrapper sensors_{device_};
  unsigned char data_[4] = {};
  int context_ = 0;
};

TEST_F(LegacyAudioWrappers, PassTheTenTuningArguments) {
  EXPECT_TRUE(tuner_.WriteCompensationData(data_, 0x123456789));
  EXPECT_TRUE(tuner_.SendStereoSpatializerParameters(data_, 4, &context_));
  EXPECT_TRUE(tuner_.SendStereoSpatializerParameters(nullptr, -3, &context_));
  EXPECT_THAT(tuning_calls,
              ElementsAre(FieldsAre(device_, 16, 10, 0, nullptr, nullptr, data_, 0x123456789, 0, 0),
                          FieldsAre(device_, 12, 7, 0, nullptr, &context_, data_, 4, 0, 0),
                          FieldsAre(device_, 12, 7, 0, nullptr, &context_, nullptr, -3, 0, 0)));
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
  Publish(nullptr);
  EXPECT_FALSE(tuner_.WriteCompensationData(data_, 4));
  EXPECT_FALSE(tuner_.SendStereoSpatializerParameters(data_, 4, &context_));
  Publish(TuningEntry);
  EXPECT_FALSE(tuner_.SendStereoSpatializerParameters(data_, 4, nullptr));
  audio::LegacyAudioTunerDelivererWrapper without_device(nullptr);
  EXPECT_FALSE(without_device.WriteCompensationData(data_, 4));
  EXPECT_FALSE(without_device.SendStereoSpatializerParameters(data_, 4, &context_));
  EXPECT_THAT(tuning_calls, IsEmpty());
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
  EXPECT_THAT(sensor_calls,
              ElementsAre(FieldsAre("register proximity", device_, 1, callback, &context_),
                          FieldsAre("deregister proximity", device_, 2, nullptr, nullptr),
                          FieldsAre("register hinge angle", device_, 3, callback, &context_),
                          FieldsAre("deregister hinge angle", device_, 4, nullptr, nullptr)));
}

}  // namespace
}  // namespace brelmo::tavi::test

// The host that the module's entry points are linked with. The wrappers must not reach its memory
// and its event service.
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
