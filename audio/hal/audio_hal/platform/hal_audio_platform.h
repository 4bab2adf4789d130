// The part of the host audio HAL that the compensation module needs, and nothing more.
//
// This header stands in for the host's own ones: a vendor tree replaces it with a header of the
// same name that includes those. Types that the module only passes on stay opaque; what it needs to
// know of their layout are the numbers below.
//
// Every function takes the device that was given to the module's init entry, unchanged. Functions
// that return int return 0 for success unless they say otherwise.
#pragma once

// The C names: a host may read this as C.
// NOLINTBEGIN(modernize-deprecated-headers)
#include <stddef.h>
#include <stdint.h>
// NOLINTEND(modernize-deprecated-headers)

#ifdef __cplusplus
extern "C" {
#endif

typedef struct hal_audio_device hal_audio_device;
typedef struct hal_ext_module_ops hal_ext_module_ops;
typedef struct usecase usecase;

// What one release of the host differs from another in. The module and everything that judges it
// take the numbers from here.
enum {
  // Where the host's records hold the only field of each that the module reads, in bytes.
  HAL_TUNING_ENTRY_OFFSET =
      2656,  // in hal_audio_device: hal_tuning_entry_t, null when there is none
  HAL_USECASE_VALUE_OFFSET = 12,  // in usecase: uint32_t, the use case's value
  // How an extension module's descriptor begins.
  HAL_EXT_MODULE_TAG = 0x76547242,  // "BrTv"
  HAL_EXT_MODULE_VERSION = 66
};

// Host enumerations; the module uses the numbers only.
typedef int32_t hal_common_event_t;
typedef int32_t usecase_event_t;
typedef int32_t aud_mdl_handle_event;
typedef int32_t aud_interacts_op_t;

// ---- Memory -------------------------------------------------------------------------------------

// Zero-filled memory owned by the host's allocator, or null. Give it back with audio_hal_free.
void* audio_hal_calloc(hal_audio_device* device, size_t size);
// Takes back memory of audio_hal_calloc; null is allowed.
void audio_hal_free(hal_audio_device* device, void* memory);

// ---- Events -------------------------------------------------------------------------------------

// Called on the host's event threads; `cookie` is the one given at allocation. `data` of a common
// event points at its 32-bit payload, `uc` of a use-case event at the use case's record; both are
// valid during the call only.
typedef void (*hal_common_event_handler_t)(hal_common_event_t event, void* data, void* cookie);
typedef void (*usecase_event_handler_t)(usecase_event_t event, usecase* uc, void* data,
                                        void* cookie);

// Allocates a client and stores its handle at `client`. The lists are copied. `option` is the
// host's; the module passes 5.
int event_allocate_common_event_client(hal_audio_device* device, void** client,
                                       const hal_common_event_t* events, int event_count,
                                       int option, hal_common_event_handler_t handler,
                                       void* cookie);
int event_allocate_usecase_event_client(hal_audio_device* device, void** client,
                                        const int32_t* usecases, int usecase_count,
                                        const usecase_event_t* events, int event_count, int option,
                                        usecase_event_handler_t handler, void* cookie);
// The client is given up; what *client holds afterwards is the host's affair.
void event_free_common_event_client(hal_audio_device* device, void** client);
void event_free_usecase_event_client(hal_audio_device* device, void** client);

// ---- Sensors ------------------------------------------------------------------------------------

// Called on the host's sensor thread. Hinge angle: `value` in degrees.
typedef int (*hal_sensor_callback_t)(int value, void* cookie);

int sensor_registerHingeAngleSensorCallback(hal_audio_device* device, int client_id,
                                            hal_sensor_callback_t callback, void* cookie);
int sensor_deregisterHingeAngleSensorCallback(hal_audio_device* device, int client_id);
int sensor_registerProximitySensorCallback(hal_audio_device* device, int client_id,
                                           hal_sensor_callback_t callback, void* cookie);
int sensor_deregisterProximitySensorCallback(hal_audio_device* device, int client_id);

// ---- Tuning -------------------------------------------------------------------------------------

// Delivers one block of parameters to the audio DSP. Synchronous: the host keeps neither pointer
// after it returns.
typedef int (*hal_tuning_entry_t)(hal_audio_device* device, int32_t code, int32_t sub_code,
                                  int32_t reserved, void* reserved_pointer, void* context,
                                  const void* data, int64_t size, int64_t reserved_1,
                                  int64_t reserved_2);

// ---- Extension modules --------------------------------------------------------------------------

typedef int (*hal_module_event_callback_t)(hal_audio_device* device, aud_mdl_handle_event event,
                                           void* data, unsigned int data_size, void** reply,
                                           unsigned int* reply_size, aud_interacts_op_t op,
                                           unsigned int flags);

// What the host looks up in the library, under the name HAL_PLATFORM_EXT_AUD_MODULE.
typedef struct hal_ext_audio_module {
  uint32_t tag;      // HAL_EXT_MODULE_TAG: four characters in file byte order
  uint32_t version;  // HAL_EXT_MODULE_VERSION
  int (*init)(hal_audio_device* device, hal_module_event_callback_t module_event_callback,
              hal_ext_module_ops* ops, const char* config, void** handle);
  int (*deinit)(hal_audio_device* device, void** handle);
  int (*dump)(int fd, void* handle);
} hal_ext_audio_module;

#ifdef __cplusplus
}
#endif
