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
  // All steps are in the words of a scenario.
  std::optional<std::string> fault;  // a "dsp ..." step, before the events
  std::vector<std::string> events;
  bool has_dump = false;  // one amid the events and one behind them
  bool is_last = false;   // deinit comes amid the events, and no dump
};

struct Episode {
  std::vector<std::string> cases;
  std::map<std::string, std::string> files;  // content by name
  std::vector<Round> rounds;

  std::string Config() const;
  size_t event_count() const;
  EngineModel MakeModel() const;
};

// The same for the same numbers.
Episode MakeEpisode(uint64_t seed, uint64_t number);

// An event step as the host gets it, delivered whether or not the module asked for it.
simulator::HostEvent ToRawEvent(const std::string& step);

}  // namespace brelmo::tavi::tools
