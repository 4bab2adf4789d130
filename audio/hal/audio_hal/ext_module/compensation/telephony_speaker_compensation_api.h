// The library's face towards the host audio HAL: the descriptor the host looks up, the three entry
// points behind it, and the wrappers over the host's sensor and tuning services.
#pragma once

#include <cstdint>

#include "hal_audio_platform.h"
#include "sensor_info_wrapper.h"
#include "tuner_deliverer_wrapper.h"

#define TAVI_MODULE_EXPORT __attribute__((visibility("default")))

extern "C" {

// The only object the host needs to look up.
extern TAVI_MODULE_EXPORT hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE;

// Called by the host's control thread, as all three. `config` is the one-line configuration text
// (null is an empty text); `handle` must not be null and normally points at a null pointer.
//   0    success; *handle is the module's context. Also for a text that yields no case: an ERROR
//        line is written and *handle stays as it was.
//   -12  no memory for the context.
//   -1   there is no device, or the event service or the hinge-angle sensor refused. What was in
//        *handle is given to audio_hal_free, and *handle is null.
// Reads the data files that the configuration names (blocking). On success host threads may enter
// the module before this returns. `module_event_callback` and `ops` are not used.
TAVI_MODULE_EXPORT int compensation_init(hal_audio_device* device,
                                         hal_module_event_callback_t module_event_callback,
                                         hal_ext_module_ops* ops, const char* config,
                                         void** handle);

// Unregisters from the host's services and gives the context of a successful init back; *handle
// must be that context and is null afterwards. The engine stays: a host thread may still be inside
// it. Always 0.
TAVI_MODULE_EXPORT int compensation_deinit(hal_audio_device* device, void** handle);

// Writes the state of the context `handle`, which may be null, and a final line feed to `fd`. Takes
// no lock. Always 0.
TAVI_MODULE_EXPORT int compensation_dump(int fd, void* handle);

}  // extern "C"

namespace brelmo::tavi::audio {

// Forwards to the host's sensor service. `device` is borrowed.
class LegacyAudioSensorInfoWrapper final : public SensorInfoWrapper {
 public:
  explicit LegacyAudioSensorInfoWrapper(hal_audio_device* device) : device_(device) {}

  int RegisterProximitySensorCallback(int client_id, SensorCallback callback,
                                      void* cookie) override;
  int DeregisterProximitySensorCallback(int client_id) override;
  int RegisterHingeAngleSensorCallback(int client_id, SensorCallback callback,
                                       void* cookie) override;
  int DeregisterHingeAngleSensorCallback(int client_id) override;

 private:
  hal_audio_device* const device_;
};

// Calls the tuning entry in the host's device record; false when there is none or it does not
// return 0. The entry is looked up for every call: the host may publish or withdraw it. `device` is
// borrowed.
class LegacyAudioTunerDelivererWrapper final : public TunerDelivererWrapper {
 public:
  explicit LegacyAudioTunerDelivererWrapper(hal_audio_device* device) : device_(device) {}

  bool SendStereoSpatializerParameters(const unsigned char* data, int size, void* context) override;
  bool WriteCompensationData(const unsigned char* data, unsigned long size) override;

 private:
  bool CallTuningEntry(int32_t code, int32_t sub_code, void* context, const unsigned char* data,
                       int64_t size);

  hal_audio_device* const device_;
};

}  // namespace brelmo::tavi::audio
