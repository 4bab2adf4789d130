// Findings about dumps, about responses, and about the material itself.
#include <algorithm>
#include <map>
#include <set>

#include "capture/nearest_response.h"
#include "console/wording.h"
#include "diagnose/findings.h"
#include "diagnose/response_match.h"

namespace brelmo::tavi::tools {

namespace {

constexpr size_t kMostPlaces = 20;

// The number of the posture in AllPostures(); none for a rotation that is not there.
std::optional<size_t> FindPosture(const PostureChoices& choices, int hinge_angle, int rotation) {
  for (size_t i = 0; i < choices.size(); ++i) {
    if (choices.at(i).hinge_angle.value_or(-1) == hinge_angle &&
        choices.at(i).rotation == rotation) {
      return i;
    }
  }
  return std::nullopt;
}

void FindPostureOfDump(const FieldCase& field, const Place& place, const Dump& dump,
                       std::vector<FieldFinding>& found) {
  if (!dump.is_active || !*dump.is_active || !dump.hinge_angle || !dump.has_previous_line) return;
  const std::string posture = *dump.hinge_angle < 0
                                  ? "before the first hinge reading"
                                  : "at the hinge angle " + std::to_string(*dump.hinge_angle);
  const std::string where = posture + ", rotation " + std::to_string(*dump.rotation);
  const bool is_unread = *dump.hinge_angle < 0;
  if (!dump.previous) {
    found.push_back(
        MakeFieldFinding(field, is_unread ? "before-first-reading" : "no-case", Severity::kWarning,
                         true, {place}, "the dump was taken in a call that has no case, " + where,
                         "nothing has been sent for this call: the DSP has what it had before"));
    return;
  }
  if (field.candidate == nullptr) return;
  const auto number = FindPosture(field.candidate->choices(), *dump.hinge_angle, *dump.rotation);
  if (!number || field.candidate->choices().Next(std::nullopt, *number)) return;
  const auto stays = field.candidate->CaseOfKeys(*dump.previous);
  found.push_back(MakeFieldFinding(
      field, "no-case", Severity::kWarning, field.is_candidate_fit, {place},
      "the dump was taken in a call in a posture without a case, " + where,
      "the DSP stays with " + (stays ? field.candidate->DescribeCase(*stays) : "another case") +
          ", which was sent before. `tavi report` shows which postures no case covers"));
}

std::string ChannelOf(size_t number, int type, const FieldCase& field) {
  std::string channel = (type == 0 ? "left of case " : "right of case ") + std::to_string(number);
  if (field.candidate == nullptr || field.candidate->source().is_recovered ||
      number >= field.candidate->cases().size()) {
    return channel;
  }
  const CandidateCase& one = field.candidate->cases()[number];
  return channel + ", in place of " + Printable((type == 0 ? one.left : one.right).file_name);
}

void FindChannelsOfDump(const FieldCase& field, const Place& place, const Dump& dump,
                        std::vector<FieldFinding>& found) {
  std::vector<std::string> flat;
  std::vector<std::string> empty;
  for (size_t i = 0; i < dump.cases.size(); ++i) {
    for (const DumpOutput& output : dump.cases[i].outputs) {
      if (output.file_name.empty()) flat.push_back(ChannelOf(i, output.type, field));
      if (output.floats == 0) empty.push_back(ChannelOf(i, output.type, field));
    }
  }
  if (!flat.empty()) {
    found.push_back(MakeFieldFinding(
        field, "flat-channel", Severity::kError, true, {place},
        Count(flat.size(), "channel is", "channels are") + " played flat: " + Enumerate(flat),
        "their files were unusable at init: the DSP gets 257 bins of 1, and the loudspeaker is not "
        "compensated there"));
  }
  if (!empty.empty()) {
    found.push_back(MakeFieldFinding(
        field, "empty-channel", Severity::kError, true, {place},
        Count(empty.size(), "channel is", "channels are") + " never sent: " + Enumerate(empty),
        "their files held no line at init: the DSP keeps what it has for the channel"));
  }
}

// The places of the entries that are so, and how many there are.
template <typename Predicate>
std::pair<std::vector<Place>, size_t> PlacesOf(const Material& material,
                                               const Predicate& is_wanted) {
  std::pair<std::vector<Place>, size_t> result;
  for (uint32_t i = 0; i < material.entries.size(); ++i) {
    if (!is_wanted(material.entries[i])) continue;
    ++result.second;
    if (result.first.size() < kMostPlaces) result.first.push_back(PlaceOfEntry(material, i));
  }
  return result;
}

bool HasResponse(const Candidate& candidate, bool is_left, const std::vector<float>& response) {
  return std::any_of(candidate.cases().begin(), candidate.cases().end(),
                     [&](const CandidateCase& one) {
                       return (is_left ? one.left : one.right).IsSentAs(&response);
                     });
}

}  // namespace

void FindInDumps(const FieldCase& field, std::vector<FieldFinding>& found) {
  // Dumps of one device say the same again and again.
  std::set<std::string> said;
  for (const auto& [file, dump] : field.material.dumps) {
    const Place place = {file, dump.line, 0};
    std::vector<FieldFinding> here;
    FindPostureOfDump(field, place, dump, here);
    FindChannelsOfDump(field, place, dump, here);
    for (FieldFinding& finding : here) {
      // The line itself says nothing more.
      finding.finding.column = 1;
      finding.finding.line_text.clear();
      if (said.insert(finding.finding.name + finding.finding.message).second) {
        found.push_back(std::move(finding));
      }
    }
  }
}

void FindInResponses(const FieldCase& field, std::vector<FieldFinding>& found) {
  const Material& material = field.material;
  const Candidate* const candidate =
      field.candidate != nullptr && !field.candidate->source().is_recovered ? field.candidate
                                                                            : nullptr;
  std::map<std::pair<bool, size_t>, std::vector<const Delivery*>> sent;
  std::vector<Place> lone;
  for (const Delivery& delivery : material.deliveries) {
    if (delivery.left) sent[{true, *delivery.left}].push_back(&delivery);
    if (delivery.right) sent[{false, *delivery.right}].push_back(&delivery);
    if (delivery.has_one_channel() && !delivery.may_be_cut) lone.push_back(delivery.place);
  }
  for (const auto& [key, deliveries] : sent) {
    const auto& [is_left, number] = key;
    const std::vector<float>& response = material.responses[number];
    const char* const channel = is_left ? "left" : "right";
    const Place& place = deliveries.front()->place;
    const std::string times =
        "in " + (deliveries.size() == 1 ? "one delivery"
                                        : std::to_string(deliveries.size()) + " deliveries");
    const bool is_flat = IsFlatResponse(response);
    // The case whose other channel it stands beside.
    std::set<std::string> files;
    if (candidate != nullptr) {
      for (const Delivery* const delivery : deliveries) {
        const auto& other = is_left ? delivery->right : delivery->left;
        if (!other) continue;
        for (const CandidateCase& one : candidate->cases()) {
          const CandidateOutput& beside = is_left ? one.right : one.left;
          if (beside.IsSentAs(&material.responses[*other])) {
            files.insert((is_left ? one.left : one.right).file_name);
          }
        }
      }
    }
    std::vector<std::string> names;
    names.reserve(files.size());
    for (const std::string& file : files) names.push_back(Printable(file));
    if (is_flat &&
        (candidate == nullptr || !HasResponse(*candidate, is_left, response) || !files.empty())) {
      const bool is_from_file =
          candidate != nullptr && std::any_of(candidate->cases().begin(), candidate->cases().end(),
                                              [&, is_left = is_left](const CandidateCase& one) {
                                                const CandidateOutput& own =
                                                    is_left ? one.left : one.right;
                                                return !own.is_flat && own.IsSentAs(&response);
                                              });
      // A file may hold just that.
      if (is_from_file) continue;
      found.push_back(MakeFieldFinding(
          field, "flat-channel", Severity::kError, candidate != nullptr && !names.empty(), {place},
          Format("the %s channel was played flat %s", channel, times.c_str()) +
              (names.empty() ? "" : ", in place of " + Enumerate(names)),
          "257 bins of 1 are what the module sends for a file that it cannot use; look at the file "
          "on the device"));
      continue;
    }
    if (candidate == nullptr || HasResponse(*candidate, is_left, response)) continue;
    const std::string nearest = DescribeNearest(response, KnownResponses(*candidate));
    found.push_back(MakeFieldFinding(
        field, "unknown-response", Severity::kError, true, {place},
        Format("no case has the response that the %s channel got %s", channel, times.c_str()) +
            (nearest.empty() ? "; no file has " + Count(response.size() / 2, "bin")
                             : "; the nearest is " + nearest),
        "the device has another file than this desk: compare the two copies" +
            (names.empty() ? "" : ", likely of " + Enumerate(names))));
  }
  if (!lone.empty()) {
    const size_t count = lone.size();
    lone.resize(std::min(count, kMostPlaces));
    found.push_back(MakeFieldFinding(
        field, "empty-channel", Severity::kError, true, lone,
        Count(count, "delivery holds", "deliveries hold") + " one channel only",
        "the other one's file held no line at init: the DSP keeps what it has for it"));
  }
}

void FindInMaterial(const FieldCase& field, std::vector<FieldFinding>& found) {
  const Material& material = field.material;
  const auto add = [&](const std::string& name, Severity severity, const std::vector<Place>& places,
                       const std::string& message, const std::string& consequence) {
    found.push_back(MakeFieldFinding(field, name, severity, true, places, message, consequence));
  };
  std::vector<Place> gaps;
  for (const uint32_t entry : field.story.gaps) {
    if (gaps.size() < kMostPlaces) gaps.push_back(PlaceOfEntry(material, entry));
  }
  if (!gaps.empty()) {
    add("log-gap", Severity::kNote, gaps,
        "the log has gaps: what stands there does not follow from what stands before it, in " +
            Count(field.story.gaps.size(), "place"),
        "lines are missing; what happened there is not known, and durations across it may be "
        "wrong");
  }
  for (const Life& life : field.story.lives) {
    if (life.is_captured || life.has_begin || life.events.empty()) continue;
    add("log-begins-late", Severity::kNote, {PlaceOf(material, life.events.front())},
        "the log" + (life.process < 0 ? "" : " of process " + std::to_string(life.process)) +
            " begins after init",
        "whether cases were lost or channels are played flat is not in it, nor what the DSP had "
        "before");
  }
  const auto unknown =
      PlacesOf(material, [](const LogEntry& entry) { return entry.event == LogEvent::kUnknown; });
  if (unknown.second > 0) {
    add("unknown-line", Severity::kNote, unknown.first,
        Count(unknown.second, "line") + " under the module's tags " +
            (unknown.second == 1 ? "is" : "are") + " none that this version of the module logs",
        "it is left out; the device may have another version");
  }
  const auto cut =
      PlacesOf(material, [](const LogEntry& entry) { return entry.event == LogEvent::kCut; });
  if (cut.second > 0) {
    add("cut-line", Severity::kNote, cut.first,
        Count(cut.second, "line of the module is", "lines of the module are") + " cut",
        "what they say is left out; a logger keeps some 4000 bytes of a line");
  }
  const auto unsupported = PlacesOf(material, [](const LogEntry& entry) {
    return entry.event == LogEvent::kUnsupportedCommonEvent ||
           entry.event == LogEvent::kUnsupportedUsecaseEvent;
  });
  if (unsupported.second > 0) {
    add("unsupported-event", Severity::kNote, unsupported.first,
        "the host sent " + Count(unsupported.second, "event") + " that the module did not ask for",
        "the module ignores them");
  }
  if (field.story.repeated_lines > 0) {
    add("log-overlap", Severity::kNote, {},
        Count(field.story.repeated_lines, "line is", "lines are") + " in more than one file",
        "each is taken once");
  }
  std::vector<Place> jumps;
  for (const uint32_t entry : field.story.clock_jumps) {
    if (jumps.size() < kMostPlaces) jumps.push_back(PlaceOfEntry(material, entry));
  }
  if (!jumps.empty()) {
    add("clock-jump", Severity::kNote, jumps,
        "the log's clock was set back " + Count(field.story.clock_jumps.size(), "time"),
        "the lines are taken in the order of the file; no duration is given across it");
  }
  for (const MaterialFault& fault : material.faults) {
    switch (fault.kind) {
      case MaterialFault::Kind::kDamagedCapture:
        add("capture-damaged", Severity::kWarning, {fault.place},
            "the capture makes no sense at offset " + std::to_string(fault.place.offset) + ": " +
                fault.text,
            "the bytes from there on, up to the next that make sense, are left out");
        break;
      case MaterialFault::Kind::kDroppedLines:
        add("log-gap", Severity::kNote, {fault.place}, "the logger dropped lines",
            "what the module logged then may be missing");
        break;
      case MaterialFault::Kind::kTooMuch:
        add("too-much", Severity::kWarning, {fault.place}, "there are " + fault.text,
            "from here on they were not looked at, and what is wrong there is not known; give the "
            "part in question alone");
        break;
    }
  }
}

}  // namespace brelmo::tavi::tools
