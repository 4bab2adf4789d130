#include "capture/dump_text.h"

#include <algorithm>

namespace brelmo::tavi::tools {

namespace {

// So many lines in a row that are of no dump end it.
constexpr size_t kForeignLines = 50;
constexpr std::string_view kTitle = "TelephonySpeakerCompensation :";

// Takes what stands up to and with `word`, which begins the text or stands behind a blank; false
// when it is not there. A line of the log has "UpdateTuningData: ".
bool TakeBehind(std::string_view& text, std::string_view word) {
  const size_t at = text.find(word);
  if (at == std::string_view::npos) return false;
  if (at > 0 && text[at - 1] != ' ' && text[at - 1] != '\t') return false;
  text.remove_prefix(at + word.size());
  return true;
}

// Whether the line ends with `word`, and has it as TakeBehind wants it.
bool HasTitle(std::string_view line, std::string_view word) {
  return TakeBehind(line, word) && line.empty();
}

}  // namespace

bool DumpReader::Add(std::string_view line, size_t number) {
  while (!line.empty() && (line.back() == ' ' || line.back() == '\r')) line.remove_suffix(1);
  const size_t at = line.find(kTitle);
  if (at != std::string_view::npos && at + kTitle.size() == line.size()) {
    End();
    dump_.emplace();
    dump_->line = number;
    is_numbering_broken_ = has_indices_title_ = is_in_output_ = false;
    foreign_lines_ = 0;
    return true;
  }
  if (!dump_) return false;
  const bool is_known = AddState(line) || AddCase(line) || AddIndex(line);
  if (is_known) {
    foreign_lines_ = 0;
  } else if (++foreign_lines_ == kForeignLines) {
    End();
  }
  return is_known;
}

void DumpReader::End() {
  if (!dump_) return;
  const auto has_all = [](const DumpCase& one) {
    return one.outputs.size() == 2 && (one.keys.hinge || one.keys.rotation);
  };
  dump_->is_complete =
      has_indices_title_ && !is_numbering_broken_ &&
      std::all_of(dump_->cases.begin(), dump_->cases.end(), has_all) &&
      std::all_of(dump_->cases.begin(), dump_->cases.end(), [this](const DumpCase& one) {
        return (!one.keys.hinge || dump_->has_hinge_index) &&
               (!one.keys.rotation || dump_->has_rotation_index);
      });
  ended_.push_back(std::move(*dump_));
  dump_.reset();
}

bool DumpReader::AddState(std::string_view line) {
  if (std::string_view rest = line; TakeBehind(rest, "hinge angle:")) {
    const auto angle = TakeInt(rest);
    if (!angle || !TakeWord(rest, ", screen rotation:")) return false;
    const auto rotation = TakeInt(rest);
    if (!rotation || !rest.empty()) return false;
    dump_->hinge_angle = angle;
    dump_->rotation = rotation;
    return true;
  }
  if (std::string_view rest = line; TakeBehind(rest, "Supported Scenario Is Active:")) {
    if (rest != "true" && rest != "false") return false;
    dump_->is_active = rest == "true";
    return true;
  }
  if (std::string_view rest = line; TakeBehind(rest, "Previous Case Keys:")) {
    if (rest == " Null") {
      dump_->has_previous_line = true;
      return true;
    }
    const auto keys = TakeKeys(rest);
    if (!keys) return false;
    dump_->has_previous_line = true;
    dump_->previous = keys;
    return true;
  }
  if (HasTitle(line, "Parameter Index:")) {
    has_indices_title_ = true;
    return true;
  }
  return HasTitle(line, "Optional Parameters:") || HasTitle(line, "TuningData:");
}

bool DumpReader::AddCase(std::string_view line) {
  if (std::string_view rest = line; TakeBehind(rest, "Case Keys [")) {
    const auto number = TakeInt(rest);
    if (!number || *number < 0 || rest != "] :") return false;
    is_numbering_broken_ =
        is_numbering_broken_ || static_cast<size_t>(*number) != dump_->cases.size();
    dump_->cases.emplace_back();
    is_in_output_ = false;
    return true;
  }
  if (dump_->cases.empty()) return false;
  DumpCase& last = dump_->cases.back();
  if (std::string_view rest = line; TakeBehind(rest, "Output [")) {
    const auto number = TakeInt(rest);
    if (!number || rest != "] :") return false;
    // A title was lost: what follows is of another case.
    if (is_in_output_ || static_cast<size_t>(*number) + 1 != dump_->cases.size()) {
      is_numbering_broken_ = true;
    }
    is_in_output_ = true;
    return true;
  }
  if (const size_t at = line.find("Name : "); at != std::string_view::npos && !is_in_output_) {
    std::string_view rest = line.substr(at);
    PostureKeys keys = last.keys;
    if (!TakeKey(rest, keys) || !rest.empty()) return false;
    last.keys = keys;
    return true;
  }
  std::string_view rest = line;
  if (!TakeBehind(rest, "FileName: ")) return false;
  // A name may hold anything.
  const size_t at = rest.rfind(", Type:");
  if (at == std::string_view::npos) return false;
  DumpOutput output;
  output.file_name = rest.substr(0, at);
  rest.remove_prefix(at);
  TakeWord(rest, ", Type:");
  const auto type = TakeInt(rest);
  if (!type || !TakeWord(rest, ", Data Size:")) return false;
  const auto floats = TakeInt(rest);
  if (!floats || *floats < 0 || !rest.empty()) return false;
  output.type = *type;
  output.floats = static_cast<size_t>(*floats);
  if (last.outputs.size() == 2) {
    is_numbering_broken_ = true;
    return true;
  }
  last.outputs.push_back(std::move(output));
  return true;
}

bool DumpReader::AddIndex(std::string_view line) {
  if (std::string_view rest = line; TakeBehind(rest, "HingeAngle {")) {
    std::vector<std::pair<int, int>> ranges;
    while (!TakeWord(rest, "}")) {
      const bool is_open = TakeWord(rest, "[");
      const auto low = TakeInt(rest);
      const bool is_range = TakeWord(rest, "~");
      const auto high = TakeInt(rest);
      const bool is_closed = TakeWord(rest, "]:");
      const auto index = TakeInt(rest);
      if (!is_open || !low || !is_range || !high || !is_closed || !index || !TakeWord(rest, ", ") ||
          static_cast<size_t>(*index) != ranges.size()) {
        return false;
      }
      ranges.emplace_back(*low, *high);
    }
    dump_->ranges = ranges;
    dump_->has_hinge_index = true;
    return true;
  }
  std::string_view rest = line;
  if (!TakeBehind(rest, "ScreenRotation {")) return false;
  std::vector<std::pair<int, int>> rotations;
  while (!TakeWord(rest, "}")) {
    const auto rotation = TakeInt(rest);
    const bool has_colon = TakeWord(rest, ":");
    const auto index = TakeInt(rest);
    if (!rotation || !has_colon || !index || !TakeWord(rest, ", ")) return false;
    rotations.emplace_back(*rotation, *index);
  }
  dump_->rotations = rotations;
  dump_->has_rotation_index = true;
  return true;
}

}  // namespace brelmo::tavi::tools
