#include "commands/installed_module.h"

#include <filesystem>

#include "console/input.h"

namespace brelmo::tavi::tools {

std::string FindInstalledModule() {
  constexpr const char* kName = "audio_compensation_tavi.so";
  std::error_code error;
  const auto folder = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
  for (const auto& candidate : {folder / kName, folder / TAVI_RELATIVE_MODULE_FOLDER / kName}) {
    if (std::filesystem::exists(candidate, error)) return candidate.lexically_normal().string();
  }
  throw InputError(std::string(kName) +
                   ": is not where this program was built or installed; name it with --module");
}

}  // namespace brelmo::tavi::tools
