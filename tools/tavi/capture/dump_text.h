// The module's dumps, found among other lines.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "capture/posture_keys.h"

namespace brelmo::tavi::tools {

struct DumpOutput {
  std::string file_name;  // empty: the channel is played flat
  int type = 0;           // 0 left, 1 right
  size_t floats = 0;
};

struct DumpCase {
  PostureKeys keys;
  std::vector<DumpOutput> outputs;
};

struct Dump {
  size_t line = 0;  // of its beginning, from 1
  std::optional<int> hinge_angle;
  std::optional<int> rotation;
  std::optional<bool> is_active;
  bool has_previous_line = false;
  std::optional<PostureKeys> previous;  // empty when the line says so, or is missing
  std::vector<DumpCase> cases;
  std::vector<std::pair<int, int>> ranges;     // by index value
  std::vector<std::pair<int, int>> rotations;  // rotation and index value
  bool has_hinge_index = false;
  bool has_rotation_index = false;
  // All of its parts were there: the cases are numbered without a gap and the indices follow.
  bool is_complete = false;
};

// Takes lines as they come; holds one dump. What stands before a line is looked past: blanks, and
// what a logger puts there.
class DumpReader {
 public:
  // Whether lines of a dump are being read: every line has to be given then.
  bool is_inside() const { return dump_.has_value(); }
  // Whether the line is one of a dump. When that ends an earlier dump, Take has it.
  bool Add(std::string_view line, size_t number);
  // No more lines.
  void End();
  // The dumps that ended, and forgets them.
  std::vector<Dump> Take() { return std::exchange(ended_, {}); }

 private:
  bool AddState(std::string_view line);
  bool AddCase(std::string_view line);
  bool AddIndex(std::string_view line);

  std::optional<Dump> dump_;
  bool is_numbering_broken_ = false;
  bool has_indices_title_ = false;
  bool is_in_output_ = false;
  size_t foreign_lines_ = 0;
  std::vector<Dump> ended_;
};

}  // namespace brelmo::tavi::tools
