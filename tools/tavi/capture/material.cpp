#include "capture/material.h"

#include <cstring>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <set>

#include <nlohmann/json.hpp>

#include "capture/capture_file.h"
#include "console/input.h"
#include "console/wording.h"

namespace brelmo::tavi::tools {

namespace {

// What is kept at most, for a bound on the memory.
constexpr size_t kMostEntries = size_t{1} << 20;
constexpr size_t kMostDeliveries = 500000;
constexpr size_t kMostResponses = 4000;
constexpr size_t kMostDumps = 2000;
constexpr size_t kMostTexts = 20000;
constexpr size_t kLongestText = 200;
// Part of every tag, of the dump's title and of compensation_init.
constexpr std::string_view kNeedle = "ompensation";

bool Contains(std::string_view text, std::string_view word) {
  return memmem(text.data(), text.size(), word.data(), word.size()) != nullptr;
}

class MaterialReader {
 public:
  explicit MaterialReader(const std::function<void(uint64_t, std::optional<uint64_t>)>& on_progress)
      : on_progress_(on_progress) {}

  Material Read(const std::vector<std::string>& paths) {
    material_.texts.emplace_back();  // of a line that has none
    std::optional<uint64_t> total = 0;
    for (const std::string& path : paths) {
      std::error_code error;
      const uint64_t size = std::filesystem::file_size(path, error);
      total = error || !total ? std::nullopt : std::optional<uint64_t>(*total + size);
    }
    for (const std::string& path : paths) {
      InputStream stream(path);
      material_.files.emplace_back();
      file().name = path;
      ReadFile(stream, total);
      bytes_before_ += stream.bytes_read();
      file().bytes = stream.bytes_read();
      if (file().entries + file().dumps + file().deliveries == 0) ThrowNothing();
    }
    return std::move(material_);
  }

 private:
  MaterialFile& file() { return material_.files.back(); }
  uint32_t file_number() const { return static_cast<uint32_t>(material_.files.size() - 1); }

  [[noreturn]] void ThrowNothing() {
    const std::string& name = file().name;
    if (file().bytes == 0) throw InputError(name + ": is empty");
    if (file().has_borders && !material_.faults.empty()) {
      throw InputError(name + ": is a packet capture that ends before its first delivery: " +
                       material_.faults.back().text);
    }
    if (file().has_borders) {
      throw InputError(name +
                       ": is a packet capture that holds no delivery: nothing was written to the "
                       "DSP, or its packets are of another link type than 147");
    }
    throw InputError(
        name + ": holds nothing of the module: no line under its tags (" + std::string(kEntryTag) +
        ", " + std::string(kEngineTag) + ", " + std::string(kIndexTag) +
        "), no dump and no capture of writes to the DSP. A log has to be taken with these tags at "
        "the level I");
  }

  void ReadFile(InputStream& stream, const std::optional<uint64_t>& total) {
    pending_head_.reset();
    step_time_ = {};
    constexpr uint64_t kProgressStep = uint64_t{4} << 20;
    uint64_t next_progress = 0;
    std::string_view line;
    for (bool is_cut = false;;) {
      if (stream.bytes_read() >= next_progress) {
        on_progress_(bytes_before_ + stream.bytes_read(), total);
        next_progress = stream.bytes_read() + kProgressStep;
      }
      const std::string_view head = stream.Peek(12);
      if (head.empty()) break;
      const auto first = static_cast<unsigned char>(head[0]);
      if ((first == '\n' && LooksLikePcapng(head)) ||
          ((first <= 1 || first == 16 || first == 17) && LooksLikeMessages(head))) {
        ReadCapture(stream, first == '\n');
        continue;
      }
      const uint64_t offset = stream.offset();
      if (!stream.TakeLine(line, is_cut)) break;
      ++file().lines;
      // What an editor, or a file system after a crash, put there.
      while (!line.empty() && line.front() == '\0') line.remove_prefix(1);
      while (!line.empty() && (line.back() == '\r' || line.back() == '\0')) line.remove_suffix(1);
      TakeLine(line, offset);
    }
    dumps_.End();
    TakeDumps();
    on_progress_(bytes_before_ + stream.bytes_read(), total);
  }

  void ReadCapture(InputStream& stream, bool is_pcapng) {
    const DeliveryHandler take = [this](const CapturedDelivery& delivery) {
      TakeDelivery(delivery);
    };
    const uint64_t begin = stream.offset();
    const auto damage = is_pcapng ? ReadPcapng(stream, take) : ReadMessages(stream, take);
    if (is_pcapng) file().has_borders = true;
    if (!damage) return;
    // What follows may be text.
    const std::string_view next = stream.Peek(64);
    const bool is_text = std::all_of(next.begin(), next.end(), [](char c) {
      return static_cast<unsigned char>(c) >= ' ' || c == '\n' || c == '\r' || c == '\t';
    });
    if (!is_text || next.size() < 12) {
      AddFault(MaterialFault::Kind::kDamagedCapture, {file_number(), 0, damage->offset},
               damage->reason);
    }
    if (stream.offset() == begin) stream.Skip(1);
  }

  void AddFault(MaterialFault::Kind kind, const Place& place, const std::string& text) {
    constexpr size_t kMostFaults = 1000;
    const bool is_known = !material_.faults.empty() && material_.faults.back().kind == kind &&
                          material_.faults.back().place.file == place.file &&
                          material_.faults.back().place.line == place.line &&
                          material_.faults.back().place.offset == place.offset;
    if (!is_known && material_.faults.size() < kMostFaults)
      material_.faults.push_back({kind, place, text});
  }
  void AddTooMuch(const Place& place, const std::string& what) {
    if (too_much_.insert(what).second) AddFault(MaterialFault::Kind::kTooMuch, place, what);
  }

  // ---- Text ----

  void TakeLine(std::string_view line, uint64_t offset) {
    if (pending_head_) {
      LogRecord record = *pending_head_;
      record.tag = pending_tag_;
      record.message = line;
      pending_head_.reset();
      AddRecord(record, offset);
      return;
    }
    if (dumps_.is_inside() || Contains(line, kNeedle)) {
      if (!line.empty() && line[0] == '{' && TakeJson(line, offset)) return;
      if (dumps_.Add(line, file().lines)) {
        if (!dumps_.is_inside() || file().lines % 64 == 0) TakeDumps();
        return;
      }
      TakeDumps();
      TakeLogLine(line, offset);
      return;
    }
    // Formats without a tag: the message begins the line, or stands behind "I( 1234: 5678) ".
    if (line.size() > 12 && (line[1] == '(' || MayBeMessage(line))) {
      TakeLogLine(line, offset);
    } else if (line.size() > 14 && line[8] == ' ' && line[9] == 's' && line[10] == ' ') {
      if (const auto time = ParseStepTime(line)) step_time_ = *time;
    } else if (line.size() > 12 && line[0] == '-') {
      TakeMark(line, offset);
    }
  }

  static bool MayBeMessage(std::string_view line) {
    static constexpr std::string_view kFirst[] = {"Init", "GetC", "Pars", "SetR", "Upda", "Pack"};
    return std::any_of(std::begin(kFirst), std::end(kFirst), [line](std::string_view word) {
      return line.substr(0, word.size()) == word;
    });
  }

  void TakeMark(std::string_view line, uint64_t offset) {
    // "--------- beginning of main": of a buffer, which says nothing of lost lines. What tells of
    // lines that the logger left out names their number.
    if (line.find("lines dropped") != std::string_view::npos) {
      AddFault(MaterialFault::Kind::kDroppedLines, {file_number(), file().lines, offset},
               Printable(line.substr(0, kLongestText)));
    }
  }

  void TakeLogLine(std::string_view line, uint64_t offset) {
    LogRecord record = ParseLogRecord(line);
    if (record.is_head_only) {
      if (!IsOurs(record.tag)) return;
      pending_tag_ = record.tag;
      pending_head_ = record;
      return;
    }
    if (record.tag.empty() && record.severity == 0 && record.time.kind == ClockKind::kNone) {
      // Something stands before what a known format begins with.
      for (const std::string_view tag : {kEntryTag, kEngineTag, kIndexTag}) {
        const size_t at = line.find(tag);
        if (at == std::string_view::npos ||
            line.substr(0, tag.size() + 1) == "audio_hw_compensation:")
          continue;
        const size_t colon = line.find(": ", at + tag.size());
        if (colon == std::string_view::npos || colon > at + tag.size() + 12) continue;
        record.tag = tag;
        record.message = line.substr(colon + 2);
        break;
      }
    }
    AddRecord(record, offset);
  }

  static bool IsOurs(std::string_view tag) {
    return tag == kEntryTag || tag == kEngineTag || tag == kIndexTag;
  }

  bool TakeJson(std::string_view line, uint64_t offset) {
    const auto object = nlohmann::json::parse(line, nullptr, /*allow_exceptions=*/false);
    if (!object.is_object()) return false;
    const auto text_of = [&object](const char* key) {
      const auto found = object.find(key);
      return found != object.end() && found->is_string() ? found->get<std::string>() : "";
    };
    const std::string kind = text_of("kind");
    const std::string text = text_of("text");
    if (kind == "dump") {
      size_t begin = 0;
      while (begin < text.size()) {
        const size_t end = std::min(text.find('\n', begin), text.size());
        dumps_.Add(std::string_view(text).substr(begin, end - begin), file().lines);
        begin = end + 1;
      }
      dumps_.End();
      TakeDumps();
      return true;
    }
    if (kind != "log") return true;
    const std::string tag = text_of("tag");
    const std::string severity = text_of("severity");
    LogRecord record;
    record.tag = tag;
    record.severity = severity.empty() ? '\0' : severity[0];
    record.message = text;
    if (const auto time = object.find("time"); time != object.end() && time->is_number()) {
      const double seconds = time->get<double>();
      if (seconds >= 0 && seconds < 1e9) {
        record.time = {ClockKind::kMonotonic, static_cast<int64_t>(seconds * 1e6), 0};
      }
    }
    AddRecord(record, offset);
    return true;
  }

  void AddRecord(const LogRecord& record, uint64_t offset) {
    const bool is_ours = IsOurs(record.tag);
    if (!is_ours && !record.tag.empty()) {
      // The logger itself tells of what it left out.
      return;
    }
    const auto message = ParseLogMessage(record.message, is_ours);
    if (!message) return;
    const Place place = {file_number(), file().lines, offset};
    if (IsLoggersOwn(record.message)) {
      AddFault(MaterialFault::Kind::kDroppedLines, place,
               Printable(record.message.substr(0, kLongestText)));
      return;
    }
    if (material_.entries.size() == kMostEntries) {
      if (file().entries_left_out++ == 0) {
        AddTooMuch(place, "more than " + std::to_string(kMostEntries) + " lines of the module");
      }
      return;
    }
    ++file().entries;
    LogEntry entry;
    const LogTime& time = record.time.kind == ClockKind::kNone ? step_time_ : record.time;
    entry.us = time.us;
    entry.clock = time.kind;
    if (time.zone_minutes != 0 && file().zone_minutes == 0) file().zone_minutes = time.zone_minutes;
    entry.offset = offset;
    entry.line = static_cast<uint32_t>(file().lines);
    entry.process = record.process;
    entry.thread = record.thread;
    entry.file = static_cast<uint16_t>(file_number());
    entry.event = message->event;
    for (size_t i = 0; i < 2; ++i) {
      entry.numbers[i] = message->numbers[i];
      if (message->keys[i]) entry.numbers[i] = InternKeys(*message->keys[i]);
    }
    if (!message->text.empty()) entry.numbers[0] = InternText(message->text, place);
    material_.entries.push_back(entry);
  }

  // "identical 3 lines", "expire 12 lines": lines of ours that the logger left out.
  static bool IsLoggersOwn(std::string_view message) {
    for (const std::string_view word : {"identical ", "expire ", "uid="}) {
      std::string_view rest = message;
      if (TakeWord(rest, word) && rest.size() > 5 &&
          rest.substr(0, 64).find(" line") != std::string_view::npos) {
        return true;
      }
    }
    return false;
  }

  int InternKeys(const PostureKeys& keys) {
    const auto [entry, is_new] =
        key_numbers_.emplace(keys, static_cast<int>(material_.keys.size()));
    if (is_new) material_.keys.push_back(keys);
    return entry->second;
  }

  int InternText(std::string_view text, const Place& place) {
    const std::string kept(text.substr(0, size_t{1} << 10));
    const auto found = text_numbers_.find(kept);
    if (found != text_numbers_.end()) return found->second;
    if (material_.texts.size() == kMostTexts) {
      AddTooMuch(place, "more than " + std::to_string(kMostTexts) + " different faults of init");
      return 0;
    }
    text_numbers_.emplace(kept, static_cast<int>(material_.texts.size()));
    material_.texts.push_back(kept);
    return static_cast<int>(material_.texts.size()) - 1;
  }

  void TakeDumps() {
    for (Dump& dump : dumps_.Take()) {
      if (material_.dumps.size() == kMostDumps) {
        AddTooMuch({file_number(), dump.line, 0},
                   "more than " + std::to_string(kMostDumps) + " dumps");
        return;
      }
      ++file().dumps;
      material_.dumps.emplace_back(file_number(), std::move(dump));
    }
  }

  // ---- Captures ----

  void TakeDelivery(const CapturedDelivery& captured) {
    const Place place = {file_number(), 0, captured.offset};
    Delivery delivery;
    delivery.place = place;
    delivery.number = file().deliveries++;
    if (captured.damage) {
      AddFault(MaterialFault::Kind::kDamagedCapture, {file_number(), 0, captured.damage->offset},
               captured.damage->reason);
    }
    if (material_.deliveries.size() == kMostDeliveries) {
      AddTooMuch(place, "more than " + std::to_string(kMostDeliveries) + " deliveries");
      return;
    }
    delivery.size = captured.size;
    delivery.may_be_cut = captured.may_be_cut;
    delivery.time_us = captured.time_us;
    delivery.result = captured.result;
    for (const simulator::DspMessage& message : captured.messages) {
      if (!message.is_response()) {
        delivery.status = message.is_active();
        continue;
      }
      const auto response = InternResponse(message);
      if (!response) {
        AddTooMuch(place, "more than " + std::to_string(kMostResponses) + " different responses");
        continue;
      }
      (message.type == simulator::kLeftMessage ? delivery.left : delivery.right) = response;
    }
    material_.deliveries.push_back(delivery);
  }

  std::optional<size_t> InternResponse(const simulator::DspMessage& message) {
    const std::string bytes(message.payload.begin(), message.payload.end());
    const auto found = response_numbers_.find(bytes);
    if (found != response_numbers_.end()) return found->second;
    if (material_.responses.size() == kMostResponses) return std::nullopt;
    // Longer ones than usual count for more.
    response_bytes_ += 2 * bytes.size();
    if (response_bytes_ > (size_t{64} << 20)) return std::nullopt;
    response_numbers_.emplace(bytes, material_.responses.size());
    material_.responses.push_back(message.Response());
    return material_.responses.size() - 1;
  }

  const std::function<void(uint64_t, std::optional<uint64_t>)>& on_progress_;
  Material material_;
  uint64_t bytes_before_ = 0;
  DumpReader dumps_;
  LogTime step_time_;
  std::optional<LogRecord> pending_head_;
  std::string pending_tag_;
  std::map<PostureKeys, int> key_numbers_;
  std::map<std::string, int> text_numbers_;
  std::map<std::string, size_t> response_numbers_;
  size_t response_bytes_ = 0;
  std::set<std::string> too_much_;  // once each
};

}  // namespace

Material ReadMaterial(const std::vector<std::string>& paths,
                      const std::function<void(uint64_t, std::optional<uint64_t>)>& on_progress) {
  return MaterialReader(on_progress).Read(paths);
}

std::string ReadLineAgain(const Material& material, const Place& place) {
  if (place.line == 0) return "";
  std::ifstream stream(material.files[place.file].name, std::ios::binary);
  stream.seekg(static_cast<std::streamoff>(place.offset));
  char text[512];
  stream.get(text, sizeof(text), '\n');
  std::string line(text, static_cast<size_t>(stream.gcount()));
  while (!line.empty() && line.back() == '\r') line.pop_back();
  // Of UTF-16 the place is another one.
  return line.find('\0') == std::string::npos ? line : "";
}

}  // namespace brelmo::tavi::tools
