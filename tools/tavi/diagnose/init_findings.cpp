// Findings about init: cases that are lost, channels that are played flat, an init that failed.
#include <algorithm>

#include "console/wording.h"
#include "diagnose/findings.h"

namespace brelmo::tavi::tools {

namespace {

std::string TextOf(const Material& material, const LogEntry& entry) {
  return Quote(material.texts[static_cast<size_t>(entry.numbers[0])]);
}

// What a line of init says of the configuration.
std::string WhyLost(const Material& material, const LogEntry& entry) {
  const std::string number = std::to_string(entry.numbers[0]);
  const std::string second = std::to_string(entry.numbers[1]);
  switch (entry.event) {
    case LogEvent::kInvalidParameters:
      return "the text yields no case";
    case LogEvent::kMalformedItem:
      return TextOf(material, entry) + " is not one name and one value";
    case LogEvent::kInvalidConfigName:
      return "the configuration's name is " + TextOf(material, entry);
    case LogEvent::kConditionCount:
      return "a case has " + second + " conditions where the first has " + number;
    case LogEvent::kMissingOutput:
      return "a case has no " + TextOf(material, entry);
    case LogEvent::kInvalidCase:
      return "a case has no conditions";
    case LogEvent::kInvalidCondition:
      return TextOf(material, entry) + " is no condition";
    case LogEvent::kOutputCount:
      return "a case has " + number + " outputs";
    case LogEvent::kOutputType:
      return "a case has an output that is no channel";
    case LogEvent::kInvalidRuleValue:
      return TextOf(material, entry) + " is no number";
    case LogEvent::kNullRule:
    case LogEvent::kUnsupportedRule:
      return "a rule for " + TextOf(material, entry) + " is refused";
    case LogEvent::kNoIndexForValue:
    case LogEvent::kNoIndexAtAll:
      return "a rule has no index";
    case LogEvent::kIndexDataSize:
      return "a hinge range has " + number + " values";
    case LogEvent::kIndexRange:
      return number + " to " + second + " is no hinge range";
    case LogEvent::kIndexNoInput:
      return "a rule holds no rotation";
    case LogEvent::kIndexValue:
      return number + " is no rotation";
    default:
      return "";
  }
}

void FindLostCases(const FieldCase& field, const Life& life, std::vector<FieldFinding>& found) {
  // A malformed item is warned of twice, and an index's refusal is told again by the rule's.
  std::vector<std::string> reasons;
  std::vector<Place> places;
  for (const uint32_t number : life.init) {
    const LogEntry& entry = field.material.entries[number];
    if (!IsConfigFault(entry.event)) continue;
    const bool is_told_already = entry.event == LogEvent::kUnsupportedRule && !reasons.empty() &&
                                 reasons.back().find("rule for") == std::string::npos;
    const std::string reason = WhyLost(field.material, entry);
    places.push_back(PlaceOfEntry(field.material, number));
    if (!is_told_already && std::find(reasons.begin(), reasons.end(), reason) == reasons.end()) {
      reasons.push_back(reason);
    }
  }
  if (reasons.empty()) return;
  std::string message = "init lost cases: " + Enumerate(reasons);
  std::string consequence =
      "the module works with the cases before that one alone; in the postures of the others it "
      "takes another case or none. `tavi check` shows the place in the configuration";
  if (field.candidate != nullptr && field.is_candidate_fit &&
      !field.candidate->source().is_recovered) {
    const CheckResult& check = field.candidate->check();
    std::vector<size_t> lost;
    for (size_t i = check.cases_in_force; i < check.case_count; ++i) lost.push_back(i);
    if (!lost.empty())
      message += "; of " + Printable(field.candidate->source().name) + " " + CaseNumbers(lost) +
                 (lost.size() == 1 ? " is" : " are") + " missing";
  }
  found.push_back(
      MakeFieldFinding(field, "cases-lost", Severity::kError, true, places, message, consequence));
}

void FindFlatChannels(const FieldCase& field, const Life& life, std::vector<FieldFinding>& found) {
  std::vector<Place> places;
  std::vector<std::string> reasons;
  size_t channels = 0;
  size_t sizes = 0;
  for (const uint32_t number : life.init) {
    const LogEntry& entry = field.material.entries[number];
    if (entry.event == LogEvent::kRawDataSet) ++sizes;
    if (!IsFileFault(entry.event) && entry.event != LogEvent::kRawDataSet) continue;
    places.push_back(PlaceOfEntry(field.material, number));
    if (entry.event == LogEvent::kRawDataSet) continue;
    ++channels;
    const std::string reason = entry.event == LogEvent::kReadFailed
                                   ? "the file cannot be read: it is missing or a link"
                               : entry.event == LogEvent::kInvalidContent
                                   ? TextOf(field.material, entry) + " is no line of two numbers"
                                   : TextOf(field.material, entry) + " are no numbers";
    if (std::find(reasons.begin(), reasons.end(), reason) == reasons.end()) {
      reasons.push_back(reason);
    }
  }
  channels = std::max(channels, sizes);
  if (channels == 0) return;
  std::string message = Count(channels, "channel is", "channels are") + " played flat";
  if (field.candidate != nullptr && field.is_candidate_fit &&
      !field.candidate->source().is_recovered) {
    std::vector<std::string> names;
    const auto& cases = field.candidate->cases();
    for (size_t i = 0; i < cases.size(); ++i) {
      for (const CandidateOutput* const output : {&cases[i].left, &cases[i].right}) {
        if (!output->is_flat) continue;
        names.push_back((output == &cases[i].left ? "left of case " : "right of case ") +
                        std::to_string(i) + ", in place of " + Printable(output->file_name));
      }
    }
    if (names.size() == channels) message += ": " + Enumerate(names);
  }
  if (!reasons.empty()) message += "; " + Enumerate(reasons);
  found.push_back(MakeFieldFinding(
      field, "flat-channel", Severity::kError, true, places, message,
      "the DSP gets 257 bins of 1 for it: the loudspeaker is not compensated there. The log does "
      "not name files; the dump does, and `tavi check` finds what is wrong with them"));
}

}  // namespace

void FindInInit(const FieldCase& field, const Life& life, std::vector<FieldFinding>& found) {
  FindLostCases(field, life, found);
  FindFlatChannels(field, life, found);
  if (!life.end_of_init) return;
  std::string message;
  switch (*life.end_of_init) {
    case LogEvent::kNoMemory:
      message = "init failed: the host gave no memory";
      break;
    case LogEvent::kInvalidParameters:
      message = "init handed out nothing, although it reported success: the text yields no case";
      break;
    case LogEvent::kNoListeners:
      message = "init failed: the host's event service refused the module";
      break;
    case LogEvent::kNoHingeAngle:
      message = "init failed: the host's sensor service refused the hinge angle";
      break;
    default:
      return;
  }
  found.push_back(MakeFieldFinding(field, "init-failed", Severity::kError, true,
                                   {PlaceOfEntry(field.material, life.init.back())}, message,
                                   "there is no module from here on: calls sound as the DSP was "
                                   "left, until the host sets the module up anew"));
}

}  // namespace brelmo::tavi::tools
