#include "capture/log_lines.h"

#include <algorithm>

namespace brelmo::tavi::tools {

namespace {

using android::base::ERROR;
using android::base::INFO;
using android::base::WARNING;

using E = LogEvent;
using A = LogArguments;

// "update case keys: previous" begins as "update case keys: " does: the longer form comes first. So
// with "common event : unsupported event ".
const std::vector<LogLineForm>* const kForms = new std::vector<LogLineForm>{
    {E::kNoMemory, ERROR, kEntryTag, "compensation_init", ": fail to allocate memory"},
    {E::kInvalidParameters, ERROR, kEntryTag, "compensation_init", ": invalid parameters ",
     A::kText},
    {E::kNoListeners, ERROR, kEntryTag, "compensation_init",
     ": failed to initialize events listeners"},
    {E::kNoHingeAngle, ERROR, kEntryTag, "compensation_init", ": failed to register hinge angle"},
    {E::kInitialized, INFO, kEntryTag, "compensation_init", ": initialize successfully"},
    {E::kNoCommonClient, WARNING, kEntryTag, "Initialize",
     ": Failed to register common event handler(", A::kNumber, "", ")"},
    {E::kUnsupportedCommonEvent, INFO, kEntryTag, "",
     "audio_hw_compensation: common event : unsupported event ", A::kNumber},
    {E::kCommonEvent, INFO, kEntryTag, "", "audio_hw_compensation: common event ", A::kNumber},
    {E::kUnsupportedUsecaseEvent, WARNING, kEntryTag, "",
     "audio_hw_compensation: use case event: unsupported event ", A::kNumber},
    {E::kUsecaseEvent, INFO, kEntryTag, "", "audio_hw_compensation: use case event ", A::kNumber},
    {E::kMalformedItem, WARNING, kEngineTag, "GetConfig", "invalid name and value ", A::kText},
    {E::kInvalidConfigName, ERROR, kEngineTag, "ParseConfig", ": invalid config name ", A::kText},
    {E::kConditionCount, ERROR, kEngineTag, "ParseConfig",
     ": invalid parm size, current:", A::kTwoNumbers, ", failed: "},
    {E::kMissingOutput, ERROR, kEngineTag, "ParseConfig", ": output ", A::kText, "", " is missed."},
    {E::kInvalidCase, ERROR, kEngineTag, "ParseConfig", ": invalid case ", A::kText},
    {E::kInvalidCondition, ERROR, kEngineTag, "ParseConfig", ": invalid condition name ", A::kText},
    {E::kOutputCount, ERROR, kEngineTag, "ParseOutput",
     ": invalid output value size: ", A::kNumber},
    {E::kOutputType, ERROR, kEngineTag, "ParseOutput", ": invalid output value type "},
    {E::kNullRule, ERROR, kEngineTag, "ParseRule", ": null rule data for name ", A::kText},
    {E::kInvalidRuleValue, ERROR, kEngineTag, "ParseRule", ": invalid rule data name ", A::kText},
    {E::kUnsupportedRule, ERROR, kEngineTag, "ParseRule", ": unsupported rule data for name ",
     A::kText},
    {E::kNoIndexForValue, ERROR, kEngineTag, "ParseRule", ": invalid index by ", A::kText},
    {E::kNoIndexAtAll, ERROR, kEngineTag, "ParseRule", ": unable to find index in rule data "},
    {E::kIndexDataSize, ERROR, kIndexTag, "UpdateDecisionRules", ": invalid data size ",
     A::kNumber},
    {E::kIndexRange, ERROR, kIndexTag, "UpdateDecisionRules", ": invalid range ", A::kTwoNumbers,
     " ~ "},
    {E::kIndexNoInput, ERROR, kIndexTag, "UpdateDecisionRules", ": invalid input."},
    {E::kIndexValue, ERROR, kIndexTag, "UpdateDecisionRules", ": invalid value found ", A::kNumber},
    {E::kReadFailed, ERROR, kEngineTag, "ParseQuantityFromFile", ": read failed"},
    {E::kInvalidContent, ERROR, kEngineTag, "ParseQuantityFromFile", ": invalid content ",
     A::kText},
    {E::kInvalidData, ERROR, kEngineTag, "ParseQuantityFromFile",
     ": invalid data: real=", A::kText},
    {E::kInvalidRawSize, ERROR, kEngineTag, "SetRawData", ": invalid raw size ", A::kNumber},
    {E::kRawDataSet, INFO, kEngineTag, "SetRawData", ": set raw data size ", A::kNumber},
    {E::kStatusAccepted, INFO, kEngineTag, "UpdateModuleStatus", ": update tuning with size ",
     A::kNumber},
    {E::kStatusRefused, ERROR, kEngineTag, "UpdateModuleStatus", ": fail to update tuning."},
    {E::kCaseChanged, INFO, kEngineTag, "UpdateTuningData", ": update case keys: previous",
     A::kTwoKeys, " -> "},
    {E::kCaseTaken, INFO, kEngineTag, "UpdateTuningData", ": update case keys: ", A::kKeys},
    {E::kNoOutput, WARNING, kEngineTag, "UpdateTuningData", ": output data is empty"},
    {E::kNoValidData, WARNING, kEngineTag, "UpdateTuningData", ": no valid data"},
    {E::kInvalidType, WARNING, kEngineTag, "UpdateTuningData", ": invalid type"},
    {E::kPackageFailed, WARNING, kEngineTag, "UpdateTuningData", ": fail to package data"},
    {E::kPackageNothing, WARNING, kEngineTag, "PackageTaviCompensationData",
     ": invalid parameters"},
    {E::kPackageRoom, WARNING, kEngineTag, "PackageTaviCompensationData", ": insufficient memory"},
    {E::kSizeMismatch, INFO, kEngineTag, "UpdateTuningData", ": invalid data ", A::kTwoNumbers,
     ", "},
    {E::kWriteAccepted, INFO, kEngineTag, "UpdateTuningData", ": update tuning with size ",
     A::kNumber},
    {E::kWriteRefused, ERROR, kEngineTag, "UpdateTuningData", ": fail to update tuning."},
};

bool TakeNumber(std::string_view& text, int& number) {
  const auto value = TakeInt(text);
  number = value.value_or(0);
  return value.has_value();
}

bool TakeArguments(const LogLineForm& form, std::string_view rest, LogMessage& message) {
  switch (form.arguments) {
    case LogArguments::kNone:
      break;
    case LogArguments::kNumber:
      if (!TakeNumber(rest, message.numbers[0])) return false;
      break;
    case LogArguments::kTwoNumbers:
      if (!TakeNumber(rest, message.numbers[0]) || !TakeWord(rest, form.between) ||
          !TakeNumber(rest, message.numbers[1])) {
        return false;
      }
      break;
    case LogArguments::kText: {
      const size_t size = rest.size();
      if (size < form.end.size()) return false;
      message.text = rest.substr(0, size - form.end.size());
      rest.remove_prefix(message.text.size());
      break;
    }
    case LogArguments::kKeys:
      message.keys[0] = TakeKeys(rest);
      if (!message.keys[0]) return false;
      break;
    case LogArguments::kTwoKeys:
      message.keys[0] = TakeKeys(rest);
      if (!message.keys[0] || !TakeWord(rest, form.between)) return false;
      message.keys[1] = TakeKeys(rest);
      if (!message.keys[1]) return false;
      break;
  }
  return rest == form.end;
}

// Whether `message` is the fixed text of the form or the beginning of it.
bool IsBeginningOf(std::string_view message, const LogLineForm& form) {
  const size_t in_function = std::min(message.size(), form.function.size());
  if (message.substr(0, in_function) != form.function.substr(0, in_function)) return false;
  message.remove_prefix(in_function);
  const size_t in_fragment = std::min(message.size(), form.fragment.size());
  return message.substr(0, in_fragment) == form.fragment.substr(0, in_fragment);
}

// Some keep blanks at a line's end, some do not.
std::string_view WithoutBlanksAtEnd(std::string_view text) {
  while (!text.empty() && text.back() == ' ') text.remove_suffix(1);
  return text;
}

}  // namespace

const std::vector<LogLineForm>& LogLineForms() { return *kForms; }

std::optional<LogMessage> ParseLogMessage(std::string_view message, bool has_tag) {
  // Every line begins with one of these.
  if (message.empty() || std::string_view("acGIPSU").find(message[0]) == std::string_view::npos) {
    return has_tag ? std::optional<LogMessage>(LogMessage()) : std::nullopt;
  }
  bool is_cut = false;
  for (const LogLineForm& form : *kForms) {
    std::string_view rest = message;
    const std::string_view fragment =
        form.arguments == LogArguments::kNone ? WithoutBlanksAtEnd(form.fragment) : form.fragment;
    if (TakeWord(rest, form.function) && TakeWord(rest, fragment)) {
      LogMessage found;
      found.event = form.event;
      const bool is_text = form.arguments == LogArguments::kText && form.end.empty();
      if (TakeArguments(form, is_text ? rest : WithoutBlanksAtEnd(rest), found)) return found;
      is_cut = true;
    } else if (IsBeginningOf(message, form)) {
      is_cut = true;
      // A text of no characters, its blank lost.
      if (form.event == LogEvent::kInvalidParameters &&
          message.size() + 1 == form.function.size() + form.fragment.size()) {
        LogMessage found;
        found.event = form.event;
        return found;
      }
    }
  }
  if (!has_tag) return std::nullopt;
  LogMessage found;
  found.event = is_cut ? LogEvent::kCut : LogEvent::kUnknown;
  return found;
}

}  // namespace brelmo::tavi::tools
