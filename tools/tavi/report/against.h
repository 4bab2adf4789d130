// What a report is laid against: an older configuration, and how the one of the report differs.
//
// The member `against` of the data, where one was given:
//   name, sha256    of the configuration's file; data_folder
//   summary         the differences in a line
//   counts          postures; other_case: of them, where another case is taken; other_sound: where
//                   something else is sent; channels: of cases, that are sent otherwise
//   cases           the old ones in force, as those of the report have number, text, is_in_force,
//                   conditions, outputs (channel, file, state, response) and pair
//   pairs           cases to be seen beside each other: new_case, old_case; is_same_case: the one
//                   became the other, elsewhere they are taken in the same posture; left and right:
//                   the difference, as in `diff`
//   diff            what `tavi diff --format json` writes
// and each of `postures` gets a member `old`: taken and alternate, as there; other_case,
// other_sound.
#pragma once

#include <cstddef>

#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "console/output.h"
#include "diff/config_difference.h"
#include "diff/diff_side.h"
#include "report/response_data.h"

namespace brelmo::tavi::tools {

struct PostureChange {
  bool is_other_case = false;
  bool is_other_sound = false;
};

struct Against {
  SideConfig old_config;
  SideConfig new_config;
  double rate = 48000.0;
  ConfigDiff diff;
  std::vector<PostureChange> changes;  // in the order of AllPostures()
  size_t channels = 0;                 // of new cases, that are sent otherwise in some posture

  std::vector<InputFile> inputs() const;
  // Without the name of what it is against.
  std::string Summary() const;
};

// Of the configuration `text` with its data files. No data folder may be in force. Throws
// InputError.
Against ReadAgainst(const SideOptions& old_side, const std::string& text,
                    const std::string& data_root, double rate);

nlohmann::ordered_json AgainstToJson(const Against& against, ResponseData& responses);

}  // namespace brelmo::tavi::tools
