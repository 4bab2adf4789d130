// A module of another version of the host's interface.
#include "hal_audio_platform.h"

extern "C" {
extern __attribute__((visibility("default"))) hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE;
hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE = {HAL_EXT_MODULE_TAG, HAL_EXT_MODULE_VERSION + 1,
                                                    nullptr, nullptr, nullptr};
}
