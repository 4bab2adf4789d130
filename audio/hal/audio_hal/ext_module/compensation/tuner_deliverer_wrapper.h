// Delivery of parameter blocks to the Tavi DSP as the module sees it.
#pragma once

namespace brelmo::tavi::audio {

// Each operation is synchronous and returns whether the block was accepted. `data` (bytes, `size`
// of them) stays the caller's; an implementation neither changes nor keeps it. The engine calls
// on the host's event threads, with its lock held. `context` is handed through to the host as it
// is.
class TunerDelivererWrapper {
 public:
  TunerDelivererWrapper() = default;
  TunerDelivererWrapper(const TunerDelivererWrapper&) = delete;
  TunerDelivererWrapper& operator=(const TunerDelivererWrapper&) = delete;
  virtual ~TunerDelivererWrapper() = default;

  virtual bool SendStereoSpatializerParameters(const unsigned char* data, int size,
                                               void* context) = 0;
  virtual bool WriteCompensationData(const unsigned char* data, unsigned long size) = 0;
};

}  // namespace brelmo::tavi::audio
