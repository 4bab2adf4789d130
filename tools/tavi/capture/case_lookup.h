// The cases of a configuration as the module's own engine reads them, to name what reaches the DSP.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "dsp_message.h"
#include "telephony_speaker_compensation.h"
#include "virtual_dsp.h"

namespace brelmo::tavi::tools {

class CaseLookup {
 public:
  // Reads the data files, through the data folder in force. Logs nothing.
  explicit CaseLookup(const std::string& config);

  // Cases, counted from 0, whose corrections are exactly what the write holds.
  std::vector<size_t> CasesOf(const simulator::DspWrite& write) const;
  // The data files, by their configured names, that hold exactly this response. An empty name
  // stands for the flat response that the module plays for an unusable file.
  std::vector<std::string> FilesOf(const simulator::DspMessage& message) const;
  // Those of `cases` whose keys are the previous case keys of a dump of the module; `cases` itself
  // when that rules out all.
  std::vector<size_t> Narrow(const std::vector<size_t>& cases, const std::string& dump) const;

  size_t size() const { return engine().cases().size(); }
  const audio::compensation::TelephonySpeakerCompensation& engine() const { return *engine_; }

 private:
  std::unique_ptr<audio::compensation::TelephonySpeakerCompensation> engine_;
};

}  // namespace brelmo::tavi::tools
