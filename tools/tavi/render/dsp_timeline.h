// What a scenario makes the module send to the DSP, and when, on a clock that is the sum of the
// scenario's waits.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "render/block_scheme.h"
#include "scenario/play.h"

namespace brelmo::tavi::tools {

// A response that the DSP took, under the names of its files; the same one for the same response.
struct NamedFilter {
  BlockFilter filter;
  std::string name;
};
using FilterPointer = std::shared_ptr<const NamedFilter>;

// One write.
struct DspChange {
  double seconds = 0.0;
  std::string event;           // that caused it: "hinge 96"
  std::vector<size_t> cases;   // that it may be of; none for a status alone
  std::optional<bool> active;  // the module status, if it holds one
  // Null where the write does not hold the channel, which then keeps what it has.
  FilterPointer left;
  FilterPointer right;
  int refusal = 0;  // the DSP's answer, and nothing changes
  // Why this DSP cannot play one of the responses: the channel keeps what it has.
  std::string fault;
};

struct DspTimeline {
  std::vector<DspChange> changes;   // in order
  double seconds = 0.0;             // that the scenario lasts
  std::vector<std::string> faults;  // expectations not met, the host's contract broken
};

// Plays `setup.scenario`, a file; its reporting is used here. Throws as PlayScenario does.
DspTimeline PlayTimeline(PlaySetup setup);

// From what PlayScenario tells as JSON, a line an object, and the bytes of its writes.
DspTimeline ReadTimeline(const std::string& lines, const std::string& capture);

// Why a response cannot be played; empty when it can.
std::string FindUnplayable(const std::vector<float>& raw_data);

}  // namespace brelmo::tavi::tools
