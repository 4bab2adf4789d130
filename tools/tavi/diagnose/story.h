// What happened, as far as logs and captures tell it: the events of each module instance in their
// order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capture/material.h"
#include "host_event.h"

namespace brelmo::tavi::tools {

constexpr size_t kNoIndex = static_cast<size_t>(-1);

// A case by what names it: in a life that a log tells the number of its keys in Material::keys, in
// one that only a capture tells the number of its responses in Story::responses.
using CaseId = int;
constexpr CaseId kNoCase = -1;
constexpr CaseId kUnknownCase = -2;  // lines that would tell it are not there

enum class WriteResult : uint8_t { kAccepted, kRefused, kNotMade, kUnknown };

struct StoryEvent {
  enum class Kind : uint8_t {
    kTold,         // the host told something; `number` is its event
    kScenarioOn,   // and the status was sent
    kScenarioOff,  // the same
    kCase,         // taken, and sent
    kUnsupported,  // an event that the module knows not
    kOther,        // a line that is understood and belongs to nothing above
  };

  Kind kind = Kind::kOther;
  WriteResult write = WriteResult::kUnknown;
  LogEvent outcome = LogEvent::kUnknown;  // of a case, where a line tells it
  // Lines before it are missing: it does not follow from what stands there.
  bool is_behind_gap = false;
  // Of a status: nothing tells whether it is active or inactive.
  bool is_either_status = false;
  bool is_usecase = false;  // of what is told
  int number = 0;           // of what is told
  int bytes = 0;            // of a write; 0 when not known
  CaseId from = kNoCase;
  CaseId to = kNoCase;
  CaseId in_force = kUnknownCase;  // on the DSP, afterwards
  uint32_t entry = UINT32_MAX;     // the first line, in Material::entries
  uint32_t outcome_entry = UINT32_MAX;
  uint32_t delivery = UINT32_MAX;  // in Material::deliveries
  // The event that caused it, in Life::events; UINT32_MAX when no line tells, as of a hinge
  // reading.
  uint32_t cause = UINT32_MAX;

  // The host told that the screen was rotated.
  bool IsRotation() const {
    return kind == Kind::kTold && !is_usecase && number == simulator::kScreenRotated;
  }
};

// One module instance, from init on.
struct Life {
  int process = -1;
  bool is_captured = false;             // told by a capture alone
  std::vector<uint32_t> init;           // lines of init, in Material::entries
  std::optional<LogEvent> end_of_init;  // kInitialized, or what it failed with
  bool has_begin = false;               // init is there
  std::vector<StoryEvent> events;
};

struct Story {
  std::vector<Life> lives;
  // Left and right, in Material::responses.
  std::vector<std::pair<std::optional<size_t>, std::optional<size_t>>> responses;
  // Entries, in Material::entries, before which lines are missing.
  std::vector<uint32_t> gaps;
  // Lines that several files have, and that are taken once.
  size_t repeated_lines = 0;
  // Entries at which the log's clock goes back, ascending.
  std::vector<uint32_t> clock_jumps;
  // The deliveries of the capture are the writes of the log.
  bool is_capture_aligned = false;
};

Story BuildStory(const Material& material);

// Microseconds from one event to a later one; none where the material has no times for both, or a
// clock that was set in between.
std::optional<int64_t> TimeBetween(const Material& material, const Story& story,
                                   const StoryEvent& from, const StoryEvent& to);
Place PlaceOfEntry(const Material& material, uint32_t entry);
// Where an event is to be seen.
Place PlaceOf(const Material& material, const StoryEvent& event);
std::string TimeText(const Material& material, const StoryEvent& event);

}  // namespace brelmo::tavi::tools
