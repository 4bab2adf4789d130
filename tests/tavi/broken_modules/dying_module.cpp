// A module that takes common values as orders to end the process, each in another way.
#include <csignal>
#include <cstdlib>

#include <unistd.h>

#include "hal_audio_platform.h"

namespace {

void* client = nullptr;

void HandleCommonEvent(hal_common_event_t /*event*/, void* data, void* /*cookie*/) {
  switch (*static_cast<int*>(data)) {
    case 1:
      *static_cast<volatile int*>(nullptr) = 1;
      break;
    case 2:
      std::abort();
    case 3:
      std::exit(7);
    case 4:
      _exit(0);
    case 5:
      std::raise(SIGRTMIN + 1);
      break;
    case 6:
      for (;;) pause();
    default:
      break;
  }
}

int Init(hal_audio_device* device, hal_module_event_callback_t /*callback*/,
         hal_ext_module_ops* /*ops*/, const char* config, void** handle) {
  if (*config == '!') std::abort();
  const hal_common_event_t events[] = {8, 2, 4};
  void* const context = audio_hal_calloc(device, 32);
  const int result =
      event_allocate_common_event_client(device, &client, events, 3, 5, HandleCommonEvent, context);
  *handle = context;
  return result;
}

int Deinit(hal_audio_device* device, void** handle) {
  event_free_common_event_client(device, &client);
  audio_hal_free(device, *handle);
  *handle = nullptr;
  return 0;
}

int Dump(int /*fd*/, void* /*handle*/) { return 0; }

}  // namespace

extern "C" {
extern __attribute__((visibility("default"))) hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE;
hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE = {HAL_EXT_MODULE_TAG, HAL_EXT_MODULE_VERSION,
                                                    Init, Deinit, Dump};
}
