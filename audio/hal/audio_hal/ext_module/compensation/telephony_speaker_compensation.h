// The compensation engine: reads the configuration into a table of posture cases and, while the
// supported telephony scenario is active, sends the corrections of the case that fits the current
// posture to the Tavi DSP.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "index.h"
#include "tuner_deliverer_wrapper.h"

namespace brelmo::tavi::audio::compensation {

// Output names of a case.
inline constexpr std::string_view kLeftChannel = "LeftChannel";
inline constexpr std::string_view kRightChannel = "RightChannel";

// One case as the configuration text gives it; nothing in it is checked. The first value of a
// repeated name wins.
struct CaseConfig {
  std::unordered_map<std::string, std::string> outputs;     // channel name -> data file name
  std::unordered_map<std::string, std::string> conditions;  // condition name -> rule values

  // One line of text; the order of the entries is undefined.
  std::string ToString() const;
};

// The configuration text as read, cases in the order of the text.
struct CompensationConfig {
  std::string name;
  std::vector<CaseConfig> cases;
};

// One output channel's frequency response.
struct CompensationData {
  static constexpr int kInvalidType = -1;
  static constexpr int kLeftType = 0;
  static constexpr int kRightType = 1;

  // Makes an empty response with room for a usual data file.
  CompensationData();

  // Reads "/vendor/etc/" + `file_name` (a line per bin: real part, comma, imaginary part) and
  // appends its bins. False after an ERROR line; bins of the lines before the faulty one then stay.
  // Blocking.
  bool ParseQuantityFromFile(std::string_view file_name);
  // Replaces the response; an odd number of floats is refused with an ERROR line.
  void SetRawData(const std::vector<float>& raw_data);

  std::vector<float> raw_data;  // real and imaginary part of bin 0, of bin 1, ...
  std::string file_name;        // as configured; empty when the response is not from a file
  int type = kInvalidType;      // kLeftType or kRightType
};

// Written under a lock, and read without it by the dump.
template <typename T>
class DumpedValue {
 public:
  explicit DumpedValue(T value) : value_(value) {}

  T get() const { return value_.load(std::memory_order_relaxed); }
  void set(T value) { value_.store(value, std::memory_order_relaxed); }

 private:
  std::atomic<T> value_;
};

// Thread-safe once constructed: every public operation may be called from any thread. A posture or
// scenario change blocks its caller until the messages it causes are delivered.
class TelephonySpeakerCompensation final {
 public:
  static constexpr std::string_view kName = "TelephonySpeakerCompensation";
  // The hinge angle before the first reading.
  static constexpr int kNoHingeAngle = -1;

  // One condition of a case: satisfied while the index that serves `name` gives the current posture
  // one of `supported_indices`.
  struct CaseKey {
    CaseKey(std::string_view name, const std::vector<int>& supported_indices)
        : name(name), supported_indices(supported_indices) {}

    std::string ToString() const;
    bool operator==(const CaseKey& other) const {
      return name == other.name && supported_indices == other.supported_indices;
    }

    std::string name;
    std::vector<int> supported_indices;
  };

  using CaseKeys = std::vector<CaseKey>;
  using Case = std::pair<CaseKeys, std::vector<CompensationData>>;

  // Reads a configuration text: cases separated by spaces, items by "|", name and value by ":". A
  // malformed item ends the reading with a WARNING line; the cases before its case are returned.
  static CompensationConfig GetConfig(const std::string& config);
  // A list of keys on one line, for log and dump.
  static std::string ToString(const CaseKeys& case_keys);

  // Interprets `config`, which reads the data files (blocking). A configuration that is refused
  // part of the way leaves an engine that works with the cases accepted before. `tuner_deliverer`
  // may be null: nothing is ever sent then.
  TelephonySpeakerCompensation(std::unique_ptr<TunerDelivererWrapper> tuner_deliverer,
                               const CompensationConfig& config);
  TelephonySpeakerCompensation(const TelephonySpeakerCompensation&) = delete;
  TelephonySpeakerCompensation& operator=(const TelephonySpeakerCompensation&) = delete;
  ~TelephonySpeakerCompensation() = default;

  // The scenario: which use cases run, which common values are announced. Adding a value that is
  // there, or removing one that is not, changes nothing.
  void AddActiveUsecase(uint32_t usecase);
  void RemoveActiveUsecase(uint32_t usecase);
  void AddActiveCommonValue(uint32_t value);
  void RemoveActiveCommonValue(uint32_t value);
  // Whether the supported scenario is active: a supported common value is announced and a use case
  // runs. Takes no lock.
  bool IsSupportedScenario() const;

  // The posture, in degrees. Any rotation is taken; an angle outside 0 to 180 is ignored.
  void UpdateScreenRotation(int rotation);
  void OnSensorValueChanged(int angle);

  // Writes a description of the engine's state to `fd`. Takes no lock and never waits for one.
  void Dump(int fd) const;

  // What the configuration came to; constant after construction.
  bool is_valid() const { return is_valid_; }
  const std::vector<Case>& cases() const { return cases_; }
  const std::vector<std::unique_ptr<CompensationIndex>>& indices() const { return indices_; }

  // The case, an element of cases(), that an update takes in this posture while the scenario is
  // active and the case with the keys `previous` is the one last sent (null: no case was). Null
  // when it takes none. Changes and sends nothing; an update asks the same.
  const Case* ChooseCase(int hinge_angle, int screen_rotation, const CaseKeys* previous) const;
  // All cases whose conditions hold in this posture, in the order of cases(), whether an update
  // takes them or not.
  std::vector<const Case*> MatchingCases(int hinge_angle, int screen_rotation) const;

 private:
  friend class TelephonySpeakerCompensationPeer;  // the module's own tests

  // The index values of a posture by condition name; at most one for each of the two.
  using TuningParameters = std::vector<std::pair<std::string, int>>;

  // All that an update can take in one posture: the first case that matches and, while that one is
  // the last sent, the first that matches with other keys. Null where there is none.
  struct Choice {
    const Case* first = nullptr;
    const Case* other = nullptr;
  };

  // What the posture values amount to: no reading and each angle; each rotation and any other.
  static constexpr size_t kHingeStates =
      1 + HingeAngleIndex::kMaxAngle - HingeAngleIndex::kMinAngle + 1;
  static constexpr size_t kRotationStates = ScreenRotationIndex::kSupportedRotations.size() + 1;

  // Interpretation of the configuration, before the engine is shared. False is a failure, after an
  // ERROR line but for a configuration without name or cases; what was accepted before it stays.
  bool ParseConfig(const CompensationConfig& config);
  bool ParseOutput(std::vector<CompensationData>& data,
                   const std::unordered_map<std::string, std::string>& outputs);
  bool ParseRule(CaseKeys& case_keys, const std::vector<std::string>& rule_data,
                 std::string_view name);
  // Fills the table of choices from the indices and the cases.
  void BuildChoices();

  void BuildRequestedTuningParameters(TuningParameters& parameters, std::string_view name,
                                      int value) const;
  bool IsMatched(const CaseKeys& case_keys, const TuningParameters& parameters) const;
  Choice MakeChoice(const TuningParameters& parameters) const;

  // The rest is entered with mutex_ held.
  bool ComputeSupportedScenario() const;
  void CheckAndUpdateSupportedScenario();
  void UpdateModuleStatus(bool active);
  void UpdateTuningData();

  // Serialises every change of state, the deliveries to the DSP included. The dump does without:
  // what it reads is either constant after construction or a DumpedValue.
  std::mutex mutex_;
  const std::unique_ptr<TunerDelivererWrapper> tuner_deliverer_;
  std::vector<std::unique_ptr<CompensationIndex>> indices_;
  std::vector<Case> cases_;
  const bool is_valid_;
  DumpedValue<bool> is_supported_scenario_active_{false};
  DumpedValue<int32_t> screen_rotation_{0};
  DumpedValue<int32_t> hinge_angle_{kNoHingeAngle};
  // The keys of the case last sent; null before the first one. They are never copied: cases_ does
  // not change and lives as long as the engine, so a dump may follow the pointer whatever the event
  // threads do meanwhile.
  DumpedValue<const CaseKeys*> previous_case_keys_{nullptr};
  std::vector<uint32_t> active_usecases_;
  std::vector<uint32_t> active_common_values_;
  // The choice for each pair of index values: postures that an index does not tell apart share a
  // row or a column.
  std::vector<std::array<Choice, kRotationStates>> choices_;
  std::array<uint8_t, kHingeStates> rows_{};
  std::array<uint8_t, kRotationStates> columns_{};
};

}  // namespace brelmo::tavi::audio::compensation
