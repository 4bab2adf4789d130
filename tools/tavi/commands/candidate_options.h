// Several configurations, of which a device had one.
#pragma once

#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "console/output.h"
#include "diagnose/candidate.h"

namespace brelmo::tavi::tools {

// The options --config, --config-text and --data-root, each of which may be repeated.
class CandidateOptions {
 public:
  void AddTo(CLI::App& command);

  // The files' before the texts'. Throws InputError, also for a data file that would be read, or
  // waited for, without end.
  std::vector<CandidateSource> Read() const;
  // What is read because of `sources`: no output may take its place.
  std::vector<InputFile> Inputs(const std::vector<CandidateSource>& sources) const;

 private:
  std::vector<std::string> files_;
  std::vector<std::string> texts_;
  std::vector<std::string> data_roots_;  // none, one for all, or one for each
};

}  // namespace brelmo::tavi::tools
