// What the module must read, choose and send, worked out afresh from the text of its configuration:
// no code is shared with the module, so that the two can be held against each other.
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

namespace brelmo::tavi::simulator {

// Splits at every `delimiter`; empty pieces do not count.
std::vector<std::string> SplitText(const std::string& text, char delimiter);

// The configuration text, not interpreted.
struct ConfigText {
  struct Case {
    std::map<std::string, std::string> outputs;
    std::map<std::string, std::string> conditions;
  };
  std::vector<Case> cases;
  std::optional<std::string> malformed_item;  // where reading ended, if not at the end
};
ConfigText ReadConfigText(const std::string& text);

// A data file's content.
struct DataText {
  std::vector<float> response;  // of the lines before the fault
  std::string fault;            // what the log says of it, the function's name not included
};
DataText ReadDataText(const std::string& content);

// One engine; a copy goes on by itself from the state it was made in. A common value, use case or
// reading that changes nothing is not worth a check: each event returns the writes that must follow
// of it, none included.
class EngineModel {
 public:
  // The content of a data file by its name in the configuration; none when it cannot be read.
  using FileReader = std::function<std::optional<std::string>(const std::string& name)>;
  using Bytes = std::vector<unsigned char>;

  // A block for the DSP. Its two messages have no order.
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

  // Two cases that write equal conditions in different orders are beyond the model: whether the
  // module takes them for the same case is undefined.
  EngineModel(const ConfigText& config, const FileReader& read_file);
  // Whether every case was accepted. Those before the first bad one are there in any case.
  bool is_valid() const { return table_->is_valid; }
  const std::vector<Case>& cases() const { return table_->cases; }

  // Events. The result is valid until the next one; its elements are as long as the
  // model or a copy lives.
  const Writes& Announce(uint32_t value) { return Change(common_values_, value, true); }
  const Writes& Withdraw(uint32_t value) { return Change(common_values_, value, false); }
  const Writes& Start(uint32_t usecase) { return Change(usecases_, usecase, true); }
  const Writes& Stop(uint32_t usecase) { return Change(usecases_, usecase, false); }
  const Writes& Rotate(int rotation);
  const Writes& Hinge(int angle);

  // The first lines of a dump, up to and without what is sent last.
  std::string DumpHead() const;
  // The case sent last, of cases(); may be null.
  const Case* previous() const { return previous_; }
  bool has_previous() const { return previous_ != nullptr; }

 private:
  using Values = std::vector<uint32_t>;

  // What the configuration makes; it does not change.
  struct Table {
    Table(const ConfigText& config, const FileReader& read_file);
    bool ReadCase(const ConfigText::Case& text, size_t condition_count,
                  const FileReader& read_file);
    std::optional<std::vector<int>> ReadRule(const std::string& name, const std::string& value);
    std::optional<int> HingeIndex(int angle) const;
    std::optional<int> RotationIndex(int rotation) const;

    bool is_valid = false;
    std::vector<Case> cases;
    std::vector<std::pair<int, int>> ranges;
    std::vector<int> rotations;
  };

  const Writes& Change(Values& values, uint32_t value, bool is_added);
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

}  // namespace brelmo::tavi::simulator
