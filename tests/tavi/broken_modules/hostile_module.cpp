// A module that misuses its process, in the way that HOSTILE in the environment says. Its init does
// nothing else that a host may count on.
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/prctl.h>
#include <unistd.h>

#include "hal_audio_platform.h"

namespace {

bool Is(const char* way) {
  const char* const chosen = std::getenv("HOSTILE");
  return chosen != nullptr && std::strcmp(chosen, way) == 0;
}

[[noreturn]] void Hang() {
  for (;;) pause();
}

__attribute__((constructor)) void OnLoad() {
  if (Is("hang-in-constructor")) Hang();
  if (Is("exit-in-handler")) std::atexit([] { _exit(0); });
}

__attribute__((destructor)) void OnUnload() {
  if (Is("hang-in-destructor")) Hang();
  if (Is("exit-in-destructor")) _exit(0);
  if (Is("crash-in-destructor")) std::abort();
}

void LeaveDaemon() {
  if (fork() != 0) return;
  setsid();
  prctl(PR_SET_PDEATHSIG, 0);
  prctl(PR_SET_NAME, "tavi-daemon");
  if (fork() != 0) _exit(0);
  Hang();
}

int Init(hal_audio_device* /*device*/, hal_module_event_callback_t /*callback*/,
         hal_ext_module_ops* /*ops*/, const char* /*config*/, void** /*handle*/) {
  prctl(PR_SET_PDEATHSIG, 0);
  if (Is("daemon")) LeaveDaemon();
  for (volatile int i = 0; Is("spin"); i = 1 - i) {
  }
  if (Is("close-standard")) {
    for (int fd = 0; fd <= 2; ++fd) close(fd);
  }
  if (Is("close-all")) {
    for (int fd = 0; fd <= 1023; ++fd) close(fd);
  }
  if (Is("print")) {
    std::printf("{\"printed\": \033[31m\n");
    std::fflush(stdout);
  }
  if (Is("print-much")) {
    for (int i = 0; i < 300000; ++i) std::printf("many lines\n");
  }
  return 0;
}

int Deinit(hal_audio_device* /*device*/, void** /*handle*/) { return 0; }

int Dump(int fd, void* /*handle*/) {
  if (Is("close-dump")) return close(fd);
  if (Is("dump-much")) {
    while (dprintf(fd, "%4096s", "") > 0) {
    }
  }
  return 0;
}

}  // namespace

extern "C" {
extern __attribute__((visibility("default"))) hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE;
hal_ext_audio_module HAL_PLATFORM_EXT_AUD_MODULE = {0x76547242, 0x42, Init, Deinit, Dump};
}
