// What came back from the field: logs, dumps and captures, each told by its content, several of
// them in one file or not.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "capture/dump_text.h"
#include "capture/log_lines.h"
#include "capture/log_record.h"

namespace brelmo::tavi::tools {

struct Place {
  uint32_t file = 0;    // in Material::files
  uint64_t line = 0;    // from 1; 0 for a place in a capture
  uint64_t offset = 0;  // in bytes
};

// A line of the module.
struct LogEntry {
  int64_t us = 0;  // see LogTime
  uint64_t offset = 0;
  uint32_t line = 0;
  int32_t process = -1;
  int32_t thread = -1;
  int32_t numbers[2] = {0, 0};  // of keys: in Material::keys; of a text: in Material::texts
  uint16_t file = 0;
  ClockKind clock = ClockKind::kNone;
  LogEvent event = LogEvent::kUnknown;
};

struct Delivery {
  Place place;
  size_t number = 0;  // in its file, from 0
  size_t size = 0;
  bool may_be_cut = false;  // see CapturedDelivery
  std::optional<int64_t> time_us;
  std::optional<int> result;
  std::optional<bool> status;
  // In Material::responses; empty for a channel that was not sent.
  std::optional<size_t> left;
  std::optional<size_t> right;
  bool has_response() const { return left || right; }
  bool has_one_channel() const { return left.has_value() != right.has_value(); }
};

struct MaterialFile {
  std::string name;
  uint64_t bytes = 0;
  uint64_t lines = 0;
  size_t entries = 0;
  size_t entries_left_out = 0;  // behind those that are looked at
  size_t dumps = 0;
  size_t deliveries = 0;
  bool has_borders = false;  // and results, of its capture
  int zone_minutes = 0;      // of the first line that has a zone
};

// A fault of the material itself.
struct MaterialFault {
  enum class Kind { kDamagedCapture, kDroppedLines, kTooMuch };
  Kind kind;
  Place place;
  std::string text;
};

struct Material {
  std::vector<MaterialFile> files;
  std::vector<LogEntry> entries;  // in the order of the files
  std::vector<PostureKeys> keys;
  std::vector<std::string> texts;                // the first one is empty
  std::vector<std::pair<uint32_t, Dump>> dumps;  // with their file
  std::vector<Delivery> deliveries;
  std::vector<std::vector<float>> responses;  // each once
  std::vector<MaterialFault> faults;

  LogTime TimeOf(const LogEntry& entry) const {
    return {entry.clock, entry.us, files[entry.file].zone_minutes};
  }
};

// `on_progress` gets bytes read and the bytes of all files, where these are known. Throws
// InputError for a file that cannot be read, and one that holds nothing of the module.
Material ReadMaterial(const std::vector<std::string>& paths,
                      const std::function<void(uint64_t, std::optional<uint64_t>)>& on_progress);

// The line at a place, cut where it is long; empty when it cannot be read again.
std::string ReadLineAgain(const Material& material, const Place& place);

}  // namespace brelmo::tavi::tools
