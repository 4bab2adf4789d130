#include "loaded_module.h"

#include <dlfcn.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <array>
#include <fstream>
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

// Why no library can be in the file; empty when one may be. The loader passes over libraries of
// another machine as if they were not there, and waits for a pipe.
std::string FindFaultOfFile(const std::string& path) {
  struct stat status = {};
  if (stat(path.c_str(), &status) != 0) return std::strerror(errno);
  if (!S_ISREG(status.st_mode)) return "is no regular file";
  const auto read_head = [](const std::string& file) {
    std::array<char, 20> head{};  // with the machine at offset 18
    std::ifstream(file, std::ios::binary).read(head.data(), head.size());
    return head;
  };
  const auto head = read_head(path);
  const auto own = read_head("/proc/self/exe");
  constexpr size_t kIdentity = 6;  // the magic number, 32 or 64 bits, order of bytes
  if (std::memcmp(head.data(), own.data(), 4) != 0) return "is no ELF file";
  if (std::memcmp(head.data(), own.data(), kIdentity) != 0 ||
      std::memcmp(&head[18], &own[18], 2) != 0) {
    return "is for another machine: it needs a tavi that was built for that one";
  }
  return "";
}

}  // namespace

LoadedModule::LoadedModule(const std::string& path) {
  if (const std::string fault = FindFaultOfFile(path); !fault.empty()) {
    throw std::runtime_error(path + ": cannot be loaded: " + fault);
  }
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
