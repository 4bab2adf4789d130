#include "diagnose/delivery_listing.h"

#include <cmath>
#include <cstdio>

#include <algorithm>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <utility>

#include <nlohmann/json.hpp>

#include "capture/capture_file.h"
#include "capture/log_record.h"
#include "console/input.h"
#include "console/json_text.h"
#include "console/terminal.h"
#include "console/wording.h"
#include "diagnose/response_match.h"
#include "response/data_file.h"

namespace brelmo::tavi::tools {

namespace {

using simulator::DspMessage;
using Json = nlohmann::ordered_json;

// The lowest and the highest magnitude of a response.
struct Level {
  double min_db = std::numeric_limits<double>::infinity();
  double max_db = -std::numeric_limits<double>::infinity();
  std::optional<size_t> not_a_number;  // the first bin that is none; the others then do not count
};

Level LevelOf(const std::vector<float>& response) {
  Level level;
  for (size_t i = 0; i + 1 < response.size(); i += 2) {
    const double magnitude = ToDb(std::hypot(response[i], response[i + 1]));
    if (std::isnan(magnitude)) {
      level.not_a_number = i / 2;
      return level;
    }
    level.min_db = std::min(level.min_db, magnitude);
    level.max_db = std::max(level.max_db, magnitude);
  }
  return level;
}

std::string DescribeLevel(const Level& level) {
  if (level.not_a_number) return "bin " + std::to_string(*level.not_a_number) + " is not a number";
  return Format("%.1f to %.1f dB", level.min_db, level.max_db);
}

bool IsLeft(const DspMessage& message) { return message.type == simulator::kLeftMessage; }

// What the candidates say of one channel.
struct ChannelNames {
  std::set<std::string> files;        // that hold just this response
  std::set<std::string> in_place_of;  // that it stands for, being flat
  std::string nearest;                // when there are neither
};

class Listing {
 public:
  explicit Listing(const DecodeOptions& options) : is_json_(options.format == "json") {
    for (const CandidateSource& source : options.candidates) {
      owned_.push_back(std::make_unique<Candidate>(source));
      candidates_.push_back(owned_.back().get());
    }
    for (const Candidate* const candidate : candidates_) {
      for (NamedResponse known : KnownResponses(*candidate)) {
        known.name += Of(*candidate);
        known_.push_back(std::move(known));
      }
    }
    if (options.extract) {
      std::vector<InputFile> inputs = options.inputs;
      inputs.push_back({options.capture, "the capture"});
      folder_.emplace(*options.extract, "tavi decode",
                      OutputRules{std::move(inputs), "", nullptr, options.is_forced});
    }
  }

  void Put(const CapturedDelivery& delivery) {
    std::vector<std::vector<float>> responses;
    const std::vector<float>* left = nullptr;
    const std::vector<float>* right = nullptr;
    responses.reserve(delivery.messages.size());
    for (const DspMessage& message : delivery.messages) {
      responses.push_back(message.is_response() ? message.Response() : std::vector<float>());
      if (message.is_response()) (IsLeft(message) ? left : right) = &responses.back();
    }
    const bool has_response = left != nullptr || right != nullptr;
    matches_ = has_response ? MatchCases(candidates_, left, right) : std::vector<CaseMatch>();
    if (is_json_) {
      PutJson(delivery, responses, has_response);
    } else {
      PutText(delivery, responses, has_response);
    }
    for (size_t i = 0; folder_ && i < responses.size(); ++i) {
      if (delivery.messages[i].is_response()) Extract(delivery.messages[i], responses[i]);
    }
    ++number_;
  }

  size_t count() const { return number_; }

  void CommitFiles() {
    if (folder_) folder_->Commit();
  }

 private:
  // Behind a name: of which configuration, where there are several.
  std::string Of(const Candidate& candidate) const {
    return owned_.size() < 2 ? "" : " of " + Printable(candidate.source().name);
  }

  ChannelNames NamesOf(const DspMessage& message, const std::vector<float>& response) const {
    ChannelNames names;
    const bool is_flat = IsFlatResponse(response);
    for (const CaseMatch& match : matches_) {
      const CandidateCase& one = candidates_[match.candidate]->cases()[match.number];
      const std::string& file = (IsLeft(message) ? one.left : one.right).file_name;
      const bool is_in_place = IsLeft(message) ? match.is_left_flat : match.is_right_flat;
      (is_in_place ? names.in_place_of : names.files).insert(file);
    }
    if (!matches_.empty()) return names;
    // Alone: the other channel is of no case.
    for (const Candidate* const candidate : candidates_) {
      for (const CandidateCase& one : candidate->cases()) {
        const CandidateOutput& own = IsLeft(message) ? one.left : one.right;
        if (!own.IsSentAs(&response)) continue;
        (own.is_flat ? names.in_place_of : names.files).insert(own.file_name);
      }
    }
    if (names.files.empty() && names.in_place_of.empty() && !is_flat) {
      names.nearest = DescribeNearest(response, known_);
    }
    return names;
  }

  static std::string Join(const std::set<std::string>& names) {
    std::string text;
    for (const std::string& name : names) text += (text.empty() ? "" : " or ") + Printable(name);
    return text;
  }

  std::string DescribeChannel(const DspMessage& message, const std::vector<float>& response) const {
    std::string text = std::string(simulator::DspMessageTypeName(message.type)) + " " +
                       Count(message.bin_count(), "bin");
    const ChannelNames names = NamesOf(message, response);
    if (IsFlatResponse(response)) {
      text += ", flat";
      if (!names.in_place_of.empty()) text += ", in place of " + Join(names.in_place_of);
      if (names.in_place_of.empty() && names.files.empty()) text += " as for want of a usable file";
    } else {
      text += ", " + DescribeLevel(LevelOf(response));
    }
    if (!names.files.empty()) text += ", " + Join(names.files);
    if (!names.nearest.empty()) text += ", no file; the nearest is " + names.nearest;
    const bool is_strange = names.files.empty() && names.in_place_of.empty() &&
                            names.nearest.empty() && !IsFlatResponse(response);
    if (is_strange && !candidates_.empty()) text += ", no file has as many bins";
    return text;
  }

  std::string DescribeCases() const {
    if (matches_.empty()) return owned_.size() > 1 ? "no case of any configuration" : "no case";
    std::string text;
    for (const CaseMatch& match : matches_) {
      const Candidate& candidate = *candidates_[match.candidate];
      text += (text.empty() ? "" : " or ") + candidate.DescribeCase(match.number) + Of(candidate);
    }
    return text;
  }

  void PutText(const CapturedDelivery& delivery, const std::vector<std::vector<float>>& responses,
               bool has_response) const {
    std::string text = "delivery " + std::to_string(number_);
    if (delivery.time_us) text += "  " + DescribeTime(TimeOfSeconds(*delivery.time_us));
    text += "  offset " + std::to_string(delivery.offset);
    if (delivery.result) {
      text += *delivery.result == 0 ? "  accepted"
                                    : "  refused with " + std::to_string(*delivery.result);
    }
    text += "  ";
    if (has_response && !candidates_.empty()) text += DescribeCases() + ": ";
    std::string parts;
    for (size_t i = 0; i < responses.size(); ++i) {
      const DspMessage& message = delivery.messages[i];
      if (!parts.empty()) parts += "; ";
      parts += message.is_response() ? DescribeChannel(message, responses[i])
                                     : std::string("status ") + (message.is_active() ? "1" : "0");
    }
    if (responses.empty()) parts = Count(delivery.size, "byte") + " that make no sense";
    Print(false, colour::kPlain, text + parts + "\n");
  }

  void PutJson(const CapturedDelivery& delivery, const std::vector<std::vector<float>>& responses,
               bool has_response) const {
    Json cases = Json::array();
    for (const CaseMatch& match : matches_) {
      const Candidate& candidate = *candidates_[match.candidate];
      cases.push_back({{"config", candidate.source().name},
                       {"case", match.number},
                       {"posture", candidate.cases()[match.number].postures}});
    }
    for (size_t i = 0; i < responses.size(); ++i) {
      const DspMessage& message = delivery.messages[i];
      Json object = {{"kind", "message"},
                     {"delivery", number_},
                     {"time", nullptr},
                     {"result", nullptr},
                     {"offset", message.offset},
                     {"type", message.type},
                     {"payload_bytes", message.payload.size()}};
      if (delivery.time_us) object["time"] = static_cast<double>(*delivery.time_us) / 1e6;
      if (delivery.result) object["result"] = *delivery.result;
      if (message.is_response()) {
        PutResponse(message, responses[i], object);
      } else {
        object["active"] = message.is_active();
      }
      if (has_response && !candidates_.empty()) {
        object["case"] = cases.empty() ? Json() : cases[0]["case"];
        object["cases"] = cases;
      }
      std::printf("%s\n", JsonText(object).c_str());
    }
  }

  void PutResponse(const DspMessage& message, const std::vector<float>& response,
                   Json& object) const {
    const Level level = LevelOf(response);
    // Null for what no JSON number can be: a bin that is none, or a response of nothing but zeros.
    const auto decibels = [&level](double value) {
      return level.not_a_number || !std::isfinite(value) ? Json() : Json(value);
    };
    object["bins"] = message.bin_count();
    object["flat"] = IsFlatResponse(response);
    object["min_db"] = decibels(level.min_db);
    object["max_db"] = decibels(level.max_db);
    if (candidates_.empty()) return;
    const ChannelNames names = NamesOf(message, response);
    object["files"] = names.files;
    object["in_place_of"] = names.in_place_of;
    object["nearest"] = names.nearest.empty() ? Json() : Json(names.nearest);
  }

  // Each response once, by the delivery that had it first.
  void Extract(const DspMessage& message, const std::vector<float>& response) {
    if (!extracted_.insert({message.type, message.payload}).second) return;
    const std::string channel = simulator::DspMessageTypeName(message.type);
    std::vector<Complex> bins;
    for (size_t i = 0; i + 1 < response.size(); i += 2) {
      if (!std::isfinite(response[i]) || !std::isfinite(response[i + 1])) {
        std::fprintf(stderr,
                     "tavi: delivery %zu: bin %zu of its %s response is no finite number, which no "
                     "data file can hold; it is not extracted\n",
                     number_, i / 2, channel.c_str());
        return;
      }
      bins.emplace_back(response[i], response[i + 1]);
    }
    const ChannelNames names = NamesOf(message, response);
    folder_->Add("delivery_" + std::to_string(number_) + "_" + channel + ".txt", DataFileText(bins),
                 Join(names.files));
  }

  const bool is_json_;
  std::vector<std::unique_ptr<Candidate>> owned_;
  std::vector<const Candidate*> candidates_;
  std::vector<NamedResponse> known_;
  std::optional<OutputFolder> folder_;
  std::set<std::pair<int32_t, std::vector<unsigned char>>> extracted_;
  size_t number_ = 0;
  std::vector<CaseMatch> matches_;  // of the delivery in hand
};

// A log or a dump, given for a capture.
bool IsText(std::string_view bytes) {
  return std::all_of(bytes.begin(), bytes.end(), [](char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte >= ' ' && byte != 0x7f) || c == '\n' || c == '\r' || c == '\t' || c == '\x1b';
  });
}

}  // namespace

void ListDeliveries(const DecodeOptions& options) {
  Listing listing(options);
  InputStream stream(options.capture);
  constexpr size_t kBeginning = 4096;
  const std::string beginning(stream.Peek(kBeginning));
  if (beginning.empty()) {
    std::fprintf(stderr, "tavi: %s: is empty: nothing was written to the DSP\n",
                 Printable(options.capture).c_str());
  } else if (!LooksLikePcapng(beginning) && !LooksLikeMessages(beginning) && IsText(beginning)) {
    throw InputError(options.capture +
                     ": is text and no capture; `tavi diagnose` reads logs and dumps, and `tavi "
                     "run --capture` writes a capture");
  }
  // The first place that makes no sense.
  std::optional<simulator::DspMessages::Damage> damage;
  const auto put = [&](const CapturedDelivery& delivery) {
    listing.Put(delivery);
    if (!damage) damage = delivery.damage;
  };
  const auto broken =
      LooksLikePcapng(beginning) ? ReadPcapng(stream, put) : ReadMessages(stream, put);
  if (!damage) damage = broken;
  if (!beginning.empty() && !damage && listing.count() == 0) {
    std::fprintf(
        stderr,
        "tavi: %s: holds no delivery: nothing was written to the DSP, or its packets are of "
        "another link type than 147\n",
        Printable(options.capture).c_str());
  }
  listing.CommitFiles();
  if (!damage) return;
  throw InputError(
      options.capture + ": makes no sense from offset " + std::to_string(damage->offset) +
      " on: " + damage->reason +
      (broken ? "; what follows is not decoded" : "; the rest of that delivery is not decoded"));
}

}  // namespace brelmo::tavi::tools
