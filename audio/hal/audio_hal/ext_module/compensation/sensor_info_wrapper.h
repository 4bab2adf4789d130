// The posture sensors as the module sees them.
#pragma once

namespace brelmo::tavi::audio {

// Called on a sensor thread. Hinge angle: `value` in degrees.
using SensorCallback = int (*)(int value, void* cookie);

// Registration of sensor callbacks. Every operation returns the provider's result, 0 for success.
// `cookie` is borrowed: it must outlive the registration.
class SensorInfoWrapper {
 public:
  SensorInfoWrapper() = default;
  SensorInfoWrapper(const SensorInfoWrapper&) = delete;
  SensorInfoWrapper& operator=(const SensorInfoWrapper&) = delete;
  virtual ~SensorInfoWrapper() = default;

  virtual int RegisterProximitySensorCallback(int client_id, SensorCallback callback,
                                              void* cookie) = 0;
  virtual int DeregisterProximitySensorCallback(int client_id) = 0;
  virtual int RegisterHingeAngleSensorCallback(int client_id, SensorCallback callback,
                                               void* cookie) = 0;
  virtual int DeregisterHingeAngleSensorCallback(int client_id) = 0;
};

}  // namespace brelmo::tavi::audio
