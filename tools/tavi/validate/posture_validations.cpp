// Which case is sent in every posture of a set of configurations.
#include <array>
#include <sstream>

#include "validate/validation.h"

namespace brelmo::tavi::tools {

namespace {

struct CaseRow {
  const char* conditions;
  // Its keys, one for each condition: "HingeAngle 0 1" and "ScreenRotation 0".
  std::vector<std::string> keys;
};

// Postures and the cases, by their letters in the order of the configuration, whose conditions hold
// there.
struct Area {
  int low;  // hinge angles, both ends included; -1 is before the first reading
  int high;
  const char* rotations;  // of 0, 90, 180, 270 and 45, which stands for all others; "*" is any
  const char* cases;
};

// The first area that holds a posture counts; outside of all areas no case holds.
struct PostureTable {
  const char* name;
  const char* holds;
  std::vector<CaseRow> cases;
  std::vector<Area> areas;
};

const std::vector<PostureTable>& PostureTables() {
  static const std::vector<PostureTable> tables = {
      {"cases.separate-ranges",
       "Ranges that neither overlap nor touch: one case each, both ends included.",
       {{"HingeAngle:0,60", {"HingeAngle 0"}},
        {"HingeAngle:61,120", {"HingeAngle 1"}},
        {"HingeAngle:121,180", {"HingeAngle 2"}}},
       {{0, 60, "*", "a"}, {61, 120, "*", "b"}, {121, 180, "*", "c"}}},
      {"cases.gaps",
       "Where no case holds nothing is sent, and the case sent last is remembered.",
       {{"HingeAngle:10,20", {"HingeAngle 0"}}, {"HingeAngle:100,101", {"HingeAngle 1"}}},
       {{10, 20, "*", "a"}, {100, 101, "*", "b"}}},
      {"cases.touching-ranges",
       "A range that begins where an earlier one ends matches all of that one, too.",
       {{"HingeAngle:0,90", {"HingeAngle 0"}}, {"HingeAngle:90,180", {"HingeAngle 0 1"}}},
       {{0, 90, "*", "ab"}, {91, 180, "*", "b"}}},
      {"cases.inner-range",
       "A range inside an earlier one has that one's key: its case never gets its turn.",
       {{"HingeAngle:0,180", {"HingeAngle 0"}}, {"HingeAngle:60,120", {"HingeAngle 0"}}},
       {{0, 180, "*", "ab"}}},
      {"cases.outer-range",
       "A range around an earlier one matches what the earlier one leaves of it.",
       {{"HingeAngle:60,120", {"HingeAngle 0"}}, {"HingeAngle:0,180", {"HingeAngle 1"}}},
       {{60, 120, "*", "a"}, {0, 180, "*", "b"}}},
      {"cases.order-of-indices",
       "Keys with the same indices in another order are other keys.",
       {{"HingeAngle:60,120", {"HingeAngle 0"}},
        {"HingeAngle:0,180", {"HingeAngle 1"}},
        {"HingeAngle:0,100", {"HingeAngle 1 0"}},
        {"HingeAngle:100,180", {"HingeAngle 0 1"}}},
       {{60, 120, "*", "acd"}, {0, 180, "*", "bcd"}}},
      {"cases.rotations",
       "A rotation rule holds in each rotation that it lists, whatever the hinge does.",
       {{"ScreenRotation:270", {"ScreenRotation 0"}},
        {"ScreenRotation:0,270", {"ScreenRotation 1 0"}},
        {"ScreenRotation:90,0", {"ScreenRotation 2 1"}},
        {"ScreenRotation:0,270", {"ScreenRotation 1 0"}}},
       {{-1, 180, "270", "abd"}, {-1, 180, "0", "bcd"}, {-1, 180, "90", "c"}}},
      {"cases.grid",
       "Of two conditions both have to hold.",
       {{"HingeAngle:0,90|ScreenRotation:0,180", {"HingeAngle 0", "ScreenRotation 0 1"}},
        {"HingeAngle:0,90|ScreenRotation:90,270", {"HingeAngle 0", "ScreenRotation 2 3"}},
        {"HingeAngle:91,180|ScreenRotation:0,180", {"HingeAngle 1", "ScreenRotation 0 1"}},
        {"HingeAngle:91,180|ScreenRotation:90,270", {"HingeAngle 1", "ScreenRotation 2 3"}}},
       {{0, 90, "0,180", "a"},
        {0, 90, "90,270", "b"},
        {91, 180, "0,180", "c"},
        {91, 180, "90,270", "d"}}},
      {"cases.other-names",
       "Of cases with one condition each those of either name take turns, and keys of other names "
       "with the same indices are other keys.",
       {{"HingeAngle:0,90", {"HingeAngle 0"}}, {"ScreenRotation:0", {"ScreenRotation 0"}}},
       {{0, 90, "0", "ab"}, {0, 90, "*", "a"}, {-1, 180, "0", "b"}}},
      {"cases.overlap",
       "Where two cases hold, updates send the one and the other by turns.",
       {{"HingeAngle:0,90|ScreenRotation:0,180", {"HingeAngle 0", "ScreenRotation 0 1"}},
        {"HingeAngle:91,180|ScreenRotation:90,270", {"HingeAngle 1", "ScreenRotation 2 3"}},
        {"HingeAngle:90,180|ScreenRotation:0", {"HingeAngle 0 1", "ScreenRotation 0"}}},
       {{0, 90, "0", "ac"}, {0, 90, "180", "a"}, {91, 180, "0", "c"}, {91, 180, "90,270", "b"}}},
      {"cases.three-at-once",
       "Of three that hold the first two take turns: the first that is not the one sent last.",
       {{"HingeAngle:0,100|ScreenRotation:0", {"HingeAngle 0", "ScreenRotation 0"}},
        {"HingeAngle:0,100|ScreenRotation:0,90", {"HingeAngle 0", "ScreenRotation 0 1"}},
        {"HingeAngle:100,180|ScreenRotation:90,0", {"HingeAngle 0 1", "ScreenRotation 1 0"}}},
       {{0, 100, "0", "abc"}, {0, 100, "90", "bc"}, {101, 180, "0,90", "c"}}},
  };
  return tables;
}

constexpr std::array<int, 5> kRotations = {0, 90, 180, 270, 45};

bool IsIn(const char* rotations, int rotation) {
  if (*rotations == '*') return true;
  std::istringstream list(rotations);
  for (std::string one; std::getline(list, one, ',');) {
    if (one == std::to_string(rotation)) return true;
  }
  return false;
}

// Drives the module through postures and says what each event must send.
class TableWalk {
 public:
  TableWalk(Trial& trial, const PostureTable& table) : trial_(trial), table_(table) {
    std::string config;
    for (size_t i = 0; i < table.cases.size(); ++i) {
      const std::string number = std::to_string(i + 1);
      const std::string name(1, Letter(i));
      trial.WriteFile(name + "l.txt", number + ",-1\n");
      trial.WriteFile(name + "r.txt", number + ",1\n");
      const std::string conditions = table.cases[i].conditions;
      has_hinge_ = has_hinge_ || conditions.find("HingeAngle") != std::string::npos;
      config.append(conditions).append("|LeftChannel:").append(name).append("l.txt|RightChannel:");
      config.append(name).append("r.txt ");
      std::string keys = "Case Keys : {";
      for (const std::string& key : table.cases[i].keys) {
        const size_t blank = key.find(' ');
        keys += "Name : " + key.substr(0, blank) + ", Supported Index: {" + key.substr(blank + 1) +
                " } ";
      }
      keys_.push_back(keys + "}");
    }
    trial.Start(config);
    trial.ExpectAfter("announce 5", {});
  }

  bool has_hinge() const { return has_hinge_; }

  void SetActive(bool is_active) {
    is_active_ = is_active;
    previous_.clear();
    Play(is_active ? "start 6" : "stop 6", Status(is_active));
  }
  void Rotate(int rotation) {
    const bool is_change = rotation != rotation_;
    rotation_ = rotation;
    Play("rotation " + std::to_string(rotation), {}, is_change);
  }
  void Hinge(int angle) {
    const bool is_change = angle != angle_;
    angle_ = angle;
    Play("hinge " + std::to_string(angle), {}, is_change);
  }
  // Values and use cases that come and go beside those that make the scenario.
  void KeepScenario() {
    for (const char* const event : {"announce 6", "withdraw 6", "announce 4", "withdraw 4",
                                    "start 23", "stop 23", "stop 24", "withdraw 7"}) {
      Play(event, {}, false);
    }
  }

 private:
  static char Letter(size_t i) { return static_cast<char>('a' + i); }

  void Play(const std::string& event, const Lines& first, bool is_change = true) {
    const std::string sent = is_change ? Send() : "";
    Lines expected = first;
    if (!sent.empty()) {
      const std::string from = previous_.empty() ? " " : " previous" + previous_ + " -> ";
      const size_t i = sent[0] - 'a';
      const std::string value = std::to_string(i + 1);
      const Lines update =
          Lines{EngineLog(INFO, "UpdateTuningData: update case keys:" + from + keys_[i])} +
          Delivered("UpdateTuningData", "left(" + value + " -1) right(" + value + " 1)", 32);
      expected.insert(expected.end(), update.begin(), update.end());
      previous_ = keys_[i];
    }
    const Lines actual = trial_.After(event);
    if (actual == expected) return;
    trial_.ExpectLines("after \"" + event + "\" at hinge " + std::to_string(angle_) +
                           ", rotation " + std::to_string(rotation_),
                       expected, actual);
    throw TrialOver();
  }

  // The letter of the case that is due now; empty when no case is.
  std::string Send() const {
    if (!is_active_) return "";
    for (const Area& area : table_.areas) {
      if (angle_ < area.low || angle_ > area.high || !IsIn(area.rotations, rotation_)) continue;
      for (const char letter : std::string(area.cases)) {
        if (keys_[static_cast<size_t>(letter - 'a')] != previous_) return {letter};
      }
      break;
    }
    return "";
  }

  Trial& trial_;
  const PostureTable& table_;
  std::vector<std::string> keys_;  // of each case
  bool has_hinge_ = false;
  bool is_active_ = false;
  int angle_ = -1;
  int rotation_ = 0;
  std::string previous_;  // the keys of the case sent last
};

void WalkPostures(Trial& trial, const PostureTable& table) {
  constexpr int kLastAngle = 180;
  TableWalk walk(trial, table);
  const auto activate = [&walk] {
    walk.SetActive(true);
    walk.SetActive(false);
  };
  // What an activation sends, in every posture.
  for (const int rotation : kRotations) {
    walk.Rotate(rotation);
    activate();
  }
  if (walk.has_hinge()) {
    for (const int rotation : kRotations) {
      walk.Rotate(rotation);
      for (int angle = 0; angle <= kLastAngle; ++angle) {
        walk.Hinge(angle);
        activate();
      }
    }
  }
  // What changes of the posture send.
  walk.SetActive(true);
  for (const int rotation : kRotations) {
    walk.Rotate(rotation);
    walk.Rotate(rotation);
    if (walk.has_hinge()) {
      for (int angle = 0; angle <= kLastAngle; ++angle) walk.Hinge(angle);
      walk.Hinge(kLastAngle);
      for (int angle = kLastAngle; angle >= 0; angle -= 7) walk.Hinge(angle);
    }
    walk.KeepScenario();
  }
  for (const int rotation : kRotations) walk.Rotate(rotation);
}

}  // namespace

void AddPostureValidations(Validations& validations) {
  for (const PostureTable& table : PostureTables()) {
    validations.push_back(
        {table.name, table.holds, [&table](Trial& trial) { WalkPostures(trial, table); }});
  }
}

}  // namespace brelmo::tavi::tools
