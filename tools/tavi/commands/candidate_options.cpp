#include "commands/candidate_options.h"

#include <algorithm>
#include <utility>

#include "check/tuning_files.h"
#include "commands/config_options.h"
#include "console/input.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

void CandidateOptions::AddTo(CLI::App& command) {
  auto* const group = command.add_option_group("Configurations");
  group
      ->add_option("--config", files_,
                   "File with a configuration that the device may have had; may be repeated")
      ->type_name("FILE");
  group
      ->add_option("--config-text", texts_,
                   "The text of one; may be repeated, and comes behind the files")
      ->type_name("TEXT");
  group
      ->add_option("--data-root", data_roots_,
                   "Folder with the data files: one for all configurations, or one for each in "
                   "their order")
      ->check(NamedFolder())
      ->type_name("DIR");
  for (const char* const name : {"--config", "--config-text", "--data-root"}) {
    group->get_option(name)->allow_extra_args(false)->take_all();
  }
}

std::vector<CandidateSource> CandidateOptions::Read() const {
  const size_t count = files_.size() + texts_.size();
  if (data_roots_.size() > 1 && data_roots_.size() != count) {
    throw InputError("--data-root is given " + Count(data_roots_.size(), "time") + " for " +
                     Count(count, "configuration") +
                     "; give one folder for all of them, or one for each");
  }
  if (!data_roots_.empty() && count == 0) {
    throw InputError("--data-root has no --config whose data files it could hold");
  }
  std::vector<CandidateSource> sources;
  for (size_t i = 0; i < count; ++i) {
    CandidateSource source;
    if (i < files_.size()) {
      source.name = files_[i];
      source.text = HostText(files_[i], ReadFile(files_[i]));
    } else {
      source.text = texts_[i - files_.size()];
      source.name = "configuration " + std::to_string(i + 1);
    }
    if (!data_roots_.empty())
      source.data_root = data_roots_.size() == 1 ? data_roots_[0] : data_roots_[i];
    RequireFiniteDataFiles(source.text, source.data_root);
    // One configuration with the files of two folders is two candidates.
    const auto same = std::find_if(sources.begin(), sources.end(), [&source](const auto& other) {
      return other.name == source.name;
    });
    if (same != sources.end()) {
      same->name += " with " + same->data_root;
      source.name += " with " + source.data_root;
    }
    sources.push_back(std::move(source));
  }
  if (count > 0 && data_roots_.empty()) WarnOfNoDeviceFolder();
  return sources;
}

std::vector<InputFile> CandidateOptions::Inputs(const std::vector<CandidateSource>& sources) const {
  std::vector<InputFile> inputs;
  for (const std::string& file : files_) inputs.push_back({file, "a configuration"});
  for (const CandidateSource& source : sources) {
    for (InputFile& input : DataFileInputs(source.text, source.data_root, "the configuration")) {
      inputs.push_back(std::move(input));
    }
  }
  return inputs;
}

}  // namespace brelmo::tavi::tools
