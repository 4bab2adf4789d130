#include "config_source.h"

#include <cerrno>
#include <cstring>

#include <filesystem>

#include <android-base/file.h>

namespace brelmo::tavi::tools {

std::string ReadFile(const std::string& path) {
  std::error_code error;
  if (std::filesystem::is_directory(path, error)) throw InputError(path + ": is a folder");
  std::string content;
  if (!android::base::ReadFileToString(path, &content, /*follow_symlinks=*/true)) {
    throw InputError(path + ": cannot be read: " + std::strerror(errno));
  }
  return content;
}

void ConfigSource::AddTo(CLI::App& command, bool is_required) {
  auto* const group = command.add_option_group("Configuration");
  group->add_option("--config", file_, "File with the configuration text")->type_name("FILE");
  group->add_option("--config-text", text_, "The configuration text itself")->type_name("TEXT");
  if (is_required) {
    group->require_option(1);
  } else {
    group->require_option(0, 1);
  }
  command
      .add_option("--data-root", data_root_,
                  "Folder that takes the place of the module's data folder, /vendor/etc")
      ->type_name("DIR");
}

std::string ConfigSource::Text() const {
  if (!file_) return text_.value_or("");
  std::string text = ReadFile(*file_);
  if (!text.empty() && text.back() == '\n') text.pop_back();
  if (const size_t at = text.find('\0'); at != std::string::npos) {
    throw InputError(*file_ + ": byte " + std::to_string(at + 1) +
                     " is a null character, where a host would end the text");
  }
  return text;
}

std::optional<simulator::DataFolder> ConfigSource::UseDataFolder() const {
  if (!data_root_) return std::nullopt;
  std::error_code error;
  if (!std::filesystem::is_directory(*data_root_, error)) {
    throw InputError(*data_root_ + ": is no folder to take data files from");
  }
  return std::optional<simulator::DataFolder>(std::in_place,
                                              std::filesystem::absolute(*data_root_).string());
}

}  // namespace brelmo::tavi::tools
