// The source of a tuning: what stands in it, before anything that it names is read.
#pragma once

#include <cstddef>
#include <cstdint>

#include <array>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "build/toml_table.h"
#include "check/known_names.h"
#include "response/biquad.h"
#include "response/design.h"
#include "response/import_correction.h"
#include "response/measurement_reader.h"

namespace brelmo::tavi::tools {

// Paths here are as they are written: relative to the source's folder.

struct FromMeasurement {
  std::string file;
  std::string target = kFlatTarget;  // or a file
  std::string mask;                  // a name or a file; empty for none
  SourcePlace target_place;
  SourcePlace mask_place;
  ReadOptions reading;
  DesignOptions design;  // without target and mask
};

struct FromCorrection {
  std::string file;
  ReadOptions reading;
  ImportOptions import;
};

struct FromFilters {
  std::vector<Filter> chain;  // without a fault
};

struct FromDataFile {
  std::string file;
};

struct ChannelSource {
  std::variant<FromMeasurement, FromCorrection, FromFilters, FromDataFile> from;
  SourcePlace place;  // of what it is made from
};

struct PostureSource {
  std::string name;
  // Any numbers: the module is to judge them.
  std::optional<std::array<int64_t, 2>> hinge;
  std::vector<int64_t> rotations;  // empty: none is asked for
  std::array<ChannelSource, kChannelKeys.size()> channels;
  bool is_pair_levelled = true;
  bool is_delay_matched = false;
  SourcePlace place;  // of the name
  SourcePlace hinge_place;
  SourcePlace rotation_place;
};

struct Project {
  double rate = 48000.0;
  double max_gain_db = 12.0;
  std::string prefix = "spk_";  // of the data files' names
  std::vector<PostureSource> postures;
};

// Of use when nothing was refused; `source` keeps what was.
Project ReadProject(TomlSource& source);

}  // namespace brelmo::tavi::tools
