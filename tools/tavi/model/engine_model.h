// What the module must read, choose and send, worked out from the text of its configuration.
// Nothing of it is the module's code, so that the two can be held against each other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "host_event.h"

namespace brelmo::tavi::tools {

// A configuration text, taken apart and not interpreted.
struct ModelConfig {
  struct Case {
    std::map<std::string, std::string> outputs;
    std::map<std::string, std::string> conditions;
  };
  std::vector<Case> cases;
  std::optional<std::string> malformed_item;  // reading ended at this one
};
ModelConfig ReadModelConfig(const std::string& text);

// The content of a data file.
struct ModelResponse {
  std::vector<float> values;  // of the lines before the fault
  std::string fault;          // what the log says of it behind the function's name
};
ModelResponse ReadModelResponse(const std::string& content);

// One engine and its state. A copy begins in the state of its original, and goes on by itself.
class EngineModel {
 public:
  // Returns the content of a data file, by its name in the configuration; empty when the module
  // cannot read it.
  using FileReader = std::function<std::optional<std::string>(const std::string& name)>;
  using Bytes = std::vector<unsigned char>;

  // A block for the DSP. The module may send the two messages of a case in either order.
  struct Write {
    Bytes bytes;
    Bytes other_order;
    bool Matches(const unsigned char* data, size_t size) const;
  };
  using Writes = std::vector<const Write*>;

  struct Output {
    std::string file_name;  // empty for the flat response
    std::vector<float> response;
  };
  struct Case {
    std::map<std::string, std::vector<int>> keys;  // condition -> index values
    Output left;
    Output right;
    Write write;  // empty when neither output has a bin
  };

  // Of two cases with equal conditions in different orders, the module may or may not take one for
  // the other. The model takes them for the same case: leave such configurations out.
  EngineModel(const ModelConfig& config, const FileReader& read_file);
  // Whether every case was accepted. The cases before the first bad one are in force either way.
  bool is_valid() const { return table_->is_valid; }
  const std::vector<Case>& cases() const { return table_->cases; }

  // Returns the writes that the module must make because of the event; often the list is empty. It
  // is valid until the next event, its elements as long as the model or a copy of it.
  const Writes& Apply(const simulator::HostEvent& event);

  // The first lines of a dump. They end where the keys of the case sent last begin, which the
  // module may list in either order.
  std::string DumpHead() const;
  // The case sent last, one of cases(); null before the first one.
  const Case* previous() const { return previous_; }

 private:
  using Values = std::vector<uint32_t>;

  // What the configuration makes. Copies of the model share it.
  struct Table {
    Table(const ModelConfig& config, const FileReader& read_file);
    bool ReadCase(const ModelConfig::Case& text, size_t condition_count,
                  const FileReader& read_file);
    std::optional<std::vector<int>> ReadRule(const std::string& name, const std::string& value);
    std::optional<int> HingeIndex(int angle) const;
    std::optional<int> RotationIndex(int rotation) const;

    bool is_valid = false;
    std::vector<Case> cases;
    std::vector<std::pair<int, int>> ranges;
    std::vector<int> rotations;
  };

  void Add(Values& values, uint32_t value);
  void Remove(Values& values, uint32_t value);
  void UpdateScenario();
  void Rotate(int rotation);
  void Hinge(int angle);
  void Update();

  std::shared_ptr<const Table> table_;
  Values common_values_;
  Values usecases_;
  bool is_active_ = false;
  int rotation_ = 0;
  int hinge_angle_ = -1;
  const Case* previous_ = nullptr;
  Writes writes_;
};

}  // namespace brelmo::tavi::tools
