#include "capture/capture_listing.h"

#include <cmath>
#include <cstdio>

#include <algorithm>
#include <limits>
#include <optional>
#include <utility>

#include <nlohmann/json.hpp>

#include "capture/capture_file.h"
#include "capture/log_record.h"
#include "capture/message_text.h"
#include "capture/nearest_response.h"
#include "console/input.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "dsp_message.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::DspMessage;
using simulator::DspMessages;
using Json = nlohmann::ordered_json;

constexpr uint64_t kMostCaptureBytes = uint64_t{1} << 30;

DspMessages Parse(std::string_view bytes) {
  return simulator::ParseDspMessages(reinterpret_cast<const unsigned char*>(bytes.data()),
                                     bytes.size());
}

// Where a message comes from.
struct Origin {
  std::string text;  // in front of it
  Json members = Json::object();
};

// The least and the greatest magnitude of a response.
struct Level {
  double least_db = std::numeric_limits<double>::infinity();
  double greatest_db = -std::numeric_limits<double>::infinity();
  std::optional<size_t> not_a_number;  // the first bin that is none; the others then do not count
};

Level LevelOf(const DspMessage& message) {
  const std::vector<float> response = message.Response();
  Level level;
  for (size_t i = 0; i + 1 < response.size(); i += 2) {
    const double magnitude = 20 * std::log10(std::hypot(response[i], response[i + 1]));
    if (std::isnan(magnitude)) {
      level.not_a_number = i / 2;
      return level;
    }
    level.least_db = std::min(level.least_db, magnitude);
    level.greatest_db = std::max(level.greatest_db, magnitude);
  }
  return level;
}

// Of a format that has deliveries: what is known of the message's own.
void PutText(const DspMessage& message, const CaseTable* cases, const Origin& origin) {
  std::string text =
      origin.text + "offset " + std::to_string(message.offset) + "  " + DescribeMessage(message);
  if (message.is_response()) {
    const Level level = LevelOf(message);
    char words[80];
    std::snprintf(words, sizeof(words), "%.1f to %.1f dB", level.least_db, level.greatest_db);
    text += ", " + (level.not_a_number
                        ? "bin " + std::to_string(*level.not_a_number) + " is not a number"
                        : std::string(words));
    if (cases != nullptr) {
      const auto files = cases->FilesOf(message);
      text += ", " + (files.empty() ? "no file of this configuration" : DescribeFiles(files));
    }
  }
  Print(false, colour::kPlain, text + "\n");
}

void PutJson(const DspMessage& message, const CaseTable* cases, const Origin& origin) {
  Json object = {{"kind", "message"},
                 {"offset", message.offset},
                 {"type", message.type},
                 {"payload_bytes", message.payload.size()}};
  if (message.is_response()) {
    const Level level = LevelOf(message);
    // Null for what no JSON number can be: a bin that is none, or a response of nothing but zeros.
    const auto decibels = [&level](double value) {
      return level.not_a_number || !std::isfinite(value) ? Json() : Json(value);
    };
    object["bins"] = message.bin_count();
    object["flat"] = IsFlatResponse(message.Response());
    object["least_db"] = decibels(level.least_db);
    object["greatest_db"] = decibels(level.greatest_db);
    if (cases != nullptr) object["files"] = cases->FilesOf(message);
  } else {
    object["active"] = message.is_active();
  }
  object.update(origin.members);
  std::printf("%s\n", object.dump(-1, ' ', false, Json::error_handler_t::replace).c_str());
}

void Put(const DspMessage& message, const CaseTable* cases, bool is_json, const Origin& origin) {
  if (is_json) {
    PutJson(message, cases, origin);
  } else {
    PutText(message, cases, origin);
  }
}

[[noreturn]] void ThrowDamage(const std::string& path, const DspMessages::Damage& damage) {
  throw InputError(path + ": makes no sense from offset " + std::to_string(damage.offset) +
                   " on: " + damage.reason + "; what follows is not decoded");
}

// What the file says of a delivery, in front of each of its messages.
Origin OriginOf(const CapturedDelivery& delivery, size_t number) {
  Origin origin;
  origin.text = "delivery " + std::to_string(number);
  origin.members = {{"delivery", number}, {"time", nullptr}, {"result", nullptr}};
  if (delivery.time_us) {
    origin.text += "  " + DescribeTime({ClockKind::kEpoch, *delivery.time_us, 0});
    origin.members["time"] = static_cast<double>(*delivery.time_us) / 1e6;
  }
  if (delivery.result) {
    origin.text +=
        *delivery.result == 0 ? "  accepted" : "  refused with " + std::to_string(*delivery.result);
    origin.members["result"] = *delivery.result;
  }
  origin.text += "  ";
  return origin;
}

void PutPcapng(const std::string& path, const CaseTable* cases, bool is_json) {
  InputStream stream(path);
  size_t number = 0;
  std::optional<DspMessages::Damage> damage;
  const auto broken = ReadPcapng(stream, [&](CapturedDelivery& delivery) {
    const Origin origin = OriginOf(delivery, number++);
    for (const DspMessage& message : delivery.messages) Put(message, cases, is_json, origin);
    if (!damage) damage = delivery.damage;
  });
  if (!damage) damage = broken;
  if (damage) ThrowDamage(path, *damage);
}

// A log or a dump, given for a capture.
bool IsText(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) {
    return static_cast<unsigned char>(c) >= ' ' || c == '\n' || c == '\r' || c == '\t';
  });
}

}  // namespace

bool IsCapture(std::string_view beginning) {
  return LooksLikePcapng(beginning) || !Parse(beginning).messages.empty();
}

OutputRules CaptureRules(std::vector<InputFile> inputs, bool is_forced) {
  return {std::move(inputs), "a capture", IsCapture, is_forced};
}

void PutCapture(const std::string& path, const CaseTable* cases, bool is_json) {
  const std::string bytes = ReadFile(path, kMostCaptureBytes);
  if (bytes.empty()) {
    std::fprintf(stderr, "tavi: %s: is empty: nothing was written to the DSP\n",
                 Printable(path).c_str());
    return;
  }
  if (LooksLikePcapng(bytes)) {
    PutPcapng(path, cases, is_json);
    return;
  }
  const DspMessages parsed = Parse(bytes);
  for (const DspMessage& message : parsed.messages) Put(message, cases, is_json, {});
  if (!parsed.damage) return;
  if (parsed.messages.empty() && IsText(bytes)) {
    throw InputError(path + ": is text and no capture; `tavi run --capture` writes one");
  }
  ThrowDamage(path, *parsed.damage);
}

}  // namespace brelmo::tavi::tools
