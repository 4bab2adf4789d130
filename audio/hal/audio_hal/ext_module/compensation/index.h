// Posture indices: from a raw posture value (degrees) to a small index value, by the rules that the
// configuration declares.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace brelmo::tavi::audio::compensation {

// One index serves one condition name. Rules are added while the configuration is read; after that
// an index does not change and may be read from any thread.
class CompensationIndex {
 public:
  CompensationIndex() = default;
  CompensationIndex(const CompensationIndex&) = delete;
  CompensationIndex& operator=(const CompensationIndex&) = delete;
  virtual ~CompensationIndex() = default;

  // Whether this index serves the condition called `name` (exact, case-sensitive).
  virtual bool Match(std::string_view name) const = 0;
  // Adds the rule that one condition of the configuration declares. False, after an ERROR line and
  // with nothing added, when the values make no rule.
  virtual bool UpdateDecisionRules(const std::vector<int>& values) = 0;
  // The index value of one reading (`values` holds exactly one, in degrees); no value when no rule
  // covers it.
  virtual std::optional<int> GetIndex(const std::vector<int>& values) const = 0;
  // One line of text for the dump.
  virtual std::string ToString() const = 0;
};

// Hinge angle, 0 to 180 degrees. A rule is a range {low, high}, both ends included, low < high; the
// index value of an angle is the position of the first declared range that contains it.
class HingeAngleIndex final : public CompensationIndex {
 public:
  static constexpr std::string_view kName = "HingeAngle";
  static constexpr int kMinAngle = 0;
  static constexpr int kMaxAngle = 180;

  bool Match(std::string_view name) const override { return name == kName; }
  bool UpdateDecisionRules(const std::vector<int>& values) override;
  std::optional<int> GetIndex(const std::vector<int>& values) const override;
  std::string ToString() const override;

 private:
  std::vector<std::pair<int, int>> ranges_;
};

// Screen rotation: 0, 90, 180 or 270 degrees. A rule lists rotations; each gets the next free index
// value when it is first declared and keeps it.
class ScreenRotationIndex final : public CompensationIndex {
 public:
  static constexpr std::string_view kName = "ScreenRotation";
  static constexpr std::array<int, 4> kSupportedRotations = {0, 90, 180, 270};

  bool Match(std::string_view name) const override { return name == kName; }
  bool UpdateDecisionRules(const std::vector<int>& values) override;
  std::optional<int> GetIndex(const std::vector<int>& values) const override;
  std::string ToString() const override;

 private:
  std::unordered_map<int, int> rotation_indices_;  // rotation -> index value
  int next_index_ = 0;
};

}  // namespace brelmo::tavi::audio::compensation
