#include "loaded_module.h"

#include <dlfcn.h>

#include <cstdint>
#include <iomanip>
#include <sstream>
#include <stdexcept>

namespace brelmo::tavi::simulator {

namespace {

constexpr const char* kDescriptorName = "HAL_PLATFORM_EXT_AUD_MODULE";

std::string Hex(uint32_t value) {
  std::ostringstream text;
  text << "0x" << std::hex << std::setw(8) << std::setfill('0') << value;
  return text.str();
}

// Why the host would not take the descriptor; empty when it would.
std::string FindFault(const hal_ext_audio_module& descriptor) {
  if (descriptor.tag != HAL_EXT_MODULE_TAG) {
    return "tag " + Hex(descriptor.tag) + ", expected " + Hex(HAL_EXT_MODULE_TAG);
  }
  if (descriptor.version != HAL_EXT_MODULE_VERSION) {
    return "version " + std::to_string(descriptor.version) + ", expected " +
           std::to_string(HAL_EXT_MODULE_VERSION) +
           ". It is built for another host: it takes a tavi that was built with the same "
           "hal_audio_platform.h";
  }
  if (descriptor.init == nullptr) return "no init entry";
  if (descriptor.deinit == nullptr) return "no deinit entry";
  if (descriptor.dump == nullptr) return "no dump entry";
  return "";
}

}  // namespace

LoadedModule::LoadedModule(const std::string& path) {
  // A name without a slash would be searched for in the system's library folders.
  const std::string file = path.find('/') == std::string::npos ? "./" + path : path;
  void* const library = dlopen(file.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (library == nullptr) throw std::runtime_error(path + ": cannot be loaded: " + dlerror());
  descriptor_ = static_cast<const hal_ext_audio_module*>(dlsym(library, kDescriptorName));
  if (descriptor_ == nullptr) {
    throw std::runtime_error(path + ": is no extension module: it does not export " +
                             kDescriptorName);
  }
  if (const std::string fault = FindFault(*descriptor_); !fault.empty()) {
    throw std::runtime_error(path + ": its descriptor is not what a host expects: " + fault);
  }
}

}  // namespace brelmo::tavi::simulator
