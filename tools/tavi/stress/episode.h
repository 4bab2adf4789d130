// What a stress test plays: a random configuration, and rounds of random events.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "host_event.h"
#include "model/engine_model.h"

namespace brelmo::tavi::tools {

// Events that are under way at the same time. Those of one host thread keep their order.
struct Round {
  // Both are steps in the words of a scenario.
  std::optional<std::string> fault;  // a "dsp ..." step, before the events
  std::vector<std::string> events;
  bool has_dump = false;  // two: one amid the events, one after them
  bool is_last = false;   // the module is deinited amid the events, and there is no dump
};

struct Episode {
  std::vector<std::string> cases;
  std::map<std::string, std::string> files;  // content by name
  std::vector<Round> rounds;

  std::string Config() const;
  size_t event_count() const;
  EngineModel MakeModel() const;
};

// Equal arguments make equal episodes.
Episode MakeEpisode(uint64_t seed, uint64_t number);

// The event of a step, to be delivered even where the module has registered no handler for it.
simulator::HostEvent ToRawEvent(const std::string& step);

}  // namespace brelmo::tavi::tools
